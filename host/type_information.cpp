#include "host/type_information.h"

HRESULT LoadRegTypeLib(REFGUID, WORD, WORD, LCID, ITypeLib** out) noexcept {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  return TYPE_E_LIBNOTREGISTERED;
}
