// SPDX-License-Identifier: MIT
// The type library of the embedded host: the tables and nothing else. It is registered by
// RegisterTypeLib and loaded by LoadRegTypeLib.
#include "types/type_library.h"

extern "C" __attribute__((visibility("default"))) const HostTypeLibrary* DllGetTypeLibrary() {
  return &rastel::types::TypeLibrary();
}
