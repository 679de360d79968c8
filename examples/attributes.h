// SPDX-License-Identifier: MIT
// The metadata that the picture takes along: an attribute map with values that are objects.
#pragma once

#include <rastelklp/client.h>

#include <string>
#include <vector>

namespace examples {

// A text map with the file's name, the names of the planes in an integer map, a calibration in a
// float map, and a histogram in a vector whose elements are tagged with their ranges.
rastelklp::Map MakeAttributes(const std::string& fileName, int planes,
                              const std::vector<double>& histogram);

// One line per attribute, maps inside maps included.
void SayAttributes(const rastelklp::Map& map, const std::string& indent = "");

// A value in words: a number, a text, or what an object holds.
std::string InWords(const rastelklp::Value& value);

}  // namespace examples
