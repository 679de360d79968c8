// SPDX-License-Identifier: MIT
// A binomial filter of 5 x 5 pixels, the same for every way to get at the pixels.
#pragma once

#include <cstddef>
#include <cstdint>

// One row of width pixels out of five rows that begin two pixels further left.
inline void FilterRow(const std::uint8_t* const (&rows)[5], std::uint8_t* out, std::size_t width) {
  static constexpr int kWeights[5] = {1, 4, 6, 4, 1};
  for (std::size_t x = 0; x < width; ++x) {
    int sum = 128;
    for (int y = 0; y < 5; ++y) {
      const std::uint8_t* const p = rows[y] + x;
      sum += kWeights[y] * (p[0] + 4 * p[1] + 6 * p[2] + 4 * p[3] + p[4]);
    }
    out[x] = static_cast<std::uint8_t>(sum >> 8);
  }
}
