// SPDX-License-Identifier: MIT
#include "tests/support/expected_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace tests {

void ExpectText(const std::string& file, const std::string& text) {
  const std::string path = std::string(RASTEL_TEST_DATA "/") + file;
  if (std::getenv("RASTEL_RECORD")) std::ofstream(path, std::ios::binary) << text;
  std::ifstream expected(path, std::ios::binary);
  std::istringstream actual(text);
  for (int number = 1; expected || actual; ++number) {
    std::string known = "the end", line = known;
    std::getline(expected, known);
    std::getline(actual, line);
    ASSERT_EQ(line, known) << path << ':' << number;
  }
}

}  // namespace tests
