// Element tags: when they are on, what they keep, and objects in them that call back.
#include "tests/vector/vector_test.h"

namespace tests {
namespace {

using VectorTags = VectorTest;
using testing::ElementsAre;
using testing::ElementsAreArray;

// The type of a tag, or -1 with the debug line of a refusal.
template <class Vector>
int TagType(Vector& vector, LONG index) {
  CComVariant tag;
  DebugCapture debug;
  const HRESULT result = vector->get_ElementTag(index, &tag);
  if (result == S_OK) return tag.vt;
  EXPECT_EQ(result, E_FAIL);
  EXPECT_THAT(debug.Texts(), ElementsAre("E_FAIL"));
  return -1;
}

TEST_F(VectorTags, OnlyMinusOneSwitchesThemOn) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const auto vector = NewVector<IVectorKLP>(*kind.classId, 2);
    PutErrorText(OLESTR("before"));
    for (const VARIANT_BOOL value : std::initializer_list<VARIANT_BOOL>{0, 1, 2, -2, 0x7FFF}) {
      EXPECT_EQ(vector->put_HasElementTags(value), S_OK);
      VARIANT_BOOL now = 9;
      EXPECT_EQ(vector->get_HasElementTags(&now), S_OK);
      EXPECT_EQ(now, value);
      EXPECT_EQ(TagType(vector, 0), -1);
      EXPECT_EQ(vector->put_ElementTag(1, Bits(VT_I4, 1)), E_FAIL);
      EXPECT_THAT(TagTypesOf(vector), ElementsAre(-1));
      ComPtr<IVectorKLP> typed;
      EXPECT_EQ(vector->Clone(typed.Put()), S_OK);
      EXPECT_EQ(typed.As<IVectorKLP>()->get_HasElementTags(&now), S_OK);
      EXPECT_EQ(now, 0);
    }
    EXPECT_EQ(TakeErrorText(), OLESTR("before"));
    // The index is tested first.
    CComVariant tag;
    EXPECT_EQ(vector->get_ElementTag(2, &tag), kBadIndex);
    EXPECT_EQ(vector->put_ElementTag(-1, tag), kBadIndex);
    EXPECT_EQ(vector->put_HasElementTags(kOn), S_OK);
    EXPECT_EQ(TagType(vector, 1), VT_EMPTY);
    EXPECT_EQ(vector->get_ElementTag(2, &tag), kBadIndex);
  }
}

