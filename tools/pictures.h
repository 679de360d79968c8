// SPDX-License-Identifier: MIT
// Pictures in files and AOIs in streams: each can become the other. The planes of an AOI are the
// channels of a picture. Failures raise std::runtime_error.
#pragma once

#include <string>

#include "picture_aoi/picture_aoi.h"
#include "tools/progress.h"
#include "tools/stream_options.h"

namespace tools {

struct ImportOptions {
  std::string picture;
  std::string out;
  picture_aoi::ReadOptions reading;
  // Save the whole buffer, margins included; otherwise the picture alone.
  bool isBuffer = false;
  ProgressMode progress = ProgressMode::kTerminal;
};

// Writes the stream of an AOI with the picture, behind the class identifier. Tells on standard
// output what it has written.
void ImportPicture(const ImportOptions& options);

struct ExportOptions : StreamOptions {
  std::string picture;
  picture_aoi::WriteOptions writing;
  ProgressMode progress = ProgressMode::kTerminal;
};

// Writes a picture of the AOI in a stream, and tells what became of its samples.
void ExportPicture(const ExportOptions& options);

// "3 planes of 640 x 480".
std::string PlanesText(int planes, int width, int height);

}  // namespace tools
