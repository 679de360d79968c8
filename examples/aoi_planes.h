// SPDX-License-Identifier: MIT
// Pictures in and out of AOIs: colour channels are planes, samples are pixels of the same type.
#pragma once

#include <rastelklp/client.h>

#include <cstdint>
#include <string>

#include "pictures/picture_file.h"

namespace examples {

// The rectangle as a picture, with so many pixels more on each side as the buffer's margin has.
template <class Sample>
pictures::Picture<Sample> PictureOf(const rastelklp::Aoi<Sample>& aoi, int margin = 0) {
  const auto planes = aoi.planes(margin);
  pictures::Picture<Sample> picture{
      planes[0].width(), planes[0].height(), static_cast<int>(planes.size()), {}};
  picture.samples.resize(planes[0].size() * static_cast<std::size_t>(picture.width) *
                         planes.size());
  for (int channel = 0; channel < picture.channels; ++channel) {
    const auto& plane = planes[static_cast<std::size_t>(channel)];
    for (int y = 0; y < picture.height; ++y) {
      int x = 0;
      for (const Sample sample : plane[y]) picture.At(x++, y)[channel] = sample;
    }
  }
  return picture;
}

// Inverts the colours of the rectangle. Alpha, the last of an even number of planes, stays.
template <class Sample>
void Invert(const rastelklp::Aoi<Sample>& aoi) {
  const int planes = aoi.plane_count();
  for (int plane = 0; plane < planes - (planes % 2 == 0 ? 1 : 0); ++plane) {
    for (const auto row : aoi.plane(plane)) {
      for (Sample& sample : row) sample = static_cast<Sample>(~sample);
    }
  }
}

// A checksum (FNV-1a, 32 bit) of the rectangle's samples in all planes.
template <class Sample>
std::uint32_t Checksum(const rastelklp::Aoi<Sample>& aoi) {
  std::uint32_t sum = 2166136261u;
  for (const auto& plane : aoi.planes()) {
    for (const auto row : plane) {
      for (const Sample sample : row) {
        for (unsigned shift = 0; shift < 8 * sizeof(Sample); shift += 8) {
          sum = (sum ^ ((unsigned{sample} >> shift) & 0xFF)) * 16777619u;
        }
      }
    }
  }
  return sum;
}

// Name, tag, attributes and rectangle, as any client of the generic interface sees them.
void SayDescription(const rastelklp::AnyAoi& aoi);

}  // namespace examples
