#include "tests/host/values.h"
#include "tests/support/streams.h"

namespace tests {
namespace {

TEST(Strings, Alloc_LaysOutLengthTextAndTerminator) {
  const OLECHAR embedded[] = {'a', 0, 'b', 'c', 0};
  const struct {
    BSTR text;
    const char* bytes;
    UINT units;
  } rows[] = {{SysAllocString(OLESTR("")), "00 00 00 00 00 00", 0},
              {SysAllocString(embedded), "02 00 00 00 61 00 00 00", 1},
              {SysAllocStringLen(embedded, 4), "08 00 00 00 61 00 00 00 62 00 63 00 00 00", 4},
              {SysAllocStringLen(OLESTR("xyz"), 2), "04 00 00 00 78 00 79 00 00 00", 2},
              {SysAllocStringByteLen("abc", 3), "03 00 00 00 61 62 63 00 00", 1},
              {SysAllocStringByteLen(nullptr, 0), "00 00 00 00 00 00", 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.bytes);
    const UINT bytes = SysStringByteLen(row.text);
    EXPECT_EQ(HexOf(reinterpret_cast<const BYTE*>(row.text) - 4, bytes + 6), row.bytes);
    EXPECT_EQ(SysStringLen(row.text), row.units);
    SysFreeString(row.text);
  }
  EXPECT_EQ(SysAllocString(nullptr), nullptr);
  EXPECT_EQ(SysStringLen(nullptr), 0u);
  EXPECT_EQ(SysStringByteLen(nullptr), 0u);
  SysFreeString(nullptr);
  for (UINT units : {0x7FFFFFFEu, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(SysAllocStringLen(nullptr, units), nullptr) << units;
  }
  EXPECT_EQ(SysAllocStringByteLen(nullptr, 0xFFFFFFFFu), nullptr);
}

TEST(Strings, ReAlloc_ReplacesTheText) {
  BSTR text = SysAllocString(OLESTR("abcdef"));
  EXPECT_EQ(SysReAllocString(&text, OLESTR("01234")), TRUE);
  EXPECT_EQ(Narrow(text), "01234");
  EXPECT_EQ(SysReAllocStringLen(&text, text + 2, 3), TRUE) << "a part of itself";
  EXPECT_EQ(Narrow(text), "234");
  EXPECT_EQ(SysReAllocStringLen(&text, nullptr, 5), TRUE) << "resized";
  EXPECT_EQ(SysStringLen(text), 5u);
  EXPECT_EQ(OleText(text, 3), Widen("234"));
  EXPECT_EQ(SysReAllocStringLen(&text, nullptr, 0xFFFFFFFFu), FALSE);
  EXPECT_EQ(OleText(text, 3), Widen("234"));
  EXPECT_EQ(SysReAllocString(&text, nullptr), TRUE);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(SysReAllocString(nullptr, OLESTR("x")), FALSE);
}

}  // namespace
}  // namespace tests
