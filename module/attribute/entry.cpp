// SPDX-License-Identifier: MIT
#include "module/attribute/entry.h"

#include <new>

#include "module/frame/exceptions.h"
#include "platform/com_ptr.h"

namespace rastel {

using platform::ComPtr;

EntryList::EntryList(std::size_t mostEntries) : entries_(mostEntries) {
  if (!entries_.Get()) throw std::bad_alloc();
}

EntryList::~EntryList() {
  while (count_ > 0) entries_.Get()[--count_]->Release();
}

void EntryList::Add(const VARIANT& key, IAttributeMapKLP* map) {
  platform::CComObject<AttributeEntry>* entry = nullptr;
  if (FAILED(platform::CComObject<AttributeEntry>::CreateInstance(&entry))) {
    _com_issue_error(E_OUTOFMEMORY);
  }
  entry->AddUnsharedReference();
  entries_.Get()[count_++] = entry;
  CheckResult(entry->SetKey(key));
  CheckResult(entry->SetOwner(map));
}

HRESULT EntryList::GiveEnumerator(IAttributeMapKLP* map, IEnumAttributeEntryKLP** out) {
  platform::CComObject<AttributeEnumerator>* enumerator = nullptr;
  const HRESULT result = platform::CComObject<AttributeEnumerator>::CreateInstance(&enumerator);
  if (FAILED(result)) return result;
  ComPtr<IEnumAttributeEntryKLP> owner;
  enumerator->AddUnsharedReference();
  owner.Attach(enumerator);
  ComPtr<IUnknown> holder;
  map->QueryInterface(IID_IUnknown, holder.PutVoid());
  IAttributeEntryKLP** const entries = entries_.Get();
  // Without memory for its array the enumerator is there all the same, and has no entries.
  enumerator->Init(entries, entries + count_, holder.Get(), platform::EnumArray::Copy);
  *out = owner.Detach();
  return S_OK;
}

HRESULT CreateAttributeEntry(IUnknown* outer, REFIID iid, void** out) noexcept {
  return platform::CreateObject<AttributeEntry>(outer, iid, out);
}

}  // namespace rastel
