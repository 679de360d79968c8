// SPDX-License-Identifier: MIT
#include "module/frame/bstr.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "module/frame/exceptions.h"
#include "module/frame/stack_buffer.h"

namespace rastel {
namespace {

// Longer texts are converted on the heap.
constexpr std::size_t kMostStackUnits = 4095;

BSTR NewText(const OLECHAR* wide) {
  const BSTR text = SysAllocString(wide);
  if (text == nullptr && wide != nullptr) _com_issue_error(E_OUTOFMEMORY);
  return text;
}

BSTR WidenedText(const char* narrow) {
  if (narrow == nullptr) return nullptr;
  const std::size_t bytes = std::strlen(narrow) + 1;
  if (bytes > 0x7FFFFFFF) _com_issue_error(E_INVALIDARG);
  const int narrowUnits = static_cast<int>(bytes);
  const int units = MultiByteToWideChar(CP_ACP, 0, narrow, narrowUnits, nullptr, 0);
  if (units <= 0) RaiseLastError();

  StackBuffer<OLECHAR, kMostStackUnits> wide(static_cast<std::size_t>(units));
  if (wide.Get() == nullptr) _com_issue_error(E_OUTOFMEMORY);
  if (MultiByteToWideChar(CP_ACP, 0, narrow, narrowUnits, wide.Get(), units) <= 0) {
    RaiseLastError();
  }
  return NewText(wide.Get());
}

std::unique_ptr<char[]> NarrowedText(BSTR wide) {
  const int bytes = WideCharToMultiByte(CP_ACP, 0, wide, -1, nullptr, 0, nullptr, nullptr);
  if (bytes <= 0) RaiseLastError();
  std::unique_ptr<char[]> narrow(new (std::nothrow) char[static_cast<std::size_t>(bytes)]);
  if (narrow == nullptr) _com_issue_error(E_OUTOFMEMORY);
  if (WideCharToMultiByte(CP_ACP, 0, wide, -1, narrow.get(), bytes, nullptr, nullptr) <= 0) {
    RaiseLastError();
  }
  return narrow;
}

BSTR CopyBytes(BSTR text) {
  if (text == nullptr) return nullptr;
  // The platform declares its source as narrow text and copies the bytes as they are.
  const BSTR copy =
      SysAllocStringByteLen(reinterpret_cast<const char*>(text), SysStringByteLen(text));
  if (copy == nullptr) _com_issue_error(E_OUTOFMEMORY);
  return copy;
}

}  // namespace

_bstr_t::_bstr_t(const char* narrow) : record_(NewRecord(WidenedText(narrow))) {}

_bstr_t::_bstr_t(const OLECHAR* wide) : record_(NewRecord(NewText(wide))) {}

_bstr_t _bstr_t::Attach(BSTR text) {
  _bstr_t holder;
  holder.record_ = NewRecord(text);
  return holder;
}

_bstr_t _bstr_t::CopyOfBytes(BSTR text) { return Attach(CopyBytes(text)); }

BstrRecord* _bstr_t::NewRecord(BSTR ownedText) {
  BstrRecord* const record = new (std::nothrow) BstrRecord(ownedText);
  if (record == nullptr) {
    SysFreeString(ownedText);
    _com_issue_error(E_OUTOFMEMORY);
  }
  return record;
}

_bstr_t& _bstr_t::operator=(const _bstr_t& other) noexcept {
  if (this != &other) {
    BstrRecord* const shared = Counted(other.record_);
    Release();
    record_ = shared;
  }
  return *this;
}

_bstr_t& _bstr_t::operator=(_bstr_t&& other) noexcept {
  if (this != &other) {
    Release();
    record_ = std::exchange(other.record_, nullptr);
  }
  return *this;
}

void _bstr_t::Assign(const char* narrow) {
  if (narrow != nullptr && record_ != nullptr &&
      narrow == record_->m_Narrow.load(std::memory_order_acquire)) {
    return;
  }
  // The old record goes last, since the text may lie inside it.
  const _bstr_t old(std::move(*this));
  record_ = NewRecord(WidenedText(narrow));
}

void _bstr_t::Assign(const OLECHAR* wide) {
  if (wide != nullptr && wide == Wide()) return;
  const _bstr_t old(std::move(*this));
  record_ = NewRecord(NewText(wide));
}

void _bstr_t::Drop(BstrRecord* record) noexcept {
  if (record->m_RefCount.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  SysFreeString(record->m_Wide);
  delete[] record->m_Narrow.load(std::memory_order_relaxed);
  delete record;
}

const char* _bstr_t::Narrow() const {
  if (Wide() == nullptr) return nullptr;
  char* narrow = record_->m_Narrow.load(std::memory_order_acquire);
  if (narrow != nullptr) return narrow;
  // Holders on several threads may convert at once: the first one publishes, the others free
  // theirs.
  std::unique_ptr<char[]> made = NarrowedText(record_->m_Wide);
  if (record_->m_Narrow.compare_exchange_strong(narrow, made.get(), std::memory_order_acq_rel,
                                                std::memory_order_acquire)) {
    return made.release();
  }
  return narrow;
}

BSTR _bstr_t::Copy() const { return CopyBytes(Wide()); }

std::int32_t CompareText(const OLECHAR* a, UINT lengthA, const OLECHAR* b, UINT lengthB) noexcept {
  const UINT common = std::min(lengthA, lengthB);
  UINT i = 0;
  // Equal beginnings pass by the word.
  for (std::uint64_t wordA, wordB; common - i >= sizeof(wordA) / sizeof(OLECHAR);
       i += sizeof(wordA) / sizeof(OLECHAR)) {
    std::memcpy(&wordA, a + i, sizeof(wordA));
    std::memcpy(&wordB, b + i, sizeof(wordB));
    if (wordA != wordB) break;
  }
  for (; i < common; ++i) {
    if (a[i] != b[i]) {
      return std::int32_t{static_cast<std::uint16_t>(a[i])} -
             std::int32_t{static_cast<std::uint16_t>(b[i])};
    }
  }
  if (lengthA == lengthB) return 0;
  return lengthA < lengthB ? -1 : 1;
}

std::int32_t Compare(const _bstr_t& a, const _bstr_t& b) noexcept {
  if (a.SharesRecordWith(b)) return 0;
  return CompareText(a.Wide(), a.Length(), b.Wide(), b.Length());
}

}  // namespace rastel
