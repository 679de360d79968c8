// SPDX-License-Identifier: MIT
// What the type word of a VARIANT says: which types exist, how wide their values are, and which of
// them own something.
#pragma once

#include "host/base/variant.h"

namespace host {

inline constexpr VARTYPE kTypeFlags = 0xF000;

constexpr VARTYPE BaseType(VARTYPE type) noexcept { return type & VT_TYPEMASK; }
constexpr bool IsByRef(VARTYPE type) noexcept { return (type & VT_BYREF) != 0; }
constexpr bool IsArray(VARTYPE type) noexcept { return (type & VT_ARRAY) != 0; }

// Bits `first` to `last`, both included.
constexpr std::uint64_t TypeRange(int first, int last) noexcept {
  return ((std::uint64_t{2} << last) - 1) & ~((std::uint64_t{1} << first) - 1);
}
constexpr bool IsOneOf(VARTYPE type, std::uint64_t set) noexcept {
  return type < 64 && (set >> type & 1) != 0;
}

inline constexpr std::uint64_t kValueTypes =
    TypeRange(VT_I2, VT_DECIMAL) | TypeRange(VT_I1, VT_UINT) | TypeRange(VT_RECORD, VT_RECORD);

// A type that a VARIANT may have.
constexpr bool IsValidType(VARTYPE type) noexcept {
  if ((type & kTypeFlags) == 0) return IsOneOf(type, kValueTypes | TypeRange(VT_EMPTY, VT_NULL));
  return (type & (VT_VECTOR | VT_RESERVED)) == 0 && IsOneOf(BaseType(type), kValueTypes);
}

// A type whose value is nothing but its bits: no string, interface or array. This host has no
// records: what VT_RECORD points to stays its maker's.
constexpr bool IsPlain(VARTYPE type) noexcept {
  return IsOneOf(type, TypeRange(VT_EMPTY, VT_DATE) | TypeRange(VT_ERROR, VT_VARIANT) |
                           TypeRange(VT_DECIMAL, VT_DECIMAL) | TypeRange(VT_I1, VT_UINT) |
                           TypeRange(VT_RECORD, VT_RECORD));
}

// Bytes of a value of a base type, as array element or behind a reference; 0 where it has none.
constexpr ULONG ValueBytes(VARTYPE base) noexcept {
  switch (base) {
    case VT_I1:
    case VT_UI1:
      return 1;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
      return 2;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
    case VT_ERROR:
      return 4;
    case VT_R8:
    case VT_CY:
    case VT_DATE:
    case VT_I8:
    case VT_UI8:
    case VT_BSTR:
    case VT_DISPATCH:
    case VT_UNKNOWN:
    case VT_INT_PTR:
    case VT_UINT_PTR:
      return 8;
    case VT_DECIMAL:
      return sizeof(DECIMAL);
    case VT_VARIANT:
      return sizeof(VARIANT);
    default:
      return 0;
  }
}

}  // namespace host
