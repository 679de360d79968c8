#include "tests/host/values.h"
#include "tests/support/results.h"

namespace tests {
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
  VARIANT garbage;
  std::memset(static_cast<void*>(&garbage), 0xFF, sizeof(garbage));
  VariantInit(&garbage);
  EXPECT_EQ(garbage.vt, VT_EMPTY);
}

TEST(Variants, TargetThatCannotBeCleared_IsLeft) {
  VARIANT source = Bits(VT_I4, 5), target = Bits(15, 9);
  ExpectEach(DISP_E_BADVARTYPE, {VariantCopy(&target, &source), VariantCopy(&target, &target)});
  EXPECT_EQ(target.vt, 15);
  EXPECT_EQ(VariantCopy(&source, &source), S_OK);
  if (!kEmbeddedHost) return;
  Value locked(Array(VT_I4, SafeArrayCreateVector(VT_I4, 0, 2)));
  SafeArrayLock(locked->parray);
  ExpectEach(DISP_E_ARRAYISLOCKED, {VariantClear(&locked), VariantCopy(&locked, &source),
                                    VariantChangeType(&locked, &source, 0, VT_BSTR)});
  EXPECT_EQ(locked->vt, VT_ARRAY | VT_I4);
  SafeArrayUnlock(locked->parray);
}

TEST(Variants, CopyInd_FollowsReferences) {
  BYTE byte = 0x80;
  SHORT word = -2;
  LONG number = 7;
  BSTR text = NewText("text");
  DECIMAL decimal = Decimal(1, 0x80, 0, 25).decVal;
  VARIANT inner = Bits(VT_I4, 8), innerReference = Reference(VT_I4, &number), bad = Typed(15);
  VARIANT chain = Reference(VT_VARIANT, &inner);
  const std::pair<VARIANT, const char*> rows[] = {
      {Bits(VT_I4, 5), "5"},
      {Reference(VT_I1, &byte), "-128"},
      {Reference(VT_BOOL, &word), "-2"},
      {Reference(VT_I4, &number), "7"},
      {Reference(VT_BSTR, &text), "text"},
      {Reference(VT_DECIMAL, &decimal), "-0:0000000000000019/1"},
      {Reference(VT_VARIANT, &inner), "8"},
      {Reference(VT_VARIANT, &innerReference), "7"},
      {Reference(VT_VARIANT, &chain), "invalid"},
      {Reference(VT_VARIANT, &bad), "bad type"}};
  for (const auto& [given, expected] : rows) {
    SCOPED_TRACE(expected);
    Value source(given), target(Text("old"));
    HRESULT hr = VariantCopyInd(&target, &source);
    EXPECT_EQ(SUCCEEDED(hr) ? Show(*target) : Show(hr), expected);
    EXPECT_TRUE(SUCCEEDED(hr) || target->vt == VT_EMPTY);
    hr = VariantCopyInd(&source, &source);
    EXPECT_EQ(SUCCEEDED(hr) ? Show(*source) : Show(hr), expected) << "in place";
  }
  EXPECT_EQ(Narrow(text), "text");
  SysFreeString(text);

  CountedObject object;
  IUnknown* pointer = &object;
  Value target;
  VARIANT source = Reference(VT_UNKNOWN, &pointer);
  EXPECT_EQ(VariantCopyInd(&target, &source), S_OK);
  EXPECT_EQ(target->vt, VT_UNKNOWN);
  EXPECT_EQ(object.references, 1);
}

TEST(Variants, ReleasedObjects_FindTheVariantInItsFinalState) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the embedded host's own promise";
  CountedObject object;
  Value value(object.AsVariant(VT_UNKNOWN));
  VARIANT five = Bits(VT_I4, 5);
  std::string seen;
  object.onRelease = [&] { seen += Show(*value) + ' '; };
  EXPECT_EQ(VariantClear(&value), S_OK);
  *value = object.AsVariant(VT_UNKNOWN);
  EXPECT_EQ(VariantCopy(&value, &five), S_OK);
  EXPECT_EQ(seen, "empty 5 ");
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
    for (int level = 0; level < depth; ++level) inner = DataOf<VARIANT>(inner->parray);
    EXPECT_EQ(inner->punkVal, &object);
  }
  EXPECT_EQ(object.references, 1);
  EXPECT_EQ(VariantClear(&value), S_OK);
  EXPECT_EQ(object.references, 0);
}

}  // namespace
}  // namespace tests
