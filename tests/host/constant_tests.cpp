// SPDX-License-Identifier: MIT
// The constants of the embedded host are the platform's: the rows that make them are compared with
// what the headers of either host say, on Windows with the system's own.
#include <gtest/gtest.h>

#include <type_traits>

#include "platform/platform.h"

namespace tests {
namespace {

#define RESULT_CODE(name, bits) \
  static_assert(static_cast<HRESULT>(name) == platform::ResultCode(bits), #name);
#include "host/base/result_codes.inc"

#define CONSTANT(type, name, value) \
  static_assert(static_cast<type>(name) == static_cast<type>(value), #name);
#define ENUMERATION(name, type) static_assert(std::is_enum_v<name> && sizeof(name) == sizeof(type));
#define ENUMERATOR(name, value) \
  static_assert(static_cast<DWORD>(name) == static_cast<DWORD>(value), #name);
#define END_ENUMERATION
#include "host/base/constants.inc"

constexpr HRESULT kReport = platform::ResultCode(0x8004045A);
static_assert(MAKE_HRESULT(SEVERITY_ERROR, FACILITY_ITF, 0x45A) == kReport);
static_assert(HRESULT_CODE(kReport) == 0x45A && HRESULT_FACILITY(kReport) == FACILITY_ITF);
static_assert(HRESULT_SEVERITY(kReport) == SEVERITY_ERROR && IS_ERROR(kReport) && !IS_ERROR(S_OK));
static_assert(SCODE_CODE(kReport) == 0x45A && SCODE_FACILITY(kReport) == FACILITY_ITF);
static_assert(SCODE_SEVERITY(kReport) == 1 && MAKE_SCODE(1, 4, 0x45A) == kReport);
static_assert(HRESULT_FROM_NT(0x17) == 0x10000017);
static_assert(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US) == 0x0409);
static_assert(PRIMARYLANGID(0x0407) == LANG_GERMAN && SUBLANGID(0x0807) == 2);
static_assert(MAKELCID(0x0407, 1) == 0x00010407 && LANGIDFROMLCID(0x00010407) == 0x0407);
static_assert(SORTIDFROMLCID(0x00010407) == 1);

TEST(Constants, NamesOfVariantMembersReachThem) {
  VARIANT value{};
#define VARIANT_MEMBER(name, member) \
  EXPECT_EQ(static_cast<const void*>(&name(&value)), &value.member) << #name;
#include "host/base/variant_members.inc"
  V_VT(&value) = VT_BYREF | VT_ARRAY | VT_I2;
  EXPECT_TRUE(V_ISBYREF(&value) && V_ISARRAY(&value) && !V_ISVECTOR(&value));
  V_NONE(&value) = 7;
  EXPECT_EQ(value.iVal, 7);
  LARGE_INTEGER number;
  ULARGE_INTEGER count;
  LISet32(number, -2);
  ULISet32(count, 0xFFFFFFFE);
  EXPECT_EQ(number.QuadPart, -2);
  EXPECT_EQ(count.QuadPart, 0xFFFFFFFEu);
}

}  // namespace
}  // namespace tests
