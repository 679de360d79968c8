// SPDX-License-Identifier: MIT
// The class CLSID_Registrar of this host.
#pragma once

#include "host/registry/script_interface.h"

namespace host {

// E_OUTOFMEMORY, E_NOINTERFACE.
HRESULT CreateRegistrar(REFIID iid, void** out);

}  // namespace host
