// SPDX-License-Identifier: MIT
#include "tools/checksum.h"

#include <algorithm>
#include <bit>

namespace tools {
namespace {

constexpr std::size_t kBlockBytes = 64;

constexpr std::uint32_t kRounds[] = {
    0x428A2F98, 0x71374491, 0xB5C0FBCF, 0xE9B5DBA5, 0x3956C25B, 0x59F111F1, 0x923F82A4, 0xAB1C5ED5,
    0xD807AA98, 0x12835B01, 0x243185BE, 0x550C7DC3, 0x72BE5D74, 0x80DEB1FE, 0x9BDC06A7, 0xC19BF174,
    0xE49B69C1, 0xEFBE4786, 0x0FC19DC6, 0x240CA1CC, 0x2DE92C6F, 0x4A7484AA, 0x5CB0A9DC, 0x76F988DA,
    0x983E5152, 0xA831C66D, 0xB00327C8, 0xBF597FC7, 0xC6E00BF3, 0xD5A79147, 0x06CA6351, 0x14292967,
    0x27B70A85, 0x2E1B2138, 0x4D2C6DFC, 0x53380D13, 0x650A7354, 0x766A0ABB, 0x81C2C92E, 0x92722C85,
    0xA2BFE8A1, 0xA81A664B, 0xC24B8B70, 0xC76C51A3, 0xD192E819, 0xD6990624, 0xF40E3585, 0x106AA070,
    0x19A4C116, 0x1E376C08, 0x2748774C, 0x34B0BCB5, 0x391C0CB3, 0x4ED8AA4A, 0x5B9CCA4F, 0x682E6FF3,
    0x748F82EE, 0x78A5636F, 0x84C87814, 0x8CC70208, 0x90BEFFFA, 0xA4506CEB, 0xBEF9A3F7, 0xC67178F2};

std::uint32_t BigEndianAt(const std::uint8_t* at) {
  return std::uint32_t{at[0]} << 24 | std::uint32_t{at[1]} << 16 | std::uint32_t{at[2]} << 8 |
         at[3];
}

}  // namespace

void Sha256::AddBlock(const std::uint8_t* block) {
  std::uint32_t w[64];
  for (int i = 0; i < 16; ++i) w[i] = BigEndianAt(block + 4 * i);
  for (int i = 16; i < 64; ++i) {
    const std::uint32_t early = w[i - 15], late = w[i - 2];
    w[i] = w[i - 16] + (std::rotr(early, 7) ^ std::rotr(early, 18) ^ early >> 3) + w[i - 7] +
           (std::rotr(late, 17) ^ std::rotr(late, 19) ^ late >> 10);
  }
  auto [a, b, c, d, e, f, g, h] = state_;
  for (int i = 0; i < 64; ++i) {
    const std::uint32_t one = h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) +
                              ((e & f) ^ (~e & g)) + kRounds[i] + w[i];
    const std::uint32_t two =
        (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
    h = g, g = f, f = e, e = d + one, d = c, c = b, b = a, a = one + two;
  }
  const std::uint32_t added[] = {a, b, c, d, e, f, g, h};
  for (std::size_t i = 0; i < state_.size(); ++i) state_[i] += added[i];
}

void Sha256::Add(Bytes bytes) {
  while (!bytes.empty()) {
    const std::size_t there = bytes_ % kBlockBytes;
    if (there == 0 && bytes.size() >= kBlockBytes) {
      AddBlock(bytes.data());
      bytes_ += kBlockBytes;
      bytes = bytes.subspan(kBlockBytes);
      continue;
    }
    const std::size_t count = std::min(kBlockBytes - there, bytes.size());
    std::copy_n(bytes.begin(), count, rest_.begin() + static_cast<std::ptrdiff_t>(there));
    bytes_ += count;
    bytes = bytes.subspan(count);
    if (there + count == kBlockBytes) AddBlock(rest_.data());
  }
}

std::string Sha256::Digits() {
  std::uint64_t bits = 8 * bytes_;
  std::array<std::uint8_t, 2 * kBlockBytes> end{0x80};
  // One 1, zeros up to the last 8 bytes of a block, and the count.
  const std::size_t zeros = (2 * kBlockBytes - 9 - bytes_ % kBlockBytes) % kBlockBytes;
  for (std::size_t i = 0; i < 8; ++i, bits >>= 8) {
    end[1 + zeros + 7 - i] = static_cast<std::uint8_t>(bits);
  }
  Add(Bytes(end).first(1 + zeros + 8));
  std::string digits;
  for (const std::uint32_t word : state_) {
    for (int shift = 28; shift >= 0; shift -= 4) digits += "0123456789abcdef"[word >> shift & 0xF];
  }
  return digits;
}

}  // namespace tools
