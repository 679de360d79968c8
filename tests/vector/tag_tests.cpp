// Element tags: when they are on, what they keep, and objects in them that call back.
#include "tests/vector/vector_test.h"

namespace tests {
namespace {

using VectorTags = VectorTest;
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
      EXPECT_EQ(vector->put_ElementTag(1, Number(1)), E_FAIL);
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

// Steps: '+' tags on, '-' off, '1' oddly on; 't' tags the last element; 'C' clears; '#n' counts n
// elements ('!' none, by a negative count); '=n' resizes all to n.
void Walk(IVectorKLP* vector, const char* steps) {
  for (; *steps; ++steps) {
    const char step = *steps;
    LONG count = 0;
    vector->get_Count(&count);
    if (step == '+' || step == '-') vector->put_HasElementTags(step == '+' ? kOn : 0);
    if (step == '1') vector->put_HasElementTags(1);
    if (step == 't') vector->put_ElementTag(count - 1, Number(1));
    if (step == 'C') vector->Clear();
    if (step == '!') vector->put_Count(-1);
    if (step == '#') vector->put_Count(*++steps - '0');
    if (step == '=') vector->ResizeAll(*++steps - '0');
  }
}

TEST_F(VectorTags, FollowTheElements) {
  const struct {
    const char* steps;
    std::vector<int> expected;
  } rows[] = {{"+#3t#2#3", {0, 0, 0}},
              {"+#3t#4", {0, 0, VT_I4, 0}},
              {"+#2t-+", {0, 0}},
              {"+#2t+", {0, VT_I4}},
              {"+#2t1+", {0, VT_I4}},
              {"+#2t#0", {-1}},
              {"+#2t1!#2+", {0, 0}},
              // Off, the tags keep their number ...
              {"1#2+", {0, 0}},
              {"+#3t1#4+", {0, 0, VT_I4, 0}},
              // ... but for ResizeAll and Clear.
              {"=4+", {0, 0, 0, 0}},
              {"+#3t1=1#3+", {0, 0, 0}},
              {"#2C+", {0, 0}},
              {"+#2tC", {0, 0}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.steps);
    const auto vector = NewVector<IVectorKLP>(CLSID_LongVectorKLP);
    Walk(vector.Get(), row.steps);
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
  const auto text = TextValue(OLESTR("ab"));
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
  EXPECT_TRUE(IsBadTypeMark(tags[0]));
  tags[1].vt = 15;
  EXPECT_EQ(vector->get_ElementTag(1, &out), kBadType);
  EXPECT_EQ(out.vt, VT_BSTR);
  IByteVectorKLP* copy = vector.Get();
  EXPECT_EQ(vector->Clone(&copy), kBadType);
  EXPECT_EQ(copy, nullptr);
  // One that cannot be cleared gives way to the error.
  EXPECT_EQ(vector->put_ElementTag(1, text), kBadType);
  EXPECT_TRUE(IsBadTypeMark(tags[1]));
}

// A stream states how many tags there are.
TEST_F(VectorTags, MayBeFewerOrMoreThanElements) {
  const auto vector = NewVector<IByteVectorKLP>(CLSID_ByteVectorKLP);
  const struct {
    std::string stream;
    std::vector<int> expected;
  } rows[] = {{VectorSample("byte_0103_fewer_tags"), {VT_I4}},
              {VectorSample("byte_0103_more_tags"), {VT_I4, VT_BOOL}},
              {"0301 02000000 FFFF 0102 00000000", {-1}}};
  for (const auto& row : rows) {
    ASSERT_EQ(LoadFrom(vector, row.stream), S_OK);
    const auto tagCount = static_cast<LONG>(row.expected[0] == -1 ? 0 : row.expected.size());
    for (LONG i = 0; i < CountOf(vector); ++i) {
      EXPECT_EQ(TagType(vector, i), i < tagCount ? VT_I4 : -1);
      EXPECT_EQ(vector->put_ElementTag(i, Number(1)), i < tagCount ? S_OK : E_FAIL);
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

using Vector = ComPtr<IVariantVectorKLP>;

struct Operation {
  const char* name;
  std::function<HRESULT(const Vector&)> run;
  LONG countAtRelease = 0;  // what an object finds that leaves
};

const CComVariant kNumber = Number(1);

const Operation kDisplacing[] = {
    {"put_Value", [](auto& v) { return v->put_Value(1, kNumber); }, 12},
    {"put_ElementTag", [](auto& v) { return v->put_ElementTag(1, kNumber); }, 12},
    {"put_Count", [](auto& v) { return v->put_Count(1); }, 1},
    {"ResizeAll", [](auto& v) { return v->ResizeAll(0); }, 0},
    {"tags off", [](auto& v) { return v->put_HasElementTags(0); }, 12},
    {"Clear", [](auto& v) { return v->Clear(); }, 12},
    {"Fill", [](auto& v) { return v->Fill(2); }, 12},
    {"Load", [](auto& v) { return LoadFrom(v, "0301 01000000 0000 0300 0300 05000000"); }, 1}};

HRESULT ValueOf(const Vector& vector, CComVariant out = {}) { return vector->get_Value(1, &out); }
HRESULT TagOf(const Vector& vector, CComVariant out = {}) {
  return vector->get_ElementTag(1, &out);
}

const Operation kCounting[] = {{"Clone", [](auto& v) { return Cloned(v); }},
                               {"DeepCopy", [](auto& v) { return DeepCopied(v); }},
                               {"get_Value", [](auto& v) { return ValueOf(v); }},
                               {"get_ElementTag", [](auto& v) { return TagOf(v); }},
                               {"Save", [](auto& v) { return Save(v, NewStream().Get()); }}};

TEST_F(VectorTags, ObjectsThatLeaveOrAreCounted_MayChangeTheVector) {
  const auto newVector = [](auto value) {
    auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 12, kOn);
    for (LONG i = 1; i < 12; ++i) {
      vector->put_Value(i, value());
      vector->put_ElementTag(i, value());
    }
    return vector;
  };
  for (const Operation& operation : kDisplacing) {
    SCOPED_TRACE(operation.name);
    const Vector vector = newVector([&] { return NewValue(); });
    int releases = 0;
    LONG countAtRelease = -1;
    script_.onRelease = [&] {
      if (releases == 0) countAtRelease = CountOf(vector);
      ++releases;
      vector->put_HasElementTags(releases % 2 == 0 ? 0 : -1);
      vector->put_Count(releases);
      vector->Clear();
    };
    EXPECT_EQ(operation.run(vector), S_OK);
    EXPECT_EQ(countAtRelease, operation.countAtRelease);
    script_.onRelease = nullptr;
    EXPECT_EQ(vector->put_Count(3), S_OK);
    EXPECT_EQ(vector->Fill(1), S_OK);
  }
  for (const Operation& operation : kCounting) {
    SCOPED_TRACE(operation.name);
    const Vector vector = newVector([value = NewValue()] { return value; });
    int calls = 0;
    script_.onAddRef = [&] {
      if (++calls == 1) vector->ResizeAll(0);
      if (calls == 2) vector->ResizeAll(5000);
    };
    EXPECT_EQ(operation.run(vector), S_OK);
    script_.onAddRef = nullptr;
    EXPECT_GT(calls, 0);
    EXPECT_EQ(vector->put_Count(2), S_OK);
  }
  // A place that is gone when the value could be put.
  const Vector vector = newVector([] { return kNumber; });
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
