// SPDX-License-Identifier: MIT
// What differs by the type of a map's keys: how a key is handed over, stored, ordered and written.
//
//             stored as            generic type   in a VARIANT that the map makes   in a stream
//   BSTR      length and text      VT_BSTR        VT_BSTR                           4 + 2 per
//   character LONG      LONG                 VT_INT         VT_I4                             4
//   DOUBLE    DOUBLE               VT_R8          VT_R8                             8
//
// The integer kind demands VT_INT and hands out VT_I4; clients know it so. Texts end at their first
// null character and stand in the order of their units. Floats are ordered by <, so that -0.0 and
// 0.0 are one key, and NaN is equal to every key: a look-up finds the smallest.
#pragma once

#include <bit>
#include <compare>
#include <cstddef>
#include <new>

#include "interfaces/enums.h"
#include "module/attribute/key_hash.h"
#include "module/frame/bstr.h"
#include "module/frame/exceptions.h"
#include "module/persist/stream_reader.h"
#include "module/persist/zeroed_memory.h"
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
  static constexpr bool kHasKeyEqualToAll = false;
  static std::uint64_t HashedBits(LONG key) noexcept { return static_cast<ULONG>(key); }
};
template <>
struct NumberKeyRow<DOUBLE> {
  static constexpr KeyKindKLP kCode = KeyKindDouble;
  static constexpr VARTYPE kDemandedType = VT_R8;
  static constexpr VARTYPE kGivenType = VT_R8;
  static constexpr char kWrongType[] = "invalid key type. expected VT_R8";
  static constexpr bool kHasKeyEqualToAll = true;
  // Adding 0.0 makes a 0.0 of -0.0.
  static std::uint64_t HashedBits(DOUBLE key) noexcept {
    return std::bit_cast<std::uint64_t>(key + 0.0);
  }
};

template <class Number>
struct KeyKind : NumberKeyRow<Number> {
  using Row = NumberKeyRow<Number>;
  // What look-ups compare.
  using Sought = Number;
  // The key in an attribute, and how many bytes of it lie behind the attribute.
  using Stored = Number;
  static bool CanStore(Number) noexcept { return true; }
  static std::size_t BytesBehind(Number) noexcept { return 0; }
  static void Store(Number key, Stored& stored, void*) noexcept { stored = key; }
  static Number Load(Stored stored, const void*) noexcept { return stored; }
  [[noreturn]] static void RaiseNoMemory() { throw std::bad_alloc(); }

  // Every number is a key.
  static bool IsKey(Number) noexcept { return true; }
  static Sought Seek(Number key) noexcept { return key; }
  static std::uint32_t Hash(Number key) noexcept { return HashOfNumber(Row::HashedBits(key)); }
  static bool IsEqual(Number a, Number b) noexcept { return a == b; }
  // NaN.
  static bool IsEqualToAll(Number key) noexcept { return key != key; }
  // Of keys that are not equal to all.
  static bool IsLess(Number a, Number b) noexcept { return a < b; }
  // Whether an equal key has the very same form.
  static bool IsSame(Number a, Number b) noexcept {
    return std::memcmp(&a, &b, sizeof(Number)) == 0;
  }
  // The content of a generic key of the demanded type.
  static Number FromVariant(const VARIANT& key) noexcept;
  static VARIANT ToVariant(Number key) noexcept;
  // For the typed array of keys.
  static Number ToElement(Number key) noexcept { return key; }

  // By the exact width; only the number of bytes moved is looked at, not the result. Another number
  // raises std::exception "can't write the key!!", in reading as well.
  static void Write(StreamWriter& writer, Number key);
  static Number Read(StreamReader& reader);
  // What GetSizeMax counts for a key, in bytes.
  static ULONGLONG CountedBytes(Number) noexcept { return sizeof(Number); }
};

extern template struct KeyKind<LONG>;
extern template struct KeyKind<DOUBLE>;

// The units of a client's text, or of a stored key, without a null character.
struct KeyText {
  const OLECHAR* units;
  std::size_t length;
};

