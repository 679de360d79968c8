// SPDX-License-Identifier: MIT
// The wrappers that turn a class into an object: they give it its reference count, QueryInterface
// over its table, aggregation, and the count that keeps the module loaded.
//
// A class T that is wrapped
// - derives from CComObjectRootEx first, so that its critical section goes last,
// - has `static QueryTable GetQueryTable()`,
// - may have `HRESULT FinalConstruct(IUnknown* controllingUnknown)`, run before anybody sees the
//   object, with the unknown that an inner object aggregates on, and for its end `FinalRelease()`
//   and `ReleaseContent()`, see below,
// - leaves QueryInterface, AddRef and Release to the wrapper.
//
// A class whose inner objects count on it while it is being made sets kProtectFinalConstruct: the
// plain wrapper then holds a temporary reference meanwhile. The aggregated one never does.
//
// An object ends in this order: the count becomes the guard value, FinalRelease lets go what
// belongs to the object itself, the module's count goes down, ReleaseContent empties the object of
// what clients put into it, and then it is destroyed. Objects in the content may come back with any
// call in their own last Release, so it must be gone while the tables of the whole object still
// stand; what they put in meanwhile goes as well.
#pragma once

#include <new>
#include <utility>

#include "platform/module.h"
#include "platform/object_end.h"
#include "platform/object_memory.h"
#include "platform/query_table.h"
#include "platform/threading.h"

namespace platform {

// What the count of an object under destruction reads, so that a late AddRef and Release pair does
// not destroy it a second time.
inline constexpr ULONG kDestructionGuard = 0xC0000001u;

// The reference count and the critical section of one object.
template <class ThreadModel>
class CComObjectRootEx {
 public:
  CComObjectRootEx() = default;
  CComObjectRootEx(const CComObjectRootEx&) = delete;
  CComObjectRootEx& operator=(const CComObjectRootEx&) = delete;

  static constexpr bool kProtectFinalConstruct = false;

  // Makes the critical section; a failing result ends the creation.
  HRESULT InitialConstruct() noexcept { return section_.Init(); }
  HRESULT FinalConstruct(IUnknown*) noexcept { return S_OK; }
  void FinalRelease() noexcept {}
  void ReleaseContent() noexcept {}

  // The object's own re-entrant lock.
  void Lock() noexcept { section_.Lock(); }
  void Unlock() noexcept { section_.Unlock(); }

  ULONG InternalAddRef() noexcept { return ThreadModel::Increment(references_); }
  ULONG InternalRelease() noexcept { return ThreadModel::Decrement(references_); }

  // For an object that no other thread can see yet.
  void AddUnsharedReference() noexcept {
    references_.store(references_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }
  void DropUnsharedReference() noexcept {
    references_.store(references_.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
  }

 protected:
  ~CComObjectRootEx() = default;
  void GuardDestruction() noexcept {
    references_.store(kDestructionGuard, std::memory_order_relaxed);
  }

 private:
  std::atomic<ULONG> references_{0};
  typename ThreadModel::CriticalSection section_;
};

namespace object_detail {

// The one walk of creation after allocation: critical section, then FinalConstruct.
template <class Object>
HRESULT Construct(Object& object, IUnknown* controllingUnknown, bool protect) {
  HRESULT result = object.InitialConstruct();
  if (FAILED(result)) return result;
  if (protect) object.AddUnsharedReference();
  result = object.FinalConstruct(controllingUnknown);
  if (protect) object.DropUnsharedReference();
  return result;
}

}  // namespace object_detail

// An object on its own.
template <class Base>
class CComObject final : public Base, private EndingObject {
 public:
  // Makes an object with a reference count of 0; the caller takes the first reference.
  // Null out: E_POINTER. What cannot be had, or is thrown meanwhile, is E_OUTOFMEMORY.
  static HRESULT CreateInstance(CComObject** out) noexcept {
    if (!out) return E_POINTER;
    *out = nullptr;
    HRESULT result = E_OUTOFMEMORY;
    CComObject* object = nullptr;
    try {
      object = new (std::nothrow) CComObject;
      if (!object) return result;
      result =
          object_detail::Construct(*object, object->GetUnknown(), Base::kProtectFinalConstruct);
    } catch (...) {
      result = E_OUTOFMEMORY;
    }
    if (FAILED(result)) {
      delete object;
      return result;
    }
    *out = object;
    return S_OK;
  }

  // The identity, without a reference.
  IUnknown* GetUnknown() noexcept { return Base::GetQueryTable().front().cast(AsBase()); }

  // The first answer of a new object where the table alone gives it, with a reference that costs
  // nothing. False: ask QueryInterface.
  bool AnswerUnshared(REFIID iid, void** out) noexcept {
    const QueryRow* row = FindDirectRow(Base::GetQueryTable(), iid);
    if (!row) return false;
    this->AddUnsharedReference();
    *out = row->cast(AsBase());
    return true;
  }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    return InternalQueryInterface(AsBase(), Base::GetQueryTable(), iid, out);
  }
  STDMETHODIMP_(ULONG) AddRef() override { return this->InternalAddRef(); }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = this->InternalRelease();
    if (left == 0) {
      this->GuardDestruction();
      End();
    }
    return left;
  }

