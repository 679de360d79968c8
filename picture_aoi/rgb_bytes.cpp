// SPDX-License-Identifier: MIT
#include "picture_aoi/rgb_bytes.h"

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#include <tmmintrin.h>
#define WIDE __attribute__((target("ssse3")))

namespace picture_aoi {
namespace {

constexpr std::size_t kPixels = 16;

struct Masks {
  alignas(16) std::uint8_t bytes[3][3][16];
};

// For each of three registers of pixels and each channel, which byte of the one goes where in the
// other; 0x80 leaves a zero.
constexpr Masks MakeMasks(bool isSplit) {
  Masks masks{};
  for (auto& part : masks.bytes) {
    for (auto& mask : part) {
      for (auto& byte : mask) byte = 0x80;
    }
  }
  for (unsigned at = 0; at < 3 * kPixels; ++at) {
    const unsigned part = at / 16, channel = at % 3, pixel = at / 3;
    if (isSplit) {
      masks.bytes[part][channel][pixel] = static_cast<std::uint8_t>(at % 16);
    } else {
      masks.bytes[part][channel][at % 16] = static_cast<std::uint8_t>(pixel);
    }
  }
  return masks;
}
constexpr Masks kSplit = MakeMasks(true);
constexpr Masks kJoin = MakeMasks(false);

WIDE inline __m128i Load(const std::uint8_t* bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}
WIDE inline void Store(std::uint8_t* bytes, __m128i value) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), value);
}
WIDE inline __m128i Gather(const __m128i from[3], const std::uint8_t* first,
                           const std::uint8_t* second, const std::uint8_t* third) {
  return _mm_or_si128(
      _mm_or_si128(_mm_shuffle_epi8(from[0], Load(first)), _mm_shuffle_epi8(from[1], Load(second))),
      _mm_shuffle_epi8(from[2], Load(third)));
}

WIDE std::size_t SplitWide(const std::uint8_t* pixels, std::uint8_t* const rows[3],
                           std::size_t count) {
  const auto& masks = kSplit.bytes;
  std::size_t done = 0;
  for (; done + kPixels <= count; done += kPixels, pixels += 3 * kPixels) {
    const __m128i from[] = {Load(pixels), Load(pixels + 16), Load(pixels + 32)};
    for (std::size_t c = 0; c < 3; ++c) {
      Store(rows[c] + done, Gather(from, masks[0][c], masks[1][c], masks[2][c]));
    }
  }
  return done;
}

WIDE std::size_t JoinWide(const std::uint8_t* const rows[3], std::uint8_t* pixels,
                          std::size_t count) {
  const auto& masks = kJoin.bytes;
  std::size_t done = 0;
  for (; done + kPixels <= count; done += kPixels, pixels += 3 * kPixels) {
    const __m128i from[] = {Load(rows[0] + done), Load(rows[1] + done), Load(rows[2] + done)};
    for (std::size_t part = 0; part < 3; ++part) {
      Store(pixels + 16 * part, Gather(from, masks[part][0], masks[part][1], masks[part][2]));
    }
  }
  return done;
}

}  // namespace

std::size_t SplitRgb(const std::uint8_t* pixels, std::uint8_t* const rows[3], std::size_t count) {
  return __builtin_cpu_supports("ssse3") ? SplitWide(pixels, rows, count) : 0;
}

std::size_t JoinRgb(const std::uint8_t* const rows[3], std::uint8_t* pixels, std::size_t count) {
  return __builtin_cpu_supports("ssse3") ? JoinWide(rows, pixels, count) : 0;
}

}  // namespace picture_aoi

#else

namespace picture_aoi {

std::size_t SplitRgb(const std::uint8_t*, std::uint8_t* const[3], std::size_t) { return 0; }
std::size_t JoinRgb(const std::uint8_t* const[3], std::uint8_t*, std::size_t) { return 0; }

}  // namespace picture_aoi

#endif
