// VARIANTs made in one expression. They own what they hold.
#pragma once

#include "module/frame/variants.h"
#include "platform/platform.h"

namespace tests {

inline rastel::CComVariant Bits(VARTYPE vt, LONGLONG bits) {
  rastel::CComVariant value;
  value.vt = vt;
  value.llVal = bits;
  return value;
}
inline rastel::CComVariant Number(LONG number) { return Bits(VT_I4, number); }
inline rastel::CComVariant Real(DOUBLE number) {
  rastel::CComVariant value;
  value.vt = VT_R8;
  value.dblVal = number;
  return value;
}
// Null for null.
inline rastel::CComVariant TextValue(const OLECHAR* text) {
  rastel::CComVariant value;
  value.vt = VT_BSTR;
  value.bstrVal = SysAllocString(text);
  return value;
}
// Counts the object.
inline rastel::CComVariant Object(IUnknown* object, VARTYPE vt = VT_UNKNOWN) {
  rastel::CComVariant value;
  value.vt = vt;
  value.punkVal = object;
  if (object) object->AddRef();
  return value;
}

}  // namespace tests
