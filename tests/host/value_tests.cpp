// SPDX-License-Identifier: MIT
// What rows of facts cannot say of VARIANTs and arrays: the embedded host's own promises.
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstring>
#include <random>

#include "tests/rows/values.h"

namespace tests {
namespace {

// The source may be a bitwise image of the target, or lie in what the target owns.
TEST(Variants, Copy_SourceInsideTheTarget_IsCopiedBeforeItIsGivenUp) {
  Value value(Text("image")), outer(Array(VT_VARIANT, SafeArrayCreateVector(VT_VARIANT, 0, 1)));
  VARIANT image = *value, *element = DataOf<VARIANT>(outer->parray);
  *element = Text("element");
  EXPECT_EQ(VariantCopy(&value, &image), S_OK);
  EXPECT_EQ(VariantCopy(&outer, element), S_OK);
  EXPECT_EQ(Narrow(value->bstrVal), "image");
  EXPECT_EQ(Narrow(outer->bstrVal), "element");
}

TEST(Variants, NestedArrays_AreCopiedAndClearedWithoutDepth) {
  constexpr int depth = 100000;
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

TEST(SafeArrays, ForeignDescriptor_IsReadButNotFreed) {
  CountedObject object;
  VARIANT data[] = {object.AsVariant(VT_UNKNOWN), Bits(VT_I4, 5)};
  SAFEARRAY array{1, 0x0002 | 0x0010 | 0x0800, sizeof(VARIANT), 0, data, {{2, 0}}}, *copy = nullptr;
  SAFEARRAYBOUND bound{1, 0};
  EXPECT_EQ(SafeArrayRedim(&array, &bound), E_INVALIDARG);
  EXPECT_EQ(SafeArrayCopy(&array, &copy), S_OK);
  EXPECT_EQ(copy->fFeatures, 0x0800);
  for (SAFEARRAY* each : {copy, &array}) EXPECT_EQ(SafeArrayDestroy(each), S_OK);
  EXPECT_EQ(object.references, 0);
}

// The value changed to a type, as a number or text, or the digits of the failure.
std::string Changed(const VARIANT& source, VARTYPE type) {
  Value from(source), to;
  const HRESULT result = VariantChangeType(&to, &from, 0, type);
  if (FAILED(result)) return std::to_string(result);
  return type == VT_BSTR ? Narrow(to->bstrVal) : Show(*to);
}

// All the digits are right, over the whole range of exponents and whatever locale is set.
TEST(ChangeType, RealNumbers_AreRoundedCorrectlyInEveryLocale) {
  std::mt19937_64 random(20240229);
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t bits = random();
    double value;
    std::memcpy(&value, &bits, sizeof(value));
    if (!std::isfinite(value)) continue;
    char expected[32];
    std::snprintf(expected, sizeof(expected), "%.15G", value);
    ASSERT_EQ(Changed(Real(value), VT_BSTR), expected);
    value = static_cast<float>(std::ldexp(static_cast<double>(bits >> 11), -60));
    std::snprintf(expected, sizeof(expected), "%.7G", value);
    ASSERT_EQ(Changed(Real(value, VT_R4), VT_BSTR), expected);
  }
  for (const char* name : {"de_DE.UTF-8", "de_DE", "fr_FR.UTF-8", ""}) {
    std::setlocale(LC_ALL, name);
    EXPECT_EQ(Changed(Real(1234.5), VT_BSTR), "1234.5") << name;
    EXPECT_EQ(Changed(Text("1,234.5"), VT_R8), "1234.5") << name;
    EXPECT_EQ(Changed(Real(36526.25, VT_DATE), VT_BSTR), "1/1/2000 6:00:00 AM") << name;
  }
  std::setlocale(LC_ALL, "C");
}

// More digits than anything keeps, with the one that decides at the very end.
TEST(ChangeType, VeryLongNumbers_AreExact) {
  const std::string zeros(100000, '0');
  EXPECT_EQ(Changed(Text("0.5" + zeros + "1"), VT_I4), "1");
  EXPECT_EQ(Changed(Text("9007199254740993." + zeros + "1"), VT_R8), "9007199254740994");
  EXPECT_EQ(Changed(Text("1" + zeros + "e-100000"), VT_DECIMAL), "0,0,0,1");
}

}  // namespace
}  // namespace tests
