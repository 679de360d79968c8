// SPDX-License-Identifier: MIT
// The module that belongs to this package: it lies beside the host, or beside the extension, and
// needs no registry.
#pragma once

namespace rastel_python {

// Makes the module's classes known to this process, and nothing to others. Raises rastelklp::Error.
void AddModule();

// Whether the module has no object and no lock left, so that it could be unloaded.
bool IsModuleIdle();

}  // namespace rastel_python
