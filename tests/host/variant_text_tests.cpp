#include <clocale>
#include <cmath>
#include <cstdio>
#include <random>

#include "tests/host/conversions.h"

namespace tests {
namespace {

struct Row {
  VARIANT source;
  const char* expected;
  // What the measured platform does differently is expected of the embedded host alone.
  bool embeddedOnly = false;
};

void ExpectTexts(const std::vector<Row>& rows, USHORT flags = VARIANT_NOVALUEPROP) {
  for (const Row& row : rows) {
    if (row.embeddedOnly && !kEmbeddedHost) continue;
    EXPECT_EQ(Converted(row.source, VT_BSTR, flags), row.expected) << "type " << row.source.vt;
  }
}

TEST(ChangeTypeToText, Integers) {
  ExpectTexts({{Bits(VT_I1, 0x80), "-128"},
               {Bits(VT_UI1, 0x80), "128"},
               {Bits(VT_I2, 0x8000), "-32768"},
               {Bits(VT_UI2, 0xFFFF), "65535"},
               {Bits(VT_I4, 0x80000000), "-2147483648"},
               {Bits(VT_INT, 0), "0"},
               {Bits(VT_UI4, 0xFFFFFFFF), "4294967295"},
               {Bits(VT_UINT, 0xFFFFFFFF), "4294967295"},
               {Bits(VT_I8, std::numeric_limits<long long>::min()), "-9223372036854775808"},
               {Bits(VT_UI8, -1), "18446744073709551615"},
               {Bits(VT_BOOL, 0xFFFF), "-1"},
               {Bits(VT_BOOL, 0), "0"},
               {Bits(VT_BOOL, 2), "2"},
               {Bits(VT_BOOL, 255), "255"},
               {Bits(VT_BOOL, 0x8000), "-32768"},
               {Typed(VT_EMPTY), ""}});
  ExpectTexts({{Bits(VT_BOOL, 0xFFFF), "True"},
               {Bits(VT_BOOL, 2), "True"},
               {Bits(VT_BOOL, 0), "False"},
               {Bits(VT_I4, 1), "1"}},
              VARIANT_ALPHABOOL);
}

TEST(ChangeTypeToText, CurrencyAndDecimal) {
  ExpectTexts({{Bits(VT_CY, 12345), "1.2345"},
               {Bits(VT_CY, 15000), "1.5"},
               {Bits(VT_CY, 10000), "1"},
               {Bits(VT_CY, 0), "0"},
               {Bits(VT_CY, -1), "-0.0001"},
               {Bits(VT_CY, std::numeric_limits<long long>::max()), "922337203685477.5807"},
               {Bits(VT_CY, std::numeric_limits<long long>::min()), "-922337203685477.5808"},
               {Decimal(2, 0, 0, 150), "1.5"},
               {Decimal(0, 0, 0, 1000), "1000"},
               {Decimal(3, 0x80, 0, 1000), "-1"},
               {Decimal(5, 0, 0, 5), "0.00005"},
               {Decimal(28, 0, 0, 1), "0.0000000000000000000000000001"},
               {Decimal(28, 0, 0xFFFFFFFF, ~0ull), "7.9228162514264337593543950335"},
               {Decimal(0, 0x80, 0xFFFFFFFF, ~0ull), "-79228162514264337593543950335"},
               {Decimal(0, 0, 0, 0), "0"},
               {Decimal(3, 0x80, 0, 0), "0"},
               {Decimal(0, 1, 0, 5), "-5"},
               {Decimal(29, 0, 0, 5), "invalid", true}});
}

TEST(ChangeTypeToText, RealNumbers) {
  const struct {
    double value;
    const char* asDouble;
    const char* asFloat;
    bool embeddedOnly = false;
  } rows[] = {{0.1, "0.1", "0.1"},
              {0.5, "0.5", "0.5"},
              {2.5, "2.5", "2.5"},
              {-2.5, "-2.5", "-2.5"},
              {1.0 / 3, "0.333333333333333", "0.3333333"},
              {2.0 / 3, "0.666666666666667", "0.6666667"},
              {0.0001, "0.0001", "0.0001"},
              {0.00001, "1E-05", "1E-05"},
              {9999999, "9999999", "9999999"},
              {10000000, "10000000", "1E+07"},
              {123456789, "123456789", "1.234568E+08"},
              {1e14, "100000000000000", "1E+14"},
              {1e15, "1E+15", "1E+15"},
              {1234567890123456, "1.23456789012346E+15", "1.234568E+15"},
              {0.1 + 0.2, "0.3", "0.3"},
              {-1.5e-10, "-1.5E-10", "-1.5E-10"},
              {1e100, "1E+100", nullptr},
              {1e300, "1E+300", nullptr},
              {1e-300, "1E-300", nullptr},
              {std::numeric_limits<double>::max(), "1.79769313486232E+308", nullptr},
              {0.0, "0", "0"},
              {-0.0, "0", "0"},
              {kInfinity, "1.#INF", "1.#INF", true},
              {-kInfinity, "-1.#INF", "-1.#INF", true},
              {std::copysign(kNaN, 1.0), "1.#QNAN", "1.#QNAN", true},
              {std::copysign(kNaN, -1.0), "-1.#IND", "-1.#IND", true}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.value);
    ExpectTexts({{Real(row.value), row.asDouble, row.embeddedOnly}});
    if (row.asFloat) ExpectTexts({{Real(row.value, VT_R4), row.asFloat, row.embeddedOnly}});
  }
}

// All the digits are right, over the whole range of exponents and whatever locale is set.
TEST(ChangeTypeToText, RealNumbers_AreRoundedCorrectlyInEveryLocale) {
  if (!kEmbeddedHost) GTEST_SKIP() << "compares with this system's C library";
  std::mt19937_64 random(20240229);
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t bits = random();
    double value;
    std::memcpy(&value, &bits, sizeof(value));
    if (!std::isfinite(value)) continue;
    char expected[32];
    std::snprintf(expected, sizeof(expected), "%.15G", value);
    ASSERT_EQ(Converted(Real(value), VT_BSTR), expected);
    const float narrow = static_cast<float>(std::ldexp(static_cast<double>(bits >> 11), -60));
    std::snprintf(expected, sizeof(expected), "%.7G", static_cast<double>(narrow));
    ASSERT_EQ(Converted(Real(static_cast<double>(narrow), VT_R4), VT_BSTR), expected);
  }
  for (const char* name : {"de_DE.UTF-8", "de_DE", "fr_FR.UTF-8", ""}) {
    std::setlocale(LC_ALL, name);
    EXPECT_EQ(Converted(Real(1234.5), VT_BSTR), "1234.5") << name;
    EXPECT_EQ(ConvertedText("1,234.5", VT_R8), "1234.5") << name;
    EXPECT_EQ(Converted(Real(36526.25, VT_DATE), VT_BSTR), "1/1/2000 6:00:00 AM") << name;
  }
  std::setlocale(LC_ALL, "C");
}

