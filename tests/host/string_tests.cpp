#include <gtest/gtest.h>

#include "tests/host/allocation_count.h"
#include "tests/host/values.h"
#include "tests/support/host_kind.h"

namespace tests {
namespace {

// Bytes in front of and behind the text included: length word, text, zero unit.
std::string BytesAround(BSTR text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text);
  std::string shown;
  char hex[4];
  for (int i = -4; i < static_cast<int>(SysStringByteLen(text)) + 2; ++i) {
    std::snprintf(hex, sizeof(hex), "%02X ", bytes[i]);
    shown += hex;
  }
  return shown;
}

std::string TakeBytes(BSTR text) {
  std::string shown = text ? BytesAround(text) : "null";
  SysFreeString(text);
  return shown;
}

TEST(Strings, Alloc_LaysOutLengthTextAndTerminator) {
  const OLECHAR embedded[] = {'a', 0, 'b', 'c', 0};
  const struct {
    const char* name;
    BSTR text;
    const char* bytes;
  } rows[] = {
      {"null", SysAllocString(nullptr), "null"},
      {"empty", SysAllocString(OLESTR("")), "00 00 00 00 00 00 "},
      {"up to the zero", SysAllocString(embedded), "02 00 00 00 61 00 00 00 "},
      {"zeros kept", SysAllocStringLen(embedded, 4), "08 00 00 00 61 00 00 00 62 00 63 00 00 00 "},
      {"part of a text", SysAllocStringLen(OLESTR("xyz"), 2), "04 00 00 00 78 00 79 00 00 00 "},
      {"nothing of a text", SysAllocStringLen(OLESTR("xyz"), 0), "00 00 00 00 00 00 "},
      {"nothing of nothing", SysAllocStringLen(nullptr, 0), "00 00 00 00 00 00 "},
      {"odd bytes", SysAllocStringByteLen("abc", 3), "03 00 00 00 61 62 63 00 00 "},
      {"no bytes", SysAllocStringByteLen(nullptr, 0), "00 00 00 00 00 00 "}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(TakeBytes(row.text), row.bytes);
  }
}

TEST(Strings, Lengths_CountUnitsAndBytes) {
  BSTR seven = SysAllocStringByteLen(nullptr, 7);
  EXPECT_EQ(SysStringByteLen(seven), 7u);
  EXPECT_EQ(SysStringLen(seven), 3u);
  SysFreeString(seven);

  BSTR blank = SysAllocStringLen(nullptr, 5);
  EXPECT_EQ(SysStringLen(blank), 5u);
  EXPECT_EQ(SysStringByteLen(blank), 10u);
  EXPECT_EQ(blank[5], 0);
  SysFreeString(blank);

  EXPECT_EQ(SysStringLen(nullptr), 0u);
  EXPECT_EQ(SysStringByteLen(nullptr), 0u);
  SysFreeString(nullptr);
}

TEST(Strings, Alloc_LengthsBeyond32Bits_GiveNull) {
  for (UINT units : {0x7FFFFFFEu, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(SysAllocStringLen(nullptr, units), nullptr) << units;
  }
  EXPECT_EQ(SysAllocStringByteLen(nullptr, 0xFFFFFFFFu), nullptr);
}

TEST(Strings, Alloc_IsOneAlignedBlockZeroedWithoutText) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the embedded host's own promises";
  for (UINT units : {0u, 1u, 7u, 1000u}) {
    BSTR text = SysAllocStringLen(nullptr, units);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(text) % 16, 0u);
    EXPECT_EQ(OleText(text, units), OleText(units, 0));
    SysFreeString(text);
  }
  BSTR text = nullptr;
  const int blocks = CountAllocations([&] { text = SysAllocString(OLESTR("text")); });
  SysFreeString(text);
  if (blocks != kCannotCount) {
    EXPECT_EQ(blocks, 1);
  }
}

TEST(Strings, ReAlloc_ReplacesTheText) {
  BSTR text = SysAllocString(OLESTR("abcdef"));
  EXPECT_EQ(SysReAllocString(&text, OLESTR("xyz")), TRUE);
  EXPECT_EQ(Narrow(text), "xyz");
  EXPECT_EQ(SysReAllocStringLen(&text, OLESTR("0123456789"), 8), TRUE);
  EXPECT_EQ(Narrow(text), "01234567");
  EXPECT_EQ(SysReAllocStringLen(&text, text + 2, 3), TRUE) << "a part of itself";
  EXPECT_EQ(Narrow(text), "234");
  EXPECT_EQ(SysReAllocStringLen(&text, nullptr, 5), TRUE) << "resized";
  EXPECT_EQ(SysStringLen(text), 5u);
  EXPECT_EQ(OleText(text, 3), Widen("234"));
  EXPECT_EQ(text[5], 0);
  EXPECT_EQ(SysReAllocString(&text, nullptr), TRUE);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(SysReAllocString(nullptr, OLESTR("x")), FALSE);

  text = SysAllocString(OLESTR("kept"));
  EXPECT_EQ(SysReAllocStringLen(&text, nullptr, 0xFFFFFFFFu), FALSE);
  EXPECT_EQ(Narrow(text), "kept");
  SysFreeString(text);
}

}  // namespace
}  // namespace tests
