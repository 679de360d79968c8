// SPDX-License-Identifier: MIT
// The eight AOI classes, as the catalogue sees them.
#pragma once

#include "interfaces/enums.h"
#include "platform/class_factory.h"

namespace rastel {

// The instance creator of the AOI class with an element type code; see platform::InstanceCreator.
template <ElementTypeKLP Code>
HRESULT CreateAoi(IUnknown* outer, REFIID iid, void** out) noexcept;

}  // namespace rastel
