// SPDX-License-Identifier: MIT
// VARIANTs with an owner. Two wrappers own one VARIANT each and clear it in the end; they are 24
// bytes like the VARIANT that they are, and differ only in how a failed copy is raised. The
// functions do the same for VARIANTs in plain arrays.
//
// A displaced value is always released last, when the target holds its new one: a release may call
// foreign code that comes back to the object.
#pragma once

#include <cstdint>
#include <utility>

#include "module/frame/exceptions.h"
#include "platform/platform.h"

namespace rastel {

// VT_ERROR with a code.
inline VARIANT ErrorVariant(HRESULT result) noexcept {
  VARIANT variant{};
  variant.vt = VT_ERROR;
  variant.scode = result;
  return variant;
}

// A type whose value is its bits: copying it is assigning it, and clearing it does nothing.
constexpr bool IsPlain(VARTYPE vt) noexcept {
  constexpr auto kRange = [](unsigned first, unsigned last) {
    return (std::uint32_t{2} << last) - (std::uint32_t{1} << first);
  };
  constexpr std::uint32_t kPlain = kRange(VT_EMPTY, VT_DATE) | kRange(VT_ERROR, VT_BOOL) |
                                   kRange(VT_DECIMAL, VT_DECIMAL) | kRange(VT_I1, VT_UINT);
  return vt < 32 && (kPlain >> vt & 1) != 0;
}

// Whether copying a value or clearing it may call code of others: objects, arrays of them, records.
constexpr bool IsForeign(const VARIANT& value) noexcept {
  return !IsPlain(value.vt) && value.vt != VT_BSTR && (value.vt & VT_BYREF) == 0;
}

// VariantCopy, all or nothing: on failure, also where the target's old value cannot be cleared, the
// target is unchanged. The source may be the target or a bitwise image of it.
HRESULT ReplaceVariant(VARIANT& target, const VARIANT& source) noexcept;

// ReplaceVariant, but a failure is left in the target, as VT_ERROR with the code.
HRESULT ReplaceVariantOrMark(VARIANT& target, const VARIANT& source) noexcept;

// Clears out and moves the bits there, leaving VT_EMPTY behind. If out cannot be cleared nothing
// moves and the code of VariantClear is returned.
HRESULT MoveVariantTo(VARIANT* out, VARIANT& from) noexcept;

// Copy(target, source) copies or raises.
template <void (*Copy)(VARIANT& target, const VARIANT& source)>
class OwnedVariant : public VARIANT {
 public:
  OwnedVariant() noexcept : VARIANT{} {}
  explicit OwnedVariant(const VARIANT& source) : VARIANT{} { Copy(*this, source); }
  OwnedVariant(const OwnedVariant& other) : VARIANT{} { Copy(*this, other); }
  OwnedVariant(OwnedVariant&& other) noexcept : VARIANT(other.Detach()) {}
  ~OwnedVariant() {
    if (!IsPlain(vt)) VariantClear(this);
  }

  OwnedVariant& operator=(const VARIANT& source) {
    Copy(*this, source);
    return *this;
  }
  OwnedVariant& operator=(const OwnedVariant& other) {
    return *this = static_cast<const VARIANT&>(other);
  }
  OwnedVariant& operator=(OwnedVariant&& other) noexcept {
    OwnedVariant displaced(std::move(other));
    std::swap(Bits(), displaced.Bits());
    return *this;
  }

  // The value itself, which is now the caller's; VT_EMPTY stays behind.
  VARIANT Detach() noexcept { return std::exchange(Bits(), VARIANT{}); }

 private:
  VARIANT& Bits() noexcept { return *this; }
};

inline void CopyOrRaiseComError(VARIANT& target, const VARIANT& source) {
  CheckResult(ReplaceVariant(target, source));
}

inline void CopyOrRaiseAtlException(VARIANT& target, const VARIANT& source) {
  const HRESULT result = ReplaceVariantOrMark(target, source);
  if (FAILED(result)) AtlThrow(result);
}

// A failed copy raises _com_error and changes nothing.
using _variant_t = OwnedVariant<CopyOrRaiseComError>;

// A failed copy turns the target into VT_ERROR with the code and raises CAtlException.
using CComVariant = OwnedVariant<CopyOrRaiseAtlException>;

static_assert(sizeof(_variant_t) == 24 && sizeof(CComVariant) == 24);

}  // namespace rastel
