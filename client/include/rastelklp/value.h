// SPDX-License-Identifier: MIT
// Values of tags, attributes and VARIANT elements.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <variant>

#include "rastelklp/object.h"

namespace rastelklp {

// Owns a VARIANT.
class Variant {
 public:
  Variant() noexcept { VariantInit(&value_); }
  explicit Variant(const VARIANT& value) : Variant() {
    check_hresult(VariantCopy(&value_, const_cast<VARIANT*>(&value)));
  }
  Variant(const Variant& other) : Variant(other.value_) {}
  Variant(Variant&& other) noexcept : value_(other.value_) { VariantInit(&other.value_); }
  ~Variant() { VariantClear(&value_); }
  Variant& operator=(Variant other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }

  // To be borrowed, as slots take it.
  const VARIANT& get() const noexcept { return value_; }
  // Cleared, for a slot that hands out a value.
  VARIANT* put() noexcept {
    VariantClear(&value_);
    return &value_;
  }
  // With what it holds.
  VARIANT* address() noexcept { return &value_; }
  // Gives what it held to the caller.
  [[nodiscard]] VARIANT detach() noexcept {
    const VARIANT held = value_;
    VariantInit(&value_);
    return held;
  }

 private:
  VARIANT value_;
};

namespace detail {

// That int64_t holds, or double.
template <class T>
concept Number = std::is_arithmetic_v<T> &&(sizeof(T) < 8 || std::is_signed_v<T>);
template <class T>
concept TextLike = std::constructible_from<Text, const T&>;

}  // namespace detail

// A value as a std::variant, for std::visit, std::get and std::get_if. VARIANTs of types that have
// no alternative, dates for instance, are kept as Variant; 32-bit floats become double, and
// integers the smallest alternative that holds all of their type.
class Value : public std::variant<std::monostate, bool, std::int32_t, std::int64_t, double, Text,
                                  Object, Variant> {
 public:
  Value() noexcept = default;
  template <detail::Number T>
  Value(T number) noexcept : variant(Alternative<T>(number)) {}
  template <detail::TextLike T>
  Value(const T& text) : variant(Text(text)) {}
  template <class I>
  Value(const com_ptr<I>& object) : variant(Object(object)) {}
  explicit Value(Variant value) : variant(FromVariant(std::move(value))) {}

  bool empty() const noexcept { return index() == 0; }

  // A number, a text, an object by an interface or by a class of this library. Raises
  // DISP_E_TYPEMISMATCH for another alternative, DISP_E_OVERFLOW for a number that an integer type
  // does not hold as it is, E_NOINTERFACE for an object of another kind.
  template <class Wanted>
  auto as() const {
    if constexpr (std::is_arithmetic_v<Wanted>) {
      return std::visit([](const auto& held) { return NumberAs<Wanted>(held); }, *this);
    } else if constexpr (std::is_constructible_v<Wanted, const Text&>) {
      return Wanted(Held<Text>());
    } else {
      return Held<Object>().template as<Wanted>();
    }
  }

  // As slots take it. Objects go as VT_DISPATCH where they can be used by name.
  Variant variant_value() const {
    return std::visit([](const auto& held) { return ToVariant(held); }, *this);
  }

 private:
  template <class Number>
  using Alternative = std::conditional_t<
      std::is_same_v<Number, bool>, bool,
      std::conditional_t<std::is_floating_point_v<Number>, double,
                         std::conditional_t<(sizeof(Number) < 4 ||
                                             (sizeof(Number) == 4 && std::is_signed_v<Number>)),
                                            std::int32_t, std::int64_t>>>;

  template <class Alternative>
  const Alternative& Held() const {
    const auto* held = std::get_if<Alternative>(this);
    if (!held) detail::Raise(DISP_E_TYPEMISMATCH);
    return *held;
  }

  template <class Wanted, class From>
  static Wanted NumberAs(const From& held) {
    if constexpr (std::is_arithmetic_v<From>) {
      if constexpr (std::is_integral_v<Wanted> && std::is_integral_v<From>) {
        const auto wanted = static_cast<Wanted>(held);
        if (static_cast<From>(wanted) != held || (wanted < Wanted{}) != (held < From{})) {
          detail::Raise(DISP_E_OVERFLOW);
        }
      } else if constexpr (std::is_integral_v<Wanted>) {
        // One above the largest: a power of two, which double holds as it is.
        constexpr double kEnd = ((std::numeric_limits<Wanted>::max)() / 2 + 1) * 2.0;
        const bool fits = held >= static_cast<double>((std::numeric_limits<Wanted>::min)()) &&
                          held < kEnd && std::trunc(held) == held;
        if (!fits) detail::Raise(DISP_E_OVERFLOW);
      }
      return static_cast<Wanted>(held);
    } else {
      detail::Raise(DISP_E_TYPEMISMATCH);
    }
  }

  static variant FromVariant(Variant value) {
    const VARIANT& raw = value.get();
    switch (raw.vt) {
      case VT_EMPTY:
        return {};
      case VT_BOOL:
        return raw.boolVal != VARIANT_FALSE;
      case VT_I1:
        return std::int32_t{static_cast<signed char>(raw.cVal)};
      case VT_UI1:
        return std::int32_t{raw.bVal};
      case VT_I2:
        return std::int32_t{raw.iVal};
      case VT_UI2:
        return std::int32_t{raw.uiVal};
      case VT_I4:
      case VT_INT:
        return static_cast<std::int32_t>(raw.lVal);
      case VT_UI4:
      case VT_UINT:
        return std::int64_t{raw.ulVal};
      case VT_I8:
        return std::int64_t{raw.llVal};
      case VT_R4:
        return double{raw.fltVal};
      case VT_R8:
        return raw.dblVal;
      case VT_BSTR: {
        Text text;
        text.attach(value.detach().bstrVal);
        return text;
      }
      case VT_UNKNOWN:
      case VT_DISPATCH:
        return Object(raw.punkVal);
      default:
        return value;
    }
  }

  static Variant ToVariant(std::monostate) { return {}; }
  static Variant ToVariant(bool held) {
    return Put(VT_BOOL, [&](VARIANT& to) { to.boolVal = held ? VARIANT_TRUE : VARIANT_FALSE; });
  }
  static Variant ToVariant(std::int32_t held) {
    return Put(VT_I4, [&](VARIANT& to) { to.lVal = held; });
  }
  static Variant ToVariant(std::int64_t held) {
    return Put(VT_I8, [&](VARIANT& to) { to.llVal = held; });
  }
  static Variant ToVariant(double held) {
    return Put(VT_R8, [&](VARIANT& to) { to.dblVal = held; });
  }
  static Variant ToVariant(Text held) {
    return Put(VT_BSTR, [&](VARIANT& to) { to.bstrVal = held.detach(); });
  }
  static Variant ToVariant(const Object& held) {
    if (auto byName = held.try_as<IDispatch>()) {
      return Put(VT_DISPATCH, [&](VARIANT& to) { to.pdispVal = byName.detach(); });
    }
    Object other = held;
    return Put(VT_UNKNOWN, [&](VARIANT& to) { to.punkVal = other.detach(); });
  }
  static Variant ToVariant(const Variant& held) { return held; }

  static Variant Put(VARTYPE type, auto fill) {
    Variant made;
    VARIANT& raw = *made.put();
    fill(raw);
    raw.vt = type;
    return made;
  }
};

}  // namespace rastelklp
