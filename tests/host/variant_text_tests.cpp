#include <clocale>
#include <cmath>
#include <cstdio>
#include <random>

#include "tests/host/values.h"

namespace tests {
namespace {

struct Row {
  VARIANT source;
  const char* expected;
};

void ExpectTexts(const std::vector<Row>& rows, USHORT flags = VARIANT_NOVALUEPROP) {
  for (const Row& row : rows) {
    EXPECT_EQ(Converted(row.source, VT_BSTR, flags), row.expected) << "type " << row.source.vt;
  }
}

TEST(ChangeTypeToText, ExactNumbers) {
  ExpectConversions(VT_I1, VT_BSTR, "0x80=-128");
  ExpectConversions(VT_UI1, VT_BSTR, "0x80=128");
  ExpectConversions(VT_I2, VT_BSTR, "0x8000=-32768");
  ExpectConversions(VT_UI2, VT_BSTR, "0xFFFF=65535");
  ExpectConversions(VT_I4, VT_BSTR, "0x80000000=-2147483648");
  ExpectConversions(VT_UI4, VT_BSTR, "0xFFFFFFFF=4294967295");
  ExpectConversions(VT_I8, VT_BSTR, "0x8000000000000000=-9223372036854775808");
  ExpectConversions(VT_UI8, VT_BSTR, "-1=18446744073709551615");
  ExpectConversions(VT_BOOL, VT_BSTR, "0xFFFF=-1|0=0|2=2|255=255|0x8000=-32768");
  ExpectConversions(VT_CY, VT_BSTR,
                    "12345=1.2345|15000=1.5|10000=1|0=0|-1=-0.0001|"
                    "0x7FFFFFFFFFFFFFFF=922337203685477.5807|"
                    "0x8000000000000000=-922337203685477.5808");
  ExpectTexts({{Typed(VT_EMPTY), ""},
               {Decimal(3, 0x80, 0, 1000), "-1"},
               {Decimal(5, 0, 0, 5), "0.00005"},
               {Decimal(28, 0, 0, 1), "0.0000000000000000000000000001"},
               {Decimal(28, 0, ~0u, ~0ull), "7.9228162514264337593543950335"},
               {Decimal(0, 0x80, ~0u, ~0ull), "-79228162514264337593543950335"},
               {Decimal(3, 0x80, 0, 0), "0"},
               {Decimal(0, 1, 0, 5), "-5"}});
  ExpectTexts({{Bits(VT_BOOL, 0xFFFF), "True"}, {Bits(VT_BOOL, 0), "False"}, {Bits(VT_I4, 1), "1"}},
              VARIANT_ALPHABOOL);
  if (kEmbeddedHost) ExpectTexts({{Decimal(29, 0, 0, 5), "invalid"}});
}

TEST(ChangeTypeToText, RealNumbers) {
  for (VARTYPE type : {VT_R8, VT_R4}) {
    ExpectConversions(type, VT_BSTR,
                      "0.1=0.1|0.5=0.5|2.5=2.5|-2.5=-2.5|0.0001=0.0001|0.00001=1E-05|"
                      "9999999=9999999|1e15=1E+15|-1.5e-10=-1.5E-10|0=0|-0.0=0|"
                      "0.30000000000000004=0.3");
  }
  ExpectConversions(VT_R8, VT_BSTR,
                    "0.333333333333333315=0.333333333333333|0.66666666666666663=0.666666666666667|"
                    "10000000=10000000|123456789=123456789|1e14=100000000000000|"
                    "1234567890123456=1.23456789012346E+15|1e100=1E+100|1e300=1E+300|"
                    "1e-300=1E-300|1.7976931348623157e308=1.79769313486232E+308");
  ExpectConversions(VT_R4, VT_BSTR,
                    "0.333333333333333315=0.3333333|0.66666666666666663=0.6666667|10000000=1E+07|"
                    "123456789=1.234568E+08|1e14=1E+14|1234567890123456=1.234568E+15");
  if (!kEmbeddedHost) return;
  for (VARTYPE type : {VT_R8, VT_R4}) {
    ExpectConversions(type, VT_BSTR, "inf=1.#INF|-inf=-1.#INF|nan=1.#QNAN|-nan=-1.#IND");
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
    value = static_cast<float>(std::ldexp(static_cast<double>(bits >> 11), -60));
    std::snprintf(expected, sizeof(expected), "%.7G", value);
    ASSERT_EQ(Converted(Real(value, VT_R4), VT_BSTR), expected);
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
  ExpectConversions(VT_DATE, VT_BSTR,
                    "0=12:00:00 AM|0.5=12:00:00 PM|-0.5=12:00:00 PM|0.99999=11:59:59 PM|"
                    "5e-6=12:00:00 AM|5.8e-6=12:00:01 AM|1=12/31/1899|"
                    "1.5=12/31/1899 12:00:00 PM|-1.25=12/29/1899 6:00:00 AM|59=2/27/1900|"
                    "61=3/1/1900|36526.25=1/1/2000 6:00:00 AM|36585=2/29/2000|"
                    "36891.75=12/31/2000 6:00:00 PM|1.9999999=1/1/1900 12:00:00 AM|"
                    "-657434=1/1/100|-657434.5=1/1/100 12:00:00 PM|2958465=12/31/9999|"
                    "2958465.5=12/31/9999 12:00:00 PM|-657435=invalid|2958466=invalid|inf=invalid");
  if (kEmbeddedHost) ExpectConversions(VT_DATE, VT_BSTR, "nan=invalid|2958465.9999999=invalid");
}

TEST(ChangeTypeToText, References_AreFollowedAndLeftAsTheyAre) {
  LONG number = -7;
  double real = 0.25;
  VARIANT innerReference = Reference(VT_R8, &real);
  ExpectTexts({{Reference(VT_I4, &number), "-7"},
               {Reference(VT_VARIANT, &innerReference), "0.25"},
               {Typed(VT_BSTR), ""}});
  VARIANT chain = Reference(VT_VARIANT, nullptr);
  chain.pvarVal = &chain;
  ExpectTexts({{chain, "invalid"},
               {Reference(VT_I4, nullptr), "mismatch"},
               {Typed(VT_BYREF | VT_EMPTY), "bad type"}});
  BSTR text = NewText(std::string_view("a\0b", 3));
  VARIANT source = Reference(VT_BSTR, &text);
  EXPECT_EQ(VariantChangeType(&source, &source, 0, VT_BSTR), S_OK);
  EXPECT_NE(source.bstrVal, text);
  EXPECT_EQ(Show(source), std::string_view("a\0b", 3));
  VariantClear(&source);
  SysFreeString(text);
}

}  // namespace
}  // namespace tests
