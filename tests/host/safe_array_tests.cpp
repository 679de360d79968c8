#include <gtest/gtest.h>

#include <vector>

#include "tests/host/values.h"
#include "tests/support/host_kind.h"

namespace tests {
namespace {

SAFEARRAY* NewVector(VARTYPE type, ULONG elements) {
  return SafeArrayCreateVector(type, 0, elements);
}

template <class T>
T* DataOf(SAFEARRAY* array) {
  return static_cast<T*>(array->pvData);
}

TEST(SafeArrays, Create_EveryType_GivesFeaturesAndSizesOrNull) {
  const struct {
    VARTYPE type;
    USHORT features;
    ULONG elementBytes;
  } rows[] = {{VT_I2, 0x0080, 2},       {VT_I4, 0x0080, 4},       {VT_R4, 0x0080, 4},
              {VT_R8, 0x0080, 8},       {VT_CY, 0x0080, 8},       {VT_DATE, 0x0080, 8},
              {VT_BSTR, 0x0180, 8},     {VT_DISPATCH, 0x0440, 8}, {VT_ERROR, 0x0080, 4},
              {VT_BOOL, 0x0080, 2},     {VT_VARIANT, 0x0880, 24}, {VT_UNKNOWN, 0x0240, 8},
              {VT_DECIMAL, 0x0080, 16}, {VT_I1, 0x0080, 1},       {VT_UI1, 0x0080, 1},
              {VT_UI2, 0x0080, 2},      {VT_UI4, 0x0080, 4},      {VT_I8, 0x0080, 8},
              {VT_UI8, 0x0080, 8},      {VT_INT, 0x0080, 4},      {VT_UINT, 0x0080, 4},
              {VT_INT_PTR, 0x0080, 8},  {VT_UINT_PTR, 0x0080, 8}};
  std::vector<bool> makes(0x10000, false);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.type);
    makes[row.type] = true;
    SAFEARRAYBOUND bound{3, -1};
    SAFEARRAY* array = SafeArrayCreate(row.type, 1, &bound);
    ASSERT_NE(array, nullptr);
    VARTYPE type = 0;
    EXPECT_EQ(SafeArrayGetVartype(array, &type), S_OK);
    EXPECT_EQ(type, row.type);
    EXPECT_EQ(array->fFeatures, row.features);
    EXPECT_EQ(SafeArrayGetElemsize(array), row.elementBytes);
    EXPECT_EQ(std::string(DataOf<char>(array), 3 * row.elementBytes),
              std::string(3 * row.elementBytes, '\0'));
    SAFEARRAY* copy = nullptr;
    EXPECT_EQ(SafeArrayCopy(array, &copy), S_OK);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(SafeArrayGetVartype(copy, &type), S_OK);
    EXPECT_EQ(type, row.type);
    EXPECT_EQ(copy->fFeatures, row.features);
    EXPECT_EQ(copy->rgsabound[0].lLbound, -1);
    EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
  }
  for (unsigned type : {0u, 1u, 15u, 24u, 25u, 30u, 31u, 35u, 36u, 39u, 40u, 64u, 72u, 0xFFFu,
                        0x2003u, 0x4003u, 0x1003u, 0x8003u, 0x200Cu}) {
    ASSERT_FALSE(makes[type]);
    EXPECT_EQ(NewVector(static_cast<VARTYPE>(type), 1), nullptr) << type;
  }
}

