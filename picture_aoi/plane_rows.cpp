// SPDX-License-Identifier: MIT
#include "picture_aoi/plane_rows.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "picture_aoi/rgb_bytes.h"

namespace picture_aoi {
namespace {

// With the number of channels as a constant the loops become straight code.
template <class Sample, std::size_t kChannels, bool kIsPut>
void MoveRow(const std::vector<PlaneRows>& planes, int y, int width,
             std::conditional_t<kIsPut, const Sample, Sample>* pixels) {
  const auto move = [](Sample& sample, auto& pixel) {
    if constexpr (kIsPut) {
      sample = pixel;
    } else {
      pixel = sample;
    }
  };
  if constexpr (kChannels > 0) {
    std::array<Sample*, kChannels> rows;
    for (std::size_t c = 0; c < kChannels; ++c)
      rows[c] = reinterpret_cast<Sample*>(planes[c].Row(y));
    int x = 0;
    if constexpr (kChannels == 3 && sizeof(Sample) == 1) {
      if constexpr (kIsPut) {
        x = static_cast<int>(SplitRgb(pixels, rows.data(), static_cast<std::size_t>(width)));
      } else {
        x = static_cast<int>(JoinRgb(rows.data(), pixels, static_cast<std::size_t>(width)));
      }
      pixels += kChannels * static_cast<std::size_t>(x);
    }
    for (; x < width; ++x, pixels += kChannels) {
      for (std::size_t c = 0; c < kChannels; ++c) move(rows[c][x], pixels[c]);
    }
  } else {
    for (std::size_t c = 0; c < planes.size(); ++c) {
      auto* const samples = reinterpret_cast<Sample*>(planes[c].Row(y));
      auto* pixel = pixels + c;
      for (int x = 0; x < width; ++x, pixel += planes.size()) move(samples[x], *pixel);
    }
  }
}

template <class Sample, bool kIsPut>
void MoveRows(const std::vector<PlaneRows>& planes, int y, int count, int width, auto* bytes) {
  using Element = std::conditional_t<kIsPut, const Sample, Sample>;
  auto* pixels = reinterpret_cast<Element*>(bytes);
  const auto move = planes.size() == 2   ? &MoveRow<Sample, 2, kIsPut>
                    : planes.size() == 3 ? &MoveRow<Sample, 3, kIsPut>
                    : planes.size() == 4 ? &MoveRow<Sample, 4, kIsPut>
                                         : &MoveRow<Sample, 0, kIsPut>;
  for (const int end = y + count; y < end; ++y) {
    move(planes, y, width, pixels);
    pixels += planes.size() * static_cast<std::size_t>(width);
  }
}

template <bool kIsPut>
void Move(const std::vector<PlaneRows>& planes, int y, int count, int width,
          std::size_t sampleBytes, auto* bytes) {
  if (planes.size() == 1) {
    const std::size_t rowBytes = static_cast<std::size_t>(width) * sampleBytes;
    for (const int end = y + count; y < end; ++y, bytes += rowBytes) {
      if constexpr (kIsPut) {
        std::memcpy(planes[0].Row(y), bytes, rowBytes);
      } else {
        std::memcpy(bytes, planes[0].Row(y), rowBytes);
      }
    }
  } else if (sampleBytes == 1) {
    MoveRows<std::uint8_t, kIsPut>(planes, y, count, width, bytes);
  } else if (sampleBytes == 2) {
    MoveRows<std::uint16_t, kIsPut>(planes, y, count, width, bytes);
  } else if (sampleBytes == 4) {
    MoveRows<std::uint32_t, kIsPut>(planes, y, count, width, bytes);
  } else {
    MoveRows<std::uint64_t, kIsPut>(planes, y, count, width, bytes);
  }
}

}  // namespace

void PutRows(const std::vector<PlaneRows>& planes, int y, int count, int width,
             std::size_t sampleBytes, const std::byte* pixels) {
  Move<true>(planes, y, count, width, sampleBytes, pixels);
}
void TakeRows(const std::vector<PlaneRows>& planes, int y, int count, int width,
              std::size_t sampleBytes, std::byte* pixels) {
  Move<false>(planes, y, count, width, sampleBytes, pixels);
}

int RowsInBlock(std::size_t rowBytes) {
  constexpr std::size_t kBlockBytes = std::size_t{1} << 20;
  return static_cast<int>(
      std::max<std::size_t>(1, kBlockBytes / std::max<std::size_t>(1, rowBytes)));
}

}  // namespace picture_aoi
