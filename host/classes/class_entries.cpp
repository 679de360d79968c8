// SPDX-License-Identifier: MIT
#include "host/classes/class_entries.h"

#include "host/base/never_destroyed.h"
#include "host/classes/identifiers.h"
#include "host/registry/store.h"

namespace host {

RegistryText TextOf(REFGUID id) {
  OLECHAR text[39];
  StringFromGUID2(id, text, 39);
  return text;
}

HRESULT ReadClassText(RegistryPath path, RegistryText& text) {
  RegistryKeyPointer root;
  if (TheOnly<RegistryStore>().Snapshot(root) != ERROR_SUCCESS) return REGDB_E_READREGDB;
  const RegistryKey* key = FindRegistryKey(*root, path);
  text = key != nullptr ? RegistryTextOf(*key, {}) : RegistryText();
  return text.empty() ? REGDB_E_CLASSNOTREG : S_OK;
}

HRESULT ReadClassText(REFCLSID classId, const OLECHAR* below, RegistryText& text) {
  const RegistryText path[] = {OLESTR("CLSID"), TextOf(classId), below};
  return ReadClassText(path, text);
}

}  // namespace host
