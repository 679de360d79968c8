// SPDX-License-Identifier: MIT
#include "host/classes/live_references.h"

#include <bit>

#include "host/base/guarded.h"

namespace host {

HRESULT LiveReferenceTable::Add(IUnknown* object, DWORD flags, const void* owner,
                                LiveReference& name) noexcept {
  return Guarded<HRESULT>(E_OUTOFMEMORY, E_UNEXPECTED, [&] {
    const std::lock_guard lock(lock_);
    if (flags == MSHLFLAGS_TABLEWEAK) {
      for (const auto& [known, entry] : entries_) {
        if (entry.owner != owner || entry.object != object) continue;
        name = std::bit_cast<LiveReference>(known);
        return S_OK;
      }
    }
    entries_.emplace(lastName_ + 1, Entry{object, flags, owner});
    name = std::bit_cast<LiveReference>(++lastName_);
    return S_OK;
  });
}

void LiveReferenceTable::DropOwned(const void* owner) noexcept {
  const std::lock_guard lock(lock_);
  for (auto at = entries_.begin(); at != entries_.end();) {
    const auto row = at++;
    if (row->second.owner != owner) continue;
    row->second.owner = nullptr;
    row->second.isLive = false;
    if (row->second.borrowers == 0) entries_.erase(row);
  }
}

IUnknown* LiveReferenceTable::Borrow(const LiveReference& name, DWORD flags, bool giveUp) noexcept {
  const std::lock_guard lock(lock_);
  const auto found = entries_.find(std::bit_cast<std::uint64_t>(name));
  if (found == entries_.end()) return nullptr;
  Entry& entry = found->second;
  if (!entry.isLive || entry.flags != flags) return nullptr;
  ++entry.borrowers;
  entry.isLive = !giveUp;
  return entry.object;
}

void LiveReferenceTable::Return(const LiveReference& name) {
  IUnknown* released = nullptr;
  {
    const std::lock_guard lock(lock_);
    const auto found = entries_.find(std::bit_cast<std::uint64_t>(name));
    Entry& entry = found->second;
    if (--entry.borrowers > 0 || entry.isLive) return;
    if (entry.flags != MSHLFLAGS_TABLEWEAK) released = entry.object;
    entries_.erase(found);
  }
  if (released) released->Release();
}

}  // namespace host
