// Arrays of records: failures that are passed over, streams that end, and foreign code that changes
// the array while it is walked.
#include "persist/variant_arrays.h"

#include <gmock/gmock.h>

#include "tests/persist/record_values.h"
#include "tests/persist/test_object.h"
#include "tests/support/debug_capture.h"
#include "tests/support/fault_stream.h"

namespace tests {
namespace {

using platform::ComPtr;
using platform::ResultCode;
using rastel::CComVariant;
using testing::ElementsAre;

constexpr HRESULT kFull = ResultCode(0x80030070u);
constexpr char kNotWritten[] = "ReadFromStream()->can't write element\r\n";
constexpr char kNotRead[] = "ReadFromStream()->can't read element\r\n";

// So many values VT_I4, numbered from 0.
std::vector<CComVariant> Numbers(std::size_t count) {
  std::vector<CComVariant> values(count);
  for (std::size_t i = 0; i < count; ++i) {
    values[i].vt = VT_I4;
    values[i].lVal = static_cast<LONG>(i);
  }
  return values;
}

std::vector<int> TypesOf(const std::vector<CComVariant>& values) {
  std::vector<int> types;
  for (const CComVariant& value : values) types.push_back(value.vt);
  return types;
}

class VariantArrays : public ObjectTest {};

TEST_F(VariantArrays, PassFailingElementsOver) {
  std::vector<CComVariant> values = Numbers(3);
  values[1].vt = VT_NULL;
  const ComPtr<IStream> stream = NewStream();
  DebugCapture debug;
  EXPECT_EQ(rastel::WriteVariantArray(stream.Get(), values), S_OK);
  EXPECT_EQ(ContentOf(stream.Get()), "03 00 03 00 00 00 00 00 01 00 01 00 03 00 03 00 02 00 00 00");
  EXPECT_THAT(debug.Texts(), ElementsAre(kNotWritten));
  debug.Clear();
  // The second record takes what follows for a text that is too long, and the stream goes back to
  // its second type word: there the third one begins.
  SeekTo(stream.Get(), 0);
  values = Numbers(3);
  EXPECT_EQ(rastel::ReadVariantArray(stream.Get(), values), S_OK);
  EXPECT_THAT(TypesOf(values), ElementsAre(VT_I4, VT_EMPTY, VT_I4));
  EXPECT_EQ(values[2].lVal, 0x20003);
  EXPECT_THAT(debug.Texts(), ElementsAre(kNotRead));
}

TEST_F(VariantArrays, Reading_EndsWithTheStream) {
  const struct {
    bool fails;
    std::size_t newFrom;
    // Of the element behind the last one that was tried.
    VARTYPE left, leftNew;
  } rows[] = {{false, 100000, VT_EMPTY, VT_EMPTY},
              {false, 90000, VT_EMPTY, VT_I4},
              {true, 100000, VT_I4, VT_I4}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    const ComPtr<IStream> inner = NewStream("03 00 03 00 07 00 00 00");
    FaultStream stream(inner.Get());
    if (row.fails) stream.FailFrom(StreamCall::kRead, 4, kFull);
    std::vector<CComVariant> values = Numbers(100000);
    DebugCapture debug;
    EXPECT_EQ(rastel::ReadVariantArray(&stream, values, row.newFrom), S_OK);
    EXPECT_EQ(values[0].lVal, 7);
    EXPECT_EQ(values[1].vt, row.left);
    EXPECT_EQ(values[65].vt, row.left);
    EXPECT_EQ(values[89999].vt, row.left);
    EXPECT_EQ(values[99999].vt, row.leftNew);
    EXPECT_EQ(debug.Texts().size(), 64u);
  }
  std::vector<CComVariant> values = Numbers(3);
  EXPECT_EQ(rastel::ReadPlainVariantArray(NewStream("03 00 07 00 00 00").Get(), values), E_FAIL);
  EXPECT_THAT(TypesOf(values), ElementsAre(VT_I4, VT_EMPTY, VT_I4));
}

}  // namespace
}  // namespace tests
