// SPDX-License-Identifier: MIT
// Objects by the classes that streams name, and the program's say on which those may be: see
// interfaces/stream_classes.h. Nothing else of the module makes an object that a stream names.
#pragma once

#include "platform/class_factory.h"

namespace rastel {

// CoCreateInstance, but REGDB_E_CLASSNOTREG for a class that is not allowed.
HRESULT CreateFromStream(REFCLSID classId, DWORD context, REFIID iid, void** out) noexcept;

// OleLoadFromStream by the same rule.
HRESULT LoadFromStream(IStream* stream, REFIID iid, void** out);

// The class-object creator of all classes of the module.
HRESULT CreateClassObject(platform::InstanceCreator creator, REFIID iid, void** out) noexcept;

}  // namespace rastel
