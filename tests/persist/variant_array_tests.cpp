// Arrays of records: streams that end, and elements that cannot be replaced. The tests of vectors
// show failures that are passed over, and foreign code that changes the array while it is walked.
#include "persist/variant_arrays.h"

#include <gmock/gmock.h>

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

TEST(VariantArrays, Reading_EndsWithTheStream) {
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

TEST(VariantArrays, DeepCopies_MarkAnElementThatCannotBeReplaced) {
  std::vector<CComVariant> target = Numbers(3);
  target[1].vt = VT_ARRAY | VT_I4;
  target[1].parray = SafeArrayCreateVector(VT_I4, 0, 1);
  SAFEARRAY* const array = target[1].parray;
  SafeArrayLock(array);
  std::vector<CComVariant> source = Numbers(3);
  for (CComVariant& value : source) value.lVal += 7;
  EXPECT_THROW(rastel::GetRealCopyOfVariants(target, source, 3), rastel::CAtlException);
  EXPECT_THAT(TypesOf(target), ElementsAre(VT_I4, VT_ERROR, VT_I4));
  EXPECT_EQ(target[0].lVal, 7);
  EXPECT_EQ(target[1].scode, ResultCode(0x8002000Du));
  EXPECT_EQ(target[2].lVal, 2);
  SafeArrayUnlock(array);
  SafeArrayDestroy(array);
}

}  // namespace
}  // namespace tests