// A text as it came out of a stream.
class ReadText {
 public:
  // Room for so many units, which are zero. Raises _com_error E_OUTOFMEMORY.
  explicit ReadText(std::size_t length);
  // Of fewer than kShort units, which stand anywhere.
  static constexpr std::size_t kShort = 64;
  ReadText(const BYTE* units, std::size_t length) noexcept {
    StreamWriter::PutAt(reinterpret_cast<BYTE*>(stack_), units,
                        static_cast<ULONG>(length * sizeof(OLECHAR)));
    stack_[length] = 0;
  }
  OLECHAR* Units() noexcept { return heap_ ? heap_.get() : stack_; }

 private:
  OLECHAR stack_[kShort];
  ZeroedMemory<OLECHAR> heap_;
};

template <>
struct KeyKind<BSTR> {
  static constexpr KeyKindKLP kCode = KeyKindBstr;
  static constexpr VARTYPE kDemandedType = VT_BSTR;
  static constexpr VARTYPE kGivenType = VT_BSTR;
  static constexpr char kWrongType[] = "invalid key type";
  static constexpr bool kHasKeyEqualToAll = false;

  // Look-ups copy nothing.
  using Sought = KeyText;
  // The length. The text lies behind the attribute, without a terminator.
  using Stored = std::uint32_t;
  static bool CanStore(KeyText key) noexcept { return key.length <= kMostUnits; }
  static std::size_t BytesBehind(KeyText key) noexcept { return key.length * sizeof(OLECHAR); }
  static void Store(KeyText key, Stored& stored, void* behind) noexcept {
    stored = static_cast<Stored>(key.length);
    std::memcpy(behind, key.units, BytesBehind(key));
  }
  static KeyText Load(Stored stored, const void* behind) noexcept {
    return {static_cast<const OLECHAR*>(behind), stored};
  }
  [[noreturn]] static void RaiseNoMemory() { _com_issue_error(E_OUTOFMEMORY); }

  // An empty text is a key.
  static bool IsKey(BSTR key) noexcept { return key != nullptr; }
  // What stands before a BSTR is not looked at: its text ends at the first null character.
  static KeyText Seek(const OLECHAR* key) noexcept {
    std::size_t length = 0;
    while (key[length] != 0) {
      if (key[length + 1] == 0) return {key, length + 1};
      length += 2;
    }
    return {key, length};
  }
  static std::uint32_t Hash(KeyText key) noexcept {
    return HashOfUnits(key.units, BytesBehind(key));
  }
  static bool IsEqual(KeyText a, KeyText b) noexcept {
    return a.length == b.length && AreEqual(a.units, b.units, BytesBehind(a));
  }
  static bool IsEqualToAll(KeyText) noexcept { return false; }
  static bool IsLess(KeyText a, KeyText b) noexcept {
    return CompareText(a.units, static_cast<UINT>(a.length), b.units, static_cast<UINT>(b.length)) <
           0;
  }
  static bool IsSame(KeyText, KeyText) noexcept { return true; }
  static BSTR FromVariant(const VARIANT& key) noexcept { return key.bstrVal; }
  // These two give a new text. Raise _com_error.
  static VARIANT ToVariant(KeyText key);
  static BSTR ToElement(KeyText key);

  // The count of characters as 4 bytes, then the characters; no second write for none. A failing
  // call raises _com_error.
  static void Write(StreamWriter& writer, KeyText key) {
    constexpr ULONG kCountBytes = sizeof(std::uint32_t);
    const std::size_t bytes = BytesBehind(key);
    if (bytes > kWindowBytes - kCountBytes ||
        !writer.HasRoom(kCountBytes + static_cast<ULONG>(bytes))) {
      return WriteByCalls(writer, key);
    }
    BYTE* const place = writer.Take(kCountBytes + static_cast<ULONG>(bytes));
    if (!place) return;
    writer.PutAt(writer.PutAt(place, static_cast<std::uint32_t>(key.length)), key.units,
                 static_cast<ULONG>(bytes));
  }
  // A key ends at its first null character here too. What cannot be had is E_OUTOFMEMORY.
  static ReadText Read(StreamReader& reader);
  static KeyText Seek(ReadText& text) noexcept { return Seek(text.Units()); }
  // A bound for common texts, not the size: 4 for the count and 4 per character of the narrow text.
  // Raises _com_error.
  static ULONGLONG CountedBytes(KeyText key);

 private:
  static void WriteByCalls(StreamWriter& writer, KeyText key);

  // A BSTR keeps its length in bytes in 32 bits, with its terminator in the same range.
  static constexpr std::size_t kMostUnits = 0x7FFFFFFC;
};

}  // namespace rastel
