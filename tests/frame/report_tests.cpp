// Reports: result codes and the thread's error object. The texts of the numbers are in the dump of
// the module's resources.
#include "module/frame/reports.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/resources.h"
#include "tests/rows/rows.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/host_kind.h"
#include "tests/support/module_client.h"
#include "tests/support/thread_error.h"

namespace tests {
namespace {

using rastel::ReportError;
using rastel::ReportErrorText;

constexpr CLSID kClass{
    0x1F0A7C52, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x20}};
constexpr LPCOLESTR kBefore = OLESTR("what was there before");

LPCOLESTR Numbered(std::uintptr_t number) { return reinterpret_cast<LPCOLESTR>(number); }

// Letters that show where they stand.
std::string Letters(std::size_t count) {
  std::string letters(count, ' ');
  for (std::size_t i = 0; i < count; ++i) letters[i] = static_cast<char>('a' + (i + i / 26) % 26);
  return letters;
}

// Expects a report of the text without a source, and takes it.
void ExpectReported(HRESULT result, std::uint32_t code, const OleText& text) {
  EXPECT_EQ(result, platform::ResultCode(code));
  const std::optional<ThreadError> error = TakeThreadError();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->description, text);
  EXPECT_EQ(error->source, std::nullopt);
  EXPECT_EQ(error->guid, GUID_NULL);
}

TEST(Reports, OfNumbers_TellTheModulesTextOrUnknownError) {
  const HINSTANCE module = ModuleClient::Get().Handle();
  ExpectReported(ReportError(kClass, Numbered(1114), module), 0x8004045A,
                 OLESTR("Rasteldata: Dem AOI ist kein Bildpuffer zugeordnet."));
  for (const unsigned number : {0u, 1131u, 0xFFFFu}) {
    ExpectReported(ReportError(kClass, Numbered(number), module), 0x80040000u | number,
                   OLESTR("Unknown Error"));
  }
}

TEST(Reports, OfTexts_TellThemInFull) {
  // Around 1024 bytes of wide text, 1024 characters, and far beyond any buffer.
  for (const std::size_t length : {0u, 511u, 512u, 1024u, 100000u}) {
    const std::string text = Letters(length);
    ExpectReported(ReportErrorText(kClass, text.c_str()), 0x80020009, Widen(text));
    ExpectReported(ReportError(kClass, Widen(text).c_str(), nullptr), 0x80020009, Widen(text));
  }
  ExpectReported(ReportErrorText(kClass, kEmbeddedHost ? "\xC3\xBC" : "\xFC"), 0x80020009,
                 OLESTR("\u00FC"));
  EXPECT_EQ(ReportErrorText(kClass, nullptr), E_POINTER);
  const std::string text = Letters(512);
  PutErrorText(kBefore);
  AllocationFaults faults(0);
  const HRESULT result = ReportErrorText(kClass, text.c_str());
  faults.Stop();
  EXPECT_EQ(result, E_OUTOFMEMORY);
  EXPECT_EQ(TakeErrorText(), kBefore);
}

TEST(Reports, OfLongMessages_AreCutAt1023NarrowCharacters) {
  if (!kEmbeddedHost) GTEST_SKIP() << "no other table can be handed over there";
  const OleText cut = Widen(Letters(1023));
  // The last one needs two bytes of narrow text and does not fit.
  const OleText texts[] = {cut + OLESTR("yz"), cut.substr(0, 1022) + OLESTR("\u00FC")};
  platform::Resource rows[2];
  const auto module = reinterpret_cast<HINSTANCE>(rows);
  for (WORD i = 0; i < 2; ++i) {
    const auto bytes = static_cast<DWORD>(texts[i].size() * sizeof(OLECHAR));
    rows[i] = {nullptr, platform::kStringResource, i, 0x0409, texts[i].data(), bytes};
  }
  platform::OfferResources(module, rows, 2);
  ExpectReported(ReportError(kClass, Numbered(0), module), 0x80040000, cut);
  ExpectReported(ReportError(kClass, Numbered(1), module), 0x80040001, cut.substr(0, 1022));
  AllocationFaults faults(0);
  const HRESULT result = ReportError(kClass, Numbered(0), module);
  faults.Stop();
  EXPECT_EQ(result, E_OUTOFMEMORY);
  EXPECT_EQ(TakeErrorText(), std::nullopt);
  platform::WithdrawResources(module);
}

// A text that lies on the stack: what is refused is refused to the host, the object itself first.
TEST(Reports, WithoutMemoryForTheErrorObject_GiveTheResultAllTheSame) {
  const std::string text = Letters(511);
  PutErrorText(kBefore);
  std::optional<OleText> expected = kBefore;
  const int refused = FailEachAllocation([&] { return ReportErrorText(kClass, text.c_str()); },
                                         [&](HRESULT result, long long) {
                                           EXPECT_EQ(result, DISP_E_EXCEPTION);
                                           const std::optional<OleText> left = TakeErrorText();
                                           EXPECT_TRUE(left == expected || !left);
                                           expected = Widen(text);
                                           PutErrorText(kBefore);
                                         });
  EXPECT_GE(refused, kEmbeddedHost ? 1 : 0);
  EXPECT_EQ(TakeErrorText(), Widen(text));
}

}  // namespace
}  // namespace tests