TEST_F(VectorTags, FollowTheElements) {
  using Step = std::function<void(IVectorKLP*)>;
  const Step tagLast = [](IVectorKLP* v) {
    LONG count = 0;
    v->get_Count(&count);
    EXPECT_EQ(v->put_ElementTag(count - 1, Bits(VT_I4, 1)), S_OK);
  };
  const Step on = [](IVectorKLP* v) { v->put_HasElementTags(-1); };
  const Step off = [](IVectorKLP* v) { v->put_HasElementTags(0); };
  const Step oddlyOn = [](IVectorKLP* v) { v->put_HasElementTags(1); };
  const Step clear = [](IVectorKLP* v) { v->Clear(); };
  const auto count = [](LONG n) -> Step { return [n](IVectorKLP* v) { v->put_Count(n); }; };
  const auto resizeAll = [](LONG n) -> Step { return [n](IVectorKLP* v) { v->ResizeAll(n); }; };
  const struct {
    std::vector<Step> steps;
    std::vector<int> expected;
  } rows[] = {
      {{on, count(3), tagLast, count(2), count(3)}, {0, 0, 0}},
      {{on, count(3), tagLast, count(4)}, {0, 0, VT_I4, 0}},
      {{on, count(2), tagLast, off, on}, {0, 0}},
      {{on, count(2), tagLast, on}, {0, VT_I4}},
      {{on, count(2), tagLast, oddlyOn, on}, {0, VT_I4}},
      {{on, count(2), tagLast, count(0)}, {-1}},
      {{on, count(2), tagLast, oddlyOn, count(-1), count(2), on}, {0, 0}},
      // Off, the tags keep their number ...
      {{oddlyOn, count(2), on}, {0, 0}},
      {{on, count(3), tagLast, oddlyOn, count(4), on}, {0, 0, VT_I4, 0}},
      // ... but for ResizeAll and Clear.
      {{resizeAll(4), on}, {0, 0, 0, 0}},
      {{on, count(3), tagLast, oddlyOn, resizeAll(1), count(3), on}, {0, 0, 0}},
      {{count(2), clear, on}, {0, 0}},
      {{on, count(2), tagLast, clear}, {0, 0}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    const auto vector = NewVector<IVectorKLP>(CLSID_LongVectorKLP);
    for (const Step& step : row.steps) step(vector.Get());
    EXPECT_THAT(TagTypesOf(vector), ElementsAreArray(row.expected));
  }
}

TEST_F(VectorTags, AreCopiedInAndOut) {
  const auto vector = NewVector<IByteVectorKLP>(CLSID_ByteVectorKLP, 2, kOn);
  LONG count = 0;
  VARIANT* tags = nullptr;
  EXPECT_EQ(vector->GetTagPointer(nullptr, &tags), E_POINTER);
  EXPECT_EQ(vector->GetTagPointer(&count, nullptr), E_POINTER);
  EXPECT_EQ(vector->GetTagPointer(&count, &tags), S_OK);
  const auto text = Text_(OLESTR("ab"));
  EXPECT_EQ(vector->put_ElementTag(0, text), S_OK);
  EXPECT_NE(tags[0].bstrVal, text.bstrVal);
  // The tag itself, or an image of it.
  EXPECT_EQ(vector->put_ElementTag(0, tags[0]), S_OK);
  EXPECT_EQ(Text(tags[0].bstrVal), OLESTR("ab"));

  CComVariant out = NewValue();
  EXPECT_EQ(vector->get_ElementTag(0, &out), S_OK);
  EXPECT_EQ(script_.objects, 0);
  EXPECT_EQ(Text(out.bstrVal), OLESTR("ab"));
  EXPECT_NE(out.bstrVal, tags[0].bstrVal);
  // Nothing delivered, and yet success.
  EXPECT_EQ(vector->get_ElementTag(0, nullptr), S_OK);
  CComVariant stubborn = Bits(15, 3);
  EXPECT_EQ(vector->get_ElementTag(0, &stubborn), S_OK);
  EXPECT_EQ(stubborn.vt, 15);

  // A tag that cannot be copied in or out.
  EXPECT_EQ(vector->put_ElementTag(0, Bits(15, 0)), kBadType);
  EXPECT_TRUE(tags[0].vt == VT_ERROR && tags[0].scode == kBadType);
  tags[1].vt = 15;
  EXPECT_EQ(vector->get_ElementTag(1, &out), kBadType);
  EXPECT_EQ(out.vt, VT_BSTR);
  ComPtr<IByteVectorKLP> copy;
  EXPECT_EQ(vector->Clone(copy.Put()), kBadType);
  LONG copied = 0;
  VARIANT* copiedTags = nullptr;
  ASSERT_EQ(copy->GetTagPointer(&copied, &copiedTags), S_OK);
  EXPECT_TRUE(copiedTags[1].vt == VT_ERROR && copiedTags[1].scode == kBadType);
  // One that cannot be cleared gives way to the error.
  EXPECT_EQ(vector->put_ElementTag(1, text), kBadType);
  EXPECT_TRUE(tags[1].vt == VT_ERROR && tags[1].scode == kBadType);
}

// A stream states how many tags there are.
TEST_F(VectorTags, MayBeFewerOrMoreThanElements) {
  const auto vector = NewVector<IByteVectorKLP>(CLSID_ByteVectorKLP);
  const struct {
    const char* stream;
    std::vector<int> expected;
  } rows[] = {
      {"0301 02000000 FFFF 0102 01000000 0300 0300 05000000", {VT_I4}},
      {"0301 01000000 FFFF 01 02000000 0300 0300 05000000 0B00 0B00 FFFF", {VT_I4, VT_BOOL}},
      {"0301 02000000 FFFF 0102 00000000", {-1}},
  };
  for (const auto& row : rows) {
    ASSERT_EQ(LoadFrom(vector, row.stream), S_OK);
    const auto tagCount = static_cast<LONG>(row.expected[0] == -1 ? 0 : row.expected.size());
    for (LONG i = 0; i < CountOf(vector); ++i) {
      EXPECT_EQ(TagType(vector, i), i < tagCount ? VT_I4 : -1);
      EXPECT_EQ(vector->put_ElementTag(i, Bits(VT_I4, 1)), i < tagCount ? S_OK : E_FAIL);
    }
    EXPECT_THAT(TagTypesOf(vector), ElementsAreArray(row.expected));
    for (const auto copying : {&IByteVectorKLP::Clone, &IByteVectorKLP::DeepCopy}) {
      ComPtr<IByteVectorKLP> copy;
      EXPECT_EQ((vector.Get()->*copying)(copy.Put()), S_OK);
      EXPECT_THAT(TagTypesOf(copy), ElementsAreArray(row.expected));
    }
  }
}

// Objects in elements and tags that change their vector when they leave or are counted.

struct Operation {
  const char* name;
  std::function<HRESULT(IVariantVectorKLP*)> run;
  LONG countAtRelease;  // what the object finds
};

const CComVariant kNumber = Bits(VT_I4, 1);

const Operation kOperations[] = {
    {"put_Value", [](auto* v) { return v->put_Value(1, kNumber); }, 12},
    {"put_ElementTag", [](auto* v) { return v->put_ElementTag(1, kNumber); }, 12},
    {"put_Count", [](auto* v) { return v->put_Count(1); }, 1},
    {"ResizeAll", [](auto* v) { return v->ResizeAll(0); }, 0},
    {"tags off", [](auto* v) { return v->put_HasElementTags(0); }, 12},
    {"Clear", [](auto* v) { return v->Clear(); }, 12},
    {"Fill", [](auto* v) { return v->Fill(2); }, 12},
    {"Load",
     [](auto* v) {
       return ComPtr<IVariantVectorKLP>(v).As<IPersistStream>()->Load(
           NewStream("0301 01000000 0000 0300 0300 05000000").Get());
     },
     1},
};

ComPtr<IVariantVectorKLP> VectorOf(const CComVariant& value) {
  auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 12, kOn);
  for (LONG i = 1; i < 12; ++i) {
    vector->put_Value(i, value);
    vector->put_ElementTag(i, value);
  }
  return vector;
}

