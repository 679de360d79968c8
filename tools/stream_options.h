// SPDX-License-Identifier: MIT
// What a command line says of the stream that a command reads.
#pragma once

#include <string>

#include "tools/class_names.h"

namespace tools {

struct StreamOptions {
  std::string file;
  // Empty: the class identifier stands in the file.
  std::string className;

  const KnownClass* BareClass() const { return className.empty() ? nullptr : FindClass(className); }
};

}  // namespace tools
