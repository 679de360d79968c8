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

// Calls bring(rows, first row, first plane, planes) for block after block of rows.
template <class Bring>
void EachBlock(const PictureHeader& header, const Progress& progress, const Bring& bring) {
  const int most = RowsInBlock(header.RowBytes());
  // The reader is asked for one plane after another, or once for all.
  const int rounds = header.isPlanar ? header.channels : 1;
  for (int round = 0; round < rounds; ++round) {
    for (int y = 0; y < header.height; y += most) {
      const int count = std::min(most, header.height - y);
      bring(count, y, round, header.isPlanar ? 1 : header.channels);
      if (progress) progress((round + double{1} * (y + count) / header.height) / rounds);
    }
  }
}

void ReadPixels(PictureReader& reader, const std::vector<PlaneRows>& planes,
                const Progress& progress) {
  const PictureHeader& header = reader.header();
  std::vector<std::byte> block;
  EachBlock(header, progress, [&](int count, int y, int first, int planeCount) {
    block.resize(std::max(block.size(), static_cast<std::size_t>(count) * header.RowBytes()));
    reader.ReadRows(count, block.data());
    PutRows({planes.begin() + first, planes.begin() + first + planeCount}, y, count, header.width,
            BytesOf(header.type), block.data());
  });
}

void Describe(AnyAoi& aoi, const PictureHeader& header) {
  if (!header.name.empty()) aoi.name(header.name);
  if (const std::string text = TextOf(header.resolution); !text.empty()) aoi.tag(text);
  if (!header.metadata.empty()) aoi.attributes(MapOf(header.metadata));
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
  Describe(aoi, header);
  return aoi;
}

AnyAoi ReadAoi(const std::filesystem::path& path, const ReadOptions& options) {
  pictures::ByteSource source(path);
  return ReadAoi(*OpenPicture(source, options.request), options);
}

AnyAoi AoiOver(std::byte* memory, const PictureHeader& header) {
  AnyAoi aoi = VisitPixelType(header.type, [&](auto sample) {
    using T = decltype(sample);
    const std::span<T> pixels(reinterpret_cast<T*>(memory),
                              static_cast<std::size_t>(header.Bytes()) / sizeof(T));
    return AnyAoi(Aoi<T>::attach_to({header.width, header.height}, pixels, header.channels));
  });
  Describe(aoi, header);
  return aoi;
}

void ReadPlanes(PictureReader& reader, const UseRows& use, const Progress& progress) {
  const PictureHeader& header = reader.header();
  const std::size_t rowBytes = static_cast<std::size_t>(header.width) * BytesOf(header.type);
  std::vector<std::byte> block, apart;
  EachBlock(header, progress, [&](int count, int y, int first, int planeCount) {
    const std::size_t planeBytes = rowBytes * static_cast<std::size_t>(count);
    block.resize(std::max(block.size(), planeBytes * static_cast<std::size_t>(planeCount)));
    reader.ReadRows(count, block.data());
    if (planeCount == 1) return use(first, y, count, block.data());
    apart.resize(block.size());
    std::vector<PlaneRows> planes;
    for (int plane = 0; plane < planeCount; ++plane) {
      planes.push_back({apart.data() + static_cast<std::size_t>(plane) * planeBytes,
                        static_cast<std::ptrdiff_t>(rowBytes)});
    }
    PutRows(planes, 0, count, header.width, BytesOf(header.type), block.data());
    for (int plane = 0; plane < planeCount; ++plane) {
      use(plane, y, count, planes[static_cast<std::size_t>(plane)].first);
    }
  });
}

}  // namespace picture_aoi
