// SPDX-License-Identifier: MIT
// Picture files become AOIs, and AOIs picture files. The channels of a picture are the planes of an
// AOI; what a file says besides its pixels is in the AOI's name, tag and attribute map, and goes
// out again from there (docs/rastel_tool.md lists the keys):
//
//   name           what the file calls its picture (PNG's Title, TIFF's DocumentName)
//   tag            the resolution, a text: "2835 x 2835 per metre", "72 x 72 per inch"
//   attribute map  texts, EXIF, ICC and so on, in nested maps; null where the file says nothing
//
// The host must be running (rastelklp::Session), the classes be found. Failures raise
// std::runtime_error, which rastelklp::Error is too. Pictures go row block by row block: beside the
// AOI about a megabyte is needed, but for the formats that picture_io.h names.
#pragma once

#include <rastelklp/client.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "pictures/picture_io.h"

namespace picture_aoi {

// Told now and then how much is done, 0 .. 1. May raise, which ends the work.
using Progress = std::function<void(double done)>;

struct ReadOptions {
  // Pixels around each plane, filled by the mode; at most the smaller side of the picture.
  int margin = 0;
  MarginModeKLP marginMode = MarginReplicate;
  // The layout of a file of samples alone; the page of a file with several.
  pictures::ReadRequest request;
  Progress progress;
};

// A new AOI of the file's own sample type, the whole picture being its rectangle. "-" is standard
// input.
rastelklp::AnyAoi ReadAoi(const std::filesystem::path& path, const ReadOptions& options = {});
rastelklp::AnyAoi ReadAoi(pictures::PictureReader& reader, const ReadOptions& options = {});

// The same AOI on memory of the caller, which must outlive it and in which nothing is touched here:
// for those who bring the pixels to where they go by themselves. As large as all planes.
rastelklp::AnyAoi AoiOver(std::byte* memory, const pictures::PictureHeader& header);

// Reads a picture as planes: use gets rows of a plane, of all planes side by side in time where the
// file has the channels of a pixel side by side. No more than a few megabytes are held.
using UseRows =
    std::function<void(int plane, int firstRow, int rowCount, const std::byte* samples)>;
void ReadPlanes(pictures::PictureReader& reader, const UseRows& use, const Progress& progress);

// What becomes of samples that the written type does not hold as they are.
enum class Narrowing {
  kRefuse,  // one of them is a failure, and nothing is written
  kClamp,   // to the nearest that it holds; NaN to 0 among whole numbers
  kScale,  // the lowest finite of all planes to 0, the highest to the largest (to 1 of a real type)
};

// What the highest becomes.
double HighestScaled(pictures::PixelType type);

struct WriteOptions {
  // Everything stored, margins included; otherwise the rectangle.
  bool isBuffer = false;
  Narrowing narrowing = Narrowing::kRefuse;
  // The type of the samples that are written; otherwise the AOI's, or the nearest of the format.
  std::optional<pictures::PixelType> type;
  // Instead of the path's extension, ".png" for instance.
  std::string extension;
  Progress progress;
};

struct WriteReport {
  const char* format = "";
  pictures::PixelType type{};
  int planes = 0, width = 0, height = 0;
  // Samples in all, and those that are others in the file.
  std::uint64_t samples = 0, changed = 0;
  // With kScale: what became 0, and the largest.
  double lowest = 0, highest = 0;
  // Keys of the attribute map, and "tag", that the format has no place for.
  std::vector<std::string> left;
};

// What WriteAoi will write. Raises where there is no such format.
pictures::OutputFormat FormatOf(const std::filesystem::path& path, const WriteOptions& options);

// The file has its new content as a whole, or stays as it was. "-" is standard output, whose format
// options.extension tells.
WriteReport WriteAoi(const rastelklp::AnyAoi& aoi, const std::filesystem::path& path,
                     const WriteOptions& options = {});
WriteReport WriteAoi(const rastelklp::AnyAoi& aoi, pictures::ByteSink& sink,
                     const WriteOptions& options);

// The bytes of a PNG.
std::string EncodePng(const rastelklp::AnyAoi& aoi, WriteOptions options = {},
                      WriteReport* report = nullptr);

// Metadata and attribute maps. What has no form on the other side is left out: objects of other
// kinds, keys that are no texts.
rastelklp::Map MapOf(const pictures::Group& group);
pictures::Group GroupOf(const rastelklp::Map& map);

// The tag's text for a resolution; empty where there is none. And back.
std::string TextOf(const pictures::Resolution& resolution);
pictures::Resolution ResolutionOf(const std::string& text);

}  // namespace picture_aoi
