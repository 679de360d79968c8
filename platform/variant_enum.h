// SPDX-License-Identifier: MIT
// The platform's kind of enumerator, as script languages walk over an object.
#pragma once

#include "platform/com_enum.h"

namespace platform {

using VariantEnum = CComEnum<IEnumVARIANT, VARIANT, CopyVariant>;

// out: a new enumerator over copies of the VARIANTs in an array. E_OUTOFMEMORY.
inline HRESULT NewVariantEnum(SAFEARRAY& variants, IUnknown** out) noexcept {
  void* data = nullptr;
  HRESULT result = SafeArrayAccessData(&variants, &data);
  if (FAILED(result)) return result;
  LONG last = -1;
  SafeArrayGetUBound(&variants, 1, &last);
  CComObject<VariantEnum>* made = nullptr;
  result = CComObject<VariantEnum>::CreateInstance(&made);
  if (SUCCEEDED(result)) {
    ComPtr<IEnumVARIANT> owner(made);
    auto* const begin = static_cast<VARIANT*>(data);
    result = made->Init(begin, begin + last + 1, nullptr, EnumArray::Copy);
    if (SUCCEEDED(result)) *out = owner.Detach();
  }
  SafeArrayUnaccessData(&variants);
  return result;
}

}  // namespace platform
