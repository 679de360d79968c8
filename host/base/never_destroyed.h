// SPDX-License-Identifier: MIT
// What may still be needed while the process ends.
#pragma once

#include <new>

#include "host/base/scalars.h"

namespace host {

// The one object of a type, made at its first use and never destroyed.
template <class Object>
Object& TheOnly() noexcept {
  alignas(Object) static BYTE memory[sizeof(Object)];
  static Object* const object = new (memory) Object;
  return *object;
}

}  // namespace host
