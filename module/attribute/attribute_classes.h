// SPDX-License-Identifier: MIT
// The attribute map classes, as the catalogue sees them. The class of their entries: entry.h.
#pragma once

#include "interfaces/enums.h"
#include "platform/class_factory.h"

namespace rastel {

// The instance creator of the map class with a kind of keys; see platform::InstanceCreator.
template <KeyKindKLP Kind>
HRESULT CreateAttributeMap(IUnknown* outer, REFIID iid, void** out) noexcept;

// The instance creator of the entry class.
HRESULT CreateAttributeEntry(IUnknown* outer, REFIID iid, void** out) noexcept;

}  // namespace rastel
