// SPDX-License-Identifier: MIT
// The words for sample types on a command line.
#pragma once

#include <map>
#include <string>

#include "pictures/pixel_type.h"

namespace tools {

const std::map<std::string, pictures::PixelType>& SampleTypes();

}  // namespace tools
