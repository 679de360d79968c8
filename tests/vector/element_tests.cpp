// Elements: counts, pointers, and how numbers and VARIANTs convert.
#include <limits>

#include "module/vector/special_methods.h"
#include "tests/support/results.h"
#include "tests/support/slots.h"
#include "tests/vector/vector_test.h"

namespace tests {
namespace {

using VectorElements = VectorTest;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kFloatMax = 3.4028234663852886e+38;

TEST_F(VectorElements, Counts_GrowWithZerosAndShrink) {
  const struct {
    HRESULT (STDMETHODCALLTYPE IVectorKLP::*resize)(LONG);
    LONG count;
    std::vector<double> expected;  // all elements are 5 before
  } rows[] = {{&IVectorKLP::put_Count, 3, {0, 0, 0}},    {&IVectorKLP::SetCount, 2, {5, 5}},
              {&IVectorKLP::put_Count, 4, {5, 5, 0, 0}}, {&IVectorKLP::put_Count, -5, {}},
              {&IVectorKLP::ResizeAll, 2, {0, 0}},       {&IVectorKLP::ResizeAll, -1, {}},
              {&IVectorKLP::SetCount, 1, {0}},           {&IVectorKLP::put_Count, 0, {}},
              {&IVectorKLP::ResizeAll, 3, {0, 0, 0}}};
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const auto vector = NewVector<IVectorKLP>(*kind.classId);
    EXPECT_EQ(vector->get_Count(nullptr), E_POINTER);
    for (const auto& row : rows) {
      EXPECT_EQ(vector->Fill(5), S_OK);
      EXPECT_EQ((vector.Get()->*row.resize)(row.count), S_OK);
      // New VARIANTs are VT_EMPTY, which is no number.
      if (kind.code == ElementVariant) {
        EXPECT_EQ(CountOf(vector), static_cast<LONG>(row.expected.size()));
      } else {
        EXPECT_EQ(ValuesOf(vector), row.expected);
      }
    }
    for (const LONG index : {-1, 3, 0x7FFFFFFF, -0x7FFFFFFF - 1}) {
      double value = 4;
      EXPECT_EQ(vector->get_Value(index, &value), kBadIndex);
      EXPECT_EQ(TakeErrorText(), OLESTR("Rasteldata: Ung\u00FCltiges Vektor-Element "));
      EXPECT_EQ(vector->put_Value(index, value), kBadIndex);
      EXPECT_EQ(value, 4);
    }
  }
}

template <class T, class I>
auto SlotsOf(const ComPtr<I>& vector) {
  using Slots = rastel::VectorElementSlots<T, I>;
  EXPECT_EQ(SlotOf(&Slots::GetElement), 24);
  EXPECT_EQ(SlotOf(&Slots::PutElement), 25);
  EXPECT_EQ(SlotOf(&Slots::GetElementImpl), 26);
  EXPECT_EQ(SlotOf(&Slots::PutElementImpl), 27);
  return reinterpret_cast<Slots*>(vector.Get());
}

TEST_F(VectorElements, GetPointer_GivesTheLiveArray) {
  ForAllNumericTypes([](auto zero, const auto& vector) {
    using T = decltype(zero);
    LONG count = 0;
    T *data = nullptr, *again = nullptr;
    ExpectEach(E_POINTER,
               {vector->GetPointer(nullptr, &data), vector->GetPointer(&count, nullptr)});
    vector->put_Count(3);
    EXPECT_EQ(vector->GetPointer(&count, &data), S_OK);
    EXPECT_EQ(count, 3);
    data[1] = T{6};
    EXPECT_THAT(ValuesOf(vector), ElementsAre(0, 6, 0));
    vector->put_Value(2, 7);
    EXPECT_EQ(data[2], T{7});
    // Less and more again within what it has: the address stays.
    for (const LONG most : {3, 3 << 20}) {
      vector->put_Count(most);
      vector->GetPointer(&count, &data);
      data[most - 1] = T{7};
      vector->put_Count(1);
      vector->put_Count(most);
      EXPECT_EQ(vector->GetPointer(&count, &again), S_OK);
      EXPECT_EQ(again, data);
      EXPECT_EQ(again[most - 1], T{0});
    }
    vector->put_Count(0);
    EXPECT_EQ(vector->GetPointer(&count, &data), S_FALSE);
    EXPECT_TRUE(count == 0 && !data);
  });
}

// The routes through the element type, right behind the typed table.
TEST_F(VectorElements, ElementSlots_ClampFloatOnTheWayOutAsWell) {
  ForAllNumericTypes([](auto zero, const auto& vector) {
    using T = decltype(zero);
    using Limits = std::numeric_limits<T>;
    auto* const slots = SlotsOf<T>(vector);
    std::vector<std::pair<T, T>> rows{
        {T{3}, T{3}}, {Limits::lowest(), Limits::lowest()}, {Limits::max(), Limits::max()}};
    if constexpr (std::is_floating_point_v<T>) {
      constexpr T kBig = Limits::infinity();
      constexpr T kLimit = std::is_same_v<T, double> ? kBig : Limits::max();
      rows.insert(rows.end(),
                  {{kBig, kLimit}, {-kBig, -kLimit}, {static_cast<T>(kNaN), kBig - kBig}});
    }
    LONG count = 0;
    T *data = nullptr, read{}, readAgain{};
    vector->GetPointer(&count, &data);
    for (const auto& [value, expected] : rows) {
      SCOPED_TRACE(value);
      EXPECT_EQ(slots->PutElement(0, value), S_OK);
      EXPECT_PRED2(Same, data[0], expected);
      data[0] = T{};
      EXPECT_EQ(slots->PutElementImpl(0, value), S_OK);
      EXPECT_PRED2(Same, data[0], expected);
      data[0] = value;
      ExpectEach(S_OK, {slots->GetElement(0, &read), slots->GetElementImpl(0, &readAgain)});
      EXPECT_PRED2(Same, read, expected);
      EXPECT_PRED2(Same, readAgain, expected);
      double raw = 0;
      EXPECT_EQ(vector->get_Value(0, &raw), S_OK);
      EXPECT_PRED2(Same, raw, static_cast<double>(value));
    }
    ExpectEach(kBadIndex, {slots->GetElement(1, &read), slots->PutElement(-1, T{0}),
                           slots->GetElementImpl(-1, &read), slots->PutElementImpl(1, T{0})});
  });
  const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 1);
  auto* const slots = SlotsOf<VARIANT>(vector);
  CComVariant value;
  ExpectEach(S_OK,
             {slots->PutElementImpl(0, TextValue(OLESTR("a"))), slots->GetElement(0, &value)});
  EXPECT_EQ(value.vt, VT_BSTR);
  ExpectEach(S_OK, {slots->PutElement(0, Number(3)), slots->GetElementImpl(0, &value)});
  EXPECT_EQ(value.vt, VT_I4);
  EXPECT_EQ(slots->GetElementImpl(1, &value), kBadIndex);
}

