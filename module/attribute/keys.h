// SPDX-License-Identifier: MIT
// What differs by the type of a map's keys: how a key is handed over, stored, ordered and written.
//
//             stored as    generic type   in a VARIANT that the map makes   in a stream
//   BSTR      _bstr_t      VT_BSTR        VT_BSTR                           4 + 2 per character
//   LONG      LONG         VT_INT         VT_I4                             4
//   DOUBLE    DOUBLE       VT_R8          VT_R8                             8
//
// The integer kind demands VT_INT and hands out VT_I4; clients know it so. Texts end at their first
// null character and stand in the order of their units. Floats are ordered by <, so that -0.0 and
// 0.0 are one key, and NaN is equal to every key: a look-up finds the smallest.
#pragma once

#include <compare>

#include "interfaces/enums.h"
#include "module/frame/bstr.h"
#include "module/frame/exceptions.h"
#include "platform/platform.h"

namespace rastel {

// The row of a number type: what its VARIANTs are, and the words for a generic key of another type.
template <class Number>
struct NumberKeyRow;
template <>
struct NumberKeyRow<LONG> {
  static constexpr KeyKindKLP kCode = KeyKindLong;
  static constexpr VARTYPE kDemandedType = VT_INT;
  static constexpr VARTYPE kGivenType = VT_I4;
  static constexpr char kWrongType[] = "invalid key type. expected VT_INT";
};
template <>
struct NumberKeyRow<DOUBLE> {
  static constexpr KeyKindKLP kCode = KeyKindDouble;
  static constexpr VARTYPE kDemandedType = VT_R8;
  static constexpr VARTYPE kGivenType = VT_R8;
  static constexpr char kWrongType[] = "invalid key type. expected VT_R8";
};

template <class Number>
struct KeyKind : NumberKeyRow<Number> {
  using Row = NumberKeyRow<Number>;
  using Stored = Number;
  // What look-ups compare.
  using Sought = Number;

  // Every number is a key.
  static bool IsKey(Number) noexcept { return true; }
  static Stored Form(Number key) noexcept { return key; }
  static Sought Seek(Number key) noexcept { return key; }
  // Keys are equal if neither is less.
  static auto Compare(Number a, Number b) noexcept { return a <=> b; }
  // Whether an equal key has the very same form.
  static bool IsSame(Number a, Number b) noexcept;
  // The content of a generic key of the demanded type.
  static Number FromVariant(const VARIANT& key) noexcept;
  static VARIANT ToVariant(Number stored) noexcept;
  // For the typed array of keys.
  static Number ToElement(Number stored) noexcept { return stored; }

  // By the exact width; only the number of bytes moved is looked at, not the result. Another number
  // raises std::exception "can't write the key!!", in reading as well.
  static void Write(IStream* stream, Number stored);
  static Number Read(IStream* stream);
  // What GetSizeMax counts for a key, in bytes.
  static ULONGLONG CountedBytes(Number) noexcept { return sizeof(Number); }
};

extern template struct KeyKind<LONG>;
extern template struct KeyKind<DOUBLE>;

template <>
struct KeyKind<BSTR> {
  static constexpr KeyKindKLP kCode = KeyKindBstr;
  static constexpr VARTYPE kDemandedType = VT_BSTR;
  static constexpr VARTYPE kGivenType = VT_BSTR;
  static constexpr char kWrongType[] = "invalid key type";

  // Never with a null text.
  using Stored = _bstr_t;
  // A client's text, or that of a stored key: look-ups copy nothing.
  using Sought = const OLECHAR*;

  // An empty text is a key.
  static bool IsKey(BSTR key) noexcept { return key != nullptr; }
  // Raises _com_error.
  static Stored Form(BSTR key) { return _bstr_t(static_cast<const OLECHAR*>(key)); }
  static Sought Seek(BSTR key) noexcept { return key; }
  static Sought Seek(const _bstr_t& stored) noexcept { return stored.Wide(); }
  // The order of texts that end at their first null.
  static auto Compare(Sought a, Sought b) noexcept {
    while (*a == *b && *a != 0) ++a, ++b;
    return *a <=> *b;
  }
  static bool IsSame(Sought, Sought) noexcept { return true; }
  static BSTR FromVariant(const VARIANT& key) noexcept { return key.bstrVal; }
  // These two give a new text. Raise _com_error.
  static VARIANT ToVariant(const _bstr_t& stored) {
    VARIANT key{};
    key.bstrVal = stored.Copy();
    key.vt = kGivenType;
    return key;
  }
  static BSTR ToElement(const _bstr_t& stored);

  // As WriteBstr and ReadBstr. A failing call raises _com_error.
  static void Write(IStream* stream, const _bstr_t& stored);
  static Stored Read(IStream* stream);
  // A bound for common texts, not the size: 4 for the count and 4 per character of the narrow text.
  static ULONGLONG CountedBytes(const _bstr_t& stored);
};

}  // namespace rastel
