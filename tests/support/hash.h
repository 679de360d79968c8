// SPDX-License-Identifier: MIT
// A hash that stands for what is too long to be shown.
#pragma once

#include <cstdint>
#include <string_view>

namespace tests {

// FNV-1a.
inline std::uint64_t HashOf(std::string_view bytes) {
  std::uint64_t hash = 14695981039346656037u;
  for (const char byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211u;
  return hash;
}

}  // namespace tests
