// SPDX-License-Identifier: MIT
// Hashes of keys. They are keyed with random numbers of this process: maps are loaded from streams
// of anybody, who must not be able to choose keys that all meet in one place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace rastel {

struct HashSecret {
  std::uint64_t first, second;
};

// Random numbers from the system.
HashSecret NewHashSecret() noexcept;

// The same for the life of the process.
inline const HashSecret& ProcessHashSecret() noexcept {
  static const HashSecret secret = NewHashSecret();
  return secret;
}

// All bits of both numbers in one: the halves of their product.
inline std::uint64_t Fold(std::uint64_t a, std::uint64_t b) noexcept {
  __extension__ using Product = unsigned __int128;
  const Product product = Product{a} * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

template <class Word>
std::uint64_t LoadWord(const unsigned char* bytes) noexcept {
  Word word;
  std::memcpy(&word, bytes, sizeof(word));
  return word;
}

inline std::uint32_t HashOfNumber(std::uint64_t bits) noexcept {
  const HashSecret& secret = ProcessHashSecret();
  return static_cast<std::uint32_t>(Fold(bits ^ secret.first, secret.second));
}

// Of an even number of bytes.
inline std::uint32_t HashOfUnits(const void* units, std::size_t bytes) noexcept {
  const HashSecret& secret = ProcessHashSecret();
  const auto* next = static_cast<const unsigned char*>(units);
  std::uint64_t hash = secret.first ^ bytes;
  for (; bytes > 16; next += 16, bytes -= 16) {
    hash = Fold(LoadWord<std::uint64_t>(next) ^ secret.second,
                LoadWord<std::uint64_t>(next + 8) ^ hash);
  }
  // The rest as two words, which share bytes where it is short.
  std::uint64_t a = 0, b = 0;
  if (bytes >= 8) {
    a = LoadWord<std::uint64_t>(next);
    b = LoadWord<std::uint64_t>(next + bytes - 8);
  } else if (bytes >= 4) {
    a = LoadWord<std::uint32_t>(next);
    b = LoadWord<std::uint32_t>(next + bytes - 4);
  } else if (bytes != 0) {
    a = LoadWord<std::uint16_t>(next);
  }
  return static_cast<std::uint32_t>(Fold(a ^ secret.second, b ^ hash));
}

}  // namespace rastel
