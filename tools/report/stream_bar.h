// SPDX-License-Identifier: MIT
// A stream as a bar of its parts.
#pragma once

#include <string>

#include "tools/field_tree.h"
#include "tools/object_format.h"

namespace tools::report {

// The bar, each part as wide as it has bytes, and under it the parts with their offsets. Of a
// broken stream where it breaks, the bytes around, and what is behind.
std::string StreamBar(Bytes file, const FileFindings& found, const FieldTree& tree);

}  // namespace tools::report
