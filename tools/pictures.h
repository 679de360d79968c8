// SPDX-License-Identifier: MIT
// Pictures in files and AOIs in streams: each can become the other. The planes of an AOI are the
// channels of a picture: grey, grey and alpha, colour, colour and alpha. Failures raise
// std::runtime_error, those of a call ComFailure.
#pragma once

#include <cstdint>
#include <string>

#include "interfaces/enums.h"
#include "tools/stream_options.h"
#include "tools/text_forms.h"

namespace tools {

struct ImportOptions {
  std::string picture;
  std::string out;
  // Around each plane, in pixels, filled by the mode.
  std::int32_t margin = 0;
  MarginModeKLP marginMode = MarginReplicate;
  // Save the whole buffer, margins included; otherwise the picture alone.
  bool isBuffer = false;
};

// Writes the stream of an AOI with the picture, behind the class identifier: a ByteAOIKLP, or a
// WordAOIKLP where the picture has 16 bits. Tells on standard output what it has written.
void ImportPicture(const ImportOptions& options);

struct ExportOptions : StreamOptions {
  std::string picture;
  // The whole buffer; otherwise the rectangle.
  bool isBuffer = false;
  // Map the lowest value to 0 and the highest to 255; otherwise values are clamped to 0 .. 255.
  bool isScaled = false;
};

// Writes a PNG of 8 bits with the pixels of an AOI of any type, fractions rounded, NaN as 0.
void ExportPicture(const ExportOptions& options);

// "3 planes of 48 x 44".
inline std::string SizeText(LONG planes, LONG width, LONG height) {
  return CountText(static_cast<std::uint64_t>(planes), "plane") + " of " +
         NumberText(std::int32_t{width}) + " x " + NumberText(std::int32_t{height});
}

}  // namespace tools
