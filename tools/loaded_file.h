// SPDX-License-Identifier: MIT
// A file that was walked over, and the object that its stream makes.
#pragma once

#include <string>

#include "tools/loaded_object.h"
#include "tools/object_format.h"

namespace tools {

// "whole", or where and how it is broken.
std::string StateText(const FileFindings& found);

// Makes the object of a file. Without its blocks the pixels and numbers in it are zeros, and those
// of a mapped file are not looked at. Raises why the file cannot be given to an object.
LoadedObject Load(Bytes file, const FileFindings& found, bool isWithBlocks,
                  BytesTaken taken = nullptr);

// The version in the stream, and the newest of its format, which must be known.
std::string VersionText(const Findings& found);
std::string NewestVersionText(const Findings& found);

// Whether tags are there that Load keeps out of sight.
bool HasHiddenTags(const Findings& found);

}  // namespace tools
