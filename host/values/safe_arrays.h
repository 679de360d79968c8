// SPDX-License-Identifier: MIT
// Self-describing arrays. The descriptor tells dimensions and features, the data lies in a block of
// its own; the first dimension varies fastest. Element types are 2 to 14, 16 to 23, 37 and 38, and
// the data of one array stays below 4 GiB. A lock count keeps an array from being destroyed or
// resized, also by calls that come back from an object while elements are copied or released.
// Null arguments are E_INVALIDARG unless said otherwise. Counting locks is safe between threads,
// everything else is not.
#pragma once

#include "host/base/variant.h"

// A new array with zeroed elements, owned by the caller. Null for other types, no dimensions or
// more than 65535, null bounds, and for sizes that are not to be had.
RASTEL_HOST_API SAFEARRAY* STDAPICALLTYPE SafeArrayCreate(VARTYPE type, UINT dimensions,
                                                          SAFEARRAYBOUND* bounds) noexcept;
RASTEL_HOST_API SAFEARRAY* STDAPICALLTYPE SafeArrayCreateVector(VARTYPE type, LONG lowerBound,
                                                                ULONG elements) noexcept;

// Releases elements, data and descriptor. Null is S_OK. DISP_E_ARRAYISLOCKED.
RASTEL_HOST_API HRESULT STDAPICALLTYPE SafeArrayDestroy(SAFEARRAY* array) noexcept;

// Gives the last dimension a new bound. Elements at the front stay, new ones are zero, dropped ones
// are released last. E_INVALIDARG also for an array that does not own its data,
// DISP_E_ARRAYISLOCKED, E_OUTOFMEMORY; the array is unchanged then.
RASTEL_HOST_API HRESULT STDAPICALLTYPE SafeArrayRedim(SAFEARRAY* array,
                                                      SAFEARRAYBOUND* bound) noexcept;

// Count of dimensions and bytes of an element; 0 for null.
RASTEL_HOST_API UINT STDAPICALLTYPE SafeArrayGetDim(SAFEARRAY* array) noexcept;
RASTEL_HOST_API UINT STDAPICALLTYPE SafeArrayGetElemsize(SAFEARRAY* array) noexcept;

// Dimensions count from 1; others are DISP_E_BADINDEX. The upper bound is included, so an empty
// dimension ends below its lower bound.
RASTEL_HOST_API HRESULT STDAPICALLTYPE SafeArrayGetLBound(SAFEARRAY* array, UINT dimension,
                                                          LONG* lowerBound) noexcept;
RASTEL_HOST_API HRESULT STDAPICALLTYPE SafeArrayGetUBound(SAFEARRAY* array, UINT dimension,
                                                          LONG* upperBound) noexcept;

// E_INVALIDARG also for a descriptor of a client that tells no type.
RASTEL_HOST_API HRESULT STDAPICALLTYPE SafeArrayGetVartype(SAFEARRAY* array,
                                                           VARTYPE* type) noexcept;

// E_UNEXPECTED for a lock beyond 65535 and for an unlock at 0; the count is unchanged then.
RASTEL_HOST_API HRESULT STDAPICALLTYPE SafeArrayLock(SAFEARRAY* array) noexcept;
RASTEL_HOST_API HRESULT STDAPICALLTYPE SafeArrayUnlock(SAFEARRAY* array) noexcept;

// As lock and unlock; *data is the first element and never null.
RASTEL_HOST_API HRESULT STDAPICALLTYPE SafeArrayAccessData(SAFEARRAY* array, void** data) noexcept;
RASTEL_HOST_API HRESULT STDAPICALLTYPE SafeArrayUnaccessData(SAFEARRAY* array) noexcept;

// Indices are given first dimension first; outside the bounds: DISP_E_BADINDEX. The address is good
// while the array is locked.
RASTEL_HOST_API HRESULT STDAPICALLTYPE SafeArrayPtrOfIndex(SAFEARRAY* array, LONG* indices,
                                                           void** element) noexcept;

// Copies an element out: a text and a VARIANT of its own, an interface with one reference. What
// *value held is not looked at. An element never set is null or VT_EMPTY.
RASTEL_HOST_API HRESULT STDAPICALLTYPE SafeArrayGetElement(SAFEARRAY* array, LONG* indices,
                                                           void* value) noexcept;

// Stores a copy: for strings and interfaces `value` is the BSTR or interface pointer itself, null
// allowed (a null BSTR is stored as an empty one); for all others it points at the value. VARIANTs
// are copied as VariantCopy does. The old element leaves last.
RASTEL_HOST_API HRESULT STDAPICALLTYPE SafeArrayPutElement(SAFEARRAY* array, LONG* indices,
                                                           void* value) noexcept;

// A copy with its own strings, references and nested arrays, unlocked. Of null: S_OK and null.
// *copy is null on failure.
RASTEL_HOST_API HRESULT STDAPICALLTYPE SafeArrayCopy(SAFEARRAY* array, SAFEARRAY** copy) noexcept;

namespace host {

// Whether someone holds a lock on the array.
bool IsLocked(const SAFEARRAY& array) noexcept;

}  // namespace host
