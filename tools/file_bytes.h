// Files as wholes. Failures raise std::runtime_error with a text that names the file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/text_forms.h"

namespace tools {

// Everything in a file of at most 2 GiB.
std::vector<std::uint8_t> ReadWholeFile(const std::string& path);

// Gives the file this content, or leaves it as it was: the bytes go to a new file beside it, which
// then takes its place. Only a regular file is replaced.
void WriteWholeFile(const std::string& path, Bytes content);

}  // namespace tools
