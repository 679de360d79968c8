// SPDX-License-Identifier: MIT
// Files as wholes, by names in UTF-8; "-" is standard input or output. Failures raise
// std::runtime_error with a text that begins with the name.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "tools/text_forms.h"

namespace tools {

// Gives the file this content, or leaves it as it was: the bytes go to a new file beside it, which
// then takes its place. Only a regular file is replaced; a pipe or a device takes the bytes.
void WriteWholeFile(const std::string& name, Bytes content);

// Where to say what was written: not among the bytes themselves.
std::FILE* NotesBeside(const std::string& name);

}  // namespace tools
