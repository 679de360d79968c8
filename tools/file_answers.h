// SPDX-License-Identifier: MIT
// What there is to say of a file with a stream.
#pragma once

#include "tools/answers.h"
#include "tools/field_tree.h"
#include "tools/object_format.h"

namespace tools {

// What the walk found, and what the object says that it makes. Adds what is known where the rest
// raises std::runtime_error. With statistics every plane, and every block of numbers, is read.
void AddFileAnswers(Bytes file, const FileFindings& found, const FieldTree& tree,
                    bool hasStatistics, Answers& answers);

}  // namespace tools
