// SPDX-License-Identifier: MIT
// Conversion of VARIANTs between types. Every number type converts to every other and to and from
// text; the locale is that of English (United States), whatever the caller or the environment says.
// Any thread may call.
#pragma once

#include "host/base/interfaces.h"

// Converts source to a type and puts the result into target, which may be the same VARIANT; what
// target held is cleared last. References (VT_BYREF) in source are followed and what they refer to
// is not changed. Flags: VARIANT_NOVALUEPROP keeps a VT_DISPATCH from being asked for its value,
// VARIANT_ALPHABOOL gives "True" and "False". Rounding is half to even.
// DISP_E_BADVARTYPE for a type that no VARIANT has and for a null VT_DISPATCH that was to be asked,
// DISP_E_TYPEMISMATCH for what cannot be converted, DISP_E_OVERFLOW beyond the range of the target
// type, E_INVALIDARG for null pointers, for dates outside the years 100 to 9999 and for what is no
// DECIMAL, E_OUTOFMEMORY, VariantClear's code for a target that cannot be cleared. The target keeps
// what it held then.
RASTEL_HOST_API HRESULT STDAPICALLTYPE VariantChangeType(VARIANTARG* target, VARIANTARG* source,
                                                         USHORT flags, VARTYPE type) noexcept;

// The same; the locale is handed to a VT_DISPATCH only.
RASTEL_HOST_API HRESULT STDAPICALLTYPE VariantChangeTypeEx(VARIANTARG* target, VARIANTARG* source,
                                                           LCID locale, USHORT flags,
                                                           VARTYPE type) noexcept;
