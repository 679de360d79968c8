// The value services with each of their allocations refused in turn: the result says so, nothing is
// half done, nothing leaks (which a sanitized build reports).
#include <gtest/gtest.h>

#include "tests/rows/values.h"
#include "tests/support/allocation_faults.h"

namespace tests {
namespace {

SAFEARRAY* NestedArray(CountedObject* object) {
  SAFEARRAY* texts = SafeArrayCreateVector(VT_BSTR, 0, 2);
  static_cast<BSTR*>(texts->pvData)[1] = NewText("text");
  SAFEARRAY* array = SafeArrayCreateVector(VT_VARIANT, 0, 3);
  auto* elements = static_cast<VARIANT*>(array->pvData);
  elements[0] = object->AsVariant(VT_UNKNOWN);
  elements[1] = Array(VT_BSTR, texts);
  elements[2] = Text("last");
  return array;
}

TEST(ValueFaults, CopyingNestedArrays_LeavesSourceAndTarget) {
  CountedObject object;
  Value source(Array(VT_VARIANT, NestedArray(&object)));
  Value target(Bits(VT_I4, 7));
  auto* inner = static_cast<VARIANT*>(source->parray->pvData)[1].parray;
  const int refused = FailEachAllocation([&] { return VariantCopy(&target, &source); },
                                         [&](HRESULT hr, long long) {
                                           EXPECT_EQ(hr, E_OUTOFMEMORY);
                                           EXPECT_EQ(Show(*target), "7");
                                           EXPECT_EQ(source->parray->cLocks, 0u);
                                           EXPECT_EQ(inner->cLocks, 0u);
                                           EXPECT_EQ(object.references, 1);
                                         });
  EXPECT_EQ(refused, 6) << "two arrays of two blocks and two texts";
  EXPECT_EQ(object.references, 2);
}

TEST(ValueFaults, ElementsAndResizing_KeepTheArray) {
  CountedObject object;
  Value array(Array(VT_VARIANT, NestedArray(&object)));
  LONG index = 0;
  const VARIANT fresh = Text("fresh");
  Value value(fresh), read;
  const auto expectNoMemory = [&](HRESULT hr, long long) {
    EXPECT_EQ(hr, E_OUTOFMEMORY);
    EXPECT_EQ(array->parray->rgsabound[0].cElements, 3u);
    EXPECT_EQ(array->parray->cLocks, 0u);
    EXPECT_EQ(object.references, 1);
    EXPECT_EQ(read->vt, VT_EMPTY);
  };
  EXPECT_EQ(FailEachAllocation([&] { return SafeArrayPutElement(array->parray, &index, &value); },
                               expectNoMemory),
            1);
  EXPECT_EQ(object.references, 0);
  object.AddRef();
  EXPECT_EQ(FailEachAllocation([&] { return SafeArrayGetElement(array->parray, &index, &read); },
                               expectNoMemory),
            1);
  VariantClear(&read);
  for (ULONG elements : {1u, 9u}) {
    SAFEARRAYBOUND bound{elements, 5};
    AllocationFaults faults(0);
    const HRESULT hr = SafeArrayRedim(array->parray, &bound);
    faults.Stop();
    expectNoMemory(hr, 0);
    EXPECT_EQ(array->parray->rgsabound[0].lLbound, 0);
  }
}

TEST(ValueFaults, ConvertingToText_KeepsTheVariant) {
  for (const VARIANT& row : {Bits(VT_I4, 5), Real(0.5), Typed(VT_EMPTY), Typed(VT_BSTR)}) {
    VARIANT value = row;
    EXPECT_EQ(FailEachAllocation([&] { return VariantChangeType(&value, &value, 0, VT_BSTR); },
                                 [&](HRESULT hr, long long) {
                                   EXPECT_EQ(hr, E_OUTOFMEMORY);
                                   EXPECT_EQ(value.vt, row.vt);
                                 }),
              1);
    VariantClear(&value);
  }
}

TEST(ValueFaults, ReallocatingText_KeepsTheText) {
  BSTR text = NewText("kept");
  for (const OLECHAR* fresh : {OLESTR("longer text"), static_cast<const OLECHAR*>(nullptr)}) {
    AllocationFaults faults(0);
    const INT done = SysReAllocStringLen(&text, fresh, 9);
    faults.Stop();
    EXPECT_EQ(done, FALSE);
    EXPECT_EQ(Narrow(text), "kept");
  }
  SysFreeString(text);
}

}  // namespace
}  // namespace tests
