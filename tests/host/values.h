// VARIANTs for tests of the value services: made in one expression, owned, and shown as text.
#pragma once

#include <charconv>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/platform.h"

namespace tests {

using OleText = std::basic_string<OLECHAR>;

inline OleText Widen(std::string_view ascii) { return OleText(ascii.begin(), ascii.end()); }

// Each unit as one character, others than ASCII as '?'; "null" for null.
inline std::string Narrow(BSTR text) {
  if (!text) return "null";
  std::string narrow;
  for (UINT i = 0; i < SysStringLen(text); ++i) {
    narrow.push_back(text[i] < 0x80 ? static_cast<char>(text[i]) : '?');
  }
  return narrow;
}

inline BSTR NewText(std::string_view ascii) {
  return SysAllocStringLen(Widen(ascii).data(), static_cast<UINT>(ascii.size()));
}

inline VARIANT Typed(VARTYPE type) {
  VARIANT value{};
  value.vt = type;
  return value;
}
// An integer, VT_CY, VT_BOOL or VT_ERROR of the given bits.
inline VARIANT Bits(VARTYPE type, long long bits) {
  VARIANT value = Typed(type);
  value.llVal = bits;
  return value;
}
inline VARIANT Real(double real, VARTYPE type = VT_R8) {
  VARIANT value = Typed(type);
  if (type == VT_R4) {
    value.fltVal = static_cast<float>(real);
  } else {
    value.dblVal = real;
  }
  return value;
}
inline VARIANT Decimal(BYTE scale, BYTE sign, ULONG high, ULONGLONG low) {
  VARIANT value{};
  value.decVal.scale = scale;
  value.decVal.sign = sign;
  value.decVal.Hi32 = high;
  value.decVal.Lo64 = low;
  value.vt = VT_DECIMAL;
  return value;
}
inline VARIANT Text(std::string_view ascii) {
  VARIANT value = Typed(VT_BSTR);
  value.bstrVal = NewText(ascii);
  return value;
}
inline VARIANT Reference(VARTYPE type, void* place) {
  VARIANT value = Typed(static_cast<VARTYPE>(VT_BYREF | type));
  value.byref = place;
  return value;
}
inline VARIANT Array(VARTYPE type, SAFEARRAY* array) {
  VARIANT value = Typed(static_cast<VARTYPE>(VT_ARRAY | type));
  value.parray = array;
  return value;
}

// Clears a VARIANT at the end of a scope.
class Value {
 public:
  Value() = default;
  explicit Value(const VARIANT& owned) : variant_(owned) {}
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;
  ~Value() { VariantClear(&variant_); }
  VARIANT* operator&() { return &variant_; }
  VARIANT* operator->() { return &variant_; }
  VARIANT& operator*() { return variant_; }

 private:
  VARIANT variant_{};
};

inline std::string Show(double real) {
  char digits[32];
  return {digits, std::to_chars(digits, digits + sizeof(digits), real).ptr};
}

// A number, text or VT_EMPTY as text: "-5", "0.5", "abc"; VT_CY in units of 1/10000; a DECIMAL as
// sign, high and low half of its digits and scale, "-0:19/1" for -2.5.
inline std::string Show(const VARIANT& value) {
  char text[64];
  switch (value.vt) {
    case VT_EMPTY:
      return "empty";
    case VT_NULL:
      return "null";
    case VT_I1:
      return std::to_string(static_cast<signed char>(value.bVal));
    case VT_UI1:
      return std::to_string(value.bVal);
    case VT_I2:
    case VT_BOOL:
      return std::to_string(value.iVal);
    case VT_UI2:
      return std::to_string(value.uiVal);
    case VT_I4:
    case VT_INT:
    case VT_ERROR:
      return std::to_string(value.lVal);
    case VT_UI4:
    case VT_UINT:
      return std::to_string(value.ulVal);
    case VT_I8:
    case VT_CY:
      return std::to_string(value.llVal);
    case VT_UI8:
      return std::to_string(value.ullVal);
    case VT_R4:
      return Show(double{value.fltVal});
    case VT_R8:
    case VT_DATE:
      return Show(value.dblVal);
    case VT_DECIMAL:
      std::snprintf(text, sizeof(text), "%s%X:%08X%08X/%d", value.decVal.sign ? "-" : "",
                    static_cast<unsigned>(value.decVal.Hi32),
                    static_cast<unsigned>(value.decVal.Mid32),
                    static_cast<unsigned>(value.decVal.Lo32), value.decVal.scale);
      return text;
    case VT_BSTR:
      return Narrow(value.bstrVal);
    default:
      std::snprintf(text, sizeof(text), "type %X", static_cast<unsigned>(value.vt));
      return text;
  }
}

// The name of a result code of the value services.
inline std::string Show(HRESULT hr) {
  switch (static_cast<std::uint32_t>(hr)) {
    case 0:
      return "S_OK";
    case 0x80020005u:
      return "mismatch";
    case 0x80020008u:
      return "bad type";
    case 0x8002000Au:
      return "overflow";
    case 0x80070057u:
      return "invalid";
    default:
      char text[16];
      std::snprintf(text, sizeof(text), "%08X", static_cast<unsigned>(hr));
      return text;
  }
}

// An object that counts its references, tells when one is given up, and has a default value.
class CountedObject final : public IDispatch {
 public:
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    const bool known = IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDispatch);
    *out = known ? static_cast<IDispatch*>(this) : nullptr;
    if (known) AddRef();
    return known ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++references); }
  STDMETHODIMP_(ULONG) Release() override {
    const int left = --references;
    if (onRelease) onRelease();
    return static_cast<ULONG>(left);
  }
  STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
  STDMETHODIMP Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* params, VARIANT* result,
                      EXCEPINFO*, UINT*) override {
    ++invokes;
    if (member != 0 || (flags & 2) == 0 || params->cArgs != 0) return E_INVALIDARG;
    return SUCCEEDED(invokeResult) ? VariantCopy(result, &defaultValue) : invokeResult;
  }

  // Interface pointers that a test puts into VARIANTs count as one reference each.
  VARIANT AsVariant(VARTYPE type) {
    VARIANT value = Typed(type);
    value.pdispVal = this;
    AddRef();
    return value;
  }

  int references = 0;
  int invokes = 0;
  HRESULT invokeResult = S_OK;
  VARIANT defaultValue{};
  std::function<void()> onRelease;
};

}  // namespace tests
