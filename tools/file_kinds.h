// SPDX-License-Identifier: MIT
// Files of other programs, known by how they begin.
#pragma once

#include <string>

#include "tools/text_forms.h"

namespace tools {

// What a file is that holds no stream, and what to do with it: "a PNG picture: rastel import makes
// an AOI of it". Empty if it is nothing that is known.
std::string ForeignKind(Bytes file);

}  // namespace tools
