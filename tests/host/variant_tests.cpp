#include "tests/host/values.h"
#include "tests/support/results.h"

RASTEL_INTERFACE_ID(IRecordInfo);

namespace tests {

// Counts the records that are alive; a record is an int.
class RecordKeeper final : public Double<IRecordInfo> {
 public:
  STDMETHODIMP RecordInit(void*) override { return E_NOTIMPL; }
  STDMETHODIMP RecordClear(void*) override { return E_NOTIMPL; }
  STDMETHODIMP RecordCopy(void*, void*) override { return E_NOTIMPL; }
  STDMETHODIMP GetGuid(GUID*) override { return E_NOTIMPL; }
  STDMETHODIMP GetName(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP GetSize(ULONG*) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetField(void*, LPCOLESTR, VARIANT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetFieldNoCopy(void*, LPCOLESTR, VARIANT*, void**) override { return E_NOTIMPL; }
  STDMETHODIMP PutField(ULONG, void*, LPCOLESTR, VARIANT*) override { return E_NOTIMPL; }
  STDMETHODIMP PutFieldNoCopy(ULONG, void*, LPCOLESTR, VARIANT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetFieldNames(ULONG*, BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP_(BOOL) IsMatchingType(IRecordInfo*) override { return FALSE; }
  STDMETHODIMP_(void*) RecordCreate() override { return new int(0); }
  STDMETHODIMP RecordCreateCopy(void* source, void** target) override {
    if (FAILED(copyResult)) return copyResult;
    ++records;
    *target = new int(*static_cast<int*>(source));
    return S_OK;
  }
  STDMETHODIMP RecordDestroy(void* record) override {
    --records;
    delete static_cast<int*>(record);
    return S_OK;
  }

  int records = 0;
  HRESULT copyResult = S_OK;
};

namespace {

bool IsTypeOfVariants(int type) {
  const int base = type & 0x0FFF;
  const bool value = (base >= 2 && base <= 14) || (base >= 16 && base <= 23) || base == 36;
  const bool flagsFit = (type & (VT_VECTOR | VT_RESERVED)) == 0;
  return (flagsFit && value) || type == VT_EMPTY || type == VT_NULL;
}

TEST(Variants, EveryTypeWord_IsTakenOrRefused) {
  for (int type = 0; type <= 0xFFFF; ++type) {
    const bool valid = IsTypeOfVariants(type);
    const HRESULT expected = valid ? S_OK : DISP_E_BADVARTYPE;
    VARIANT source = Typed(type), target = Bits(VT_I4, 7);
    ASSERT_EQ(VariantCopy(&target, &source), expected) << std::hex << type;
    ASSERT_EQ(target.vt, valid ? type : VT_I4) << std::hex << type;
    VariantClear(&target);
    // The measured platform also clears VT_CLSID with flags.
    if ((type & 0x0FFF) == VT_CLSID && (!kEmbeddedHost || type == VT_CLSID)) continue;
    ASSERT_EQ(VariantClear(&source), expected) << std::hex << type;
    ASSERT_EQ(source.vt, valid ? VT_EMPTY : type) << std::hex << type;
  }
  VARIANT identifier = Typed(VT_CLSID), garbage;
  EXPECT_EQ(VariantClear(&identifier), S_OK);
  EXPECT_EQ(identifier.vt, VT_EMPTY);
  std::memset(static_cast<void*>(&garbage), 0xFF, sizeof(garbage));
  VariantInit(&garbage);
  EXPECT_EQ(garbage.vt, VT_EMPTY);
}

TEST(Variants, Interfaces_AreCountedAndReferencesTakenAsTheyAre) {
  CountedObject object;
  IUnknown* pointer = &object;
  for (VARTYPE type : {VT_DISPATCH, VT_UNKNOWN}) {
    VARIANT source = object.AsVariant(type), null = Typed(type);
    VARIANT reference = Reference(type, &pointer), copy{};
    EXPECT_EQ(VariantCopy(&copy, &source), S_OK);
    EXPECT_EQ(copy.pdispVal, &object);
    EXPECT_EQ(object.references, 2);
    EXPECT_EQ(VariantCopy(&copy, &null), S_OK);
    EXPECT_EQ(copy.punkVal, nullptr);
    EXPECT_EQ(VariantCopy(&copy, &reference), S_OK);
    EXPECT_EQ(copy.vt, reference.vt);
    EXPECT_EQ(copy.byref, &pointer);
    ExpectEach(S_OK, {VariantClear(&copy), VariantClear(&null)});
    EXPECT_EQ(object.references, 1);
    EXPECT_EQ(VariantClear(&source), S_OK);
    EXPECT_EQ(object.references, 0);
  }
}

TEST(Variants, TargetThatCannotBeCleared_IsLeft) {
  VARIANT source = Bits(VT_I4, 5), target = Bits(15, 9);
  EXPECT_EQ(VariantCopy(&target, &source), DISP_E_BADVARTYPE);
  EXPECT_EQ(target.vt, 15);
  EXPECT_EQ(target.lVal, 9);
  EXPECT_EQ(VariantCopy(&target, &target), DISP_E_BADVARTYPE);
  EXPECT_EQ(VariantCopy(&source, &source), S_OK);
  EXPECT_EQ(Show(source), "5");
  if (!kEmbeddedHost) return;
  Value locked(Array(VT_I4, SafeArrayCreateVector(VT_I4, 0, 2)));
  SAFEARRAY* const array = locked->parray;
  SafeArrayLock(array);
  EXPECT_EQ(VariantClear(&locked), DISP_E_ARRAYISLOCKED);
  EXPECT_EQ(VariantCopy(&locked, &source), DISP_E_ARRAYISLOCKED);
  EXPECT_EQ(locked->vt, VT_ARRAY | VT_I4);
  EXPECT_EQ(locked->parray, array);
  SafeArrayUnlock(array);
}

TEST(Variants, Copy_TextIsByteExactAndNullBecomesEmpty) {
  Value odd(Typed(VT_BSTR)), null(Typed(VT_BSTR)), copy;
  odd->bstrVal = SysAllocStringByteLen("a\0b", 3);
  EXPECT_EQ(VariantCopy(&copy, &odd), S_OK);
  EXPECT_NE(copy->bstrVal, odd->bstrVal);
  ASSERT_EQ(SysStringByteLen(copy->bstrVal), 3u);
  EXPECT_EQ(std::memcmp(copy->bstrVal, "a\0b\0", 5), 0);
  EXPECT_EQ(VariantCopy(&copy, &null), S_OK);
  EXPECT_EQ(Narrow(copy->bstrVal), "");
}

TEST(Variants, Copy_OfLockedArray_IsUnlockedWithOwnElements) {
  Value source(Array(VT_BSTR, SafeArrayCreateVector(VT_BSTR, 3, 2))), copy;
  BSTR* texts = DataOf<BSTR>(source->parray);
  texts[1] = NewText("b");
  SafeArrayLock(source->parray);
  EXPECT_EQ(VariantCopy(&copy, &source), S_OK);
  ASSERT_EQ(copy->vt, VT_ARRAY | VT_BSTR);
  EXPECT_EQ(copy->parray->cLocks, 0u);
  EXPECT_EQ(source->parray->cLocks, 1u);
  EXPECT_NE(DataOf<BSTR>(copy->parray)[1], texts[1]);
  EXPECT_EQ(Narrow(DataOf<BSTR>(copy->parray)[1]), "b");
  SafeArrayUnlock(source->parray);
  VARIANT null = Array(VT_I4, nullptr);
  EXPECT_EQ(VariantCopy(&copy, &null), S_OK);
  EXPECT_EQ(copy->vt, VT_ARRAY | VT_I4);
  EXPECT_EQ(copy->parray, nullptr);
}

TEST(Variants, CopyInd_FollowsReferences) {
  BYTE byte = 0x80;
  SHORT word = -2;
  LONG number = 7;
  double real = 2.5;
  LONGLONG wide = -3;
  BSTR text = NewText("text"), nullText = nullptr;
  DECIMAL decimal = Decimal(1, 0x80, 0, 25).decVal;
  VARIANT inner = Bits(VT_I4, 8), innerReference = Reference(VT_I4, &number), bad = Typed(15);
  VARIANT chain = Reference(VT_VARIANT, &inner);
  const struct {
    VARIANT source;
    const char* expected;
    bool embeddedOnly = false;
  } rows[] = {{Bits(VT_I4, 5), "5"},
              {Reference(VT_I1, &byte), "-128"},
              {Reference(VT_UI1, &byte), "128"},
              {Reference(VT_I2, &word), "-2"},
              {Reference(VT_BOOL, &word), "-2"},
              {Reference(VT_I4, &number), "7"},
              {Reference(VT_R8, &real), "2.5"},
              {Reference(VT_I8, &wide), "-3"},
              {Reference(VT_BSTR, &text), "text"},
              {Reference(VT_BSTR, &nullText), ""},
              {Reference(VT_DECIMAL, &decimal), "-0:0000000000000019/1"},
              {Reference(VT_VARIANT, &inner), "8"},
              {Reference(VT_VARIANT, &innerReference), "7"},
              {Reference(VT_VARIANT, &chain), "invalid"},
              {Reference(VT_VARIANT, &bad), "bad type"},
              {Reference(VT_I4, nullptr), "invalid", true},
              {Reference(VT_VARIANT, nullptr), "invalid", true}};
  for (const auto& row : rows) {
    if (row.embeddedOnly && !kEmbeddedHost) continue;
    SCOPED_TRACE(row.expected);
    Value source(row.source), target(Text("old"));
    HRESULT hr = VariantCopyInd(&target, &source);
    EXPECT_EQ(SUCCEEDED(hr) ? Show(*target) : Show(hr), row.expected);
    EXPECT_TRUE(SUCCEEDED(hr) || target->vt == VT_EMPTY);
    hr = VariantCopyInd(&source, &source);
    EXPECT_EQ(SUCCEEDED(hr) ? Show(*source) : Show(hr), row.expected) << "in place";
  }
  EXPECT_EQ(Narrow(text), "text");
  SysFreeString(text);

  SAFEARRAY* array = SafeArrayCreateVector(VT_I4, 0, 3);
  CountedObject object;
  IUnknown* pointer = &object;
  Value target;
  VARIANT source = Reference(VT_ARRAY | VT_I4, &array);
  EXPECT_EQ(VariantCopyInd(&target, &source), S_OK);
  EXPECT_EQ(target->vt, VT_ARRAY | VT_I4);
  EXPECT_NE(target->parray, array);
  SafeArrayDestroy(array);
  source = Reference(VT_UNKNOWN, &pointer);
  EXPECT_EQ(VariantCopyInd(&target, &source), S_OK);
  EXPECT_EQ(target->vt, VT_UNKNOWN);
  EXPECT_EQ(object.references, 1);
  if (!kEmbeddedHost) return;
  bad = Typed(VT_BYREF | VT_NULL);
  EXPECT_EQ(VariantCopyInd(&target, &bad), DISP_E_BADVARTYPE);
  EXPECT_EQ(target->vt, VT_UNKNOWN);
}

TEST(Variants, Records_AreCopiedAndDestroyedByTheirKeeper) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the platform copies into memory of its own";
  RecordKeeper keeper;
  int seven = 7;
  VARIANT source = Typed(VT_RECORD);
  source.pvRecord = &seven;
  source.pRecInfo = &keeper;
  Value copy, second;
  EXPECT_EQ(VariantCopy(&copy, &source), S_OK);
  ASSERT_NE(copy->pvRecord, &seven);
  EXPECT_EQ(*static_cast<int*>(copy->pvRecord), 7);
  source.vt = VT_BYREF | VT_RECORD;
  EXPECT_EQ(VariantCopyInd(&second, &source), S_OK);
  EXPECT_EQ(keeper.records, 2);
  EXPECT_EQ(keeper.references, 2);
  VariantClear(&second);
  keeper.copyResult = E_OUTOFMEMORY;
  EXPECT_EQ(VariantCopy(&second, &copy), E_OUTOFMEMORY);
  EXPECT_EQ(second->vt, VT_EMPTY);
  VariantClear(&copy);
  EXPECT_EQ(keeper.records, 0);
  EXPECT_EQ(keeper.references, 0);
}

// What a VARIANT held is released when the VARIANT already has its new content.
TEST(Variants, ReleasedObjects_FindTheVariantInItsFinalState) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the embedded host's own promise";
  CountedObject object;
  Value value;
  VARIANT five = Bits(VT_I4, 5), reference = Reference(VT_I4, &five.lVal);
  std::string seen;
  object.onRelease = [&] { seen = Show(*value); };
  const std::pair<std::function<HRESULT()>, const char*> rows[] = {
      {[&] { return VariantClear(&value); }, "empty"},
      {[&] { return VariantCopy(&value, &five); }, "5"},
      {[&] { return VariantCopyInd(&value, &reference); }, "5"},
      {[&] { return VariantChangeType(&value, &five, 0, VT_R8); }, "5"}};
  for (const auto& [operation, expected] : rows) {
    *value = object.AsVariant(VT_UNKNOWN);
    EXPECT_EQ(operation(), S_OK);
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(object.references, 0);
  }
  VariantInit(nullptr);
  ExpectEach(E_INVALIDARG, {VariantClear(nullptr), VariantCopy(nullptr, &five),
                            VariantCopy(&five, nullptr), VariantCopyInd(&five, nullptr)});
}

// The source may be a bitwise image of the target, or lie in what the target owns.
TEST(Variants, Copy_SourceInsideTheTarget_IsCopiedBeforeItIsGivenUp) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the embedded host's own promise";
  Value value(Text("image")), outer(Array(VT_VARIANT, SafeArrayCreateVector(VT_VARIANT, 0, 1)));
  VARIANT image = *value, *element = DataOf<VARIANT>(outer->parray);
  *element = Text("element");
  ExpectEach(S_OK, {VariantCopy(&value, &image), VariantCopy(&outer, element)});
  EXPECT_EQ(Show(*value), "image");
  EXPECT_EQ(Show(*outer), "element");
}

TEST(Variants, NestedArrays_AreCopiedAndClearedWithoutDepth) {
  const int depth = kEmbeddedHost ? 100000 : 100;
  CountedObject object;
  VARIANT value = object.AsVariant(VT_UNKNOWN);
  for (int level = 0; level < depth; ++level) {
    SAFEARRAY* array = SafeArrayCreateVector(VT_VARIANT, 0, 1);
    *DataOf<VARIANT>(array) = value;
    value = Array(VT_VARIANT, array);
  }
  {
    Value copy;
    EXPECT_EQ(VariantCopy(&copy, &value), S_OK);
    EXPECT_EQ(object.references, 2);
    VARIANT* inner = &copy;
    for (int level = 0; level < depth; ++level) {
      ASSERT_EQ(inner->vt, VT_ARRAY | VT_VARIANT);
      ASSERT_EQ(inner->parray->cLocks, 0u);
      inner = DataOf<VARIANT>(inner->parray);
    }
    EXPECT_EQ(inner->punkVal, &object);
  }
  EXPECT_EQ(object.references, 1);
  EXPECT_EQ(VariantClear(&value), S_OK);
  EXPECT_EQ(object.references, 0);
}

}  // namespace
}  // namespace tests
