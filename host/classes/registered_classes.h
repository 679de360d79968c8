// What the registry says about classes.
#pragma once

#include "host/base/interfaces.h"
#include "host/registry/tree.h"

namespace host {

// Reads the default value of HKEY_CLASSES_ROOT\<path> as text, without its terminator.
// REGDB_E_CLASSNOTREG: there is no such key or text. REGDB_E_READREGDB: the registry cannot be
// read. Throws std::bad_alloc.
HRESULT ReadClassText(const RegistryText& path, RegistryText& text);

// "CLSID\{...}\" and the name of a key below it.
RegistryText ClassKeyPath(REFCLSID classId, RegistryTextView below);

}  // namespace host
