// Where a virtual function stands in its table.
#pragma once

#include <cstdint>
#include <cstring>

#include "platform/platform.h"

namespace tests {

// The slot of a virtual function. Both hosts' compilers keep one plus the byte offset in the table
// in the first half of such a pointer, and the adjustment of the object, 0 here, in the second.
template <class Member>
int SlotOf(Member member) {
  std::int64_t halves[2];
  static_assert(sizeof(member) == sizeof(halves));
  std::memcpy(halves, &member, sizeof(halves));
  const bool isVirtual = halves[0] % 8 == 1 && halves[1] == 0;
  return isVirtual ? static_cast<int>(halves[0] / 8) : -1;
}

// Calls a slot as a client in C does, which has nothing but the table.
template <class... Arguments>
HRESULT CallSlot(void* object, int slot, Arguments... arguments) {
  using Function = HRESULT(STDMETHODCALLTYPE*)(void*, Arguments...);
  void** const table = *static_cast<void***>(object);
  return reinterpret_cast<Function>(table[slot])(object, arguments...);
}

// One slot further, to find where a table ends.
template <class Interface>
struct OneMore : Interface {
  virtual HRESULT STDMETHODCALLTYPE Behind() = 0;
};

}  // namespace tests
