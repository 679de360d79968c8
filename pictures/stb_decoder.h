// SPDX-License-Identifier: MIT
// Pixels by the header-only picture library, which decodes a picture as a whole.
#pragma once

#include <memory>

#include "pictures/picture_io.h"

namespace pictures {

class StbDecoder {
 public:
  // Decodes the whole source as samples of the header's type, bytes, words or floats. Raises where
  // the picture is not whole, or is another than the header says.
  StbDecoder(ByteSource& source, const PictureHeader& header);
  void TakeRows(int count, std::byte* samples);

 private:
  std::unique_ptr<void, void (*)(void*)> samples_;
  std::size_t rowBytes_;
  std::size_t taken_ = 0;
};

// Sizes and channels, without the pixels. Raises.
void ReadStbSizes(ByteSource& source, PictureHeader& header);

}  // namespace pictures
