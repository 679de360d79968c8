// The metadata that the picture takes along: an attribute map with values that are objects.
#pragma once

#include <string>
#include <vector>

#include "interfaces/attribute.h"
#include "platform/com_ptr.h"

namespace examples {

// A text map with the file's name, the names of the planes in an integer map, a calibration in a
// float map, and a histogram in a vector whose elements are tagged with their ranges.
platform::ComPtr<IAttributeMapKLP> MakeAttributes(const std::string& fileName, int planes,
                                                  const std::vector<double>& histogram);

// One line per attribute, maps inside maps included.
void SayAttributes(IAttributeMapKLP& map, const std::string& indent = "");

// A value in words: a number, a text, or what an object holds.
std::string InWords(const VARIANT& value);

}  // namespace examples
