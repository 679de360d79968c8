// SPDX-License-Identifier: MIT
// Counted references as the services of the host use them: the count inside an object, and a
// pointer that holds one reference. Nothing here is exported.
#pragma once

#include <atomic>

#include "host/base/interfaces.h"
#include "host/base/single_thread.h"

namespace host {

// The count of one object, which starts with its maker's reference. Any thread may call.
class ReferenceCount {
 public:
  ULONG Add() noexcept { return CountUp(count_); }
  // 0: that was the last reference, and everything done under the others is visible.
  ULONG Drop() noexcept { return CountDown(count_); }

 private:
  std::atomic<ULONG> count_{1};
};

// Owns one reference, or none.
template <class Interface>
class Reference {
 public:
  // Takes over a reference.
  explicit Reference(Interface* pointer = nullptr) noexcept : pointer_(pointer) {}
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;
  ~Reference() {
    if (pointer_) pointer_->Release();
  }

  Interface* Get() const noexcept { return pointer_; }
  Interface* operator->() const noexcept { return pointer_; }

  // Takes over a reference; only for an empty pointer.
  void Adopt(Interface* pointer) noexcept { pointer_ = pointer; }
  // Gives the reference to the caller.
  [[nodiscard]] Interface* Detach() noexcept {
    Interface* pointer = pointer_;
    pointer_ = nullptr;
    return pointer;
  }

 private:
  Interface* pointer_;
};

// QueryInterface of an object that is not trusted: what a failing call leaves in the out pointer is
// not a reference, and a success without a pointer is E_NOINTERFACE.
template <class Interface>
HRESULT AskFor(IUnknown* object, REFIID iid, Reference<Interface>& out) {
  void* found = nullptr;
  const HRESULT result = object->QueryInterface(iid, &found);
  if (FAILED(result)) return result;
  if (!found) return E_NOINTERFACE;
  out.Adopt(static_cast<Interface*>(found));
  return result;
}

}  // namespace host
