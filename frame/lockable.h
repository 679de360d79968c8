// The lock of an object, as code sees it that does not know the object's class.
#pragma once

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

// Holds the lock for a scope, also where an exception leaves it.
class ScopedLock {
 public:
  explicit ScopedLock(LockableClass& object) : object_(object) { object_.Lock(); }
  ~ScopedLock() { object_.Unlock(); }
  ScopedLock(const ScopedLock&) = delete;
  ScopedLock& operator=(const ScopedLock&) = delete;

 private:
  LockableClass& object_;
};

}  // namespace rastel
