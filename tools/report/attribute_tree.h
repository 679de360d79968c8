// SPDX-License-Identifier: MIT
// Attributes, tags and elements as a tree that folds.
#pragma once

#include <string>

#include "tools/field_tree.h"
#include "tools/object_format.h"

namespace tools::report {

// What there is of them; empty where there is nothing.
std::string AttributeTree(Bytes file, const FileFindings& found, const FieldTree& tree);

}  // namespace tools::report
