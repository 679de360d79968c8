// SPDX-License-Identifier: MIT
#include "host/values/variants.h"

#include "host/values/safe_arrays.h"
#include "host/values/strings.h"
#include "host/values/variant_types.h"

namespace host {
namespace {

// Reads the value behind a reference of a type other than VT_VARIANT.
HRESULT Fetch(const VARIANT& reference, VARIANT* view) noexcept {
  const VARTYPE type = reference.vt & ~VT_BYREF;
  if (!reference.byref) return E_INVALIDARG;
  *view = VARIANT{};
  void* place = type == VT_DECIMAL ? static_cast<void*>(&view->decVal) : &view->llVal;
  std::memcpy(place, reference.byref, IsArray(type) ? sizeof(SAFEARRAY*) : ValueBytes(type));
  view->vt = type;
  return S_OK;
}

}  // namespace

HRESULT Dereference(const VARIANT& source, VARIANT* view) noexcept {
  constexpr VARTYPE kVariantReference = VT_BYREF | VT_VARIANT;
  if (!IsValidType(source.vt)) return DISP_E_BADVARTYPE;
  if (!IsByRef(source.vt)) {
    *view = source;
    return S_OK;
  }
  if (source.vt != kVariantReference) return Fetch(source, view);
  if (!source.pvarVal) return E_INVALIDARG;
  const VARIANT& inner = *source.pvarVal;
  if (!IsValidType(inner.vt)) return DISP_E_BADVARTYPE;
  if (inner.vt == kVariantReference) return E_INVALIDARG;
  if (IsByRef(inner.vt)) return Fetch(inner, view);
  *view = inner;
  return S_OK;
}

HRESULT DuplicateValue(const VARIANT& value, VARIANT* copy) noexcept {
  *copy = VARIANT{};
  if (IsArray(value.vt) && !IsByRef(value.vt)) {
    const HRESULT hr = SafeArrayCopy(value.parray, &copy->parray);
    if (FAILED(hr)) return hr;
    copy->vt = value.vt;
    return S_OK;
  }
  if (value.vt == VT_BSTR) {
    copy->bstrVal = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(value.bstrVal),
                                          SysStringByteLen(value.bstrVal));
    if (!copy->bstrVal) return E_OUTOFMEMORY;
    copy->vt = VT_BSTR;
    return S_OK;
  }
  // Taken over before the object hears of it, since AddRef may call back and change the source.
  *copy = value;
  if ((copy->vt == VT_DISPATCH || copy->vt == VT_UNKNOWN) && copy->punkVal) {
    copy->punkVal->AddRef();
  }
  return S_OK;
}

HRESULT CheckClearable(const VARIANT& variant) noexcept {
  if (!IsValidType(variant.vt) && variant.vt != VT_CLSID) return DISP_E_BADVARTYPE;
  if (IsArray(variant.vt) && !IsByRef(variant.vt) && variant.parray && IsLocked(*variant.parray)) {
    return DISP_E_ARRAYISLOCKED;
  }
  return S_OK;
}

void ReleaseValue(const VARIANT& value) noexcept {
  if (IsByRef(value.vt)) return;
  if (IsArray(value.vt)) {
    SafeArrayDestroy(value.parray);
    return;
  }
  if (value.vt == VT_BSTR) SysFreeString(value.bstrVal);
  if ((value.vt == VT_DISPATCH || value.vt == VT_UNKNOWN) && value.punkVal) {
    value.punkVal->Release();
  }
}

void MoveInto(VARIANT* target, const VARIANT& fresh) noexcept {
  const VARIANT old = *target;
  *target = fresh;
  if (!IsPlain(old.vt)) ReleaseValue(old);
}

}  // namespace host

void STDAPICALLTYPE VariantInit(VARIANTARG* variant) noexcept {
  if (variant) *variant = VARIANT{};
}

HRESULT STDAPICALLTYPE VariantClear(VARIANTARG* variant) noexcept {
  if (!variant) return E_INVALIDARG;
  if (host::IsPlain(variant->vt)) {
    variant->vt = VT_EMPTY;
    return S_OK;
  }
  const HRESULT hr = host::CheckClearable(*variant);
  if (FAILED(hr)) return hr;
  const VARIANT old = *variant;
  variant->vt = VT_EMPTY;
  host::ReleaseValue(old);
  return S_OK;
}

HRESULT STDAPICALLTYPE VariantCopy(VARIANTARG* target, VARIANTARG* source) noexcept {
  if (!target || !source) return E_INVALIDARG;
  if (host::IsPlain(source->vt) && host::IsPlain(target->vt)) {
    *target = *source;
    return S_OK;
  }
  if (!host::IsValidType(source->vt)) return DISP_E_BADVARTYPE;
  if (target == source) return S_OK;
  HRESULT hr = host::CheckClearable(*target);
  if (FAILED(hr)) return hr;
  VARIANT copy;
  hr = host::DuplicateValue(*source, &copy);
  if (FAILED(hr)) return hr;
  host::MoveInto(target, copy);
  return S_OK;
}

HRESULT STDAPICALLTYPE VariantCopyInd(VARIANT* target, VARIANTARG* source) noexcept {
  if (!target || !source) return E_INVALIDARG;
  if (!host::IsByRef(source->vt)) return VariantCopy(target, source);
  if (!host::IsValidType(source->vt)) return DISP_E_BADVARTYPE;
  HRESULT hr = host::CheckClearable(*target);
  if (FAILED(hr)) return hr;
  VARIANT view;
  VARIANT copy{};
  hr = host::Dereference(*source, &view);
  if (SUCCEEDED(hr)) hr = host::DuplicateValue(view, &copy);
  host::MoveInto(target, copy);
  return hr;
}
