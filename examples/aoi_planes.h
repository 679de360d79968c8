// Pictures in and out of AOIs: colour channels are planes, samples are pixels of the same type.
#pragma once

#include <cstdint>
#include <string>

#include "examples/client.h"
#include "interfaces/aoi.h"
#include "pictures/picture_file.h"

namespace examples {

// The typed side of a sample type.
template <class Sample>
struct AoiOf;
template <>
struct AoiOf<std::uint8_t> {
  using Interface = IByteAOIKLP;
  static constexpr const CLSID& kClass = CLSID_ByteAOIKLP;
  static constexpr const char* kName = "ByteAOIKLP";
};
template <>
struct AoiOf<std::uint16_t> {
  using Interface = IWordAOIKLP;
  static constexpr const CLSID& kClass = CLSID_WordAOIKLP;
  static constexpr const char* kName = "WordAOIKLP";
};
template <class Sample>
using TypedAoi = typename AoiOf<Sample>::Interface;

// The rectangle of one plane as the pointer interface tells it.
template <class Sample>
struct Rows {
  LONG width = 0;
  LONG height = 0;
  LONG lineSkip = 0;
  Sample* first = nullptr;

  Rows(TypedAoi<Sample>& aoi, LONG plane) {
    Check(aoi.put_ActivePlane(plane), "put_ActivePlane");
    Check(aoi.GetAccess(&width, &height, &lineSkip, &first), "GetAccess");
  }
  Sample* Row(LONG y) const { return first + std::int64_t{y} * (width + lineSkip); }
};

template <class Aoi>
LONG PlaneCount(Aoi& aoi) {
  LONG planes = 0;
  Check(aoi.get_PlaneCount(&planes), "get_PlaneCount");
  return planes;
}

// The rectangle as a picture, with so many pixels more on each side as the buffer's margin has.
template <class Sample>
pictures::Picture<Sample> PictureOf(TypedAoi<Sample>& aoi, LONG margin = 0) {
  const Rows<Sample> size(aoi, 0);
  pictures::Picture<Sample> picture{
      int{size.width + 2 * margin}, int{size.height + 2 * margin}, int{PlaneCount(aoi)}, {}};
  picture.samples.resize(static_cast<std::size_t>(picture.width) *
                         static_cast<std::size_t>(picture.height) *
                         static_cast<std::size_t>(picture.channels));
  for (int channel = 0; channel < picture.channels; ++channel) {
    const Rows<Sample> rows(aoi, channel);
    for (int y = 0; y < picture.height; ++y) {
      const Sample* row = rows.Row(y - margin) - margin;
      for (int x = 0; x < picture.width; ++x) picture.At(x, y)[channel] = row[x];
    }
  }
  return picture;
}

// Inverts the colours of the rectangle. Alpha, the last of an even number of planes, stays.
template <class Sample>
void Invert(TypedAoi<Sample>& aoi) {
  const LONG planes = PlaneCount(aoi);
  for (LONG plane = 0; plane < planes - (planes % 2 == 0 ? 1 : 0); ++plane) {
    const Rows<Sample> rows(aoi, plane);
    for (LONG y = 0; y < rows.height; ++y) {
      Sample* row = rows.Row(y);
      for (LONG x = 0; x < rows.width; ++x) row[x] = static_cast<Sample>(~row[x]);
    }
  }
}

// A checksum (FNV-1a, 32 bit) of the rectangle's samples in all planes.
template <class Sample>
std::uint32_t Checksum(TypedAoi<Sample>& aoi) {
  std::uint32_t sum = 2166136261u;
  for (LONG plane = 0; plane < PlaneCount(aoi); ++plane) {
    const Rows<Sample> rows(aoi, plane);
    for (LONG y = 0; y < rows.height; ++y) {
      for (LONG x = 0; x < rows.width; ++x) {
        for (unsigned shift = 0; shift < 8 * sizeof(Sample); shift += 8) {
          sum = (sum ^ ((unsigned{rows.Row(y)[x]} >> shift) & 0xFF)) * 16777619u;
        }
      }
    }
  }
  return sum;
}

// Name, tag, attributes and rectangle, as any client of the generic interface sees them.
void SayDescription(IAoiKLP& aoi);

}  // namespace examples
