// SPDX-License-Identifier: MIT
// What a PNG says around its pixels, chunk by chunk.
#pragma once

#include <array>
#include <span>
#include <string>
#include <vector>

#include "pictures/picture_io.h"

namespace pictures {

struct PngChunk {
  std::string name;
  Block data;
};

// How a file stores what the header describes as it is read: grey of fewer than 8 bits spread, a
// palette as its colours, a transparent colour as alpha.
struct PngPixels {
  int bits = 0;    // of a sample, or of an index
  int colour = 0;  // the format's own number of the colour type
  bool isInterlaced = false;
};

// Walks over all chunks but the pixels, and leaves the source at its beginning. Raises for sizes
// that the file cannot hold and for damaged chunks, except in the pixels.
PngPixels ReadPngChunks(ByteSource& source, PictureHeader& header);

// Those that stand between the file's header and its pixels. bits: of a sample in the file.
std::vector<PngChunk> MakePngChunks(const PictureHeader& header, int bits);

// A chunk as it stands in a file.
Block ChunkBytes(const std::string& name, std::span<const std::uint8_t> data);

// 0, 4, 2 or 6 for 1 to 4 channels.
inline int PngColour(int channels) {
  constexpr std::array<int, 4> kColours = {0, 4, 2, 6};
  return kColours[static_cast<std::size_t>(channels) - 1];
}
// Of a sample that is written: those of the type, or the fewer that the picture came with.
inline int PngBits(const PictureHeader& header) {
  if (header.type == PixelType::kWord) return 16;
  return header.channels == 1 && header.bits != 0 ? header.bits : 8;
}

}  // namespace pictures