TEST(SafeArrays, Create_ImpossibleShapes_GiveNull) {
  SAFEARRAYBOUND one{1, 0};
  EXPECT_EQ(SafeArrayCreate(VT_I4, 0, &one), nullptr);
  EXPECT_EQ(SafeArrayCreate(VT_I4, 1, nullptr), nullptr);
  // The measured platform multiplies in 32 bits and makes arrays that are too small.
  if (!kEmbeddedHost) return;
  const ULONG big = 0xFFFFFFFFu;
  SAFEARRAYBOUND bounds[] = {{big, 0}, {big, 0}, {big, 0}};
  for (UINT dimensions : {2u, 3u}) {
    EXPECT_EQ(SafeArrayCreate(VT_UI1, dimensions, bounds), nullptr) << dimensions;
  }
  for (VARTYPE type : {VT_I2, VT_R8, VT_BSTR, VT_VARIANT}) {
    EXPECT_EQ(NewVector(type, big), nullptr) << type;
  }
  SAFEARRAYBOUND wraps[] = {{0x10000, 0}, {0x10000, 0}};
  EXPECT_EQ(SafeArrayCreate(VT_UI1, 2, wraps), nullptr);
  std::vector<SAFEARRAYBOUND> many(0x10000, one);
  EXPECT_EQ(SafeArrayCreate(VT_I4, 0x10000, many.data()), nullptr);
  SAFEARRAY* widest = SafeArrayCreate(VT_I4, 0xFFFF, many.data());
  EXPECT_EQ(SafeArrayGetDim(widest), 0xFFFFu);
  EXPECT_EQ(SafeArrayDestroy(widest), S_OK);
}

