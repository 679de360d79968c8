// SPDX-License-Identifier: MIT
#include "host/values/conversion.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "host/base/unicode.h"
#include "host/values/date_text.h"
#include "host/values/exact_numbers.h"
#include "host/values/number_text.h"
#include "host/values/strings.h"
#include "host/values/variant_types.h"
#include "host/values/variants.h"

namespace host {
namespace {

constexpr LCID kEnglishUnitedStates = 0x0409;
constexpr int kDoubleDigits = 15;
constexpr int kFloatDigits = 7;

constexpr std::uint64_t kIntegerTypes =
    TypeRange(VT_I2, VT_I4) | TypeRange(VT_BOOL, VT_BOOL) | TypeRange(VT_I1, VT_UINT);
constexpr std::uint64_t kNumberTypes =
    kIntegerTypes | TypeRange(VT_R4, VT_DATE) | TypeRange(VT_DECIMAL, VT_DECIMAL);

// A number of any source type. What is not integer and not real has only the exact form.
struct Number {
  enum class Form { kInteger, kExact, kReal, kText };
  Form form = Form::kExact;
  VARTYPE type = VT_EMPTY;
  std::int64_t integerBits = 0;  // kInteger: sign-extended or not, as the type says
  double real = 0;               // kReal
  ExactNumber exact;             // all but kReal
  const NumberText* text = nullptr;
};

// Calls `action` with the integer member of a VARIANT that its type names. VT_BOOL counts as
// signed.
template <class Variant, class Action>
HRESULT WithInteger(VARTYPE type, Variant& variant, Action action) noexcept {
  switch (type) {
    case VT_I1: {
      // CHAR may be unsigned, the type is not.
      return action(reinterpret_cast<
                    std::conditional_t<std::is_const_v<Variant>, const std::int8_t&, std::int8_t&>>(
          variant.bVal));
    }
    case VT_UI1:
      return action(variant.bVal);
    case VT_I2:
    case VT_BOOL:
      return action(variant.iVal);
    case VT_UI2:
      return action(variant.uiVal);
    case VT_I4:
    case VT_INT:
      return action(variant.lVal);
    case VT_UI4:
    case VT_UINT:
      return action(variant.ulVal);
    case VT_I8:
      return action(variant.llVal);
    case VT_UI8:
      return action(variant.ullVal);
    default:
      return DISP_E_TYPEMISMATCH;
  }
}

// The units before the first zero; numbers and words in text end there.
std::basic_string_view<OLECHAR> TextOf(BSTR text) noexcept {
  const std::basic_string_view<OLECHAR> all(text, SysStringLen(text));
  return all.substr(0, all.find(OLECHAR{0}));
}

HRESULT ReadNumber(const VARIANT& value, NumberText* text, Number* number) noexcept {
  number->type = value.vt;
  if (IsOneOf(value.vt, kIntegerTypes)) {
    number->form = Number::Form::kInteger;
    return WithInteger(value.vt, value, [&](const auto& member) noexcept {
      number->integerBits = static_cast<std::int64_t>(member);
      number->exact = ExactOfInteger(member);
      return S_OK;
    });
  }
  switch (value.vt) {
    case VT_EMPTY:
      return S_OK;
    case VT_R4:
      number->form = Number::Form::kReal;
      number->real = value.fltVal;
      return S_OK;
    case VT_R8:
    case VT_DATE:
      number->form = Number::Form::kReal;
      number->real = value.dblVal;
      return S_OK;
    case VT_CY:
      number->exact = ExactOfInteger(value.cyVal.int64);
      number->exact.scale = 4;
      return S_OK;
    case VT_DECIMAL:
      return ExactOfDecimal(value.decVal, &number->exact);
    case VT_BSTR: {
      if (!text) return DISP_E_TYPEMISMATCH;
      const HRESULT hr = text->Parse(TextOf(value.bstrVal));
      if (FAILED(hr)) return hr;
      number->form = Number::Form::kText;
      number->exact = text->Exact();
      number->text = text;
      return S_OK;
    }
    default:
      return DISP_E_TYPEMISMATCH;
  }
}

// Rounds to a number of decimal places and stores the digits. Places: 0 or 4.
template <class Integer>
HRESULT StoreRounded(const Number& number, int places, Integer* value) noexcept {
  UInt128 magnitude;
  const bool real = number.form == Number::Form::kReal;
  if (!(real ? RoundReal(number.real, places == 0 ? 1 : 10000, &magnitude)
             : RoundToScale(number.exact, places, &magnitude))) {
    return DISP_E_OVERFLOW;
  }
  return ToInteger(real ? number.real < 0 : number.exact.negative, magnitude, value);
}

// An integer to another of the same width keeps its bits, as does VT_BOOL to any; a bit pattern in
// text fills the bits. Everything else is rounded and then checked.
template <class Integer>
HRESULT StoreInteger(const Number& number, Integer* value) noexcept {
  if (number.form == Number::Form::kInteger) {
    const ULONG bytes = ValueBytes(number.type);
    if (number.type == VT_BOOL || bytes == sizeof(Integer)) {
      *value = static_cast<Integer>(number.integerBits);
      return S_OK;
    }
  }
  if (number.form == Number::Form::kText && number.text->IsPattern()) {
    if (number.text->Pattern() > std::numeric_limits<std::make_unsigned_t<Integer>>::max()) {
      return DISP_E_OVERFLOW;
    }
    *value = static_cast<Integer>(number.text->Pattern());
    return S_OK;
  }
  return StoreRounded(number, 0, value);
}

HRESULT StoreCurrency(const Number& number, CY* value) noexcept {
  LONGLONG units = 0;
  const HRESULT hr = StoreRounded(number, 4, &units);
  if (SUCCEEDED(hr)) value->int64 = units;
  return hr;
}

template <class Real>
HRESULT StoreReal(const Number& number, Real* value) noexcept {
  switch (number.form) {
    case Number::Form::kText:
      return number.text->ToReal(value);
    case Number::Form::kReal:
      // From VT_R8 to VT_R4 infinity overflows like everything else above the largest float.
      if (number.type != VT_R4 && std::fabs(number.real) > std::numeric_limits<Real>::max() &&
          sizeof(Real) < sizeof(double)) {
        return DISP_E_OVERFLOW;
      }
      *value = static_cast<Real>(number.real);
      return S_OK;
    default:
      *value = RealOfExact<Real>(number.exact);
      return S_OK;
  }
}

HRESULT StoreDate(const Number& number, DATE* value) noexcept {
  double days;
  const HRESULT hr = StoreReal(number, &days);
  if (FAILED(hr)) return hr;
  if (!IsDateInRange(days)) return DISP_E_OVERFLOW;
  *value = days;
  return S_OK;
}

HRESULT StoreBool(const Number& number, VARIANT_BOOL* value) noexcept {
  double real;
  const HRESULT hr = StoreReal(number, &real);
  if (SUCCEEDED(hr)) *value = real != 0 ? VARIANT_TRUE : VARIANT_FALSE;
  return hr;
}

// Whole numbers keep all digits, others the significant ones of their type.
HRESULT StoreDecimal(const Number& number, DECIMAL* value) noexcept {
  if (number.form != Number::Form::kReal) {
    return ToDecimal(number.exact, number.form != Number::Form::kText, value);
  }
  ExactNumber exact;
  if (!RoundReal(number.real, 1, &exact.digits)) return DISP_E_OVERFLOW;
  exact.negative = number.real < 0;
  if (std::trunc(number.real) != number.real) {
    AsciiText digits;
    AppendReal(number.real, number.type == VT_R4 ? kFloatDigits : kDoubleDigits, &digits);
    NumberText text;
    const HRESULT hr = text.Parse(digits.View());
    if (FAILED(hr)) return hr;
    exact = text.Exact();
  }
  return ToDecimal(exact, false, value);
}

bool ReadBoolWord(std::basic_string_view<OLECHAR> text, VARIANT_BOOL* value) noexcept {
  const bool isTrue = SameFolded(text, OLESTR("true")) || text == OLESTR("#TRUE#");
  const bool isFalse = SameFolded(text, OLESTR("false")) || text == OLESTR("#FALSE#");
  *value = isTrue ? VARIANT_TRUE : VARIANT_FALSE;
  return isTrue || isFalse;
}

HRESULT ConvertToNumber(const VARIANT& value, VARTYPE type, VARIANT* result) noexcept {
  if (value.vt == VT_BSTR && type == VT_DATE) return DISP_E_TYPEMISMATCH;
  if (value.vt == VT_BSTR && type == VT_BOOL &&
      ReadBoolWord(TextOf(value.bstrVal), &result->boolVal)) {
    return S_OK;
  }
  NumberText text;
  Number number;
  const HRESULT hr = ReadNumber(value, &text, &number);
  if (FAILED(hr)) return hr;
  switch (type) {
    case VT_BOOL:
      return StoreBool(number, &result->boolVal);
    case VT_R4:
      return StoreReal(number, &result->fltVal);
    case VT_R8:
      return StoreReal(number, &result->dblVal);
    case VT_DATE:
      return StoreDate(number, &result->date);
    case VT_CY:
      return StoreCurrency(number, &result->cyVal);
    case VT_DECIMAL:
      return StoreDecimal(number, &result->decVal);
    default:
      return WithInteger(type, *result,
                         [&](auto& member) noexcept { return StoreInteger(number, &member); });
  }
}

HRESULT AppendValue(const VARIANT& value, USHORT flags, AsciiText* text) noexcept {
  switch (value.vt) {
    case VT_R4:
      AppendReal(value.fltVal, kFloatDigits, text);
      return S_OK;
    case VT_R8:
      AppendReal(value.dblVal, kDoubleDigits, text);
      return S_OK;
    case VT_DATE:
      return AppendDate(value.date, text);
    case VT_BOOL:
      if (flags & VARIANT_ALPHABOOL) {
        text->Append(value.boolVal != VARIANT_FALSE ? "True" : "False");
        return S_OK;
      }
      break;
    case VT_DECIMAL: {
      if (value.decVal.scale > kMaxDecimalScale) return E_INVALIDARG;
      DECIMAL decimal = value.decVal;
      // For text any sign other than zero is a minus.
      if (decimal.sign != 0) decimal.sign = DECIMAL_NEG;
      ExactNumber exact;
      const HRESULT hr = ExactOfDecimal(decimal, &exact);
      if (SUCCEEDED(hr)) AppendExact(exact, text);
      return hr;
    }
    default:
      break;
  }
  Number number;
  const HRESULT hr = ReadNumber(value, nullptr, &number);
  if (SUCCEEDED(hr)) AppendExact(number.exact, text);
  return hr;
}

HRESULT ConvertToText(const VARIANT& value, USHORT flags, VARIANT* result) noexcept {
  AsciiText text;
  if (value.vt != VT_EMPTY) {
    const HRESULT hr = AppendValue(value, flags, &text);
    if (FAILED(hr)) return hr;
  }
  result->bstrVal = text.ToString();
  return result->bstrVal ? S_OK : E_OUTOFMEMORY;
}

HRESULT ConvertToInterface(const VARIANT& value, VARTYPE type, VARIANT* result) noexcept {
  if (value.vt != VT_DISPATCH && value.vt != VT_UNKNOWN) return DISP_E_TYPEMISMATCH;
  IUnknown* object = value.punkVal;
  if (!object) return S_OK;
  // The call may change the VARIANT that the object came from.
  object->AddRef();
  void* found = nullptr;
  const HRESULT hr =
      object->QueryInterface(type == VT_DISPATCH ? IID_IDispatch : IID_IUnknown, &found);
  if (SUCCEEDED(hr)) result->punkVal = static_cast<IUnknown*>(found);
  object->Release();
  return hr;
}

HRESULT Convert(const VARIANT& value, LCID locale, USHORT flags, VARTYPE type,
                VARIANT* result) noexcept;

// Asks an object for its default value and converts that; an object found there is not asked again.
HRESULT ConvertDefaultValue(IDispatch* object, LCID locale, USHORT flags, VARTYPE type,
                            VARIANT* result) noexcept {
  if (flags & VARIANT_NOVALUEPROP) return DISP_E_TYPEMISMATCH;
  if (!object) return DISP_E_BADVARTYPE;
  DISPPARAMS none{};
  EXCEPINFO exception{};
  UINT badArgument = 0;
  VARIANT value{};
  VARIANT view;
  object->AddRef();
  HRESULT hr = object->Invoke(DISPID_VALUE, IID_NULL, locale, DISPATCH_PROPERTYGET, &none, &value,
                              &exception, &badArgument);
  object->Release();
  SysFreeString(exception.bstrSource);
  SysFreeString(exception.bstrDescription);
  SysFreeString(exception.bstrHelpFile);
  if (FAILED(hr)) {
    hr = DISP_E_TYPEMISMATCH;
  } else if (SUCCEEDED(hr = Dereference(value, &view))) {
    hr = Convert(view, locale, static_cast<USHORT>(flags | VARIANT_NOVALUEPROP), type, result);
  }
  VariantClear(&value);
  return hr;
}

// Converts a value without VT_BYREF into an empty VARIANT whose type the caller sets.
HRESULT Convert(const VARIANT& value, LCID locale, USHORT flags, VARTYPE type,
                VARIANT* result) noexcept {
  if (value.vt == type) return DuplicateValue(value, result);
  if ((value.vt | type) & (VT_ARRAY | VT_BYREF)) return DISP_E_TYPEMISMATCH;
  if (value.vt == VT_NULL || value.vt == VT_ERROR || value.vt == VT_RECORD) {
    return DISP_E_TYPEMISMATCH;
  }
  switch (type) {
    case VT_EMPTY:
    case VT_NULL:
      return S_OK;
    case VT_DISPATCH:
    case VT_UNKNOWN:
      return ConvertToInterface(value, type, result);
    default:
      break;
  }
  if (type != VT_BSTR && !IsOneOf(type, kNumberTypes)) return DISP_E_TYPEMISMATCH;
  if (value.vt == VT_DISPATCH) {
    return ConvertDefaultValue(value.pdispVal, locale, flags, type, result);
  }
  return type == VT_BSTR ? ConvertToText(value, flags, result)
                         : ConvertToNumber(value, type, result);
}

}  // namespace
}  // namespace host

HRESULT STDAPICALLTYPE VariantChangeTypeEx(VARIANTARG* target, VARIANTARG* source, LCID locale,
                                           USHORT flags, VARTYPE type) noexcept {
  if (!target || !source) return E_INVALIDARG;
  if (!host::IsValidType(source->vt) || !host::IsValidType(type)) return DISP_E_BADVARTYPE;
  if (host::IsByRef(source->vt) && !source->byref) {
    return DISP_E_TYPEMISMATCH;
  }
  VARIANT view;
  HRESULT hr = host::Dereference(*source, &view);
  if (FAILED(hr)) return hr;
  VARIANT result{};
  hr = host::Convert(view, locale, flags, type, &result);
  if (FAILED(hr)) return hr;
  result.vt = type;
  hr = host::CheckClearable(*target);
  if (FAILED(hr)) {
    host::ReleaseValue(result);
    return hr;
  }
  host::MoveInto(target, result);
  return S_OK;
}

HRESULT STDAPICALLTYPE VariantChangeType(VARIANTARG* target, VARIANTARG* source, USHORT flags,
                                         VARTYPE type) noexcept {
  return VariantChangeTypeEx(target, source, host::kEnglishUnitedStates, flags, type);
}
