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

// The array is gone, shorter or has other values when a foreign call returns.
TEST_F(VariantArrays, MayBeChangedByWhatTheyCall) {
  Register();
  script_.data = "A1";
  const ComPtr<IStream> records = NewStream();
  std::vector<CComVariant> values(4);
  const auto fill = [&] {
    values.clear();
    for (int i = 0; i < 4; ++i) values.push_back(NewValue());
  };
  fill();
  rastel::WriteVariantArray(records.Get(), values);
  const std::function<void()> changes[] = {
      [&] { values = {}; },
      [&] { values.resize(1), values.shrink_to_fit(); },
      [&] { values.resize(values.size() + 5), values.shrink_to_fit(); },
      [&] {
        for (CComVariant& value : values) value = TextValue(OLESTR("x"), 1);
      },
  };
  for (const auto& change : changes) {
    SCOPED_TRACE(&change - changes);
    for (int call = 1; call <= 6; ++call) {
      // The first calls of Save and Load, then the first releases.
      const bool onRelease = call > 3;
      int left = 0;
      const auto once = [&] {
        if (--left == 0) change();
      };
      const auto start = [&] {
        script_.onSave = script_.onLoad = script_.onRelease = nullptr;
        left = onRelease ? call - 3 : call;
        fill();
        if (onRelease) {
          script_.onRelease = once;
        } else {
          script_.onSave = script_.onLoad = once;
        }
      };
      start();
      rastel::WriteVariantArray(NewStream().Get(), values);
      start();
      SeekTo(records.Get(), 0);
      rastel::ReadVariantArray(records.Get(), values);
      std::vector<CComVariant> copies = Numbers(4);
      start();
      rastel::GetRealCopyOfVariants(copies, values, 4);
      rastel::GetRealCopyOfVariants(values, copies, 4);
      script_.onSave = script_.onLoad = script_.onRelease = nullptr;
      values.clear();
      copies.clear();
      EXPECT_EQ(script_.objects, 0);
    }
  }
}

TEST_F(VariantArrays, MayBeChangedByTheStream) {
  const ComPtr<IStream> records = NewStream();
  std::vector<CComVariant> values;
  const auto fill = [&] {
    values.clear();
    for (int i = 0; i < 2; ++i) {
      values.push_back(TextValue(OLESTR("text"), 4));
      values.push_back(NewValue());
    }
  };
  Register();
  script_.data = "A1";
  fill();
  rastel::WriteVariantArray(records.Get(), values);
  for (ULONG number = 1; number <= 24; ++number) {
    for (const bool reads : {false, true}) {
      const ComPtr<IStream> inner = NewStream();
      FaultStream stream(reads ? records.Get() : inner.Get());
      SeekTo(records.Get(), 0);
      fill();
      stream.onCall = [&] {
        if (stream.Calls(StreamCall::kEvery) + 1 == number) values = std::vector<CComVariant>(2);
      };
      if (reads) {
        rastel::ReadVariantArray(&stream, values);
      } else {
        rastel::WriteVariantArray(&stream, values);
      }
      EXPECT_EQ(values.size(), stream.Calls(StreamCall::kEvery) < number ? 4u : 2u);
    }
  }
}

TEST_F(VariantArrays, DeepCopies_MarkAnElementThatCannotBeReplaced) {
  const std::vector<CComVariant> source = Numbers(3);
  std::vector<CComVariant> target = Numbers(3);
  SAFEARRAY* const array = SafeArrayCreateVector(VT_I4, 0, 1);
  SafeArrayLock(array);
  target[0].lVal = 9;
  target[1].vt = VT_ARRAY | VT_I4;
  target[1].parray = array;
  target[2].lVal = 9;
  HRESULT raised = S_OK;
  try {
    rastel::GetRealCopyOfVariants(target, source, 3);
  } catch (const rastel::CAtlException& error) {
    raised = error;
  }
  EXPECT_EQ(raised, ResultCode(0x8002000Du));
  EXPECT_EQ(target[0].lVal, 0);
  EXPECT_EQ(target[1].vt, VT_ERROR);
  EXPECT_EQ(target[1].scode, ResultCode(0x8002000Du));
  EXPECT_EQ(target[2].lVal, 9);
  SafeArrayUnlock(array);
  SafeArrayDestroy(array);
}

}  // namespace
}  // namespace tests
