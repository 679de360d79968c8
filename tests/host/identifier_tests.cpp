#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "platform/platform.h"
#include "tests/support/host_kind.h"

namespace tests {
namespace {

using Text = std::basic_string<OLECHAR>;

constexpr GUID kGuid{0x1F0A7C51, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x01}};
const Text kText = OLESTR("{1F0A7C51-3C11-4B1E-9A01-527D10446E01}");

TEST(Identifiers, StringFrom_GivesUpperCaseWithATerminator) {
  for (const auto operation : {&StringFromCLSID, &StringFromIID}) {
    LPOLESTR text = nullptr;
    ASSERT_EQ(operation(kGuid, &text), S_OK);
    EXPECT_TRUE(text == kText);
    CoTaskMemFree(text);
  }
  constexpr struct { int room, result; } kRows[] = {{-1, 0}, {0, 0}, {38, 0}, {39, 39}, {50, 39}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.room);
    OLECHAR text[50];
    std::fill_n(text, 50, OLECHAR{'#'});
    EXPECT_EQ(StringFromGUID2(kGuid, text, row.room), row.result);
    EXPECT_TRUE(Text(text, 39) == (row.result ? kText + OLECHAR{0} : Text(39, '#')));
    EXPECT_EQ(text[39], OLECHAR{'#'});
  }
}

TEST(Identifiers, FromString_TakesExactlyOneForm) {
  // What IIDFromString gives; CLSIDFromString calls every fault of form CO_E_CLASSSTRING.
  constexpr HRESULT kBadLength = E_INVALIDARG, kBadIid = platform::ResultCode(0x800401F4);
  const std::pair<const OLECHAR*, HRESULT> rows[] = {
      {OLESTR("{1F0A7C51-3C11-4B1E-9A01-527D10446E01}"), S_OK},
      {OLESTR("{1f0a7c51-3c11-4b1e-9a01-527d10446e01}"), S_OK},
      {OLESTR("{1f0A7c51-3C11-4b1E-9a01-527D10446e01}"), S_OK},
      {OLESTR(""), kBadLength},
      {OLESTR("{"), kBadLength},
      {OLESTR("1F0A7C51-3C11-4B1E-9A01-527D10446E01"), kBadLength},
      {OLESTR("{1F0A7C51-3C11-4B1E-9A01-527D10446E01"), kBadLength},
      {OLESTR("{1F0A7C51-3C11-4B1E-9A01-527D10446E01}x"), kBadLength},
      {OLESTR("{1F0A7C51-3C11-4B1E-9A01-527D10446E01 "), kBadIid},
      {OLESTR("(1F0A7C51-3C11-4B1E-9A01-527D10446E01}"), kBadIid},
      {OLESTR("{1F0A7C51-3C11-4B1E-9A01-527D10446G01}"), kBadIid},
      {OLESTR("{1F0A7C51-3C11-4B1E-9A01-527D10446E0 }"), kBadIid},
      {OLESTR("{1F0A7C51+3C11-4B1E-9A01-527D10446E01}"), kBadIid},
      {OLESTR("{1F0A7C513-C11-4B1E-9A01-527D10446E01}"), kBadIid},
      {OLESTR("{1F0A7C51-3C11-4B1E-9A01-527D10446E0\x0131}"), kBadIid},
      {OLESTR("No.Such.Class.1"), kBadLength}};
  for (const auto& [text, result] : rows) {
    SCOPED_TRACE(std::string(text, text + std::char_traits<OLECHAR>::length(text)));
    CLSID classId{1, 2, 3, {}};
    IID iid{1, 2, 3, {}};
    EXPECT_EQ(CLSIDFromString(text, &classId), result == S_OK ? S_OK : CO_E_CLASSSTRING);
    EXPECT_EQ(IIDFromString(text, &iid), result);
    EXPECT_TRUE(result != S_OK || (IsEqualGUID(classId, kGuid) && IsEqualGUID(iid, kGuid)));
  }
  for (const auto operation : {&CLSIDFromString, &IIDFromString}) {
    GUID guid = kGuid;
    EXPECT_EQ(operation(nullptr, &guid), S_OK);
    EXPECT_TRUE(IsEqualGUID(guid, GUID_NULL));
  }
  EXPECT_EQ(CLSIDFromString(kText.c_str(), nullptr), E_INVALIDARG);
  EXPECT_EQ(CoCreateGuid(nullptr), E_INVALIDARG);
  if (!kEmbeddedHost) return;
  EXPECT_EQ(IIDFromString(kText.c_str(), nullptr), E_INVALIDARG);
  EXPECT_EQ(StringFromCLSID(kGuid, nullptr), E_INVALIDARG);
  EXPECT_EQ(StringFromGUID2(kGuid, nullptr, 39), 0);
}

TEST(Identifiers, CreateGuid_GivesRandomIdentifiersThatDiffer) {
  std::set<Text> texts;
  for (int i = 0; i < 100; ++i) {
    GUID guid{};
    ASSERT_EQ(CoCreateGuid(&guid), S_OK);
    OLECHAR text[39];
    StringFromGUID2(guid, text, 39);
    EXPECT_EQ(text[15], OLECHAR{'4'});
    EXPECT_NE(Text(OLESTR("89AB")).find(text[20]), Text::npos);
    texts.insert(text);
  }
  EXPECT_EQ(texts.size(), 100u);
}

}  // namespace
}  // namespace tests
