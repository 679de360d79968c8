// The module's string table for a host that keeps no resource section with the module.
#pragma once

#include "platform/platform.h"

namespace rastel {

// Hands the table over when the module comes, takes it back when it goes.
void OfferStringTable(HINSTANCE module) noexcept;
void WithdrawStringTable(HINSTANCE module) noexcept;

}  // namespace rastel