TEST_F(VectorElements, NumbersFromDouble_ClampAndTruncateByEveryWay) {
  // By kind: the value put and what is there then.
  const std::vector<std::pair<double, double>> rows[] = {
      {{2.9, 2}, {255.5, 255}, {1e300, 255}, {-0.5, 0}, {-kInfinity, 0}, {kNaN, 0}},
      {{-2.9, -2}, {127.9, 127}, {128, 127}, {-128.9, -128}, {kInfinity, 127}, {kNaN, 0}},
      {{65535.5, 65535}, {65536, 65535}, {-3, 0}, {kNaN, 0}},
      {{32767.5, 32767}, {40000, 32767}, {-32768.9, -32768}, {-1.9, -1}, {kNaN, 0}},
      {{-1, 0}, {3000000000.9, 3e9}, {4294967296, 4294967295}, {kInfinity, 4294967295}, {kNaN, 0}},
      {{1.9, 1},
       {-1.9, -1},
       {2147483647.9, 2147483647},
       {1e300, 2147483647},
       {-2147483648.9, -2147483648.0},
       {kNaN, -2147483648.0}},
      {{0.1, 0.10000000149011612},
       {1e39, kFloatMax},
       {-1e39, -kFloatMax},
       {kInfinity, kFloatMax},
       {1e-60, 0},
       {kNaN, kNaN}},
      {{0.1, 0.1}, {1e308, 1e308}, {kInfinity, kInfinity}, {-kInfinity, -kInfinity}, {kNaN, kNaN}},
      {{kInfinity, kInfinity}, {1e-60, 1e-60}}};
  for (const Kind& kind : kKinds) {
    for (const auto& [put, expected] : rows[&kind - kKinds]) {
      SCOPED_TRACE(testing::Message() << kind.name << " " << put);
      const auto vector = NewVector<IVectorKLP>(*kind.classId, 2);
      EXPECT_EQ(vector->Fill(put), S_OK);
      EXPECT_EQ(vector->put_Value(0, 1), S_OK);
      EXPECT_EQ(vector->put_Value(0, put), S_OK);
      for (const double value : ValuesOf(vector)) EXPECT_PRED2(Same, value, expected);
    }
  }
}

