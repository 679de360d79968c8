// The process's table of live references: what an in-process object reference on a stream names
// instead of a pointer. A name that was never given out, or whose entry was given up, finds
// nothing. Any thread may call; no foreign code runs under the table's lock.
#pragma once

#include <mutex>

#include "host/base/interfaces.h"

namespace host {

// The name of an entry, as it stands on a stream.
struct LiveReference {
  ULONG index;
  ULONG generation;
};

inline constexpr ULONG kNoLiveReference = 0xFFFFFFFF;

class LiveReferenceTable {
 public:
  constexpr LiveReferenceTable() = default;

  // Enters an object under normal or table-strong flags. On success the table has taken over the
  // caller's reference; E_OUTOFMEMORY leaves it.
  HRESULT AddCounted(IUnknown* object, DWORD flags, LiveReference* name) noexcept;

  // Enters an object without a reference, into the list that starts at *list (kNoLiveReference when
  // it is empty). An object that is in the list keeps its entry.
  HRESULT AddWeak(IUnknown* object, ULONG* list, LiveReference* name) noexcept;

  // Gives up the entries of a list that AddWeak made.
  void DropWeak(ULONG list) noexcept;

  // The object of an entry that was made with these flags, null when there is none. It stays alive
  // until Return, which every success needs; a weak one lives as long as its owner sees to it.
  // With giveUp nobody can borrow it again, and Return releases the table's reference.
  IUnknown* Borrow(const LiveReference& name, DWORD flags, bool giveUp) noexcept;
  void Return(const LiveReference& name);

 private:
  struct Entry {
    IUnknown* object;
    ULONG generation;
    // The next entry of the free list or of the owner's list.
    ULONG next;
    ULONG borrowers;
    DWORD flags;
    bool isLive;
  };

  bool Grow() noexcept;
  // The caller holds the lock.
  HRESULT Add(IUnknown* object, DWORD flags, LiveReference* name) noexcept;
  void Free(ULONG index) noexcept;

  std::mutex lock_;
  Entry* entries_ = nullptr;
  ULONG count_ = 0;
  ULONG capacity_ = 0;
  ULONG firstFree_ = kNoLiveReference;
};

}  // namespace host
