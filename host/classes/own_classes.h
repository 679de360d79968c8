// Classes that this host knows without registration.
#pragma once

#include "host/base/interfaces.h"

namespace host {

// Makes an object of a class of the host. REGDB_E_CLASSNOTREG when it is none of them,
// CLASS_E_NOAGGREGATION for an outer object.
HRESULT CreateHostClass(REFCLSID classId, IUnknown* outer, REFIID iid, void** out) noexcept;

// Whether a class is one of the host's.
bool IsHostClass(REFCLSID classId) noexcept;

}  // namespace host
