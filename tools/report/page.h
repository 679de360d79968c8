// SPDX-License-Identifier: MIT
// A page about a file, which holds all that it shows: no script, nothing from elsewhere.
#pragma once

#include <string>

#include "tools/answers.h"
#include "tools/field_tree.h"
#include "tools/object_format.h"

namespace tools::report {

struct Subject {
  // As it is called.
  const std::string& name;
  Bytes file;
  const FileFindings& found;
  const FieldTree& tree;
  const Answers& answers;
  // Why there are not all answers; else empty.
  const std::string& failure;
};

// HTML, UTF-8.
std::string Page(const Subject& subject);

}  // namespace tools::report
