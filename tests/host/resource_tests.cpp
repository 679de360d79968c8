#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <string_view>

#include "platform/platform.h"
#include "tests/support/allocation_faults.h"

namespace tests {
namespace {

constexpr WORD kGerman = 0x0407;
constexpr WORD kEnglish = 0x0409;
constexpr HRESULT kNoRows = platform::ResultCode(0x80070714);
constexpr HRESULT kNoType = platform::ResultCode(0x80070715);
constexpr HRESULT kNoNumber = platform::ResultCode(0x80070716);

template <std::size_t kUnits>
constexpr HostResource StringRow(UINT number, const OLECHAR (&text)[kUnits]) {
  return {nullptr, kHostStringResourceType,
          number,  kEnglish,
          text,    static_cast<DWORD>((kUnits - 1) * sizeof(OLECHAR))};
}

constexpr char kScript[] = "HKCR {}";
const HostResource kRows[] = {
    {OLESTR("REGISTRY"), 0, 101, kGerman, kScript, sizeof(kScript) - 1},
    {nullptr, 2, 100, kGerman, kScript, 4},
    StringRow(100, OLESTR("RastelKLP")),
    StringRow(7, OLESTR("  \u00FCber\n ")),
    StringRow(8, OLESTR("\xD800x")),
    StringRow(9, OLESTR("")),
};

class Resources : public testing::Test {
 protected:
  // A module that is loaded cannot say that memory is missing, so none is needed.
  void SetUp() override {
    const AllocationFaults faults(0);
    ASSERT_EQ(HostAddResources(&rows_), S_OK);
  }
  void TearDown() override { HostRemoveResources(&rows_); }

  const HINSTANCE module_ = HostModuleOf(kRows);
  HostResourceRows rows_{module_, kRows, std::size(kRows), nullptr};
};

TEST_F(Resources, Find_ComparesTypeAndNumber) {
  const struct {
    LPCOLESTR type;
    UINT typeNumber, number;
    HRESULT result;
    HostResource expected;
  } rows[] = {{OLESTR("registry"), 0, 101, S_OK, kRows[0]},
              {nullptr, 2, 100, S_OK, kRows[1]},
              {nullptr, 6, 100, S_OK, kRows[2]},
              {OLESTR("REGISTRY"), 0, 100, kNoNumber, {}},
              {OLESTR("REG"), 0, 101, kNoType, {}},
              {nullptr, 3, 100, kNoType, {}}};
  for (const auto& [type, typeNumber, number, result, expected] : rows) {
    HostResource found{OLESTR("?"), 1, 1, 1, this, 1};
    EXPECT_EQ(HostFindResource(module_, type, typeNumber, number, &found), result);
    EXPECT_TRUE(found.bytes == expected.bytes && found.size == expected.size);
  }
  EXPECT_EQ(HostFindResource(module_, nullptr, 6, 100, nullptr), E_POINTER);
}

TEST_F(Resources, Strings_AreCutBehindTheLastWholeCharacter) {
  const struct {
    UINT number;
    int room;
    int result;
    std::string_view text;
  } rows[] = {{100, 100, 9, "RastelKLP"},    {100, 9, 8, "RastelKL"}, {100, 1, 0, ""},
              {7, 100, 9, "  \u00FCber\n "}, {7, 5, 4, "  \u00FC"},   {7, 4, 2, "  "},
              {8, 100, 4, "\uFFFDx"},        {9, 100, 0, ""}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.number << " into " << row.room);
    std::string buffer(101, '#');
    EXPECT_EQ(LoadStringA(module_, row.number, buffer.data(), row.room), row.result);
    EXPECT_EQ(std::string_view(buffer.c_str()), row.text);
    EXPECT_EQ(buffer[row.text.size() + 1], '#');
  }
  char untouched = '#';
  EXPECT_EQ(LoadStringA(module_, 100, &untouched, 0), -1);
  EXPECT_EQ(LoadStringA(module_, 100, &untouched, -5), 0);
  EXPECT_EQ(LoadStringA(module_, 100, nullptr, 5), 0);
  EXPECT_EQ(untouched, '#');
}

TEST_F(Resources, Rows_BelongToOneModuleUntilTheyAreRemoved) {
  const auto another = reinterpret_cast<HINSTANCE>(this);
  HostResourceRows bad[] = {{module_, kRows, 1, nullptr},
                            {nullptr, kRows, 1, nullptr},
                            {another, nullptr, 1, nullptr},
                            {another, kRows, 0, nullptr}};
  for (HostResourceRows& rows : bad) EXPECT_EQ(HostAddResources(&rows), E_INVALIDARG);
  HostResource found{};
  EXPECT_EQ(HostFindResource(another, nullptr, 6, 100, &found), kNoRows);
  EXPECT_EQ(HostRemoveResources(&bad[0]), S_FALSE);
  EXPECT_EQ(HostRemoveResources(&rows_), S_OK);
  EXPECT_EQ(HostFindResource(module_, nullptr, 6, 100, &found), kNoRows);
}

TEST(Modules, FileNames_AreFullPaths) {
  OLECHAR text[4096];
  const DWORD units = GetModuleFileNameW(nullptr, text, 4096);
  ASSERT_GT(units, 1u);
  EXPECT_EQ(text[0], '/');
  EXPECT_EQ(GetModuleFileNameW(HostModuleOf(kRows), text, 4096), units);
  EXPECT_EQ(GetModuleFileNameW(nullptr, text, 3), 3u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(text[2], 0);
  int local = 0;
  EXPECT_EQ(HostModuleOf(&local), nullptr);
  EXPECT_EQ(GetModuleFileNameW(reinterpret_cast<HMODULE>(&local), text, 4096), 0u);
}

}  // namespace
}  // namespace tests
