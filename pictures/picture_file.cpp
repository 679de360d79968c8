// SPDX-License-Identifier: MIT
#include "pictures/picture_file.h"

#include <utility>

#include "pictures/picture_io.h"

namespace pictures {
namespace {

template <class Sample>
void Write(const OutputFormat& format, const Picture<Sample>& picture, ByteSink& sink) {
  PictureHeader header;
  header.type = kPixelTypeOf<Sample>;
  header.width = picture.width;
  header.height = picture.height;
  header.channels = picture.channels;
  const auto writer = format.Create(header, sink);
  writer->WriteRows(picture.height, reinterpret_cast<const std::byte*>(picture.samples.data()));
  writer->Finish();
}

template <class Sample>
std::string Write(const std::string& path, const Picture<Sample>& picture) {
  OutputFile file(path);
  Write(OutputFormat(path), picture, file);
  file.Commit();
  return path;
}

}  // namespace

bool HasSixteenBits(const std::filesystem::path& path) {
  ByteSource source(path);
  const PixelType type = OpenPicture(source)->header().type;
  if (type != PixelType::kByte && type != PixelType::kWord) {
    source.Fail(std::string("has samples of the type ") + RowOf(type).name);
  }
  return type == PixelType::kWord;
}

template <class Sample>
Picture<Sample> ReadPicture(const std::filesystem::path& path) {
  ByteSource source(path);
  const auto reader = OpenPicture(source);
  const PictureHeader& header = reader->header();
  if (header.type != kPixelTypeOf<Sample> || header.isPlanar) {
    source.Fail("has samples of another kind");
  }
  Picture<Sample> picture{header.width, header.height, header.channels, {}};
  picture.samples.resize(static_cast<std::size_t>(header.Bytes()) / sizeof(Sample));
  reader->ReadRows(header.height, reinterpret_cast<std::byte*>(picture.samples.data()));
  return picture;
}

template Picture<std::uint8_t> ReadPicture(const std::filesystem::path& path);
template Picture<std::uint16_t> ReadPicture(const std::filesystem::path& path);

std::string EncodePng(const Picture<std::uint8_t>& picture) {
  MemorySink memory;
  Write(OutputFormat::Of(".png"), picture, memory);
  return std::move(memory.bytes());
}

std::string WritePicture(const std::string& stem, const Picture<std::uint8_t>& picture) {
  return Write(stem + ".png", picture);
}

std::string WritePicture(const std::string& stem, const Picture<std::uint16_t>& picture) {
  static constexpr const char* kEndings[] = {".pgm", ".pam", ".ppm", ".pam"};
  return Write(stem + kEndings[picture.channels - 1], picture);
}

}  // namespace pictures
