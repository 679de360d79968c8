// SPDX-License-Identifier: MIT
// The lock of an object, as code sees it that does not know the object's class.
#pragma once

#include "platform/threading.h"

namespace rastel {

// Lock and Unlock enter and leave the object's own critical section, which a thread may enter
// again.
class LockableClass {
 public:
  virtual void Lock() = 0;
  virtual void Unlock() = 0;

 protected:
  ~LockableClass() = default;
};

using ScopedLock = platform::ScopedLock<LockableClass>;

}  // namespace rastel
