// SPDX-License-Identifier: MIT
// SHA-256, a checksum that tells any two files apart.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "tools/text_forms.h"

namespace tools {

class Sha256 {
 public:
  void Add(Bytes bytes);
  // Of all that was added, 64 lower-case hexadecimal digits. Nothing may be added after it.
  std::string Digits();

 private:
  void AddBlock(const std::uint8_t* block);

  std::array<std::uint32_t, 8> state_{0x6A09E667, 0xBB67AE85, 0x3C6EF372, 0xA54FF53A,
                                      0x510E527F, 0x9B05688C, 0x1F83D9AB, 0x5BE0CD19};
  std::array<std::uint8_t, 64> rest_{};
  std::uint64_t bytes_ = 0;
};

}  // namespace tools
