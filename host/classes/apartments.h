// SPDX-License-Identifier: MIT
// Apartments: which threads a program says that it uses objects on. Every call of the host works in
// all of them and on threads that never entered one; they only decide when a module can be
// unloaded (CoFreeUnusedLibraries).
#pragma once

#include "host/base/interfaces.h"

namespace host {

// Something that only the calling thread has as long as it is in an apartment of its own; null in
// the one that threads share, which is also that of threads that entered none.
const void* OwnApartment() noexcept;

}  // namespace host

// Enters the calling thread into an apartment: S_OK the first time, S_FALSE afterwards,
// RPC_E_CHANGED_MODE when the thread is in one of the other kind, E_INVALIDARG for a reserved
// pointer or unknown flags. Each S_OK and S_FALSE is undone by one CoUninitialize. CoInitialize
// asks for COINIT_APARTMENTTHREADED.
RASTEL_HOST_API HRESULT CoInitialize(LPVOID reserved) noexcept;
RASTEL_HOST_API HRESULT CoInitializeEx(LPVOID reserved, DWORD flags) noexcept;
RASTEL_HOST_API void CoUninitialize() noexcept;
