// SPDX-License-Identifier: MIT
// Registry files as text.
#pragma once

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/hash.h"

namespace tests {

inline const std::string kFirstLine = "rastelhost registry 1\n";

// The lines of a file with a last line that fits them.
inline std::string Ended(const std::string& lines) {
  char end[64];
  std::snprintf(end, sizeof(end), "end %d %016llx\n",
                static_cast<int>(std::count(lines.begin(), lines.end(), '\n')) - 1,
                static_cast<unsigned long long>(HashOf(lines)));
  return lines + end;
}

// Everything in a file; empty when it is missing.
inline std::string ContentOfFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Puts a file in the place of another one, as other processes do.
inline void PutFile(const std::string& path, const std::string& content) {
  std::ofstream(path + ".other", std::ios::binary) << content;
  std::filesystem::rename(path + ".other", path);
}

}  // namespace tests
