// SPDX-License-Identifier: MIT
// VARIANTs for tests of the value services: made in one expression, owned, numbers shown as text.
#pragma once

#include <charconv>
#include <functional>
#include <string>
#include <string_view>

#include "tests/support/doubles.h"

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

inline VARIANT Typed(int type) {
  VARIANT value{};
  value.vt = static_cast<VARTYPE>(type);
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
inline VARIANT Text(std::string_view ascii) {
  VARIANT value = Typed(VT_BSTR);
  value.bstrVal = NewText(ascii);
  return value;
}
inline VARIANT Array(VARTYPE type, SAFEARRAY* array) {
  VARIANT value = Typed(VT_ARRAY | type);
  value.parray = array;
  return value;
}

template <class T>
T* DataOf(SAFEARRAY* array) {
  return static_cast<T*>(array->pvData);
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

// A number as text: "-5", "0.5"; VT_CY in units of 1/10000, a DECIMAL as "scale,sign,high,low".
// Empty for what is no number.
inline std::string Show(const VARIANT& value) {
  const auto text = [](auto number) {
    char digits[32];
    return std::string(digits, std::to_chars(digits, digits + sizeof(digits), number).ptr);
  };
  const DECIMAL& decimal = value.decVal;
  if (value.vt == VT_R4) return text(value.fltVal);
  if (value.vt == VT_R8 || value.vt == VT_DATE) return text(value.dblVal);
  if (value.vt == VT_DECIMAL) {
    return text(decimal.scale) + ',' + text(decimal.sign) + ',' + text(decimal.Hi32) + ',' +
           text(decimal.Lo64);
  }
  // How many bytes each integer has; below 0 if it has a sign.
  constexpr int kBytes[] = {0, 0, -2, -4, 0,  0, -8, 0, 0,  0, -4, -2,
                            0, 0, 0,  0,  -1, 1, 2,  4, -8, 8, -4, 4};
  const int bytes = value.vt < std::size(kBytes) ? kBytes[value.vt] : 0;
  if (bytes == 0) return "";
  const int shift = 64 - 8 * std::abs(bytes);
  const auto bits = value.ullVal << shift;
  return bytes > 0 ? text(bits >> shift) : text(static_cast<long long>(bits) >> shift);
}

// An object that counts its references, tells when one is given up, and has a default value.
class CountedObject final : public WithoutMembers<Double<IDispatch>> {
 public:
  STDMETHODIMP_(ULONG) Release() override {
    const int left = --references;
    if (onRelease) onRelease();
    return static_cast<ULONG>(left);
  }
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

  int invokes = 0;
  HRESULT invokeResult = S_OK;
  VARIANT defaultValue{};
  std::function<void()> onRelease;
};

}  // namespace tests