TEST_F(VectorTags, DisplacedValues_LeaveWhenTheVectorIsInItsFinalState) {
  for (const Operation& operation : kOperations) {
    SCOPED_TRACE(operation.name);
    const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 12, kOn);
    for (LONG i = 1; i < 12; ++i) {
      vector->put_Value(i, NewValue());
      vector->put_ElementTag(i, NewValue());
    }
    int releases = 0;
    LONG countAtRelease = -1;
    script_.onRelease = [&] {
      if (releases == 0) countAtRelease = CountOf(vector);
      ++releases;
      vector->put_HasElementTags(releases % 2 == 0 ? 0 : -1);
      vector->put_Count(releases);
      vector->Clear();
    };
    EXPECT_EQ(operation.run(vector.Get()), S_OK);
    EXPECT_EQ(countAtRelease, operation.countAtRelease);
    script_.onRelease = nullptr;
    EXPECT_EQ(vector->put_Count(3), S_OK);
    EXPECT_EQ(vector->Fill(1), S_OK);
  }
}

TEST_F(VectorTags, CountedValues_MayTakeTheirPlaceAway) {
  const Operation operations[] = {
      {"Clone",
       [](auto* v) {
         ComPtr<IVariantVectorKLP> copy;
         return v->Clone(copy.Put());
       },
       0},
      {"DeepCopy",
       [](auto* v) {
         ComPtr<IVariantVectorKLP> copy;
         return v->DeepCopy(copy.Put());
       },
       0},
      {"get_Value",
       [](auto* v) {
         CComVariant out;
         return v->get_Value(1, &out);
       },
       0},
      {"get_ElementTag",
       [](auto* v) {
         CComVariant out;
         return v->get_ElementTag(1, &out);
       },
       0},
      {"Save",
       [](auto* v) {
         return ComPtr<IVariantVectorKLP>(v).As<IPersistStream>()->Save(NewStream().Get(), FALSE);
       },
       0},
  };
  for (const Operation& operation : operations) {
    SCOPED_TRACE(operation.name);
    const auto vector = VectorOf(NewValue());
    int calls = 0;
    const auto change = [&] {
      if (++calls == 1) vector->ResizeAll(0);
      if (calls == 2) vector->ResizeAll(5000);
    };
    script_.onAddRef = change;
    EXPECT_EQ(operation.run(vector.Get()), S_OK);
    script_.onAddRef = nullptr;
    EXPECT_GT(calls, 0);
    EXPECT_EQ(vector->put_Count(2), S_OK);
  }
  // A tag whose place is gone when it could be put.
  const auto vector = VectorOf(kNumber);
  const CComVariant probe = NewValue();
  script_.onAddRef = [&] { vector->put_Count(0); };
  EXPECT_EQ(vector->put_ElementTag(1, probe), E_FAIL);
  EXPECT_EQ(vector->put_Count(2), S_OK);
  EXPECT_EQ(vector->put_Value(1, probe), S_OK);
  script_.onAddRef = nullptr;
  EXPECT_EQ(CountOf(vector), 0);
}

}  // namespace
}  // namespace tests
