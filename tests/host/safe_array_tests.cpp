#include <gtest/gtest.h>

#include <vector>

#include "tests/host/values.h"
#include "tests/support/host_kind.h"
#include "tests/support/results.h"

namespace tests {
namespace {

SAFEARRAY* NewVector(VARTYPE type, ULONG elements) {
  return SafeArrayCreateVector(type, 0, elements);
}

HRESULT Resize(SAFEARRAY* array, ULONG elements, LONG lower = 0) {
  SAFEARRAYBOUND bound{elements, lower};
  return SafeArrayRedim(array, &bound);
}

HRESULT Put(SAFEARRAY* array, LONG index, void* element) {
  return SafeArrayPutElement(array, &index, element);
}

HRESULT Get(SAFEARRAY* array, LONG index, void* element) {
  return SafeArrayGetElement(array, &index, element);
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
              {VT_UI8, 0x0080, 8},      {VT_INT, 0x0080, 4},      {VT_UINT, 0x0080, 4}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.type);
    SAFEARRAYBOUND bound{3, -1};
    SAFEARRAY* array = SafeArrayCreate(row.type, 1, &bound);
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(SafeArrayGetElemsize(array), row.elementBytes);
    EXPECT_EQ(array->fFeatures, row.features);
    VARTYPE type = 0;
    EXPECT_EQ(SafeArrayGetVartype(array, &type), S_OK);
    EXPECT_EQ(type, row.type);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
  }
  for (unsigned type : {0u, 1u, 15u, 24u, 36u, 72u, 0xFFFu, 0x2003u, 0x4003u, 0x200Cu}) {
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
  SAFEARRAYBOUND bounds[] = {{big, 0}, {big, 0}}, wraps[] = {{0x10000, 0}, {0x10000, 0}};
  EXPECT_EQ(SafeArrayCreate(VT_UI1, 2, bounds), nullptr);
  EXPECT_EQ(SafeArrayCreate(VT_UI1, 2, wraps), nullptr);
  for (VARTYPE type : {VT_I2, VT_R8, VT_BSTR, VT_VARIANT}) EXPECT_EQ(NewVector(type, big), nullptr);
}

TEST(SafeArrays, NullAndDimensionsOutside_AreRefused) {
  SAFEARRAY *array = NewVector(VT_I4, 2), *copy = array;
  LONG bound = 0, index = 0;
  VARTYPE type = 0;
  void* data = nullptr;
  SAFEARRAYBOUND one{1, 0};
  ExpectEach(DISP_E_BADINDEX,
             {SafeArrayGetLBound(array, 0, &bound), SafeArrayGetLBound(array, 2, &bound),
              SafeArrayGetUBound(array, 0, &bound), SafeArrayGetUBound(array, 2, &bound)});
  ExpectEach(
      E_INVALIDARG,
      {SafeArrayGetLBound(nullptr, 1, &bound), SafeArrayGetUBound(nullptr, 1, &bound),
       SafeArrayGetLBound(array, 1, nullptr), SafeArrayGetVartype(nullptr, &type),
       SafeArrayLock(nullptr), SafeArrayUnlock(nullptr), SafeArrayCopy(array, nullptr),
       SafeArrayAccessData(nullptr, &data), SafeArrayAccessData(array, nullptr),
       SafeArrayUnaccessData(nullptr), SafeArrayRedim(nullptr, &one),
       SafeArrayRedim(array, nullptr), SafeArrayPutElement(nullptr, &index, &bound),
       SafeArrayPutElement(array, nullptr, &bound), SafeArrayGetElement(nullptr, &index, &bound),
       SafeArrayGetElement(array, nullptr, &bound)});
  EXPECT_EQ(SafeArrayGetDim(nullptr) + SafeArrayGetElemsize(nullptr), 0u);
  ExpectEach(S_OK, {SafeArrayDestroy(nullptr), SafeArrayCopy(nullptr, &copy)});
  EXPECT_EQ(copy, nullptr);
  EXPECT_EQ(SafeArrayDestroy(array), S_OK) << "not locked by a refusal";
}

TEST(SafeArrays, Locks_CountAndRefuseResizingAndDestroying) {
  SAFEARRAY* array = NewVector(VT_I4, 2);
  void* data = nullptr;
  ExpectEach(E_UNEXPECTED, {SafeArrayUnlock(array), SafeArrayUnaccessData(array)});
  ExpectEach(S_OK,
             {SafeArrayLock(array), SafeArrayAccessData(array, &data), SafeArrayUnlock(array)});
  EXPECT_EQ(data, array->pvData);
  ExpectEach(DISP_E_ARRAYISLOCKED, {Resize(array, 5, 1), SafeArrayDestroy(array)});
  EXPECT_EQ(array->cLocks, 1u);
  array->cLocks = 0xFFFF;
  EXPECT_EQ(SafeArrayLock(array), E_UNEXPECTED);
  array->cLocks = 0;
  EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(SafeArrays, IndexOutside_IsBadIndex) {
  constexpr LONG kLowest = static_cast<LONG>(0x80000000u), kHighest = 0x7FFFFFFF;
  SAFEARRAYBOUND bounds[] = {{3, 1}, {4, -2}};
  SAFEARRAY* array = SafeArrayCreate(VT_I4, 2, bounds);
  const struct {
    LONG first, second;
    int element;  // -1 outside
  } rows[] = {{1, -2, 0},  {3, -2, 2},  {2, 0, 7},  {3, 1, 11},       {0, -2, -1},
              {4, -2, -1}, {1, -3, -1}, {1, 2, -1}, {kLowest, 0, -1}, {kHighest, kHighest, -1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.first << "," << row.second);
    LONG indices[] = {row.first, row.second}, value = row.element + 100, read = 0;
    void* place = nullptr;
    ExpectEach(
        row.element >= 0 ? S_OK : DISP_E_BADINDEX,
        {SafeArrayPtrOfIndex(array, indices, &place), SafeArrayPutElement(array, indices, &value),
         SafeArrayGetElement(array, indices, &read)});
    EXPECT_EQ(place, row.element < 0 ? nullptr : DataOf<LONG>(array) + row.element);
    EXPECT_EQ(read, row.element < 0 ? 0 : value);
    EXPECT_EQ(array->cLocks, 0u);
  }
  SafeArrayDestroy(array);
}

TEST(SafeArrays, Redim_KeepsTheFront) {
  SAFEARRAY* array = NewVector(VT_I4, 3);
  for (int i = 0; i < 3; ++i) DataOf<LONG>(array)[i] = i + 1;
  const std::pair<SAFEARRAYBOUND, std::vector<LONG>> rows[] = {{{5, -7}, {1, 2, 3, 0, 0}},
                                                               {{2, 3}, {1, 2}},
                                                               {{4, 0}, {1, 2, 0, 0}},
                                                               {{0, 0}, {}},
                                                               {{2, 0}, {0, 0}}};
  for (const auto& [bound, elements] : rows) {
    SCOPED_TRACE(bound.cElements);
    ASSERT_EQ(Resize(array, bound.cElements, bound.lLbound), S_OK);
    LONG lower = 0, upper = 0;
    ExpectEach(S_OK, {SafeArrayGetLBound(array, 1, &lower), SafeArrayGetUBound(array, 1, &upper)});
    EXPECT_EQ(lower, bound.lLbound);
    EXPECT_EQ(upper, lower + static_cast<LONG>(bound.cElements) - 1);
    EXPECT_EQ(std::vector<LONG>(DataOf<LONG>(array), DataOf<LONG>(array) + bound.cElements),
              elements);
  }
  if (kEmbeddedHost) {
    EXPECT_EQ(Resize(array, 0xFFFFFFFFu, 9), E_OUTOFMEMORY);
    EXPECT_EQ(array->rgsabound[0].cElements, 2u);
    EXPECT_EQ(array->rgsabound[0].lLbound, 0);
  }
  SafeArrayDestroy(array);
}

TEST(SafeArrays, Interfaces_AreCountedAndReleased) {
  for (VARTYPE type : {VT_UNKNOWN, VT_DISPATCH, VT_VARIANT}) {
    SCOPED_TRACE(type);
    CountedObject object;
    SAFEARRAY *array = NewVector(type, 4), *copy = nullptr;
    {
      Value value(object.AsVariant(VT_UNKNOWN)), read;
      const bool isVariant = type == VT_VARIANT;
      for (LONG i = 0; i < 4; ++i) {
        EXPECT_EQ(Put(array, i, isVariant ? static_cast<void*>(&value) : &object), S_OK);
      }
      EXPECT_EQ(Get(array, 3, isVariant ? static_cast<void*>(&read) : &read->punkVal), S_OK);
      read->vt = VT_UNKNOWN;
      EXPECT_EQ(object.references, 6);
    }
    ExpectEach(S_OK, {SafeArrayCopy(array, &copy), Resize(array, 2)});
    EXPECT_EQ(object.references, 6);
    EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
    VARIANT empty{};
    EXPECT_EQ(Put(array, 0, type == VT_VARIANT ? &empty : nullptr), S_OK);
    EXPECT_EQ(object.references, 1);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
    EXPECT_EQ(object.references, 0);
  }
}

TEST(SafeArrays, Texts_AreStoredAndFetchedAsCopies) {
  SAFEARRAY* array = NewVector(VT_BSTR, 3);
  BSTR odd = SysAllocStringByteLen("abc", 3), read = nullptr;
  ExpectEach(S_OK, {Put(array, 0, odd), Put(array, 0, odd), Put(array, 1, nullptr)});
  EXPECT_EQ(Get(array, 0, &read), S_OK);
  EXPECT_TRUE(read != odd && read != DataOf<BSTR>(array)[0]);
  EXPECT_EQ(SysStringByteLen(read), 3u);
  SysFreeString(read);
  EXPECT_EQ(Get(array, 1, &read), S_OK);
  EXPECT_EQ(Narrow(read), "");
  SysFreeString(read);
  EXPECT_EQ(Get(array, 2, &read), S_OK);
  EXPECT_EQ(read, nullptr) << "never set";
  SafeArrayDestroy(array);
  SysFreeString(odd);
}

TEST(SafeArrays, ReleasedObjects_MayCallBack) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the embedded host's own promise";
  CountedObject object;
  SAFEARRAY* array = NewVector(VT_UNKNOWN, 2);
  ExpectEach(S_OK, {Put(array, 0, &object), Put(array, 1, &object)});
  object.onRelease = [&] {
    EXPECT_EQ(array->rgsabound[0].cElements, 1u);
    EXPECT_EQ(Resize(array, 3), S_OK);
  };
  EXPECT_EQ(Resize(array, 1), S_OK);
  object.onRelease = [&] {
    ExpectEach(DISP_E_ARRAYISLOCKED, {SafeArrayDestroy(array), Resize(array, 3)});
  };
  EXPECT_EQ(SafeArrayDestroy(array), S_OK);
  EXPECT_EQ(object.references, 0);
}

TEST(SafeArrays, ForeignDescriptor_IsReadButNotFreed) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the embedded host's own promise";
  CountedObject object;
  VARIANT data[] = {object.AsVariant(VT_UNKNOWN), Bits(VT_I4, 5)};
  SAFEARRAY array{1, 0x0002 | 0x0010 | 0x0800, sizeof(VARIANT), 0, data, {{2, 0}}}, *copy = nullptr;
  EXPECT_EQ(Resize(&array, 1), E_INVALIDARG);
  EXPECT_EQ(SafeArrayCopy(&array, &copy), S_OK);
  EXPECT_EQ(copy->fFeatures, 0x0800);
  ExpectEach(S_OK, {SafeArrayDestroy(copy), SafeArrayDestroy(&array)});
  EXPECT_EQ(object.references, 0);
}

}  // namespace
}  // namespace tests
