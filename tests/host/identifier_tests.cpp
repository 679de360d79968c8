#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "tests/support/host_kind.h"
#include "tests/support/results.h"

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
  for (const int room : {-1, 38, 39}) {
    OLECHAR all[40];
    std::fill_n(all, 40, OLECHAR{'#'});
    EXPECT_EQ(StringFromGUID2(kGuid, all, room), room == 39 ? 39 : 0);
    EXPECT_TRUE(Text(all, 40) == (room == 39 ? kText + OLECHAR{0} + OLECHAR{'#'} : Text(40, '#')));
  }
}

TEST(Identifiers, FromString_TakesExactlyOneForm) {
  // What IIDFromString gives; CLSIDFromString calls every fault of form CO_E_CLASSSTRING.
  constexpr HRESULT kBadLength = E_INVALIDARG, kBadIid = platform::ResultCode(0x800401F4);
  std::vector<std::pair<Text, HRESULT>> rows = {
      {kText, S_OK},
      {OLESTR("{1f0a7c51-3C11-4b1e-9a01-527d10446e01}"), S_OK},
      {OLESTR(""), kBadLength},
      {kText.substr(1, 36), kBadLength},
      {kText + OLESTR("x"), kBadLength},
      {OLESTR("No.Such.Class.1"), kBadLength}};
  const std::pair<std::size_t, OLECHAR> faults[] = {
      {0, '('}, {37, ' '}, {35, 'G'}, {9, '+'}, {36, 0x0131}};
  for (const auto& [place, fault] : faults) {
    Text text = kText;
    text[place] = fault;
    rows.emplace_back(text, kBadIid);
  }
  for (const auto& [text, result] : rows) {
    SCOPED_TRACE(std::string(text.begin(), text.end()));
    CLSID classId{1, 2, 3, {}};
    IID iid{1, 2, 3, {}};
    EXPECT_EQ(CLSIDFromString(text.c_str(), &classId), result == S_OK ? S_OK : CO_E_CLASSSTRING);
    EXPECT_EQ(IIDFromString(text.c_str(), &iid), result);
    EXPECT_TRUE(result != S_OK || (IsEqualGUID(classId, kGuid) && IsEqualGUID(iid, kGuid)));
  }
  GUID guid = kGuid;
  EXPECT_EQ(CLSIDFromString(nullptr, &guid), S_OK);
  EXPECT_TRUE(IsEqualGUID(guid, GUID_NULL));
  ExpectEach(E_INVALIDARG, {CLSIDFromString(kText.c_str(), nullptr), CoCreateGuid(nullptr)});
  if (!kEmbeddedHost) return;
  ExpectEach(E_INVALIDARG,
             {IIDFromString(kText.c_str(), nullptr), StringFromCLSID(kGuid, nullptr)});
  EXPECT_EQ(StringFromGUID2(kGuid, nullptr, 39), 0);
}

TEST(Identifiers, CreateGuid_GivesRandomIdentifiersThatDiffer) {
  GUID first{}, second{};
  ASSERT_EQ(CoCreateGuid(&first), S_OK);
  ASSERT_EQ(CoCreateGuid(&second), S_OK);
  EXPECT_FALSE(IsEqualGUID(first, second));
  EXPECT_EQ(first.Data3 >> 12, 4);
  EXPECT_EQ(first.Data4[0] >> 6, 2);
}

}  // namespace
}  // namespace tests
