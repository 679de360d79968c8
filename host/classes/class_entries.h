// SPDX-License-Identifier: MIT
// What the registry says about classes.
#pragma once

#include "host/registry/tree.h"

namespace host {

// "{1F0A7C51-3C11-4B1E-9A01-527D10446E01}"
RegistryText TextOf(REFGUID id);

// The default value of the key at a path below HKEY_CLASSES_ROOT. REGDB_E_CLASSNOTREG: there is no
// such key or text. REGDB_E_READREGDB: the registry cannot be read. Throws std::bad_alloc.
HRESULT ReadClassText(RegistryPath path, RegistryText& text);

// The same for the key with a name below that of a class.
HRESULT ReadClassText(REFCLSID classId, const OLECHAR* below, RegistryText& text);

}  // namespace host
