// SPDX-License-Identifier: MIT
// What a command line says of the streams that a command reads.
#pragma once

#include <string>
#include <vector>

#include "tools/class_names.h"

namespace tools {

struct StreamClass {
  // Empty: the class identifier stands in the file.
  std::string className;

  const KnownClass* BareClass() const { return className.empty() ? nullptr : FindClass(className); }
};

struct StreamOptions : StreamClass {
  std::string file;
};

struct StreamsOptions : StreamClass {
  std::vector<std::string> files;
};

}  // namespace tools
