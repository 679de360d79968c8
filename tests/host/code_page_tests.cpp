#include <gtest/gtest.h>

#include <string>

#include "platform/platform.h"
#include "tests/support/streams.h"

namespace tests {
namespace {

using WideText = std::basic_string<OLECHAR>;

// What the bytes are as UTF-8; each maximal part of a sequence that cannot be completed is U+FFFD.
WideText Decoded(const std::string& bytes) {
  WideText text;
  for (std::size_t i = 0; i < bytes.size();) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(bytes[at]); };
    const unsigned lead = byte(i);
    const bool isLead = lead >= 0xC2 && lead <= 0xF4;
    const std::size_t length = !isLead ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    unsigned code = lead < 0x80 ? lead : isLead ? lead & (0x7Fu >> length) : 0xFFFD;
    unsigned lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    std::size_t taken = 1;
    while (taken < length && i + taken < bytes.size() && byte(i + taken) >= lowest &&
           byte(i + taken) <= highest) {
      code = code << 6 | (byte(i + taken++) & 0x3F);
      lowest = 0x80;
      highest = 0xBF;
    }
    if (taken < length) code = 0xFFFD;
    if (code >= 0x10000) text += static_cast<OLECHAR>(0xD7C0 + (code >> 10));
    text += static_cast<OLECHAR>(code < 0x10000 ? code : 0xDC00 + (code & 0x3FF));
    i += taken;
  }
  return text;
}

TEST(CodePages, ProcessesCodePageIsUtf8) { EXPECT_EQ(GetACP(), UINT{CP_UTF8}); }

// All sequences of up to four of the bytes at which something changes.
TEST(CodePages, EverySequence_IsDecodedLikeTheReference) {
  const std::string edges = std::string(1, '\0') +
                            "z\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xE1\xEC\xED\xEE"
                            "\xEF\xF0\xF1\xF3\xF4\xF5\xF7\xF8\xFF";
  const std::size_t count = edges.size() + 1;  // Or the end.
  for (std::size_t number = 1; number < count * count * count * count; ++number) {
    std::string bytes;
    for (std::size_t rest = number; rest % count != 0; rest /= count) {
      bytes += edges[rest % count - 1];
    }
    if (bytes.empty()) continue;
    const WideText expected = Decoded(bytes);
    const int size = static_cast<int>(bytes.size());
    const auto widen = [&](DWORD flags, OLECHAR* target, int room) {
      return MultiByteToWideChar(CP_UTF8, flags, bytes.data(), size, target, room);
    };
    OLECHAR wide[4];
    char narrow[4];
    const int units = widen(0, wide, 4);
    ASSERT_TRUE(WideText(wide, static_cast<std::size_t>(units)) == expected)
        << HexOf(bytes.data(), bytes.size());
    const bool isIllFormed =
        expected.find(OLECHAR{0xFFFD}) != expected.npos;  // No sequence here is U+FFFD itself.
    ASSERT_EQ(widen(MB_ERR_INVALID_CHARS, nullptr, 0), isIllFormed ? 0 : units);
    if (isIllFormed) continue;
    const int back = WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, wide, units, narrow, 4,
                                         nullptr, nullptr);
    ASSERT_EQ(std::string(narrow, static_cast<std::size_t>(back)), bytes);
  }
}

}  // namespace
}  // namespace tests
