// Enumerators over an array: Next, Skip, Reset and Clone, with the array owned, copied or kept
// alive by another object. The position is not guarded: a thread that shares an enumerator clones
// it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <new>

#include "platform/com_object.h"
#include "platform/com_ptr.h"

namespace platform {

// How elements are copied to a client and ended. Copy gives a failing result when it cannot.
template <class T>
struct CopyValue {
  static HRESULT Copy(T* target, const T* source) noexcept {
    *target = *source;
    return S_OK;
  }
  static void Init(T*) noexcept {}
  static void Destroy(T*) noexcept {}
};

struct CopyVariant {
  static HRESULT Copy(VARIANT* target, const VARIANT* source) noexcept {
    target->vt = VT_EMPTY;
    return VariantCopy(target, const_cast<VARIANT*>(source));
  }
  static void Init(VARIANT* value) noexcept { value->vt = VT_EMPTY; }
  static void Destroy(VARIANT* value) noexcept { VariantClear(value); }
};

// Interface pointers: a reference for each copy; null pointers pass.
template <class Interface>
struct CopyInterface {
  static HRESULT Copy(Interface** target, Interface* const* source) noexcept {
    *target = *source;
    if (*target) (*target)->AddRef();
    return S_OK;
  }
  static void Init(Interface**) noexcept {}
  static void Destroy(Interface** pointer) noexcept {
    if (*pointer) (*pointer)->Release();
  }
};

// What Init does with the array. Bit 2 means that the enumerator ends the elements and the array.
enum class EnumArray : unsigned {
  View = 0,           // used as it stands; the holder keeps it alive
  TakeOwnership = 2,  // handed over, made with new[]
  Copy = 3            // copied; the caller keeps its own
};

// Enumerator: the interface; Next takes an array of T. Policy: one of the copy policies above.
template <class Enumerator, class T, class Policy, class ThreadModel = CComMultiThreadModel>
class CComEnum : public CComObjectRootEx<ThreadModel>, public Enumerator {
 public:
  static QueryTable GetQueryTable() noexcept {
    static constexpr QueryRow kRows[] = {DirectRow<CComEnum, Enumerator>()};
    return kRows;
  }

  // Points the enumerator at [begin, end) and goes to its start. The holder is counted and replaces
  // a former one; null is allowed. Copying fails with E_OUTOFMEMORY or the policy's code, and then
  // the enumerator is empty.
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
    position_ = begin_;
    holder_ = ComPtr<IUnknown>(holder);
    return S_OK;
  }

  // Null elements, or count above 1 without fetched: E_POINTER. No array: E_FAIL. S_FALSE when
  // fewer than count were left. The client ends the copies it gets.
  STDMETHODIMP Next(ULONG count, T* elements, ULONG* fetched) override {
    if (fetched) *fetched = 0;
    if (!elements) return E_POINTER;
    if (count > 1 && !fetched) return E_POINTER;
    if (!begin_ || !end_ || !position_) return E_FAIL;
    const ULONG delivered = std::min(count, Rest());
    for (ULONG i = 0; i < delivered; ++i) {
      const HRESULT copied = Policy::Copy(elements + i, position_ + i);
      if (FAILED(copied)) {
        while (i > 0) Policy::Destroy(elements + --i);
        return copied;
      }
    }
    position_ += delivered;
    if (fetched) *fetched = delivered;
    return delivered < count ? S_FALSE : S_OK;
  }

  // S_FALSE when the end was nearer than count; the position is then the end.
  STDMETHODIMP Skip(ULONG count) override {
    const ULONG moved = std::min(count, Rest());
    position_ += moved;
    return moved < count ? S_FALSE : S_OK;
  }

  STDMETHODIMP Reset() override {
    position_ = begin_;
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
    clone->position_ = position_;
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
  bool OwnsArray() const noexcept {
    return (static_cast<unsigned>(array_) & static_cast<unsigned>(EnumArray::TakeOwnership)) != 0;
  }
  ULONG Rest() const noexcept { return static_cast<ULONG>(end_ - position_); }

  HRESULT CopyArray(T* begin, T* end) noexcept {
    const auto count = static_cast<std::size_t>(end - begin);
    T* copies = new (std::nothrow) T[count];
    if (!copies) return E_OUTOFMEMORY;
    for (std::size_t i = 0; i < count; ++i) {
      Policy::Init(copies + i);
      const HRESULT copied = Policy::Copy(copies + i, begin + i);
      if (FAILED(copied)) {
        while (i > 0) Policy::Destroy(copies + --i);
        delete[] copies;
        return copied;
      }
    }
    begin_ = copies;
    end_ = copies + count;
    return S_OK;
  }

  // The members are empty before the elements go: their last Release may call back.
  void EndArray() noexcept {
    T* begin = std::exchange(begin_, nullptr);
    T* end = std::exchange(end_, nullptr);
    position_ = nullptr;
    const bool owned = OwnsArray();
    array_ = EnumArray::View;
    if (!owned) return;
    for (T* element = begin; element != end; ++element) Policy::Destroy(element);
    delete[] begin;
  }

  ComPtr<IUnknown> holder_;
  T* begin_ = nullptr;
  T* end_ = nullptr;
  T* position_ = nullptr;
  EnumArray array_ = EnumArray::View;
};

}  // namespace platform