  static void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return objectMemory.Allocate(bytes);
  }
  static void operator delete(void* block, std::size_t bytes) noexcept {
    objectMemory.Free(block, bytes);
  }
  // For a constructor that raises.
  static void operator delete(void* block, const std::nothrow_t&) noexcept {
    objectMemory.Free(block, sizeof(CComObject));
  }

  CComObject() { LockModule(); }
  ~CComObject() override {
    this->GuardDestruction();
    this->FinalRelease();
    UnlockModule();
    this->ReleaseContent();
  }

 private:
  void* AsBase() noexcept { return static_cast<Base*>(this); }
};

// The object inside an aggregate: its interfaces count on, and are queried from, the outer unknown,
// on which it keeps no reference.
template <class Base>
class CComContainedObject final : public Base {
 public:
  explicit CComContainedObject(IUnknown* outer) : outer_(outer) {}

  HRESULT InnerQueryInterface(REFIID iid, void** out) noexcept {
    return InternalQueryInterface(static_cast<Base*>(this), Base::GetQueryTable(), iid, out);
  }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    return outer_->QueryInterface(iid, out);
  }
  STDMETHODIMP_(ULONG) AddRef() override { return outer_->AddRef(); }
  STDMETHODIMP_(ULONG) Release() override { return outer_->Release(); }

 private:
  IUnknown* outer_;
};

// The aggregated object: the inner unknown, which the outer holds, around the contained object.
template <class Base>
class CComAggObject final : public IUnknown, private EndingObject {
 public:
  // As CComObject::CreateInstance.
  static HRESULT CreateInstance(IUnknown* outer, CComAggObject** out) noexcept {
    if (!out) return E_POINTER;
    *out = nullptr;
    HRESULT result = E_OUTOFMEMORY;
    CComAggObject* object = nullptr;
    try {
      object = new (std::nothrow) CComAggObject(outer);
      if (!object) return result;
      result = object_detail::Construct(object->contained_, outer, false);
    } catch (...) {
      result = E_OUTOFMEMORY;
    }
    if (FAILED(result)) {
      delete object;
      return result;
    }
    *out = object;
    return S_OK;
  }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    if (!IsEqualIID(iid, IID_IUnknown)) return contained_.InnerQueryInterface(iid, out);
    AddRef();
    *out = static_cast<IUnknown*>(this);
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return CComMultiThreadModel::Increment(references_); }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = CComMultiThreadModel::Decrement(references_);
    if (left == 0) {
      references_.store(kDestructionGuard, std::memory_order_relaxed);
      End();
    }
    return left;
  }

 private:
  explicit CComAggObject(IUnknown* outer) : contained_(outer) { LockModule(); }
  ~CComAggObject() override {
    references_.store(kDestructionGuard, std::memory_order_relaxed);
    contained_.FinalRelease();
    UnlockModule();
    contained_.ReleaseContent();
  }

  std::atomic<ULONG> references_{0};
  CComContainedObject<Base> contained_;
};

// An object that a table keeps for the life of the module: it holds the module only while somebody
// besides the table refers to it.
template <class Base>
class CComObjectCached final : public Base {
 public:
  template <class... Arguments>
  explicit CComObjectCached(Arguments&&... arguments)
      : Base(std::forward<Arguments>(arguments)...) {}
  ~CComObjectCached() {
    this->GuardDestruction();
    this->FinalRelease();
  }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    return InternalQueryInterface(static_cast<Base*>(this), Base::GetQueryTable(), iid, out);
  }
  STDMETHODIMP_(ULONG) AddRef() override {
    const ULONG references = this->InternalAddRef();
    if (references == 2) LockModule();
    return references;
  }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = this->InternalRelease();
    if (left == 0) {
      delete this;
    } else if (left == 1) {
      UnlockModule();
    }
    return left;
  }
};

// The instance creator of a class: the plain path without an outer unknown, the aggregated one
// with. Null out: E_POINTER; *out is cleared; E_OUTOFMEMORY, the code of a failed step, or the
// answer of the object for the identifier. On failure nothing of the object is left.
template <class Base>
HRESULT CreateObject(IUnknown* outer, REFIID iid, void** out) noexcept {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!outer) {
    CComObject<Base>* object = nullptr;
    const HRESULT result = CComObject<Base>::CreateInstance(&object);
    if (FAILED(result)) return result;
    if (object->AnswerUnshared(iid, out)) return S_OK;
    // The temporary reference lets a refused answer destroy the object by its own Release.
    object->AddUnsharedReference();
    const HRESULT answer = object->QueryInterface(iid, out);
    object->Release();
    return answer;
  }
  CComAggObject<Base>* object = nullptr;
  const HRESULT result = CComAggObject<Base>::CreateInstance(outer, &object);
  if (FAILED(result)) return result;
  object->AddRef();
  const HRESULT answer = object->QueryInterface(iid, out);
  object->Release();
  return answer;
}

}  // namespace platform
