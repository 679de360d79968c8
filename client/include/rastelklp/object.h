// SPDX-License-Identifier: MIT
// References to objects. Everything in this library that stands for an object is such a reference:
// copying it gives one more reference to the same object.
#pragma once

#include <concepts>
#include <cstddef>

#include "platform/com_ptr.h"
#include "rastelklp/error.h"

namespace rastelklp {

template <class I>
class com_ptr {
 public:
  using interface_type = I;

  com_ptr(std::nullptr_t = nullptr) noexcept {}
  // Takes a count of its own.
  com_ptr(I* pointer) noexcept : pointer_(pointer) {}
  template <std::derived_from<I> Other>
  com_ptr(const com_ptr<Other>& other) noexcept : pointer_(other.get()) {}

  I* get() const noexcept { return pointer_.Get(); }
  I* operator->() const noexcept { return get(); }
  explicit operator bool() const noexcept { return get() != nullptr; }

  // Let go of what they held, for a slot that hands out a counted pointer.
  I** put() noexcept { return pointer_.Put(); }
  void** put_void() noexcept { return pointer_.PutVoid(); }
  // Take over the caller's count, and give ours to the caller.
  void attach(I* pointer) noexcept { pointer_.Attach(pointer); }
  [[nodiscard]] I* detach() noexcept { return pointer_.Detach(); }

  // The same object by another interface, or by a class of this library: as<IPersistStream>(),
  // as<Aoi<float>>(). Where the object is of another kind, as raises E_NOINTERFACE, and try_as
  // gives null.
  template <class Wanted>
  auto as() const;
  template <class Wanted>
  auto try_as() const noexcept;

  friend bool operator==(const com_ptr& a, const com_ptr& b) noexcept { return a.get() == b.get(); }

 private:
  platform::ComPtr<I> pointer_;
};

using Object = com_ptr<IUnknown>;

namespace detail {

template <class T>
concept IsReference = requires {
  typename T::interface_type;
};

template <class Wanted>
struct ReferenceTo {
  using type = com_ptr<Wanted>;
};
template <IsReference Wanted>
struct ReferenceTo<Wanted> {
  using type = Wanted;
};

}  // namespace detail

// The class itself if it is a reference already, else com_ptr of the interface.
template <class Wanted>
using reference_to = typename detail::ReferenceTo<Wanted>::type;

template <class I>
template <class Wanted>
auto com_ptr<I>::as() const {
  reference_to<Wanted> other(nullptr);
  if (!get()) detail::Raise(E_POINTER);
  check_hresult(get()->QueryInterface(
      platform::kIidOf<typename reference_to<Wanted>::interface_type>, other.put_void()));
  return other;
}

template <class I>
template <class Wanted>
auto com_ptr<I>::try_as() const noexcept {
  reference_to<Wanted> other(nullptr);
  if (get()) {
    get()->QueryInterface(platform::kIidOf<typename reference_to<Wanted>::interface_type>,
                          other.put_void());
  }
  return other;
}

}  // namespace rastelklp
