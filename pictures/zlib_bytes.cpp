// SPDX-License-Identifier: MIT
#include "pictures/zlib_bytes.h"

#include <stb_image.h>

#include <cstdlib>
#include <memory>
#include <new>

// Not in the header that it is part of.
extern "C" unsigned char* stbi_zlib_compress(unsigned char* data, int bytes, int* made,
                                             int quality);

namespace pictures {

std::optional<std::vector<std::uint8_t>> Inflate(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kFirst = std::size_t{1} << 16, kMost = std::size_t{1} << 26;
  if (bytes.size() > kMost) return std::nullopt;
  // The reader does not tell a short buffer from broken bytes.
  for (std::size_t room = kFirst; room <= kMost; room *= 8) {
    std::vector<std::uint8_t> all(room);
    const int made = stbi_zlib_decode_buffer(
        reinterpret_cast<char*>(all.data()), static_cast<int>(room),
        reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()));
    if (made < 0) continue;
    all.resize(static_cast<std::size_t>(made));
    return all;
  }
  return std::nullopt;
}

std::vector<std::uint8_t> Deflate(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kMost = std::size_t{1} << 30;
  constexpr int kQuality = 8;
  if (bytes.size() > kMost) throw std::bad_alloc();
  int made = 0;
  const std::unique_ptr<unsigned char, void (*)(void*)> all(
      stbi_zlib_compress(const_cast<unsigned char*>(bytes.data()), static_cast<int>(bytes.size()),
                         &made, kQuality),
      &std::free);
  if (!all) throw std::bad_alloc();
  return {all.get(), all.get() + made};
}

}  // namespace pictures
