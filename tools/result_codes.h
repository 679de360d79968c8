// SPDX-License-Identifier: MIT
// What result codes mean.
#pragma once

#include <cstdint>
#include <string>

namespace tools {

// Empty for a code that says nothing.
std::string ResultWords(std::uint32_t code);

// "0x80070005, access denied".
std::string ResultText(std::uint32_t code);

}  // namespace tools
