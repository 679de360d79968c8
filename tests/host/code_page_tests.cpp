#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>

#include "platform/platform.h"
#include "tests/support/host_kind.h"

namespace tests {
namespace {

using WideText = std::basic_string<OLECHAR>;

constexpr DWORD kNoTranslation = 1113;

// The embedded host has one narrow code page under three numbers.
bool IsUtf8(UINT codePage) { return codePage == CP_UTF8 || kEmbeddedHost; }
constexpr UINT kCodePages[] = {CP_UTF8, CP_ACP, CP_THREAD_ACP};

WideText Widened(UINT codePage, DWORD flags, const std::string& text) {
  const int bytes = static_cast<int>(text.size());
  const int units = MultiByteToWideChar(codePage, flags, text.data(), bytes, nullptr, 0);
  WideText wide(static_cast<std::size_t>(units), OLECHAR{'#'});
  MultiByteToWideChar(codePage, flags, text.data(), bytes, wide.data(), units);
  return wide;
}

std::string Narrowed(UINT codePage, DWORD flags, const WideText& text) {
  const auto convert = [&](char* out, int room) {
    return WideCharToMultiByte(codePage, flags, text.data(), static_cast<int>(text.size()), out,
                               room, nullptr, nullptr);
  };
  std::string narrow(static_cast<std::size_t>(convert(nullptr, 0)), '#');
  convert(narrow.data(), static_cast<int>(narrow.size()));
  return narrow;
}

TEST(CodePages, WellFormedText_ConvertsBothWays) {
  const std::pair<std::string, WideText> rows[] = {
      {"abc 7E\x7E", OLESTR("abc 7E~")},
      {std::string("a\0b", 3), WideText(OLESTR("a\0b"), 3)},
      {"\xC3\xBC\xC2\x80\xDF\xBF", OLESTR("\u00FC\x0080\u07FF")},
      {"\xE2\x82\xAC\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF",
       OLESTR("\u20AC\u0800\uD7FF\uE000\uFFFF")},
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", OLESTR("\U00010000\U0010FFFF")},
      {"\xEF\xBB\xBFx", OLESTR("\uFEFFx")}};
  for (const UINT codePage : kCodePages) {
    for (const auto& [narrow, wide] : rows) {
      if ((narrow[0] & 0x80) != 0 && !IsUtf8(codePage)) continue;
      SCOPED_TRACE(testing::Message() << codePage << ' ' << narrow);
      for (const DWORD flags : {DWORD{0}, DWORD{MB_ERR_INVALID_CHARS}}) {
        if (flags != 0 && !IsUtf8(codePage)) continue;
        EXPECT_EQ(Widened(codePage, flags, narrow), wide);
        EXPECT_EQ(Narrowed(codePage, flags ? WC_ERR_INVALID_CHARS : 0, wide), narrow);
      }
    }
  }
}

TEST(CodePages, IllFormedText_BecomesReplacementsOrIsRefused) {
  const std::pair<std::string, WideText> narrowRows[] = {
      {"\xE2\x82", OLESTR("\uFFFD")},
      {"\xE2\x82\xE2\x82\xAC", OLESTR("\uFFFD\u20AC")},
      {"\xC0\x80", OLESTR("\uFFFD\uFFFD")},
      {"\xF8\x88\x80\x80\x80", OLESTR("\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD")},
      {"x\x80y\xFFz", OLESTR("x\uFFFDy\uFFFDz")},
      // How many replacements these become is the embedded host's own choice.
      {"\xED\xA0\x80", OLESTR("\uFFFD\uFFFD\uFFFD")},
      {"\xF4\x90\x80\x80", OLESTR("\uFFFD\uFFFD\uFFFD\uFFFD")}};
  for (const auto& [narrow, wide] : narrowRows) {
    SCOPED_TRACE(testing::PrintToString(narrow));
    for (const UINT codePage : kCodePages) {
      if (!IsUtf8(codePage)) continue;
      const bool isOwnChoice = std::string("\xED\xE0\xF4").find(narrow[0]) != std::string::npos;
      EXPECT_TRUE(Widened(codePage, 0, narrow) == wide || (isOwnChoice && !kEmbeddedHost));
      SetLastError(0);
      EXPECT_TRUE(Widened(codePage, MB_ERR_INVALID_CHARS, narrow).empty());
      EXPECT_EQ(GetLastError(), kNoTranslation);
    }
  }
  const std::pair<WideText, const char*> wideRows[] = {
      {OLESTR("\xDE00z"), "\xEF\xBF\xBDz"},
      {OLESTR("\xD83D\xD83D\xDE00"), "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
      {OLESTR("z\xD83Dz"), "z\xEF\xBF\xBDz"}};
  for (const auto& [wide, narrow] : wideRows) {
    SCOPED_TRACE(narrow);
    EXPECT_EQ(Narrowed(CP_UTF8, 0, wide), narrow);
    SetLastError(0);
    EXPECT_EQ(Narrowed(CP_UTF8, WC_ERR_INVALID_CHARS, wide), "");
    EXPECT_EQ(GetLastError(), kNoTranslation);
  }
}

TEST(CodePages, LengthAndRoom_SayWhatIsConvertedAndWritten) {
  const struct {
    bool widens;
    int length, room, result;
    DWORD error;
  } rows[] = {{true, -1, 0, 3, 0},   {true, -1, 3, 3, 0},  {true, 3, 2, 2, 0},
              {true, -1, 2, 0, 122}, {true, 0, 3, 0, 87},  {true, 3, -1, 0, 87},
              {false, -1, 0, 4, 0},  {false, -1, 4, 4, 0}, {false, 2, 3, 3, 0},
              {false, 2, 2, 0, 122}, {false, 0, 3, 0, 87}, {false, 2, -1, 0, 87}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.widens << ' ' << row.length << " into " << row.room);
    OLECHAR wide[5] = {'#', '#', '#', '#', '#'};
    char narrow[] = "#####";
    SetLastError(0);
    EXPECT_EQ(row.widens ? MultiByteToWideChar(CP_UTF8, 0, "a\xC3\xBC", row.length, wide, row.room)
                         : WideCharToMultiByte(CP_UTF8, 0, OLESTR("a\u00FC"), row.length, narrow,
                                               row.room, nullptr, nullptr),
              row.result);
    EXPECT_EQ(GetLastError(), row.error);
    for (int i = (std::max)(row.room, 0); i < 5; ++i) {
      EXPECT_TRUE(wide[i] == '#' && narrow[i] == '#') << i;
    }
  }
}

TEST(CodePages, NullsAndUnknownPages_AreRefused) {
  char narrow[4] = "abc";
  OLECHAR wide[4] = {'a', 'b', 'c', 0};
  constexpr UINT kUnknown = 4711;
  const std::function<int()> rows[] = {
      [&] { return MultiByteToWideChar(CP_UTF8, 0, nullptr, 3, wide, 4); },
      [&] { return MultiByteToWideChar(CP_UTF8, 0, narrow, 3, nullptr, 4); },
      [&] { return MultiByteToWideChar(kUnknown, 0, narrow, 3, wide, 4); },
      [&] { return WideCharToMultiByte(CP_UTF8, 0, nullptr, 3, narrow, 4, nullptr, nullptr); },
      [&] { return WideCharToMultiByte(CP_UTF8, 0, wide, 3, nullptr, 4, nullptr, nullptr); },
      [&] { return WideCharToMultiByte(kUnknown, 0, wide, 3, narrow, 4, nullptr, nullptr); }};
  for (const auto& row : rows) {
    SetLastError(0);
    EXPECT_EQ(row(), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  }
}

}  // namespace
}  // namespace tests
