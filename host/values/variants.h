// SPDX-License-Identifier: MIT
// VARIANTs: clearing, copying, following references. Null pointers are E_INVALIDARG. What a VARIANT
// loses leaves last, after the VARIANT has its new content, since releasing an object may call
// back. Any thread may call; a VARIANT itself has no lock.
#pragma once

#include "host/base/interfaces.h"

// Makes the VARIANT VT_EMPTY without looking at what it was.
RASTEL_HOST_API void STDAPICALLTYPE VariantInit(VARIANTARG* variant) noexcept;

// Frees the string or array, releases the interface, and sets VT_EMPTY. A reference frees nothing.
// DISP_E_BADVARTYPE for a type that no VARIANT has, DISP_E_ARRAYISLOCKED for a locked array; the
// VARIANT is unchanged then.
RASTEL_HOST_API HRESULT STDAPICALLTYPE VariantClear(VARIANTARG* variant) noexcept;

// Makes target a copy of source: strings and arrays are duplicated, interfaces referenced,
// references (VT_BYREF) taken over as they are. A null BSTR becomes an empty one. Numbers are
// copied without an allocation. Copying to itself is S_OK. DISP_E_BADVARTYPE for an invalid source,
// VariantClear's code for a target that cannot be cleared, E_OUTOFMEMORY; the target is unchanged
// then.
RASTEL_HOST_API HRESULT STDAPICALLTYPE VariantCopy(VARIANTARG* target, VARIANTARG* source) noexcept;

// As VariantCopy, with a VT_BYREF source replaced by a copy of what it refers to; a reference to a
// VARIANT is followed once more. Source and target may be the same. A reference to a VARIANT that
// is again a reference to a VARIANT, and a null reference, are E_INVALIDARG with an empty target.
RASTEL_HOST_API HRESULT STDAPICALLTYPE VariantCopyInd(VARIANT* target, VARIANTARG* source) noexcept;

// The platform's names for the members of a VARIANT, and what its type word says.
#define VARIANT_MEMBER(name, member)                         \
  template <class Variant>                                   \
  constexpr decltype(auto) name(Variant* variant) noexcept { \
    return (variant->member);                                \
  }
#include "host/base/variant_members.inc"
#undef VARIANT_MEMBER
template <class Variant>
constexpr decltype(auto) V_NONE(Variant* variant) noexcept {
  return V_I2(variant);
}
constexpr int V_ISBYREF(const VARIANT* variant) noexcept { return variant->vt & VT_BYREF; }
constexpr int V_ISARRAY(const VARIANT* variant) noexcept { return variant->vt & VT_ARRAY; }
constexpr int V_ISVECTOR(const VARIANT* variant) noexcept { return variant->vt & VT_VECTOR; }

namespace host {

// Gives a VARIANT without VT_BYREF that shows the value of `source` bit by bit and owns nothing.
// DISP_E_BADVARTYPE, or E_INVALIDARG for a null reference or a chain of VARIANT references.
HRESULT Dereference(const VARIANT& source, VARIANT* view) noexcept;

// Duplicates a value of valid type into an uninitialised VARIANT. E_OUTOFMEMORY, or the code of
// copying an array; *copy is VT_EMPTY then.
HRESULT DuplicateValue(const VARIANT& value, VARIANT* copy) noexcept;

// Whether VariantClear would succeed: S_OK or its failure.
HRESULT CheckClearable(const VARIANT& variant) noexcept;

// Gives up what a value that was moved out of its VARIANT owns.
void ReleaseValue(const VARIANT& value) noexcept;

// Puts *fresh into *target and then gives up what target held. The target must be clearable.
void MoveInto(VARIANT* target, const VARIANT& fresh) noexcept;

}  // namespace host
