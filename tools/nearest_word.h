// SPDX-License-Identifier: MIT
// What somebody may have meant who typed something else.
#pragma once

#include <string>
#include <vector>

namespace tools {

// The word from which the typed one is the fewest letters away; empty where none is near.
std::string NearestWord(const std::string& typed, const std::vector<std::string>& words);

}  // namespace tools
