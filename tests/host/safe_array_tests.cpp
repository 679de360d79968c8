#include "tests/host/values.h"
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
              {VT_UI8, 0x0080, 8},      {VT_INT, 0x0080, 4},      {VT_UINT, 0x0080, 4},
              {VT_INT_PTR, 0x0080, 8},  {VT_UINT_PTR, 0x0080, 8}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.type);
    SAFEARRAYBOUND bound{3, -1};
    SAFEARRAY *array = SafeArrayCreate(row.type, 1, &bound), *copy = nullptr;
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(SafeArrayGetElemsize(array), row.elementBytes);
    EXPECT_EQ(std::string(DataOf<char>(array), 3 * row.elementBytes),
              std::string(3 * row.elementBytes, '\0'));
    ASSERT_EQ(SafeArrayCopy(array, &copy), S_OK);
    for (SAFEARRAY* each : {array, copy}) {
      VARTYPE type = 0;
      EXPECT_EQ(SafeArrayGetVartype(each, &type), S_OK);
      EXPECT_EQ(type, row.type);
      EXPECT_EQ(each->fFeatures, row.features);
      EXPECT_EQ(each->rgsabound[0].lLbound, -1);
      EXPECT_EQ(SafeArrayDestroy(each), S_OK);
    }
  }
  for (unsigned type : {0u, 1u, 15u, 24u, 25u, 30u, 31u, 35u, 36u, 39u, 40u, 64u, 72u, 0xFFFu,
                        0x2003u, 0x4003u, 0x1003u, 0x8003u, 0x200Cu}) {
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
  SAFEARRAYBOUND bounds[] = {{big, 0}, {big, 0}, {big, 0}}, wraps[] = {{0x10000, 0}, {0x10000, 0}};
  EXPECT_EQ(SafeArrayCreate(VT_UI1, 2, bounds), nullptr);
  EXPECT_EQ(SafeArrayCreate(VT_UI1, 3, bounds), nullptr);
  EXPECT_EQ(SafeArrayCreate(VT_UI1, 2, wraps), nullptr);
  for (VARTYPE type : {VT_I2, VT_R8, VT_BSTR, VT_VARIANT}) EXPECT_EQ(NewVector(type, big), nullptr);
  std::vector<SAFEARRAYBOUND> many(0x10000, one);
  EXPECT_EQ(SafeArrayCreate(VT_I4, 0x10000, many.data()), nullptr);
  SAFEARRAY* widest = SafeArrayCreate(VT_I4, 0xFFFF, many.data());
  EXPECT_EQ(SafeArrayGetDim(widest), 0xFFFFu);
  EXPECT_EQ(SafeArrayDestroy(widest), S_OK);
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
  LONG five = 5, read = 0;
  ExpectEach(E_UNEXPECTED, {SafeArrayUnlock(array), SafeArrayUnaccessData(array)});
  ExpectEach(S_OK, {SafeArrayLock(array), SafeArrayAccessData(array, &data)});
  EXPECT_EQ(data, array->pvData);
  EXPECT_EQ(array->cLocks, 2u);
  EXPECT_EQ(SafeArrayUnlock(array), S_OK);
  ExpectEach(DISP_E_ARRAYISLOCKED, {Resize(array, 5, 1), SafeArrayDestroy(array)});
  EXPECT_EQ(array->rgsabound[0].cElements, 2u);
  ExpectEach(S_OK, {Put(array, 1, &five), Get(array, 1, &read)});
  EXPECT_EQ(read, 5);
  EXPECT_EQ(array->cLocks, 1u);
  array->cLocks = 0xFFFF;
  EXPECT_EQ(SafeArrayLock(array), E_UNEXPECTED);
  EXPECT_EQ(array->cLocks, 0xFFFFu);
  array->cLocks = 0;
  EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(SafeArrays, IndexOutside_IsBadIndex) {
  constexpr LONG kLowest = static_cast<LONG>(0x80000000u), kHighest = 0x7FFFFFFF;
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
              {{kLowest, 0}, -1},
              {{kHighest, kHighest}, -1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.indices[0] << "," << row.indices[1]);
    LONG indices[] = {row.indices[0], row.indices[1]}, value = row.element + 100, read = 0;
    const bool isInside = row.element >= 0;
    void* place = nullptr;
    EXPECT_EQ(SafeArrayPtrOfIndex(array, indices, &place), isInside ? S_OK : DISP_E_BADINDEX);
    EXPECT_TRUE(!isInside || place == DataOf<LONG>(array) + row.element);
    EXPECT_EQ(SafeArrayPutElement(array, indices, &value), isInside ? S_OK : DISP_E_BADINDEX);
    EXPECT_TRUE(!isInside || DataOf<LONG>(array)[row.element] == value);
    EXPECT_EQ(SafeArrayGetElement(array, indices, &read), isInside ? S_OK : DISP_E_BADINDEX);
    EXPECT_EQ(read, isInside ? value : 0);
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
  const std::pair<SAFEARRAYBOUND, std::vector<LONG>> rows[] = {{{5, -7}, {1, 2, 3, 0, 0}},
                                                               {{2, 3}, {1, 2}},
                                                               {{4, 0}, {1, 2, 0, 0}},
                                                               {{0, 0}, {}},
                                                               {{2, 0}, {0, 0}}};
  for (const auto& [bound, elements] : rows) {
    SCOPED_TRACE(bound.cElements);
    ASSERT_EQ(Resize(array, bound.cElements, bound.lLbound), S_OK);
    LONG lower = 0, upper = 0;
    void* data = nullptr;
    ExpectEach(S_OK, {SafeArrayGetLBound(array, 1, &lower), SafeArrayGetUBound(array, 1, &upper),
                      SafeArrayAccessData(array, &data), SafeArrayUnaccessData(array)});
    EXPECT_EQ(lower, bound.lLbound);
    EXPECT_EQ(upper, lower + static_cast<LONG>(bound.cElements) - 1);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(std::vector<LONG>(DataOf<LONG>(array), DataOf<LONG>(array) + bound.cElements),
              elements);
    EXPECT_EQ(SafeArrayPtrOfIndex(array, &lower, &data), bound.cElements ? S_OK : DISP_E_BADINDEX);
  }
  if (kEmbeddedHost) {
    EXPECT_EQ(Resize(array, 0xFFFFFFFFu, 9), E_OUTOFMEMORY);
    EXPECT_EQ(array->rgsabound[0].cElements, 2u);
    EXPECT_EQ(array->rgsabound[0].lLbound, 0);
  }
  // The growth by one, again and again.
  for (ULONG count = 1; count <= 300; ++count) {
    ASSERT_EQ(Resize(array, count), S_OK);
    DataOf<LONG>(array)[count - 1] = static_cast<LONG>(count);
  }
  for (LONG i = 0; i < 300; ++i) ASSERT_EQ(DataOf<LONG>(array)[i], i + 1);
  SafeArrayDestroy(array);

  SAFEARRAYBOUND bounds[] = {{2, 0}, {3, 0}};
  array = SafeArrayCreate(VT_I4, 2, bounds);
  DataOf<LONG>(array)[1] = 7;
  EXPECT_EQ(Resize(array, 2, 10), S_OK) << "the last dimension";
  LONG indices[] = {1, 10}, value = 0;
  EXPECT_EQ(SafeArrayGetElement(array, indices, &value), S_OK);
  EXPECT_EQ(value, 7);
  SafeArrayDestroy(array);
}

TEST(SafeArrays, Interfaces_AreCountedAndReleased) {
  for (VARTYPE type : {VT_UNKNOWN, VT_DISPATCH, VT_VARIANT}) {
    SCOPED_TRACE(type);
    CountedObject object;
    SAFEARRAY *array = NewVector(type, 4), *copy = nullptr;
    Value value(object.AsVariant(VT_UNKNOWN)), read;
    for (LONG i = 0; i < 4; ++i) {
      EXPECT_EQ(Put(array, i, type == VT_VARIANT ? static_cast<void*>(&value) : &object), S_OK);
    }
    EXPECT_EQ(object.references, 5);
    EXPECT_EQ(SafeArrayCopy(array, &copy), S_OK);
    EXPECT_EQ(object.references, 9);
    EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
    void* target = type == VT_VARIANT ? static_cast<void*>(&read) : &read->punkVal;
    EXPECT_EQ(Get(array, 3, target), S_OK);
    EXPECT_EQ(read->punkVal, &object);
    EXPECT_EQ(object.references, 6);
    object.Release();
    read->vt = VT_EMPTY;
    EXPECT_EQ(Resize(array, 2), S_OK);
    EXPECT_EQ(object.references, 3);
    VARIANT empty{};
    EXPECT_EQ(Put(array, 0, type == VT_VARIANT ? &empty : nullptr), S_OK);
    EXPECT_EQ(object.references, 2);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
    EXPECT_EQ(object.references, 1);
  }
}

TEST(SafeArrays, Texts_AreStoredAndFetchedAsCopies) {
  SAFEARRAY *array = NewVector(VT_BSTR, 3), *copy = nullptr;
  BSTR odd = SysAllocStringByteLen("abc", 3), read = nullptr;
  EXPECT_EQ(Put(array, 0, odd), S_OK);
  EXPECT_EQ(Put(array, 0, odd), S_OK) << "over itself";
  EXPECT_EQ(Put(array, 1, nullptr), S_OK);
  EXPECT_EQ(SafeArrayCopy(array, &copy), S_OK);
  EXPECT_NE(DataOf<BSTR>(copy)[0], DataOf<BSTR>(array)[0]);
  for (SAFEARRAY* each : {array, copy}) {
    EXPECT_NE(DataOf<BSTR>(each)[0], odd);
    EXPECT_EQ(Get(each, 0, &read), S_OK);
    EXPECT_NE(read, DataOf<BSTR>(each)[0]);
    ASSERT_EQ(SysStringByteLen(read), 3u);
    EXPECT_EQ(std::memcmp(read, "abc", 3), 0);
    SysFreeString(read);
    EXPECT_EQ(Get(each, 1, &read), S_OK);
    EXPECT_EQ(Narrow(read), "");
    SysFreeString(read);
    EXPECT_EQ(Get(each, 2, &read), S_OK);
    EXPECT_EQ(read, nullptr) << "never set";
    SafeArrayDestroy(each);
  }
  SysFreeString(odd);
}

TEST(SafeArrays, Variants_AreCopiedAsVariantCopyDoes) {
  SAFEARRAY* array = NewVector(VT_VARIANT, 2);
  LONG number = 7;
  Value text(Text("text")), reference(Reference(VT_I4, &number)), read(Typed(15)), bad(Typed(15));
  EXPECT_EQ(Put(array, 0, &text), S_OK);
  EXPECT_NE(DataOf<VARIANT>(array)[0].bstrVal, text->bstrVal);
  EXPECT_EQ(Get(array, 0, &read), S_OK) << "what it held does not matter";
  EXPECT_EQ(Show(*read), "text");
  VariantClear(&read);
  EXPECT_EQ(Put(array, 1, &reference), S_OK);
  EXPECT_EQ(Put(array, 1, &bad), DISP_E_BADVARTYPE);
  EXPECT_EQ(Get(array, 1, &read), S_OK);
  EXPECT_EQ(read->vt, VT_BYREF | VT_I4);
  EXPECT_EQ(read->plVal, &number);
  EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

// An object that is released by an array finds the array whole, and cannot pull it away.
TEST(SafeArrays, ReleasedObjects_MayCallBack) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the embedded host's own promise";
  CountedObject object;
  SAFEARRAY* array = NewVector(VT_UNKNOWN, 2);
  Put(array, 1, &object);
  ULONG elements = 0;
  object.onRelease = [&] {
    elements = array->rgsabound[0].cElements;
    EXPECT_EQ(Resize(array, 3), S_OK);
  };
  EXPECT_EQ(Resize(array, 1), S_OK);
  EXPECT_EQ(elements, 1u);
  EXPECT_EQ(array->rgsabound[0].cElements, 3u);

  Put(array, 1, &object);
  object.onRelease = [&] {
    EXPECT_EQ(DataOf<IUnknown*>(array)[1], nullptr);
    EXPECT_EQ(Resize(array, 1), S_OK) << "not locked any more";
  };
  EXPECT_EQ(Put(array, 1, nullptr), S_OK);

  Put(array, 0, &object);
  object.onRelease = [&] {
    EXPECT_EQ(SafeArrayDestroy(array), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(Resize(array, 3), DISP_E_ARRAYISLOCKED);
  };
  EXPECT_EQ(SafeArrayDestroy(array), S_OK);
  EXPECT_EQ(object.references, 0);
}

// The measured platform passes over elements that it cannot copy.
TEST(SafeArrays, CopyThatFailsHalfway_LeavesNothingBehind) {
  if (!kEmbeddedHost) GTEST_SKIP();
  CountedObject object;
  SAFEARRAY *inner = NewVector(VT_UNKNOWN, 1), *array = NewVector(VT_VARIANT, 3), *copy = nullptr;
  Put(inner, 0, &object);
  auto* elements = DataOf<VARIANT>(array);
  elements[0] = Array(VT_UNKNOWN, inner);
  elements[1] = object.AsVariant(VT_UNKNOWN);
  elements[2] = Typed(15);
  EXPECT_EQ(SafeArrayCopy(array, &copy), DISP_E_BADVARTYPE);
  EXPECT_EQ(copy, nullptr);
  EXPECT_EQ(object.references, 2);
  EXPECT_EQ(inner->cLocks, 0u);
  elements[2] = Typed(VT_EMPTY);
  EXPECT_EQ(SafeArrayDestroy(array), S_OK);
  EXPECT_EQ(object.references, 0);
}

// A descriptor of a client's own: neither it nor its data is given back.
TEST(SafeArrays, ForeignDescriptor_IsReadButNotFreed) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the embedded host's own promise";
  CountedObject object;
  VARIANT data[] = {object.AsVariant(VT_UNKNOWN), Bits(VT_I4, 5)};
  SAFEARRAY array{1, 0x0002 | 0x0010 | 0x0800, sizeof(VARIANT), 0, data, {{2, 0}}}, *copy = nullptr;
  VARTYPE type = 0;
  EXPECT_EQ(SafeArrayGetVartype(&array, &type), E_INVALIDARG);
  EXPECT_EQ(Resize(&array, 1), E_INVALIDARG);
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
