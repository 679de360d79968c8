#include "tests/support/expected_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace tests {

void ExpectText(const std::string& file, const std::string& text) {
  const std::string path = std::string(RASTEL_TEST_DATA "/") + file;
  if (std::getenv("RASTEL_RECORD")) std::ofstream(path, std::ios::binary) << text;
  std::ifstream expected(path, std::ios::binary);
  EXPECT_EQ(text, std::string(std::istreambuf_iterator<char>(expected), {})) << path;
}

}  // namespace tests