TEST_F(VectorElements, ClearAndFill_KeepTheCountAndTheTags) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const auto vector = NewVector<IVectorKLP>(*kind.classId, 3, kOn);
    vector->put_ElementTag(1, Number(1));
    EXPECT_EQ(vector->Fill(4), S_OK);
    EXPECT_THAT(ValuesOf(vector), ElementsAre(4, 4, 4));
    EXPECT_THAT(TagTypesOf(vector), ElementsAre(VT_EMPTY, VT_I4, VT_EMPTY));
    EXPECT_EQ(vector->Clear(), S_OK);
    EXPECT_THAT(ValuesOf(vector), ElementsAre(0, 0, 0));
    EXPECT_THAT(TagTypesOf(vector), ElementsAre(VT_EMPTY, VT_EMPTY, VT_EMPTY));
  }
  const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 3);
  VARIANT* data = DataOf(vector);
  const auto fillWith = [&](const CComVariant& value) {
    for (LONG i = 0; i < 3; ++i) EXPECT_EQ(vector->put_Value(i, value), S_OK);
  };
  fillWith(TextValue(OLESTR("a")));
  EXPECT_EQ(vector->Fill(1.5), S_OK);
  for (LONG i = 0; i < 3; ++i) EXPECT_TRUE(data[i].vt == VT_R8 && data[i].dblVal == 1.5);
  fillWith(NewValue());
  EXPECT_EQ(vector->Clear(), S_OK);
  EXPECT_EQ(script_.objects, 0);
  for (LONG i = 0; i < 3; ++i) EXPECT_TRUE(data[i].vt == VT_INT && data[i].intVal == 0);
}

TEST_F(VectorElements, VariantToDouble_GoesByTypeOrByTheRawField) {
  const CComVariant text = TextValue(OLESTR("12"));
  const struct {
    VARTYPE vt;
    LONGLONG bits;
    double expected;
    const OLECHAR* refusal;
  } rows[] = {
      {VT_BSTR, reinterpret_cast<LONGLONG>(text.bstrVal), 0, OLESTR("Type conversion impossible")},
      {VT_DISPATCH, 0, 0, OLESTR("Type conversion impossible")},
      {VT_UNKNOWN, 0, 0, OLESTR("Type conversion impossible")},
      {VT_EMPTY, 5, 0, OLESTR("empty variant")},
      {VT_R4, 0x3FC00000, 1.5, nullptr},
      {VT_R8, 0x4004000000000000, 2.5, nullptr},
      {VT_NULL, 0, 0, nullptr},
      {VT_I2, 0xFFFF, 65535, nullptr},
      {VT_I4, 0xFFFFFFFF, 4294967295, nullptr},
      {VT_CY, 10000, 10000, nullptr},
      {VT_DATE, 0x3FF0000000000000, 4607182418800017408.0, nullptr},
      {VT_ERROR, 0x80004005, 2147500037.0, nullptr},
      {VT_BOOL, 0xFFFF, 65535, nullptr},
      {VT_DECIMAL, 7, 7, nullptr},
      {VT_I8, -1, -1, nullptr},
      {VT_UI8, -1, -1, nullptr},
      {VT_R8 | VT_BYREF, 0x1000, 4096, nullptr},
      {VT_I4 | VT_ARRAY, 0x2000, 8192, nullptr}};
  const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 1);
  const auto generic = vector.As<IVectorKLP>();
  VARIANT* data = DataOf(vector);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.vt);
    data[0].vt = row.vt;
    data[0].llVal = row.bits;
    double value = -7;
    EXPECT_EQ(generic->get_Value(0, &value), row.refusal ? kReported : S_OK);
    EXPECT_EQ(value, row.refusal ? -7 : row.expected);
    EXPECT_EQ(TakeErrorText(), row.refusal ? Text(row.refusal) : std::optional<Text>());
  }
  data[0] = VARIANT{};
}

