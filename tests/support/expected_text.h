// SPDX-License-Identifier: MIT
// What a test prints, compared with a file in tests/data.
#pragma once

#include <string>

namespace tests {

// Expects the file to hold the text, and tells the first line that differs. Where RASTEL_RECORD is
// set in the environment the file is written first, for a review of the difference.
void ExpectText(const std::string& file, const std::string& text);

}  // namespace tests
