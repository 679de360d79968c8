// SPDX-License-Identifier: MIT
// Classes that this host knows without registration.
#pragma once

#include "host/base/interfaces.h"

namespace host {

// Makes an object: E_OUTOFMEMORY, E_NOINTERFACE.
using CreateObject = HRESULT(REFIID iid, void** out);

// How objects of a class of the host are made; null when it is none of them.
CreateObject* FindHostClass(REFCLSID classId) noexcept;

}  // namespace host
