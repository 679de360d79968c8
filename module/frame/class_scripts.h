// SPDX-License-Identifier: MIT
// What the module writes about its classes where the host looks for them: the registration scripts
// among its resources (registration/), run by the platform's registrar.
#pragma once

#include "module/frame/catalogue.h"

namespace rastel {

// Runs the script of a row, which enters the class or removes it. Gives the registrar's result:
// 0x80070716 when the module has no such script, DISP_E_EXCEPTION for one that is not whole, or the
// registry's error.
HRESULT UpdateRegistration(const CatalogueRow& row, bool enter) noexcept;

}  // namespace rastel
