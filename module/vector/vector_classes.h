// SPDX-License-Identifier: MIT
// The nine vector classes, as the catalogue sees them.
#pragma once

#include "interfaces/enums.h"
#include "platform/class_factory.h"

namespace rastel {

// The instance creator of the vector class with an element type code; see
// platform::InstanceCreator.
template <ElementTypeKLP Code>
HRESULT CreateVector(IUnknown* outer, REFIID iid, void** out) noexcept;

}  // namespace rastel
