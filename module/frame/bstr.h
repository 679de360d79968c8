// SPDX-License-Identifier: MIT
// The string holder of the module: one pointer to a shared record, so that names and keys are
// copied for the price of an atomic add. A null holder, a null text and an empty text compare
// equal.
//
// Holders that share a record may live on different threads; a single holder is for one thread at a
// time. Operations that build a record or a copy raise _com_error: E_OUTOFMEMORY, or the system's
// error of a failed conversion.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "platform/platform.h"

namespace rastel {

// Text that never changes, so its narrow form never goes stale.
struct BstrRecord {
  constexpr explicit BstrRecord(BSTR wide, char* narrow = nullptr,
                                std::uint32_t refCount = 1) noexcept
      : m_Wide(wide), m_Narrow(narrow), m_RefCount(refCount) {}

  // Counts with this bit do not move: the record lives as long as the module.
  static constexpr std::uint32_t kUncounted = 0x80000000;

  BSTR m_Wide;                            // owned; may be null
  std::atomic<char*> m_Narrow;            // owned; in the ANSI code page, null until asked for
  std::atomic<std::uint32_t> m_RefCount;  // number of holders
};

// The record of an ASCII literal, made at compile time: holders of it never allocate, count or
// free. For variables of static storage only:  constinit BstrLiteral kNone("None");
template <std::size_t n>
class BstrLiteral {
 public:
  constexpr explicit BstrLiteral(const char (&ascii)[n]) noexcept
      : record_(text_.units, narrow_, BstrRecord::kUncounted) {
    for (std::size_t i = 0; i < n; ++i) {
      narrow_[i] = ascii[i];
      text_.units[i] = static_cast<OLECHAR>(ascii[i]);
    }
  }
  BstrLiteral(const BstrLiteral&) = delete;
  BstrLiteral& operator=(const BstrLiteral&) = delete;

  constexpr BstrRecord* Record() noexcept { return &record_; }

 private:
  // A BSTR as it lies in memory: the length in bytes stands right before the first unit.
  struct Text {
    std::uint32_t padding = 0;
    std::uint32_t bytes = (n - 1) * sizeof(OLECHAR);
    OLECHAR units[n] = {};
  };
  static_assert(offsetof(Text, units) == 8);

  alignas(8) Text text_;
  char narrow_[n] = {};
  BstrRecord record_;
};

class _bstr_t {
 public:
  // A null holder.
  constexpr _bstr_t() noexcept = default;
  // A new record with a copy of terminated text; null gives a record with a null text. Narrow text
  // is in the process's ANSI code page; E_INVALIDARG above 0x7FFFFFFF bytes with the terminator.
  explicit _bstr_t(const char* narrow);
  explicit _bstr_t(const OLECHAR* wide);
  template <std::size_t n>
  explicit _bstr_t(BstrLiteral<n>& literal) noexcept : record_(literal.Record()) {}

  _bstr_t(const _bstr_t& other) noexcept : record_(Counted(other.record_)) {}
  _bstr_t(_bstr_t&& other) noexcept : record_(std::exchange(other.record_, nullptr)) {}
  ~_bstr_t() { Release(); }

  // A new record that takes the text over without a copy; the text is freed if there is no memory.
  static _bstr_t Attach(BSTR text);
  // A new record with a byte-exact copy: odd lengths and embedded nulls are kept, null stays null.
  static _bstr_t CopyOfBytes(BSTR text);

  // Share the other's record.
  _bstr_t& operator=(const _bstr_t& other) noexcept;
  _bstr_t& operator=(_bstr_t&& other) noexcept;
  // Construct anew; nothing happens if the text is the very pointer that Narrow or Wide give. After
  // a failure the holder is null.
  void Assign(const char* narrow);
  void Assign(const OLECHAR* wide);
  template <std::size_t n>
  void AssignLiteral(BstrLiteral<n>& literal) noexcept {
    *this = _bstr_t(literal);
  }
  // Gives the record up and becomes a null holder.
  void Release() noexcept {
    BstrRecord* const record = std::exchange(record_, nullptr);
    if (record != nullptr && !IsUncounted(*record)) Drop(record);
  }

  // The record's own text, not a copy; null for a null holder and for a null text.
  BSTR Wide() const noexcept { return record_ != nullptr ? record_->m_Wide : nullptr; }
  // In UTF-16 units, embedded nulls included; 0 for null.
  UINT Length() const noexcept { return SysStringLen(Wide()); }
  // The text up to its first null character in the ANSI code page, made on first use and owned by
  // the record; null as in Wide.
  const char* Narrow() const;
  // A byte-exact copy for the caller to free; null as in Wide.
  BSTR Copy() const;

  bool SharesRecordWith(const _bstr_t& other) const noexcept { return record_ == other.record_; }

 private:
  static bool IsUncounted(const BstrRecord& record) noexcept {
    return (record.m_RefCount.load(std::memory_order_relaxed) & BstrRecord::kUncounted) != 0;
  }
  static BstrRecord* Counted(BstrRecord* record) noexcept {
    if (record != nullptr && !IsUncounted(*record)) {
      record->m_RefCount.fetch_add(1, std::memory_order_relaxed);
    }
    return record;
  }
  static void Drop(BstrRecord* record) noexcept;
  static BstrRecord* NewRecord(BSTR ownedText);

  BstrRecord* record_ = nullptr;
};

// The order of texts by UTF-16 code unit, unsigned, and then by length: no locale, no case folding.
// The difference of the first units that differ, else -1, 0 or 1. Lengths in units; texts of length
// 0 may be null. Neither converts nor allocates.
std::int32_t CompareText(const OLECHAR* a, UINT lengthA, const OLECHAR* b, UINT lengthB) noexcept;

// CompareText of what the holders hold, and its two short forms. Keys of maps stand in this order
// too, but are looked up by text without a holder.
std::int32_t Compare(const _bstr_t& a, const _bstr_t& b) noexcept;

// 1 if a stands before b, else 0.
inline std::int32_t IsLess(const _bstr_t& a, const _bstr_t& b) noexcept {
  return Compare(a, b) < 0 ? 1 : 0;
}
inline bool operator<(const _bstr_t& a, const _bstr_t& b) noexcept { return Compare(a, b) < 0; }

}  // namespace rastel
