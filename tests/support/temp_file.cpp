// SPDX-License-Identifier: MIT
#include "tests/support/temp_file.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace tests {

namespace fs = std::filesystem;

TempFile::TempFile(std::string_view name) {
  std::random_device random;
  const fs::path folder = fs::temp_directory_path() / ("rastel-test-" + std::to_string(random()) +
                                                       "-" + std::to_string(random()));
  if (!fs::create_directory(folder)) throw std::runtime_error("no temporary folder");
  folder_ = folder.string();
  path_ = (folder / name).string();
}

TempFile::~TempFile() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

std::string TempFile::Content() const {
  std::ifstream file(path_, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void TempFile::Write(std::string_view content) const {
  std::ofstream file(path_, std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
}

}  // namespace tests
