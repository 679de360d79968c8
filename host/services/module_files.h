// SPDX-License-Identifier: MIT
// The modules (shared libraries) of this process. A module's handle is the address it is loaded at.
#pragma once

#include "host/base/scalars.h"

// The module that contains an address, its own or any other's; null when there is none. A module
// asks with the address of one of its functions or variables.
RASTEL_HOST_API HINSTANCE HostModuleOf(const void* address) noexcept;

// The full path of a module, or of the program when module is null. The result is the length in
// units without the terminator. With too little room the path is cut and terminated, the result is
// the room, and the last error ERROR_INSUFFICIENT_BUFFER. 0 and a last error: not a module.
RASTEL_HOST_API DWORD GetModuleFileNameW(HMODULE module, LPWSTR path, DWORD roomUnits) noexcept;
