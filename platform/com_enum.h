// SPDX-License-Identifier: MIT
// Enumerators over an array: Next, Skip, Reset and Clone, with the array copied or kept alive by
// another object. The position is not guarded: threads that share an enumerator may get an element
// twice or miss one, and nothing worse; a thread clones it.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <new>

#include "platform/com_object.h"
#include "platform/com_ptr.h"

namespace platform {

// How elements are copied to where nothing is, and ended. What a copy that failed leaves behind may
// be ended too.

// Interface pointers: a reference for each copy; null pointers pass.
template <class Interface>
struct CopyInterface {
  static HRESULT Copy(Interface** target, Interface* const* source) noexcept {
    *target = *source;
    if (*target) (*target)->AddRef();
    return S_OK;
  }
  static void Destroy(Interface** pointer) noexcept {
    if (*pointer) (*pointer)->Release();
  }
};

struct CopyVariant {
  static HRESULT Copy(VARIANT* target, const VARIANT* source) noexcept {
    VariantInit(target);
    return VariantCopy(target, const_cast<VARIANT*>(source));
  }
  static void Destroy(VARIANT* value) noexcept { VariantClear(value); }
};

// What Init does with the array.
enum class EnumArray : unsigned {
  View = 0,  // used as it stands; the holder keeps it alive
  Copy = 3   // copied; the caller keeps its own
};

// Enumerator: the interface; Next takes an array of T. Policy: such as CopyInterface.
template <class Enumerator, class T, class Policy, class ThreadModel = CComMultiThreadModel>
class CComEnum : public CComObjectRootEx<ThreadModel>, public Enumerator {
 public:
  static QueryTable GetQueryTable() noexcept {
    static constexpr QueryRow kRows[] = {DirectRow<CComEnum, Enumerator>()};
    return kRows;
  }

  // Points the enumerator at [begin, end) and goes to its start. The holder is counted and replaces
  // a former one; null is allowed. Where a copy fails (E_OUTOFMEMORY), the enumerator is empty.
  HRESULT Init(T* begin, T* end, IUnknown* holder, EnumArray array) noexcept {
    EndArray();
    if (array == EnumArray::Copy) {
      const HRESULT result = CopyArray(begin, end);
      if (FAILED(result)) return result;
    } else {
      begin_ = begin;
      end_ = end;
    }
    array_ = array;
    MoveTo(begin_);
    holder_ = ComPtr<IUnknown>(holder);
    return S_OK;
  }

  // Null elements, or count above 1 without fetched: E_POINTER. No array: E_FAIL. S_FALSE when
  // fewer than count were left. The client ends the copies it gets. Where one fails it gets none,
  // and the enumerator stays where it was.
  STDMETHODIMP Next(ULONG count, T* elements, ULONG* fetched) override {
    if (fetched) *fetched = 0;
    if (!elements) return E_POINTER;
    if (count > 1 && !fetched) return E_POINTER;
    T* const position = Position();
    if (!begin_ || !end_ || !position) return E_FAIL;
    const ULONG delivered = Move(position, count);
    const HRESULT copied = CopyElements(elements, position, delivered);
    if (FAILED(copied)) {
      MoveTo(position);
      return copied;
    }
    if (fetched) *fetched = delivered;
    return delivered < count ? S_FALSE : S_OK;
  }

  // S_FALSE when the end was nearer than count; the position is then the end.
  STDMETHODIMP Skip(ULONG count) override {
    return Move(Position(), count) < count ? S_FALSE : S_OK;
  }

  STDMETHODIMP Reset() override {
    MoveTo(begin_);
    return S_OK;
  }

  // A new enumerator at the same place that shares the array and keeps its owner alive.
  // Null out: E_POINTER.
  STDMETHODIMP Clone(Enumerator** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    CComObject<CComEnum>* clone = nullptr;
    const HRESULT created = CComObject<CComEnum>::CreateInstance(&clone);
    if (FAILED(created)) return created;
    IUnknown* owner = OwnsArray() ? static_cast<Enumerator*>(this) : holder_.Get();
    clone->Init(begin_, end_, owner, EnumArray::View);
    clone->MoveTo(Position());
    void* answer = nullptr;
    clone->AddUnsharedReference();
    const HRESULT result = clone->QueryInterface(kIidOf<Enumerator>, &answer);
    clone->Release();
    *out = static_cast<Enumerator*>(answer);
    return result;
  }

  void ReleaseContent() noexcept {
    EndArray();
    holder_.Reset();
  }

 protected:
  CComEnum() = default;
  ~CComEnum() = default;

 private:
  bool OwnsArray() const noexcept { return array_ == EnumArray::Copy; }
  T* Position() const noexcept { return position_.load(std::memory_order_relaxed); }
  void MoveTo(T* position) noexcept { position_.store(position, std::memory_order_relaxed); }
  // Moves from a position on by count, at most to the end. How far it went.
  ULONG Move(T* position, ULONG count) noexcept {
    const ULONG moved = (std::min)(count, static_cast<ULONG>(end_ - position));
    MoveTo(position + moved);
    return moved;
  }

  HRESULT CopyArray(T* begin, T* end) noexcept {
    const auto count = static_cast<std::size_t>(end - begin);
    T* copies = new (std::nothrow) T[count];
    if (!copies) return E_OUTOFMEMORY;
    const HRESULT result = CopyElements(copies, begin, count);
    if (FAILED(result)) {
      delete[] copies;
      return result;
    }
    begin_ = copies;
    end_ = copies + count;
    return S_OK;
  }

  // All of them, or none.
  static HRESULT CopyElements(T* target, T* source, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
      const HRESULT result = Policy::Copy(target + i, source + i);
      if (SUCCEEDED(result)) continue;
      for (std::size_t done = 0; done <= i; ++done) Policy::Destroy(target + done);
      return result;
    }
    return S_OK;
  }

  // The members are empty before the elements go: their last Release may call back.
  void EndArray() noexcept {
    T* begin = std::exchange(begin_, nullptr);
    T* end = std::exchange(end_, nullptr);
    MoveTo(nullptr);
    const bool owned = OwnsArray();
    array_ = EnumArray::View;
    if (!owned) return;
    for (T* element = begin; element != end; ++element) Policy::Destroy(element);
    delete[] begin;
  }

  ComPtr<IUnknown> holder_;
  T* begin_ = nullptr;
  T* end_ = nullptr;
  std::atomic<T*> position_{nullptr};
  EnumArray array_ = EnumArray::View;
};

}  // namespace platform
