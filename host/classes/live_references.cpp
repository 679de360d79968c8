#include "host/classes/live_references.h"

#include <cstdlib>

namespace host {

bool LiveReferenceTable::Grow() noexcept {
  constexpr ULONG kFirstCapacity = 16;
  constexpr ULONG kMaxCapacity = 1u << 30;
  const ULONG wanted = capacity_ == 0 ? kFirstCapacity : capacity_ * 2;
  if (wanted > kMaxCapacity) return false;
  void* block = std::realloc(entries_, wanted * sizeof(Entry));
  if (!block) return false;
  entries_ = static_cast<Entry*>(block);
  capacity_ = wanted;
  return true;
}

HRESULT LiveReferenceTable::Add(IUnknown* object, DWORD flags, LiveReference* name) noexcept {
  ULONG index = firstFree_;
  if (index != kNoLiveReference) {
    firstFree_ = entries_[index].next;
  } else {
    if (count_ == capacity_ && !Grow()) return E_OUTOFMEMORY;
    index = count_++;
    entries_[index].generation = 1;
  }
  const ULONG generation = entries_[index].generation;
  entries_[index] = {object, generation, kNoLiveReference, 0, flags, true};
  *name = {index, generation};
  return S_OK;
}

void LiveReferenceTable::Free(ULONG index) noexcept {
  Entry& entry = entries_[index];
  entry.object = nullptr;
  // An entry that has used up its generations is never given out again.
  if (++entry.generation == 0) return;
  entry.next = firstFree_;
  firstFree_ = index;
}

HRESULT LiveReferenceTable::AddCounted(IUnknown* object, DWORD flags,
                                       LiveReference* name) noexcept {
  const std::lock_guard lock(lock_);
  return Add(object, flags, name);
}

HRESULT LiveReferenceTable::AddWeak(IUnknown* object, ULONG* list, LiveReference* name) noexcept {
  const std::lock_guard lock(lock_);
  for (ULONG index = *list; index != kNoLiveReference; index = entries_[index].next) {
    if (entries_[index].object != object) continue;
    *name = {index, entries_[index].generation};
    return S_OK;
  }
  const HRESULT result = Add(object, MSHLFLAGS_TABLEWEAK, name);
  if (FAILED(result)) return result;
  entries_[name->index].next = *list;
  *list = name->index;
  return S_OK;
}

void LiveReferenceTable::DropWeak(ULONG list) noexcept {
  if (list == kNoLiveReference) return;
  const std::lock_guard lock(lock_);
  while (list != kNoLiveReference) {
    const ULONG index = list;
    list = entries_[index].next;
    entries_[index].isLive = false;
    if (entries_[index].borrowers == 0) Free(index);
  }
}

IUnknown* LiveReferenceTable::Borrow(const LiveReference& name, DWORD flags, bool giveUp) noexcept {
  const std::lock_guard lock(lock_);
  if (name.index >= count_) return nullptr;
  Entry& entry = entries_[name.index];
  if (!entry.object || !entry.isLive || entry.generation != name.generation ||
      entry.flags != flags) {
    return nullptr;
  }
  ++entry.borrowers;
  if (giveUp) entry.isLive = false;
  return entry.object;
}

void LiveReferenceTable::Return(const LiveReference& name) {
  IUnknown* released = nullptr;
  {
    const std::lock_guard lock(lock_);
    Entry& entry = entries_[name.index];
    if (--entry.borrowers > 0 || entry.isLive) return;
    if (entry.flags != MSHLFLAGS_TABLEWEAK) released = entry.object;
    Free(name.index);
  }
  if (released) released->Release();
}

}  // namespace host
