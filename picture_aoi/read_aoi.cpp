// SPDX-License-Identifier: MIT
#include <algorithm>
#include <stdexcept>

#include "picture_aoi/picture_aoi.h"
#include "picture_aoi/plane_rows.h"

namespace picture_aoi {
namespace {

using pictures::PictureHeader;
using pictures::PictureReader;
using rastelklp::AnyAoi;
using rastelklp::Aoi;

void ReadPixels(PictureReader& reader, const std::vector<PlaneRows>& planes,
                const Progress& progress) {
  const PictureHeader& header = reader.header();
  const int most = RowsInBlock(header.RowBytes());
  // The reader is asked for one plane after another, or once for all.
  const std::size_t rounds = header.isPlanar ? planes.size() : 1;
  std::vector<std::byte> block;
  for (std::size_t round = 0; round < rounds; ++round) {
    const std::vector<PlaneRows> part = header.isPlanar ? std::vector{planes[round]} : planes;
    for (int y = 0; y < header.height; y += most) {
      const int count = std::min(most, header.height - y);
      if (block.empty()) block.resize(static_cast<std::size_t>(count) * header.RowBytes());
      reader.ReadRows(count, block.data());
      PutRows(part, y, count, header.width, BytesOf(header.type), block.data());
      if (progress) {
        progress((static_cast<double>(round) + double{1} * (y + count) / header.height) /
                 static_cast<double>(rounds));
      }
    }
  }
}

template <class T>
AnyAoi ReadTyped(PictureReader& reader, const ReadOptions& options) {
  const PictureHeader& header = reader.header();
  const Aoi<T> aoi({header.width, header.height}, header.channels, options.margin);
  std::vector<PlaneRows> planes;
  for (const auto& plane : aoi.planes()) {
    planes.push_back({reinterpret_cast<std::byte*>(plane.data()),
                      plane.stride() * static_cast<std::ptrdiff_t>(sizeof(T))});
  }
  ReadPixels(reader, planes, options.progress);
  return aoi;
}

}  // namespace

AnyAoi ReadAoi(PictureReader& reader, const ReadOptions& options) {
  const PictureHeader& header = reader.header();
  if (options.margin < 0 || options.margin > std::min(header.width, header.height)) {
    throw std::runtime_error("the margin is larger than the picture");
  }
  AnyAoi aoi = VisitPixelType(
      header.type, [&](auto sample) { return ReadTyped<decltype(sample)>(reader, options); });
  if (options.margin > 0) aoi.fill_margins(options.marginMode);
  if (!header.name.empty()) aoi.name(header.name);
  if (const std::string text = TextOf(header.resolution); !text.empty()) aoi.tag(text);
  if (!header.metadata.empty()) aoi.attributes(MapOf(header.metadata));
  return aoi;
}

AnyAoi ReadAoi(const std::filesystem::path& path, const ReadOptions& options) {
  pictures::ByteSource source(path);
  return ReadAoi(*OpenPicture(source, options.request), options);
}

}  // namespace picture_aoi
