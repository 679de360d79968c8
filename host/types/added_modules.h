// SPDX-License-Identifier: MIT
// Modules that a program brings along itself.
#pragma once

#include "host/base/results.h"

// Makes the classes and ProgIDs of a module, and the type library beside it (NAMETypes.so beside
// NAME.so), known to this process alone, in front of what the registry says, and writes nothing.
// The path may be relative to the current folder. CO_E_DLLNOTFOUND: it cannot be loaded.
// CO_E_ERRORINDLL: it has no DllRegisterServer. Else the first failure of registering, and nothing
// may then be relied on. E_INVALIDARG for a null or empty path, E_OUTOFMEMORY. Taking another
// registry file (HostUseRegistryFile) forgets all modules that were added.
RASTEL_HOST_API HRESULT HostAddModule(const char* path) noexcept;
