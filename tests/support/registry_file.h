// Which registry a test program and its children use.
#pragma once

#include <string>

#include "platform/platform.h"

#ifndef _WIN32
#include <cstdlib>
#endif

namespace tests {

// From now on this program, and those it starts, find classes in this file; empty: in memory only.
// Only the embedded host can tell registries apart: elsewhere there is one, and nothing changes.
inline void UseRegistryFile([[maybe_unused]] const std::string& path) {
#ifndef _WIN32
  setenv("RASTEL_HOST_REGISTRY", path.c_str(), 1);
  HostUseRegistryFile(path.c_str());
#endif
}

}  // namespace tests