TEST(ChangeTypeToText, Dates) {
  const auto date = [](double days) { return Real(days, VT_DATE); };
  ExpectTexts({{date(0.0), "12:00:00 AM"},
               {date(0.5), "12:00:00 PM"},
               {date(-0.5), "12:00:00 PM"},
               {date(0.99999), "11:59:59 PM"},
               {date(5e-6), "12:00:00 AM"},
               {date(5.8e-6), "12:00:01 AM"},
               {date(1.0), "12/31/1899"},
               {date(1.5), "12/31/1899 12:00:00 PM"},
               {date(-1.25), "12/29/1899 6:00:00 AM"},
               {date(59), "2/27/1900"},
               {date(61), "3/1/1900"},
               {date(36526.25), "1/1/2000 6:00:00 AM"},
               {date(36585), "2/29/2000"},
               {date(36891.75), "12/31/2000 6:00:00 PM"},
               {date(1.9999999), "1/1/1900 12:00:00 AM"},
               {date(-657434), "1/1/100"},
               {date(-657434.5), "1/1/100 12:00:00 PM"},
               {date(2958465), "12/31/9999"},
               {date(2958465.5), "12/31/9999 12:00:00 PM"},
               {date(-657435), "invalid"},
               {date(2958466), "invalid"},
               {date(kInfinity), "invalid"},
               {date(kNaN), "invalid", true},
               {date(2958465.9999999), "invalid", true}});
}

