// SPDX-License-Identifier: MIT
// The module's resources for a host that keeps no resource section with the module: string table,
// registration scripts and toolbox picture. On Windows module.rc puts the same into the DLL.
#pragma once

#include "platform/platform.h"

namespace rastel {

// Hands the resources over when the module comes, takes them back when it goes.
void OfferModuleResources(HINSTANCE module) noexcept;
void WithdrawModuleResources(HINSTANCE module) noexcept;

}  // namespace rastel
