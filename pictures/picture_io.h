// SPDX-License-Identifier: MIT
// Pictures in files, read and written row block by row block: nothing holds a whole picture, but
// for formats that cannot be read otherwise (interlaced PNG, JPEG, BMP, HDR).
//
// Failures raise std::runtime_error, those of a file with a text that begins with its name.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "pictures/byte_sink.h"
#include "pictures/byte_source.h"
#include "pictures/metadata.h"
#include "pictures/pixel_type.h"

namespace pictures {

// Samples on either side of it.
struct Resolution {
  enum class Unit { kNone, kMetre, kInch, kCentimetre };
  double x = 0;  // 0: the file does not say
  double y = 0;
  Unit unit = Unit::kNone;  // kNone: the ratio of the two alone
};

struct PictureHeader {
  PixelType type = PixelType::kByte;
  int width = 0;
  int height = 0;
  int channels = 0;
  // Of what is read: plane follows plane, each with all its rows. Otherwise the channels of a pixel
  // stand beside each other. What is written is never planar.
  bool isPlanar = false;
  // Bits of a sample in a file of 1, 2 or 4 bits, whose values are spread over 0 .. 255; else 0.
  int bits = 0;
  // What the file calls its picture; empty where it does not.
  std::string name;
  Resolution resolution;
  Group metadata;

  // Of one row as it is read and written.
  std::size_t RowSamples() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(isPlanar ? 1 : channels);
  }
  std::size_t RowBytes() const { return RowSamples() * BytesOf(type); }
  std::uint64_t Bytes() const {
    return std::uint64_t{1} * static_cast<std::uint64_t>(width) *
           static_cast<std::uint64_t>(height) * static_cast<std::uint64_t>(channels) *
           BytesOf(type);
  }
};

class PictureReader {
 public:
  virtual ~PictureReader() = default;
  const PictureHeader& header() const noexcept { return header_; }
  // The next rows, from the top of the (first) plane to the bottom of the (last) one, as samples of
  // the host. No more than there are.
  virtual void ReadRows(int count, std::byte* samples) = 0;

 protected:
  PictureHeader header_;
};

class PictureWriter {
 public:
  virtual ~PictureWriter() = default;
  // All rows from the top to the bottom, in any number of calls.
  virtual void WriteRows(int count, const std::byte* samples) = 0;
  // Behind the last row.
  virtual void Finish() = 0;
};

// A file of samples and nothing else, in the host's order, the channels of a pixel side by side.
struct RawLayout {
  int width = 0;
  int height = 0;
  int channels = 1;
  PixelType type = PixelType::kByte;
};

struct ReadRequest {
  // For what is not recognised by its content.
  std::optional<RawLayout> raw;
  // Of a file with several pictures, from 1 on.
  int page = 1;
};

// Recognises the format by the content. The source must outlive the reader.
std::unique_ptr<PictureReader> OpenPicture(ByteSource& source, const ReadRequest& request = {});

// The name of the format in messages, "PNG" for instance; empty where the content is none of a
// picture that can be read here.
std::string RecognisePicture(ByteSource& source);

// A format that can be written.
class OutputFormat {
 public:
  // By the name's extension. Raises with the extensions that are known.
  explicit OutputFormat(const std::filesystem::path& path);
  // By an extension like ".png".
  static OutputFormat Of(const std::string& extension);

  const char* name() const;
  // The type that a picture of samples of this type is written with: the same, or the nearest that
  // the format has.
  PixelType TypeFor(PixelType type) const;
  bool Has(PixelType type) const { return TypeFor(type) == type; }
  // Whether a format has a place for what stands under a key of the metadata, or for "resolution".
  bool Keeps(std::string_view key) const;
  // Raises where the format does not hold so many channels.
  void CheckChannels(int channels) const;
  // The sink must outlive the writer.
  std::unique_ptr<PictureWriter> Create(const PictureHeader& header, ByteSink& sink) const;

 private:
  struct Row;
  explicit OutputFormat(const Row& row) : row_(&row) {}
  static const Row kRows[];
  static const Row& RowFor(const std::string& extension);
  const Row* row_;
};

}  // namespace pictures
