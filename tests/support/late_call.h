// Late-bound calls: arguments as VARIANTs, and what comes back.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/platform.h"

namespace tests {

using Text = std::basic_string<OLECHAR>;

inline constexpr WORD kMethod = DISPATCH_METHOD;
inline constexpr WORD kGet = DISPATCH_PROPERTYGET;
inline constexpr WORD kSet = DISPATCH_PROPERTYPUT;
inline constexpr DISPID kPut = DISPID_PROPERTYPUT;

inline VARIANT Int(LONG number) {
  VARIANT value{};
  value.vt = VT_I4;
  value.lVal = number;
  return value;
}
inline VARIANT Real(double number) {
  VARIANT value{};
  value.vt = VT_R8;
  value.dblVal = number;
  return value;
}
inline VARIANT Str(LPCOLESTR text) {
  VARIANT value{};
  value.vt = VT_BSTR;
  value.bstrVal = SysAllocString(text);
  return value;
}
inline VARIANT Obj(IUnknown* object) {
  VARIANT value{};
  value.vt = VT_UNKNOWN;
  value.punkVal = object;
  if (object) object->AddRef();
  return value;
}
inline VARIANT By(VARTYPE type, void* place) {
  VARIANT value{};
  value.vt = static_cast<VARTYPE>(VT_BYREF | type);
  value.byref = place;
  return value;
}
inline VARIANT Missing() {
  VARIANT value{};
  value.vt = VT_ERROR;
  value.scode = DISP_E_PARAMNOTFOUND;
  return value;
}

// The type's number and the value as text: "3 42". Clears the value.
inline Text Shown(VARIANT& value) {
  VARIANT text{};
  VARIANT number = Int(static_cast<LONG>(value.vt));
  VariantChangeType(&number, &number, 0, VT_BSTR);
  Text shown(number.bstrVal, SysStringLen(number.bstrVal));
  if (SUCCEEDED(VariantChangeType(&text, &value, VARIANT_NOVALUEPROP, VT_BSTR))) {
    shown += Text(OLESTR(" ")) + text.bstrVal;
  }
  VariantClear(&number);
  VariantClear(&text);
  VariantClear(&value);
  return shown;
}

struct Outcome {
  HRESULT result = S_OK;
  Text value;
  UINT badArgument = 99;
  SCODE code = 0;
  Text source, description;
};

inline Text Taken(BSTR text) {
  Text copy(text ? text : OLESTR(""), SysStringLen(text));
  SysFreeString(text);
  return copy;
}

// Makes a call with arguments in their order, the named ones last, and clears them. invoke gets the
// arguments in the platform's form.
template <class Invoke>
Outcome CallLate(Invoke&& invoke, std::vector<VARIANT> arguments, std::vector<DISPID> names) {
  std::vector<VARIANT> reversed(arguments.rbegin(), arguments.rend());
  std::vector<DISPID> ids(names.rbegin(), names.rend());
  DISPPARAMS params{reversed.data(), ids.data(), static_cast<UINT>(reversed.size()),
                    static_cast<UINT>(ids.size())};
  VARIANT value{};
  EXCEPINFO exception{};
  Outcome outcome;
  outcome.result = invoke(&params, &value, &exception, &outcome.badArgument);
  outcome.value = Shown(value);
  outcome.code = exception.scode;
  outcome.source = Taken(exception.bstrSource);
  outcome.description = Taken(exception.bstrDescription);
  SysFreeString(exception.bstrHelpFile);
  for (VARIANT& argument : reversed) VariantClear(&argument);
  return outcome;
}

}  // namespace tests