TEST_F(VectorElements, VariantValues_AreCopiedInAndOut) {
  const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 2);
  const auto generic = vector.As<IVectorKLP>();
  VARIANT* data = DataOf(vector);
  const auto text = TextValue(OLESTR("ab"));
  EXPECT_EQ(vector->put_Value(0, text), S_OK);
  EXPECT_NE(data[0].bstrVal, text.bstrVal);
  CComVariant out = NewValue();
  EXPECT_EQ(vector->get_Value(0, &out), S_OK);
  EXPECT_EQ(script_.objects, 0);
  EXPECT_EQ(Text(out.bstrVal), OLESTR("ab"));
  EXPECT_NE(out.bstrVal, data[0].bstrVal);

  // An image of the element itself.
  EXPECT_EQ(vector->put_Value(0, data[0]), S_OK);
  EXPECT_EQ(Text(data[0].bstrVal), OLESTR("ab"));
  // A number over a text.
  EXPECT_EQ(generic->put_Value(0, 2.5), S_OK);
  EXPECT_TRUE(data[0].vt == VT_R8 && data[0].dblVal == 2.5);

  // A value that cannot be copied leaves nothing, and is not told.
  vector->put_Value(0, text);
  EXPECT_EQ(vector->put_Value(0, Bits(15, 1)), S_OK);
  EXPECT_EQ(data[0].vt, VT_EMPTY);
  // An element that cannot be copied.
  data[0].vt = 15;
  EXPECT_EQ(vector->get_Value(0, &out), kBadType);
  EXPECT_EQ(out.vt, VT_EMPTY);
  // An element that cannot be cleared stays, told only by the number's route.
  EXPECT_EQ(vector->put_Value(0, text), S_OK);
  EXPECT_EQ(data[0].vt, 15);
  EXPECT_EQ(generic->put_Value(0, 1), kBadType);
  EXPECT_EQ(data[0].vt, 15);
  data[0].vt = VT_EMPTY;
  // Whatever out holds is overwritten.
  out.vt = 15;
  EXPECT_EQ(vector->get_Value(1, &out), S_OK);
  EXPECT_EQ(out.vt, VT_EMPTY);
  EXPECT_EQ(vector->get_Value(2, &out), kBadIndex);
  EXPECT_EQ(vector->put_Value(-1, text), kBadIndex);
}

