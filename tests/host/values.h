// VARIANTs for tests of the value services: made in one expression, owned, and shown as text.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/doubles.h"
#include "tests/support/host_kind.h"

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
  VARIANT value = Typed(VT_BYREF | type);
  value.byref = place;
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

inline std::string Show(double real) {
  char digits[32];
  return {digits, std::to_chars(digits, digits + sizeof(digits), real).ptr};
}

// A number, text or VT_EMPTY as text: "-5", "0.5", "abc"; VT_CY in units of 1/10000; a DECIMAL as
// sign, high and low half of its digits and scale, "-0:19/1" for -2.5.
inline std::string Show(const VARIANT& value) {
  if (value.vt == VT_BSTR) return Narrow(value.bstrVal);
  char text[64];
  if (value.vt == VT_DECIMAL) {
    const auto half = [](ULONG bits) { return static_cast<unsigned>(bits); };
    std::snprintf(text, sizeof(text), "%s%X:%08X%08X/%d", value.decVal.sign ? "-" : "",
                  half(value.decVal.Hi32), half(value.decVal.Mid32), half(value.decVal.Lo32),
                  value.decVal.scale);
    return text;
  }
  const auto show = [](auto number) { return std::to_string(number); };
  const std::pair<int, std::string> rows[] = {
      {VT_EMPTY, "empty"},          {VT_NULL, "null"},
      {VT_UI1, show(value.bVal)},   {VT_I1, show(static_cast<signed char>(value.bVal))},
      {VT_I2, show(value.iVal)},    {VT_BOOL, show(value.boolVal)},
      {VT_UI2, show(value.uiVal)},  {VT_I4, show(value.lVal)},
      {VT_INT, show(value.lVal)},   {VT_ERROR, show(value.lVal)},
      {VT_UI4, show(value.ulVal)},  {VT_UINT, show(value.ulVal)},
      {VT_I8, show(value.llVal)},   {VT_CY, show(value.llVal)},
      {VT_UI8, show(value.ullVal)}, {VT_R4, Show(double{value.fltVal})},
      {VT_R8, Show(value.dblVal)},  {VT_DATE, Show(value.dblVal)}};
  for (const auto& [type, shown] : rows) {
    if (value.vt == type) return shown;
  }
  std::snprintf(text, sizeof(text), "type %X", static_cast<unsigned>(value.vt));
  return text;
}

// The name of a result code of the value services.
inline std::string Show(HRESULT hr) {
  constexpr std::pair<std::uint32_t, const char*> kNames[] = {{0, "S_OK"},
                                                              {0x80020005u, "mismatch"},
                                                              {0x80020008u, "bad type"},
                                                              {0x8002000Au, "overflow"},
                                                              {0x80070057u, "invalid"}};
  for (const auto& [code, name] : kNames) {
    if (static_cast<std::uint32_t>(hr) == code) return name;
  }
  return std::to_string(hr);
}

// The result of a conversion, or what the failure is called.
inline std::string Converted(const VARIANT& from, VARTYPE type, USHORT flags = 0) {
  VARIANT source = from;
  Value target(Text("old"));
  const HRESULT hr = VariantChangeType(&target, &source, flags, type);
  EXPECT_EQ(target->vt, FAILED(hr) ? VARTYPE{VT_BSTR} : type);
  EXPECT_TRUE(SUCCEEDED(hr) || Show(*target) == "old") << "kept on failure";
  return FAILED(hr) ? Show(hr) : Show(*target);
}

// The same of a text; in place gives the same.
inline std::string ConvertedText(std::string_view text, VARTYPE type) {
  Value source(Text(text));
  const std::string separate = Converted(*source, type);
  const HRESULT hr = VariantChangeType(&source, &source, 0, type);
  EXPECT_EQ(FAILED(hr) ? Show(hr) : Show(*source), separate) << "in place";
  EXPECT_TRUE(SUCCEEDED(hr) || Show(*source) == text);
  return separate;
}

// Each of the rows "value=result|value=result|..." for values of one type: an integer, VT_CY or
// VT_BOOL as its bits, a real number, or a text.
inline void ExpectConversions(VARTYPE from, VARTYPE to, std::string_view rows) {
  while (!rows.empty()) {
    const std::string row(rows.substr(0, rows.find('|')));
    rows.remove_prefix((std::min)(rows.size(), row.size() + 1));
    const std::string value = row.substr(0, row.rfind('='));
    SCOPED_TRACE(row + ", types " + std::to_string(from) + " and " + std::to_string(to));
    const bool isReal = from == VT_R4 || from == VT_R8 || from == VT_DATE;
    const auto bits = [&] { return std::strtoull(value.c_str(), nullptr, 0); };
    EXPECT_EQ(from == VT_BSTR ? ConvertedText(value, to)
              : isReal        ? Converted(Real(std::strtod(value.c_str(), nullptr), from), to)
                              : Converted(Bits(from, static_cast<long long>(bits())), to),
              row.substr(value.size() + 1));
  }
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
