// SPDX-License-Identifier: MIT
// Pieces of a page.
#pragma once

#include <string>
#include <string_view>

#include "tools/text_forms.h"

namespace tools::report {

// Text as it may stand between tags and in quoted attributes.
std::string Escaped(std::string_view text);

// "<tag class="...">text</tag>"; the text is not escaped.
std::string Element(const char* tag, const char* styleClass, const std::string& inside);

std::string Base64(std::string_view bytes);

// In as many digits as a coordinate needs.
std::string Coordinate(double value);

// As many digits as there are to tell.
std::string ShortText(double number);

// "0000002A", as listings have it.
std::string OffsetText(std::uint64_t offset);

}  // namespace tools::report