TEST_F(VectorElements, Copies_ShareObjectsOrDuplicateThem) {
  Register();
  const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 2, kOn);
  vector->put_Value(0, NewValue());
  vector->put_ElementTag(0, NewValue());
  vector->put_Value(1, TextValue(OLESTR("ab")));
  const auto objectsOf = [](IVariantVectorKLP* of) {
    CComVariant element, tag;
    EXPECT_EQ(of->get_Value(0, &element), S_OK);
    EXPECT_EQ(of->get_ElementTag(0, &tag), S_OK);
    EXPECT_TRUE(element.vt == VT_UNKNOWN && tag.vt == VT_UNKNOWN);
    return std::pair(element.punkVal, tag.punkVal);
  };
  ComPtr<IVariantVectorKLP> clone, copy;
  EXPECT_EQ(vector->Clone(clone.Put()), S_OK);
  EXPECT_EQ(objectsOf(clone.Get()), objectsOf(vector.Get()));
  EXPECT_EQ(script_.objects, 2);
  EXPECT_EQ(vector->DeepCopy(copy.Put()), S_OK);
  EXPECT_EQ(script_.objects, 4);
  EXPECT_EQ(Loads(), 2);
  EXPECT_NE(objectsOf(copy.Get()).first, objectsOf(vector.Get()).first);
  EXPECT_NE(objectsOf(copy.Get()).second, objectsOf(vector.Get()).second);
  EXPECT_EQ(SavedBy(copy), SavedBy(vector));

  // An element that cannot be copied ends both, and nothing is handed out.
  VARIANT* data = DataOf(vector);
  SysFreeString(data[1].bstrVal);
  data[1].vt = 15;
  for (const auto copying : {&IVariantVectorKLP::Clone, &IVariantVectorKLP::DeepCopy}) {
    IVariantVectorKLP* none = vector.Get();
    EXPECT_EQ((vector.Get()->*copying)(&none), kBadType);
    EXPECT_EQ(none, nullptr);
  }
  EXPECT_EQ(script_.objects, 4);
  data[1].vt = VT_EMPTY;
}

// A client keeps the addresses until the arrays move, whatever happens to their lengths meanwhile.
TEST_F(VectorElements, ValuesWrittenThroughPointers_AreTheVectors) {
  Register();
  const std::string four = SavedBy(NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 4, kOn));
  const struct {
    const char* name;
    std::function<void(const ComPtr<IVariantVectorKLP>&)> run;
  } rows[] = {{"nothing", [](auto&) {}},
              {"Clear", [](auto& v) { v->Clear(); }},
              {"one and four", [](auto& v) { v->ResizeAll(1), v->ResizeAll(4); }},
              {"none and four", [](auto& v) { v->put_Count(0), v->put_Count(4); }},
              {"tags off and on", [](auto& v) { v->put_HasElementTags(0), Tagged(v); }},
              {"Load", [&](auto& v) { LoadFrom(v, four); }}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 4, kOn);
    VARIANT *data = DataOf(vector), *tags = Tagged(vector);
    const auto write = [&](int index) {
      data[index] = NewValue().Detach();
      tags[index] = NewValue().Detach();
    };
    row.run(vector);
    write(3);
    for (const auto copying : {&IVariantVectorKLP::Clone, &IVariantVectorKLP::DeepCopy}) {
      ComPtr<IVariantVectorKLP> copy;
      EXPECT_EQ((vector.Get()->*copying)(copy.Put()), S_OK);
      EXPECT_TRUE(DataOf(copy)[3].vt == VT_UNKNOWN && Tagged(copy)[3].vt == VT_UNKNOWN);
    }
    vector->ResizeAll(2);
    EXPECT_EQ(script_.objects, 0);
    // Also behind the end.
    write(3);
    vector->ResizeAll(4);
    EXPECT_EQ(script_.objects, 0);
    EXPECT_TRUE(data[3].vt == VT_EMPTY && tags[3].vt == VT_EMPTY);
    // A move takes along what is to be seen, and lets the rest go.
    vector->ResizeAll(3);
    write(2);
    write(3);
    vector->ResizeAll(1000);
    EXPECT_EQ(script_.objects, 2);
    data = DataOf(vector), tags = Tagged(vector);
    EXPECT_TRUE(data[2].vt == VT_UNKNOWN && tags[2].vt == VT_UNKNOWN);
    EXPECT_TRUE(data[3].vt == VT_EMPTY && tags[3].vt == VT_EMPTY);
    vector->ResizeAll(1);
    write(500);
  }
}

}  // namespace
}  // namespace tests
