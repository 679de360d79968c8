// SPDX-License-Identifier: MIT
// A file that was walked over, and the object that its stream makes.
#pragma once

#include <string>

#include "tools/loaded_object.h"
#include "tools/object_format.h"

namespace tools {

// "whole", or where and how it is broken.
std::string StateText(const FileFindings& found);

// Makes the object of a file. Raises why it cannot be given to one.
LoadedObject Load(Bytes file, const FileFindings& found);

// The version in the stream, and the newest of its format, which must be known.
std::string VersionText(const Findings& found);
std::string NewestVersionText(const Findings& found);

// Whether tags are there that Load keeps out of sight.
bool HasHiddenTags(const Findings& found);

}  // namespace tools