TEST(SafeArrays, WithoutElements_IsAValidArray) {
  SAFEARRAY* array = NewVector(VT_VARIANT, 0);
  ASSERT_NE(array, nullptr);
  LONG lower = 9, upper = 9, index = 0;
  void* data = nullptr;
  EXPECT_EQ(SafeArrayGetDim(array), 1u);
  EXPECT_EQ(SafeArrayGetLBound(array, 1, &lower), S_OK);
  EXPECT_EQ(SafeArrayGetUBound(array, 1, &upper), S_OK);
  EXPECT_EQ(lower, 0);
  EXPECT_EQ(upper, -1);
  EXPECT_EQ(SafeArrayPtrOfIndex(array, &index, &data), DISP_E_BADINDEX);
  EXPECT_NE(array->pvData, nullptr);
  EXPECT_EQ(SafeArrayAccessData(array, &data), S_OK);
  EXPECT_NE(data, nullptr);
  EXPECT_EQ(SafeArrayUnaccessData(array), S_OK);
  EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(SafeArrays, NullAndDimensionsOutside_AreRefused) {
  SAFEARRAY* array = NewVector(VT_I4, 2);
  LONG bound = 0, index = 0, value = 0;
  VARTYPE type = 0;
  void* data = nullptr;
  SAFEARRAYBOUND newBound{1, 0};
  const struct {
    const char* name;
    HRESULT actual, expected;
  } rows[] = {{"lower of 0", SafeArrayGetLBound(array, 0, &bound), DISP_E_BADINDEX},
              {"lower of 2", SafeArrayGetLBound(array, 2, &bound), DISP_E_BADINDEX},
              {"upper of 0", SafeArrayGetUBound(array, 0, &bound), DISP_E_BADINDEX},
              {"upper of 2", SafeArrayGetUBound(array, 2, &bound), DISP_E_BADINDEX},
              {"lower of null", SafeArrayGetLBound(nullptr, 1, &bound), E_INVALIDARG},
              {"upper of null", SafeArrayGetUBound(nullptr, 1, &bound), E_INVALIDARG},
              {"lower to null", SafeArrayGetLBound(array, 1, nullptr), E_INVALIDARG},
              {"type of null", SafeArrayGetVartype(nullptr, &type), E_INVALIDARG},
              {"lock null", SafeArrayLock(nullptr), E_INVALIDARG},
              {"unlock null", SafeArrayUnlock(nullptr), E_INVALIDARG},
              {"access null", SafeArrayAccessData(nullptr, &data), E_INVALIDARG},
              {"access to null", SafeArrayAccessData(array, nullptr), E_INVALIDARG},
              {"unaccess null", SafeArrayUnaccessData(nullptr), E_INVALIDARG},
              {"redim null", SafeArrayRedim(nullptr, &newBound), E_INVALIDARG},
              {"redim to null", SafeArrayRedim(array, nullptr), E_INVALIDARG},
              {"put into null", SafeArrayPutElement(nullptr, &index, &value), E_INVALIDARG},
              {"put at null", SafeArrayPutElement(array, nullptr, &value), E_INVALIDARG},
              {"get from null", SafeArrayGetElement(nullptr, &index, &value), E_INVALIDARG},
              {"get at null", SafeArrayGetElement(array, nullptr, &value), E_INVALIDARG},
              {"copy to null", SafeArrayCopy(array, nullptr), E_INVALIDARG},
              {"destroy null", SafeArrayDestroy(nullptr), S_OK}};
  for (const auto& row : rows) EXPECT_EQ(row.actual, row.expected) << row.name;
  EXPECT_EQ(SafeArrayGetDim(nullptr), 0u);
  EXPECT_EQ(SafeArrayGetElemsize(nullptr), 0u);
  EXPECT_EQ(array->cLocks, 0u);
  SAFEARRAY* copy = array;
  EXPECT_EQ(SafeArrayCopy(nullptr, &copy), S_OK);
  EXPECT_EQ(copy, nullptr);
  SafeArrayDestroy(array);
}

TEST(SafeArrays, Locks_CountAndRefuseResizingAndDestroying) {
  SAFEARRAY* array = NewVector(VT_I4, 2);
  void* data = nullptr;
  SAFEARRAYBOUND bound{5, 1};
  LONG index = 1, five = 5, read = 0;
  EXPECT_EQ(SafeArrayUnlock(array), E_UNEXPECTED);
  EXPECT_EQ(SafeArrayUnaccessData(array), E_UNEXPECTED);
  EXPECT_EQ(SafeArrayLock(array), S_OK);
  EXPECT_EQ(SafeArrayAccessData(array, &data), S_OK);
  EXPECT_EQ(data, array->pvData);
  EXPECT_EQ(array->cLocks, 2u);
  EXPECT_EQ(SafeArrayUnlock(array), S_OK);
  EXPECT_EQ(SafeArrayRedim(array, &bound), DISP_E_ARRAYISLOCKED);
  EXPECT_EQ(SafeArrayDestroy(array), DISP_E_ARRAYISLOCKED);
  EXPECT_EQ(array->rgsabound[0].cElements, 2u);
  EXPECT_EQ(array->rgsabound[0].lLbound, 0);
  EXPECT_EQ(SafeArrayPutElement(array, &index, &five), S_OK);
  EXPECT_EQ(SafeArrayGetElement(array, &index, &read), S_OK);
  EXPECT_EQ(read, 5);
  EXPECT_EQ(array->cLocks, 1u);
  array->cLocks = 0xFFFF;
  EXPECT_EQ(SafeArrayLock(array), E_UNEXPECTED);
  EXPECT_EQ(array->cLocks, 0xFFFFu);
  array->cLocks = 0;
  EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(SafeArrays, IndexOutside_IsBadIndex) {
  SAFEARRAYBOUND bounds[] = {{3, 1}, {4, -2}};
  SAFEARRAY* array = SafeArrayCreate(VT_I4, 2, bounds);
  const struct {
    LONG indices[2];
    int element;  // -1 outside
  } rows[] = {{{1, -2}, 0},
              {{3, -2}, 2},
              {{1, -1}, 3},
              {{2, 0}, 7},
              {{3, 1}, 11},
              {{0, -2}, -1},
              {{4, -2}, -1},
              {{1, -3}, -1},
              {{1, 2}, -1},
              {{static_cast<LONG>(0x80000000u), 0}, -1},
              {{0x7FFFFFFF, 0x7FFFFFFF}, -1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.indices[0] << "," << row.indices[1]);
    LONG indices[] = {row.indices[0], row.indices[1]};
    const HRESULT expected = row.element < 0 ? DISP_E_BADINDEX : S_OK;
    void* place = nullptr;
    LONG value = row.element + 100;
    EXPECT_EQ(SafeArrayPtrOfIndex(array, indices, &place), expected);
    if (row.element >= 0) {
      EXPECT_EQ(place, DataOf<LONG>(array) + row.element);
    }
    EXPECT_EQ(SafeArrayPutElement(array, indices, &value), expected);
    if (row.element >= 0) {
      EXPECT_EQ(DataOf<LONG>(array)[row.element], value);
    }
    EXPECT_EQ(SafeArrayGetElement(array, indices, &value), expected);
    EXPECT_EQ(array->cLocks, 0u);
  }
  LONG lower = 0, upper = 0;
  EXPECT_EQ(SafeArrayGetLBound(array, 2, &lower), S_OK);
  EXPECT_EQ(SafeArrayGetUBound(array, 1, &upper), S_OK);
  EXPECT_EQ(lower, -2);
  EXPECT_EQ(upper, 3);
  SafeArrayDestroy(array);
}

TEST(SafeArrays, Redim_KeepsTheFront) {
  SAFEARRAY* array = NewVector(VT_I4, 3);
  for (int i = 0; i < 3; ++i) DataOf<LONG>(array)[i] = i + 1;
  const struct {
    SAFEARRAYBOUND bound;
    std::vector<LONG> elements;
  } rows[] = {{{5, -7}, {1, 2, 3, 0, 0}},
              {{2, 3}, {1, 2}},
              {{4, 0}, {1, 2, 0, 0}},
              {{0, 0}, {}},
              {{2, 0}, {0, 0}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.bound.cElements);
    SAFEARRAYBOUND bound = row.bound;
    ASSERT_EQ(SafeArrayRedim(array, &bound), S_OK);
    LONG lower = 0;
    EXPECT_EQ(SafeArrayGetLBound(array, 1, &lower), S_OK);
    EXPECT_EQ(lower, row.bound.lLbound);
    ASSERT_NE(array->pvData, nullptr);
    EXPECT_EQ(std::vector<LONG>(DataOf<LONG>(array), DataOf<LONG>(array) + bound.cElements),
              row.elements);
  }
  if (kEmbeddedHost) {
    SAFEARRAYBOUND huge{0xFFFFFFFFu, 9};
    EXPECT_EQ(SafeArrayRedim(array, &huge), E_OUTOFMEMORY);
    EXPECT_EQ(array->rgsabound[0].cElements, 2u);
    EXPECT_EQ(array->rgsabound[0].lLbound, 0);
  }
  SafeArrayDestroy(array);

  SAFEARRAYBOUND bounds[] = {{2, 0}, {3, 0}};
  array = SafeArrayCreate(VT_I4, 2, bounds);
  DataOf<LONG>(array)[1] = 7;
  SAFEARRAYBOUND last{2, 10};
  EXPECT_EQ(SafeArrayRedim(array, &last), S_OK) << "the last dimension";
  LONG indices[] = {1, 10}, value = 0;
  EXPECT_EQ(SafeArrayGetElement(array, indices, &value), S_OK);
  EXPECT_EQ(value, 7);
  SafeArrayDestroy(array);
}

TEST(SafeArrays, Redim_ByOneFromNothing_WorksForEveryGrowth) {
  SAFEARRAY* array = NewVector(VT_BSTR, 0);
  for (ULONG count = 1; count <= 300; ++count) {
    SAFEARRAYBOUND bound{count, 0};
    ASSERT_EQ(SafeArrayRedim(array, &bound), S_OK);
    ASSERT_EQ(SafeArrayLock(array), S_OK);
    ASSERT_EQ(DataOf<BSTR>(array)[count - 1], nullptr);
    DataOf<BSTR>(array)[count - 1] = NewText(std::to_string(count));
    ASSERT_EQ(SafeArrayUnlock(array), S_OK);
  }
  EXPECT_EQ(Narrow(DataOf<BSTR>(array)[0]), "1");
  EXPECT_EQ(Narrow(DataOf<BSTR>(array)[299]), "300");
  SafeArrayDestroy(array);
}

TEST(SafeArrays, DroppedAndDestroyedElements_AreReleased) {
  for (VARTYPE type : {VT_UNKNOWN, VT_DISPATCH, VT_VARIANT}) {
    SCOPED_TRACE(type);
    CountedObject object;
    SAFEARRAY* array = NewVector(type, 4);
    VARIANT value = object.AsVariant(VT_UNKNOWN);
    for (LONG i = 0; i < 4; ++i) {
      void* argument = type == VT_VARIANT ? static_cast<void*>(&value) : &object;
      EXPECT_EQ(SafeArrayPutElement(array, &i, argument), S_OK);
    }
    EXPECT_EQ(object.references, 5);
    SAFEARRAYBOUND bound{1, 0};
    EXPECT_EQ(SafeArrayRedim(array, &bound), S_OK);
    EXPECT_EQ(object.references, 2);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
    EXPECT_EQ(object.references, 1);
  }
}

TEST(SafeArrays, Texts_AreStoredAndFetchedAsCopies) {
  SAFEARRAY* array = NewVector(VT_BSTR, 3);
  BSTR odd = SysAllocStringByteLen("abc", 3);
  BSTR read = nullptr;
  LONG index = 0;
  EXPECT_EQ(SafeArrayPutElement(array, &index, odd), S_OK);
  EXPECT_EQ(SafeArrayPutElement(array, &index, odd), S_OK) << "over itself";
  EXPECT_NE(DataOf<BSTR>(array)[0], odd);
  EXPECT_EQ(SafeArrayGetElement(array, &index, &read), S_OK);
  ASSERT_EQ(SysStringByteLen(read), 3u);
  EXPECT_EQ(std::memcmp(read, "abc", 3), 0);
  EXPECT_NE(read, DataOf<BSTR>(array)[0]);
  SysFreeString(read);
  SysFreeString(odd);

  index = 1;
  EXPECT_EQ(SafeArrayPutElement(array, &index, nullptr), S_OK);
  EXPECT_EQ(SafeArrayGetElement(array, &index, &read), S_OK);
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(SysStringByteLen(read), 0u);
  SysFreeString(read);

  index = 2;
  EXPECT_EQ(SafeArrayGetElement(array, &index, &read), S_OK);
  EXPECT_EQ(read, nullptr) << "never set";

  SAFEARRAY* copy = nullptr;
  EXPECT_EQ(SafeArrayCopy(array, &copy), S_OK);
  EXPECT_NE(DataOf<BSTR>(copy)[0], DataOf<BSTR>(array)[0]);
  EXPECT_EQ(SysStringByteLen(DataOf<BSTR>(copy)[0]), 3u);
  EXPECT_EQ(DataOf<BSTR>(copy)[2], nullptr);
  SafeArrayDestroy(copy);
  SafeArrayDestroy(array);
}

TEST(SafeArrays, Interfaces_AreCounted) {
  CountedObject object;
  SAFEARRAY* array = NewVector(VT_UNKNOWN, 2);
  LONG index = 0;
  EXPECT_EQ(SafeArrayPutElement(array, &index, &object), S_OK);
  EXPECT_EQ(object.references, 1);
  IUnknown* read = nullptr;
  EXPECT_EQ(SafeArrayGetElement(array, &index, &read), S_OK);
  EXPECT_EQ(read, &object);
  EXPECT_EQ(object.references, 2);
  SAFEARRAY* copy = nullptr;
  EXPECT_EQ(SafeArrayCopy(array, &copy), S_OK);
  EXPECT_EQ(object.references, 3);
  EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
  read->Release();
  EXPECT_EQ(SafeArrayPutElement(array, &index, nullptr), S_OK);
  EXPECT_EQ(object.references, 0);
  SafeArrayDestroy(array);
}

TEST(SafeArrays, Variants_AreCopiedAsVariantCopyDoes) {
  SAFEARRAY* array = NewVector(VT_VARIANT, 3);
  LONG number = 7;
  Value text(Text("text")), reference(Reference(VT_I4, &number)), read(Typed(15));
  LONG index = 0;
  EXPECT_EQ(SafeArrayPutElement(array, &index, &text), S_OK);
  EXPECT_NE(DataOf<VARIANT>(array)[0].bstrVal, text->bstrVal);
  EXPECT_EQ(SafeArrayGetElement(array, &index, &read), S_OK) << "what it held does not matter";
  EXPECT_EQ(Show(*read), "text");
  VariantClear(&read);

  index = 1;
  EXPECT_EQ(SafeArrayPutElement(array, &index, &reference), S_OK);
  EXPECT_EQ(SafeArrayGetElement(array, &index, &read), S_OK);
  EXPECT_EQ(read->vt, VT_BYREF | VT_I4);
  EXPECT_EQ(read->plVal, &number);

  VARIANT bad = Typed(15);
  EXPECT_EQ(SafeArrayPutElement(array, &index, &bad), DISP_E_BADVARTYPE);
  EXPECT_EQ(DataOf<VARIANT>(array)[1].vt, VT_BYREF | VT_I4);
  EXPECT_EQ(array->cLocks, 0u);
  SafeArrayDestroy(array);
}

// An object that is released by an array finds the array whole, and cannot pull it away.
TEST(SafeArrays, ReleasedObjects_MayCallBack) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the embedded host's own promise";
  CountedObject object;
  SAFEARRAY* array = NewVector(VT_UNKNOWN, 2);
  LONG index = 1;
  SafeArrayPutElement(array, &index, &object);
  ULONG elements = 0;
  SAFEARRAYBOUND one{1, 0}, three{3, 0};
  object.onRelease = [&] {
    elements = array->rgsabound[0].cElements;
    EXPECT_EQ(SafeArrayRedim(array, &three), S_OK);
  };
  EXPECT_EQ(SafeArrayRedim(array, &one), S_OK);
  EXPECT_EQ(elements, 1u);
  EXPECT_EQ(array->rgsabound[0].cElements, 3u);

  SafeArrayPutElement(array, &index, &object);
  object.onRelease = [&] {
    EXPECT_EQ(DataOf<IUnknown*>(array)[1], nullptr);
    EXPECT_EQ(SafeArrayRedim(array, &one), S_OK) << "not locked any more";
  };
  EXPECT_EQ(SafeArrayPutElement(array, &index, nullptr), S_OK);

  index = 0;
  SafeArrayPutElement(array, &index, &object);
  object.onRelease = [&] {
    EXPECT_EQ(SafeArrayDestroy(array), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(SafeArrayRedim(array, &three), DISP_E_ARRAYISLOCKED);
  };
  EXPECT_EQ(SafeArrayDestroy(array), S_OK);
  EXPECT_EQ(object.references, 0);
}

TEST(SafeArrays, CopyThatFailsHalfway_LeavesNothingBehind) {
  CountedObject object;
  SAFEARRAY* inner = NewVector(VT_UNKNOWN, 1);
  LONG index = 0;
  SafeArrayPutElement(inner, &index, &object);
  SAFEARRAY* array = NewVector(VT_VARIANT, 3);
  auto* elements = DataOf<VARIANT>(array);
  elements[0] = Array(VT_UNKNOWN, inner);
  elements[1] = object.AsVariant(VT_UNKNOWN);
  elements[2] = Typed(15);
  SAFEARRAY* copy = nullptr;
  // The measured platform passes over elements that it cannot copy.
  if (kEmbeddedHost) {
    EXPECT_EQ(SafeArrayCopy(array, &copy), DISP_E_BADVARTYPE);
    EXPECT_EQ(copy, nullptr);
    EXPECT_EQ(object.references, 2);
    EXPECT_EQ(array->cLocks, 0u);
    EXPECT_EQ(inner->cLocks, 0u);
  }
  elements[2] = Typed(VT_EMPTY);
  EXPECT_EQ(SafeArrayDestroy(array), S_OK);
  EXPECT_EQ(object.references, 0);
}

// A descriptor of a client's own: neither it nor its data is given back.
TEST(SafeArrays, ForeignDescriptor_IsReadButNotFreed) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the embedded host's own promise";
  CountedObject object;
  VARIANT data[] = {object.AsVariant(VT_UNKNOWN), Bits(VT_I4, 5)};
  SAFEARRAY array{};
  array.cDims = 1;
  array.fFeatures = 0x0002 | 0x0010 | 0x0800;
  array.cbElements = sizeof(VARIANT);
  array.pvData = data;
  array.rgsabound[0] = {2, 0};
  SAFEARRAYBOUND bound{1, 0};
  VARTYPE type = 0;
  EXPECT_EQ(SafeArrayGetVartype(&array, &type), E_INVALIDARG);
  EXPECT_EQ(SafeArrayRedim(&array, &bound), E_INVALIDARG);
  SAFEARRAY* copy = nullptr;
  EXPECT_EQ(SafeArrayCopy(&array, &copy), S_OK);
  EXPECT_EQ(copy->fFeatures, 0x0800);
  EXPECT_EQ(object.references, 2);
  EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
  EXPECT_EQ(SafeArrayDestroy(&array), S_OK);
  EXPECT_EQ(object.references, 0);
  EXPECT_EQ(data[0].vt, VT_EMPTY);
}

}  // namespace
}  // namespace tests
