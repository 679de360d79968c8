// SPDX-License-Identifier: MIT
// The end of an object whose last reference is gone. It lets go what the object holds, and so ends
// other objects, each inside the end of the one before. Clients may hang objects on each other in
// chains that no stack has room for; so many ends run inside each other on a thread, and objects
// beyond that wait, in a list that needs no memory, for the outermost of these ends, which ends
// before the client's call does.
#pragma once

#include "platform/thread_word.h"

namespace platform {

class EndingObject {
 protected:
  virtual ~EndingObject() = default;

  // Destroys the object, now or at the end of the thread's outermost End. Until then a late AddRef
  // and Release pair must not come here again.
  void End() noexcept {
    const std::uintptr_t depth = Depth::Get();
    if (depth >= kMostEndsInside) {
      next_ = reinterpret_cast<EndingObject*>(Waiting::Get());
      if (Waiting::Set(reinterpret_cast<std::uintptr_t>(this))) return;
    }
    // Without a word for the thread the ends go on inside each other.
    Depth::Set(depth + 1);
    delete this;
    while (depth == 0 && Waiting::Get() != 0) {
      auto* const object = reinterpret_cast<EndingObject*>(Waiting::Get());
      Waiting::Set(reinterpret_cast<std::uintptr_t>(object->next_));
      delete object;
    }
    Depth::Set(depth);
  }

 private:
  static constexpr std::uintptr_t kMostEndsInside = 64;

  struct DepthOwner;
  struct WaitingOwner;
  using Depth = ThreadWord<DepthOwner>;
  using Waiting = ThreadWord<WaitingOwner>;

  EndingObject* next_ = nullptr;
};

}  // namespace platform
