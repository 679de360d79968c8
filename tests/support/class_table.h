// SPDX-License-Identifier: MIT
// The 21 classes in the order of registration, for tests that loop over them.
#pragma once

#include "interfaces/identifiers.h"

namespace tests {

struct ClassRow {
  const char* name;
  const CLSID& classId;
  const IID& typed;  // the interface that this class alone has
  UINT script;       // number of the registration script
  const char *progId, *version;
};

inline constexpr ClassRow kClasses[] = {
#define CLASS_ROW(script, name, creator, progId, version, description) \
  {#name, CLSID_##name, IID_I##name, script, progId, #version},
#include "module/class_rows.inc"
#undef CLASS_ROW
};

}  // namespace tests
