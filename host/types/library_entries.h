// SPDX-License-Identifier: MIT
// What the registry says about type libraries; see host/types/loading.h for the entries.
#pragma once

#include "host/registry/tree.h"
#include "host/types/loading.h"

namespace host {

// The path of a registered library and the version that was found: the one asked for, or the same
// major and the greatest higher minor. TYPE_E_LIBNOTREGISTERED; TYPE_E_REGISTRYACCESS: the registry
// cannot be read. All throw std::bad_alloc.
HRESULT FindRegisteredLibrary(REFGUID libraryId, WORD major, WORD& minor, RegistryText& path);

// See RegisterTypeLib and UnRegisterTypeLib.
HRESULT EnterLibrary(ITypeLib& library, LPCOLESTR path, LPCOLESTR helpFolder);
HRESULT RemoveLibrary(REFGUID libraryId, WORD major, WORD minor);

}  // namespace host