TEST(ChangeTypeToText, WhatHasNoText_IsAMismatchOrABadType) {
  CountedObject object;
  Value dispatch(object.AsVariant(VT_DISPATCH)), unknown(object.AsVariant(VT_UNKNOWN));
  Value numbers(Array(VT_I4, SafeArrayCreateVector(VT_I4, 0, 2)));
  Value bytes(Array(VT_UI1, SafeArrayCreateVector(VT_UI1, 0, 2)));
  VARIANT chain = Reference(VT_VARIANT, nullptr);
  chain.pvarVal = &chain;
  ExpectTexts({{Typed(VT_NULL), "mismatch"},
               {Bits(VT_ERROR, 5), "mismatch"},
               {Typed(VT_DISPATCH), "mismatch"},
               {Typed(VT_UNKNOWN), "mismatch"},
               {*dispatch, "mismatch"},
               {*unknown, "mismatch"},
               {Typed(VT_VARIANT), "mismatch"},
               {Typed(VT_RECORD), "mismatch"},
               {*numbers, "mismatch"},
               {Array(VT_I4, nullptr), "mismatch"},
               {*bytes, "mismatch", true},
               {Reference(VT_I4, nullptr), "mismatch"},
               {chain, "invalid"},
               {Typed(VT_BYREF | VT_EMPTY), "bad type"},
               {Typed(VT_BYREF | VT_NULL), "bad type"},
               {Typed(VT_ARRAY | VT_EMPTY), "bad type"},
               {Typed(15), "bad type"},
               {Typed(24), "bad type"},
               {Typed(37), "bad type"},
               {Typed(VT_VECTOR | VT_I4), "bad type"},
               {Typed(VT_RESERVED | VT_I4), "bad type"}});
  EXPECT_EQ(object.invokes, 0);
}

TEST(ChangeTypeToText, References_AreFollowedAndLeftAsTheyAre) {
  LONG number = -7;
  double real = 0.25;
  BSTR text = NewText("text"), nullText = nullptr;
  DECIMAL decimal = Decimal(1, 0, 0, 25).decVal;
  VARIANT inner = Bits(VT_BOOL, 0xFFFF), innerReference = Reference(VT_R8, &real);
  ExpectTexts({{Reference(VT_I4, &number), "-7"},
               {Reference(VT_R8, &real), "0.25"},
               {Reference(VT_BSTR, &text), "text"},
               {Reference(VT_BSTR, &nullText), ""},
               {Reference(VT_DECIMAL, &decimal), "2.5"},
               {Reference(VT_VARIANT, &inner), "-1"},
               {Reference(VT_VARIANT, &innerReference), "0.25"}});
  VARIANT source = Reference(VT_BSTR, &text);
  EXPECT_EQ(VariantChangeType(&source, &source, 0, VT_BSTR), S_OK);
  EXPECT_NE(source.bstrVal, text);
  VariantClear(&source);
  EXPECT_EQ(Narrow(text), "text");
  SysFreeString(text);
}

TEST(ChangeTypeToText, TextItself_IsCopied) {
  Value source(Text(std::string_view("a\0b", 3))), target;
  EXPECT_EQ(VariantChangeType(&target, &source, VARIANT_NOVALUEPROP, VT_BSTR), S_OK);
  EXPECT_NE(target->bstrVal, source->bstrVal);
  EXPECT_EQ(SysStringLen(target->bstrVal), 3u);
  VARIANT null = Typed(VT_BSTR);
  EXPECT_EQ(VariantChangeType(&null, &null, 0, VT_BSTR), S_OK);
  ASSERT_NE(null.bstrVal, nullptr);
  EXPECT_EQ(SysStringLen(null.bstrVal), 0u);
  VariantClear(&null);
}

}  // namespace
}  // namespace tests
