// SPDX-License-Identifier: MIT
// Hashes and equality of keys as bytes. Hashes are keyed with random numbers of this process: maps
// are loaded from streams of anybody, who must not be able to choose keys that all meet in one
// place.
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

// The last 16 bytes or fewer, an even number, as two words, which share bytes where there are few.
struct LastWords {
  LastWords(const unsigned char* bytes, std::size_t count) noexcept {
    if (count >= 8) {
      first = LoadWord<std::uint64_t>(bytes);
      second = LoadWord<std::uint64_t>(bytes + count - 8);
    } else if (count >= 4) {
      first = LoadWord<std::uint32_t>(bytes);
      second = LoadWord<std::uint32_t>(bytes + count - 4);
    } else if (count != 0) {
      first = LoadWord<std::uint16_t>(bytes);
    }
  }
  std::uint64_t first = 0, second = 0;
};

// Whether as many bytes, an even number, are the same.
inline bool AreEqual(const void* a, const void* b, std::size_t bytes) noexcept {
  const auto* left = static_cast<const unsigned char*>(a);
  const auto* right = static_cast<const unsigned char*>(b);
  for (; bytes > 16; left += 8, right += 8, bytes -= 8) {
    if (LoadWord<std::uint64_t>(left) != LoadWord<std::uint64_t>(right)) return false;
  }
  const LastWords lastLeft(left, bytes), lastRight(right, bytes);
  return lastLeft.first == lastRight.first && lastLeft.second == lastRight.second;
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
  const LastWords last(next, bytes);
  return static_cast<std::uint32_t>(Fold(last.first ^ secret.second, last.second ^ hash));
}

}  // namespace rastel
