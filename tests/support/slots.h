// Slots of interfaces that no header of a client declares.
#pragma once

#include "platform/platform.h"

namespace tests {

// Calls a slot as a client in C does, which has nothing but the table.
template <class... Arguments>
HRESULT CallSlot(void* object, int slot, Arguments... arguments) {
  using Function = HRESULT(STDMETHODCALLTYPE*)(void*, Arguments...);
  void** const table = *static_cast<void***>(object);
  return reinterpret_cast<Function>(table[slot])(object, arguments...);
}

}  // namespace tests
