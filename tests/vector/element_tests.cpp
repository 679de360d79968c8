// Elements: counts, pointers, and how numbers and VARIANTs convert.
#include <limits>

#include "tests/vector/vector_test.h"
#include "vector/special_methods.h"

namespace tests {
namespace {

using VectorElements = VectorTest;
using testing::ElementsAre;
using testing::IsEmpty;

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

TEST_F(VectorElements, GetPointer_GivesTheLiveArray) {
  ForAllNumericTypes([](auto type, auto vector) {
    using T = typename decltype(type)::T;
    LONG count = 0;
    T* data = nullptr;
    EXPECT_EQ(vector->GetPointer(nullptr, &data), E_POINTER);
    EXPECT_EQ(vector->GetPointer(&count, nullptr), E_POINTER);
    vector->put_Count(3);
    EXPECT_EQ(vector->GetPointer(&count, &data), S_OK);
    EXPECT_EQ(count, 3);
    data[1] = T{6};
    EXPECT_THAT(ValuesOf(vector), ElementsAre(0, 6, 0));
    vector->put_Value(2, 7);
    EXPECT_EQ(data[2], T{7});
    // Less and more again within what it has: the address stays.
    T* again = nullptr;
    vector->put_Count(1);
    vector->put_Count(3);
    EXPECT_EQ(vector->GetPointer(&count, &again), S_OK);
    EXPECT_EQ(again, data);
    EXPECT_THAT(ValuesOf(vector), ElementsAre(0, 0, 0));
    vector->put_Count(0);
    EXPECT_EQ(vector->GetPointer(&count, &data), S_FALSE);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(data, nullptr);
  });
}

TEST_F(VectorElements, NumbersFromDouble_ClampAndTruncateByEveryWay) {
  const struct {
    ElementTypeKLP code;
    double value, expected;
  } rows[] = {
      {ElementByte, 2.9, 2},
      {ElementByte, 255.5, 255},
      {ElementByte, 1e300, 255},
      {ElementByte, -0.5, 0},
      {ElementByte, -kInfinity, 0},
      {ElementByte, kNaN, 0},
      {ElementChar, -2.9, -2},
      {ElementChar, 127.9, 127},
      {ElementChar, 128, 127},
      {ElementChar, -128.9, -128},
      {ElementChar, kInfinity, 127},
      {ElementChar, kNaN, 0},
      {ElementWord, 65535.5, 65535},
      {ElementWord, 65536, 65535},
      {ElementWord, -3, 0},
      {ElementWord, kNaN, 0},
      {ElementShort, 32767.5, 32767},
      {ElementShort, 40000, 32767},
      {ElementShort, -32768.9, -32768},
      {ElementShort, -1.9, -1},
      {ElementShort, kNaN, 0},
      {ElementDWord, -1, 0},
      {ElementDWord, 3000000000.9, 3000000000},
      {ElementDWord, 4294967296, 4294967295},
      {ElementDWord, kInfinity, 4294967295},
      {ElementDWord, kNaN, 0},
      {ElementLong, 1.9, 1},
      {ElementLong, -1.9, -1},
      {ElementLong, 2147483647.9, 2147483647},
      {ElementLong, -2147483648.9, -2147483648.0},
      {ElementLong, 1e300, 2147483647},
      {ElementLong, kNaN, -2147483648.0},
      {ElementFloat, 0.1, 0.10000000149011612},
      {ElementFloat, 1e39, kFloatMax},
      {ElementFloat, -1e39, -kFloatMax},
      {ElementFloat, kInfinity, kFloatMax},
      {ElementFloat, 1e-60, 0},
      {ElementFloat, kNaN, kNaN},
      {ElementDouble, 0.1, 0.1},
      {ElementDouble, 1e308, 1e308},
      {ElementDouble, kInfinity, kInfinity},
      {ElementDouble, -kInfinity, -kInfinity},
      {ElementDouble, kNaN, kNaN},
      {ElementVariant, kInfinity, kInfinity},
      {ElementVariant, 1e-60, 1e-60},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.code << " " << row.value);
    for (const Kind& kind : kKinds) {
      if (kind.code != row.code) continue;
      const auto vector = NewVector<IVectorKLP>(*kind.classId, 2);
      EXPECT_EQ(vector->Fill(row.value), S_OK);
      EXPECT_EQ(vector->put_Value(0, 1), S_OK);
      EXPECT_EQ(vector->put_Value(0, row.value), S_OK);
      for (const double value : ValuesOf(vector)) EXPECT_PRED2(Same, value, row.expected);
    }
  }
}

// The routes through the element type, slots 24 to 27.
template <class T, class ITyped>
void ExpectElements(const CLSID& classId, std::initializer_list<std::pair<T, T>> rows) {
  const auto vector = NewVector<ITyped>(classId, 1);
  auto* const slots = reinterpret_cast<rastel::VectorElementSlots<T, ITyped>*>(vector.Get());
  LONG count = 0;
  T* data = nullptr;
  vector->GetPointer(&count, &data);
  for (const auto& [value, expected] : rows) {
    SCOPED_TRACE(value);
    EXPECT_EQ(slots->PutElement(0, value), S_OK);
    EXPECT_PRED2(Same, data[0], expected);
    data[0] = value;
    T read{};
    EXPECT_EQ(slots->GetElement(0, &read), S_OK);
    EXPECT_PRED2(Same, read, expected);
    double raw = 0;
    EXPECT_EQ(vector->get_Value(0, &raw), S_OK);
    EXPECT_PRED2(Same, raw, static_cast<double>(value));
  }
}

TEST_F(VectorElements, ElementSlots_ClampFloatOnTheWayOutAsWell) {
  constexpr float kInf = std::numeric_limits<float>::infinity();
  constexpr float kMax = std::numeric_limits<float>::max();
  ExpectElements<float, IFloatVectorKLP>(
      CLSID_FloatVectorKLP,
      {{1.5f, 1.5f}, {kInf, kMax}, {-kInf, -kMax}, {static_cast<float>(kNaN), kInf - kInf}});
  ExpectElements<double, IDoubleVectorKLP>(
      CLSID_DoubleVectorKLP, {{kInfinity, kInfinity}, {-kInfinity, -kInfinity}, {kNaN, kNaN}});
  ExpectElements<std::uint8_t, IByteVectorKLP>(CLSID_ByteVectorKLP, {{255, 255}, {0, 0}});
  ExpectElements<std::int8_t, ICharVectorKLP>(CLSID_CharVectorKLP, {{-128, -128}, {127, 127}});
  ExpectElements<std::uint32_t, IDWordVectorKLP>(CLSID_DWordVectorKLP,
                                                 {{4294967295u, 4294967295u}});
  ExpectElements<std::int32_t, ILongVectorKLP>(CLSID_LongVectorKLP,
                                               {{-2147483647 - 1, -2147483647 - 1}});
}

TEST_F(VectorElements, ClearAndFill_KeepTheCountAndTheTags) {
  ForAllNumericTypes([](auto, auto vector) {
    vector->put_HasElementTags(kOn);
    vector->put_Count(3);
    vector->put_ElementTag(1, Bits(VT_I4, 1));
    EXPECT_EQ(vector->Fill(4), S_OK);
    EXPECT_THAT(ValuesOf(vector), ElementsAre(4, 4, 4));
    EXPECT_THAT(TagTypesOf(vector), ElementsAre(VT_EMPTY, VT_I4, VT_EMPTY));
    EXPECT_EQ(vector->Clear(), S_OK);
    EXPECT_THAT(ValuesOf(vector), ElementsAre(0, 0, 0));
    EXPECT_THAT(TagTypesOf(vector), ElementsAre(VT_EMPTY, VT_EMPTY, VT_EMPTY));
  });
  const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 3);
  const auto text = Text_(OLESTR("a"));
  LONG count = 0;
  VARIANT* data = nullptr;
  for (LONG i = 0; i < 3; ++i) EXPECT_EQ(vector->put_Value(i, text), S_OK);
  vector->GetPointer(&count, &data);
  EXPECT_EQ(vector->Fill(1.5), S_OK);
  for (LONG i = 0; i < 3; ++i) EXPECT_TRUE(data[i].vt == VT_R8 && data[i].dblVal == 1.5);
  for (LONG i = 0; i < 3; ++i) vector->put_Value(i, NewValue());
  EXPECT_EQ(vector->Clear(), S_OK);
  EXPECT_EQ(script_.objects, 0);
  for (LONG i = 0; i < 3; ++i) EXPECT_TRUE(data[i].vt == VT_INT && data[i].intVal == 0);
  EXPECT_THAT(ValuesOf(vector), ElementsAre(0, 0, 0));
}

