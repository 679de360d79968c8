// SPDX-License-Identifier: MIT
// Rows of planes and rows of pixels: from one to the other, for samples of any type.
#pragma once

#include <cstddef>
#include <vector>

namespace picture_aoi {

struct PlaneRows {
  std::byte* first;
  std::ptrdiff_t strideBytes;

  std::byte* Row(int y) const { return first + y * strideBytes; }
};

// Rows y .. y + count - 1 of all planes, out of or into `pixels`, where the channels of a pixel
// stand side by side. width in pixels.
void PutRows(const std::vector<PlaneRows>& planes, int y, int count, int width,
             std::size_t sampleBytes, const std::byte* pixels);
void TakeRows(const std::vector<PlaneRows>& planes, int y, int count, int width,
              std::size_t sampleBytes, std::byte* pixels);

// How many rows are moved at a time.
int RowsInBlock(std::size_t rowBytes);

}  // namespace picture_aoi
