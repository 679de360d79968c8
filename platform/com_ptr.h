// SPDX-License-Identifier: MIT
// A counted interface pointer: one pointer wide, holds one reference.
#pragma once

#include <cstddef>
#include <utility>

#include "platform/interface_id.h"

namespace platform {

template <class Interface>
class ComPtr {
 public:
  ComPtr() noexcept = default;
  ComPtr(std::nullptr_t) noexcept {}
  // Takes a reference of its own.
  ComPtr(Interface* pointer) noexcept : pointer_(pointer) {
    if (pointer_) pointer_->AddRef();
  }
  ComPtr(const ComPtr& other) noexcept : ComPtr(other.pointer_) {}
  ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  ~ComPtr() {
    if (pointer_) pointer_->Release();
  }

  // The new pointer is in place before the old object is released, which may call back.
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }

  Interface* Get() const noexcept { return pointer_; }
  Interface* operator->() const noexcept { return pointer_; }
  Interface& operator*() const noexcept { return *pointer_; }
  explicit operator bool() const noexcept { return pointer_ != nullptr; }

  // Takes over a reference that the caller held.
  void Attach(Interface* pointer) noexcept {
    Interface* old = std::exchange(pointer_, pointer);
    if (old) old->Release();
  }
  // Gives the reference to the caller.
  [[nodiscard]] Interface* Detach() noexcept { return std::exchange(pointer_, nullptr); }
  void Reset() noexcept { Attach(nullptr); }

  // Empties the pointer and gives its address, for an operation that hands out a reference.
  Interface** Put() noexcept {
    Reset();
    return &pointer_;
  }
  void** PutVoid() noexcept { return reinterpret_cast<void**>(Put()); }

  // Asks the object for another interface; null when it has none.
  template <class Other>
  ComPtr<Other> As() const noexcept {
    ComPtr<Other> other;
    if (pointer_) pointer_->QueryInterface(kIidOf<Other>, other.PutVoid());
    return other;
  }

 private:
  Interface* pointer_ = nullptr;
};

}  // namespace platform
