// SPDX-License-Identifier: MIT
// A key and its value in one block of memory, counted. Contents of maps share attributes, and an
// operation holds the one whose value it copies, since the copying may call foreign code.
#pragma once

#include <atomic>
#include <cstddef>
#include <new>
#include <utility>

#include "module/attribute/keys.h"
#include "module/frame/variants.h"
#include "platform/com_ptr.h"

namespace rastel {

template <class KeyType>
class Attribute {
 public:
  using Kind = KeyKind<KeyType>;
  using Sought = typename Kind::Sought;
  using Pointer = platform::ComPtr<Attribute>;

  // Takes the value unless it raises: see Kind::RaiseNoMemory.
  static Pointer New(Sought key, CComVariant&& value) {
    Pointer made;
    made.Attach(new (Allocate(key)) Attribute(key, std::move(value)));
    return made;
  }

  Attribute(const Attribute&) = delete;
  Attribute& operator=(const Attribute&) = delete;

  void AddRef() noexcept { holders_.fetch_add(1, std::memory_order_relaxed); }
  void Release() noexcept {
    if (IsShared() && holders_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    this->~Attribute();
    ::operator delete(this);
  }
  // Only who holds it alone may change it.
  bool IsShared() const noexcept { return holders_.load(std::memory_order_acquire) != 1; }

  Sought Key() const noexcept { return Kind::Load(key_, this + 1); }
  // An equal key of another form takes the key's place.
  void SetKey(Sought key) noexcept {
    if (!Kind::IsSame(Key(), key)) Kind::Store(key, key_, this + 1);
  }

 private:
  static void* Allocate(Sought key) {
    try {
      if (Kind::CanStore(key)) return ::operator new(sizeof(Attribute) + Kind::BytesBehind(key));
    } catch (const std::bad_alloc&) {
    }
    Kind::RaiseNoMemory();
  }
  Attribute(Sought key, CComVariant&& given) noexcept : value(std::move(given)) {
    Kind::Store(key, key_, this + 1);
  }
  ~Attribute() = default;

  std::atomic<ULONG> holders_{1};
  typename Kind::Stored key_;  // what of the key is not here lies behind the object

 public:
  CComVariant value;
};

}  // namespace rastel
