// SPDX-License-Identifier: MIT
// The types that the module's clients see, as tables: 5 enumerations, 26 interfaces and 21 classes.
// On the embedded host they are the registered type library; on Windows that is made from the
// interface definition file, and compared with these tables.
#pragma once

#include "platform/platform.h"
// Behind the platform's headers.
#include "host/types/tables.h"

namespace rastel::types {

const HostTypeLibrary& TypeLibrary() noexcept;

}  // namespace rastel::types