TEST_F(VectorElements, VariantToDouble_GoesByTypeOrByTheRawField) {
  const CComVariant text = Text_(OLESTR("12"));
  const struct {
    VARTYPE vt;
    LONGLONG bits;
    double expected;
    const OLECHAR* refusal;
  } rows[] = {
      {VT_BSTR, reinterpret_cast<LONGLONG>(text.bstrVal), 0, OLESTR("Type conversion impossible")},
      {VT_BSTR, 0, 0, OLESTR("Type conversion impossible")},
      {VT_DISPATCH, 0, 0, OLESTR("Type conversion impossible")},
      {VT_UNKNOWN, 0, 0, OLESTR("Type conversion impossible")},
      {VT_EMPTY, 5, 0, OLESTR("empty variant")},
      {VT_R4, 0x3FC00000, 1.5, nullptr},
      {VT_R8, 0x4004000000000000, 2.5, nullptr},
      {VT_NULL, 0, 0, nullptr},
      {VT_I2, 0xFFFF, 65535, nullptr},
      {VT_I4, 5, 5, nullptr},
      {VT_I4, 0xFFFFFFFF, 4294967295, nullptr},
      {VT_CY, 10000, 10000, nullptr},
      {VT_DATE, 0x3FF0000000000000, 4607182418800017408.0, nullptr},
      {VT_ERROR, 0x80004005, 2147500037.0, nullptr},
      {VT_BOOL, 0xFFFF, 65535, nullptr},
      {VT_VARIANT, 3, 3, nullptr},
      {VT_DECIMAL, 7, 7, nullptr},
      {VT_I8, -1, -1, nullptr},
      {VT_UI8, -1, -1, nullptr},
      {VT_INT, 9, 9, nullptr},
      {VT_R8 | VT_BYREF, 0x1000, 4096, nullptr},
      {VT_I4 | VT_ARRAY, 0x2000, 8192, nullptr},
  };
  const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 1);
  const auto generic = vector.As<IVectorKLP>();
  LONG count = 0;
  VARIANT* data = nullptr;
  vector->GetPointer(&count, &data);
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
  LONG count = 0;
  VARIANT* data = nullptr;
  vector->GetPointer(&count, &data);
  const auto text = Text_(OLESTR("ab"));
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
  vector->put_Value(1, Text_(OLESTR("ab")));
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

  // An element that cannot be copied ends both. The clone was handed out before, with the code in
  // the element's place; of the deep copy nothing is.
  LONG count = 0;
  VARIANT* data = nullptr;
  vector->GetPointer(&count, &data);
  SysFreeString(data[1].bstrVal);
  data[1].vt = 15;
  ComPtr<IVariantVectorKLP> marked;
  EXPECT_EQ(vector->Clone(marked.Put()), kBadType);
  ASSERT_TRUE(marked);
  VARIANT* markedData = nullptr;
  marked->GetPointer(&count, &markedData);
  EXPECT_TRUE(markedData[1].vt == VT_ERROR && markedData[1].scode == kBadType);
  IVariantVectorKLP* none = vector.Get();
  EXPECT_EQ(vector->DeepCopy(&none), kBadType);
  EXPECT_EQ(none, nullptr);
  data[1].vt = VT_EMPTY;
}

TEST_F(VectorElements, CopiesOfNumbers_StandAlone) {
  ForAllNumericTypes([](auto type, auto vector) {
    using I = typename decltype(type)::I;
    vector->put_Count(3);
    vector->put_Value(2, 5);
    for (const auto copying : {&I::Clone, &I::DeepCopy}) {
      ComPtr<I> copy;
      EXPECT_EQ((vector.Get()->*copying)(copy.Put()), S_OK);
      EXPECT_EQ(vector->put_Value(2, 6), S_OK);
      EXPECT_THAT(ValuesOf(copy), ElementsAre(0, 0, 5));
      EXPECT_THAT(TagTypesOf(copy), ElementsAre(-1));
      vector->put_Value(2, 5);
    }
  });
}

}  // namespace
}  // namespace tests
