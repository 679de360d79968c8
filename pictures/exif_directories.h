// SPDX-License-Identifier: MIT
// EXIF on its way in and out of TIFF files. Everywhere else EXIF is one block, a TIFF structure of
// its own; in a TIFF its directories stand among the file's, and places in them count from the
// file's beginning. Camera makers' notes are copied as they are: what they count from is theirs.
#pragma once

#include "pictures/byte_source.h"
#include "pictures/metadata.h"

namespace pictures {

// Where the directories begin; 0 for one that is not there.
struct ExifPlaces {
  std::uint64_t exif = 0, gps = 0;
};

// A block with the directories of a TIFF. Empty where there are none, no whole ones, or more than
// 16 MB of them.
Block GatherExif(ByteSource& tiff, const ExifPlaces& places);

// Appends the directories of a block, little end first, to what will stand at `base`, an even place
// of a TIFF: with the entries of a BigTIFF if isBig. A block that is not whole has none.
ExifPlaces PlaceExif(const Block& exif, bool isBig, std::uint64_t base, Block& out);

// A text in the first directory of a block, where cameras say who they are; empty without one.
std::string ExifText(const Block& exif, std::uint16_t tag);

}  // namespace pictures
