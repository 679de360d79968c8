// SPDX-License-Identifier: MIT
// The process's table of live references: what an in-process object reference on a stream names
// instead of a pointer. A name that was never given out, or whose entry was given up, finds
// nothing. Any thread may call; no foreign code runs under the table's lock.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>

#include "host/base/interfaces.h"

namespace host {

// The name of an entry, as it stands on a stream. No name is given out twice.
struct LiveReference {
  ULONG low;
  ULONG high;
};

class LiveReferenceTable {
 public:
  // Enters an object. Under normal or table-strong flags the table takes over the caller's
  // reference on success; a table-weak entry has none and belongs to an owner, who has one entry
  // for each object. E_OUTOFMEMORY.
  HRESULT Add(IUnknown* object, DWORD flags, const void* owner, LiveReference& name) noexcept;

  // Gives up the entries of an owner.
  void DropOwned(const void* owner) noexcept;

  // The object of an entry that was made with these flags, null when there is none. It stays alive
  // until Return, which every success needs; a weak one lives as long as its owner sees to it.
  // With giveUp nobody can borrow it again, and Return releases the table's reference.
  IUnknown* Borrow(const LiveReference& name, DWORD flags, bool giveUp) noexcept;
  void Return(const LiveReference& name);

 private:
  struct Entry {
    IUnknown* object;
    DWORD flags;
    const void* owner;
    ULONG borrowers = 0;
    bool isLive = true;
  };

  std::mutex lock_;
  std::uint64_t lastName_ = 0;
  std::map<std::uint64_t, Entry> entries_;
};

}  // namespace host
