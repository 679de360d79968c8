// What the module writes about its classes where the host looks for them.
#pragma once

#include "frame/catalogue.h"

namespace rastel {

// Enters a class under HKCR\CLSID with the module's file as in-process server of threading model
// "Both", or removes that entry with all below it; a class that is not there is removed already.
// A row without a class does nothing. Fails with the registry's error as a result code.
HRESULT UpdateRegistration(const CatalogueRow& row, bool enter) noexcept;

}  // namespace rastel
