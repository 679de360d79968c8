// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdio>

#include "interfaces/aoi.h"
#include "pictures/picture_file.h"
#include "tools/file_bytes.h"
#include "tools/loaded_object.h"
#include "tools/paths.h"
#include "tools/pictures.h"

namespace tools {
namespace {

using pictures::Picture;

template <class Sample, class IAoi>
void Import(const ImportOptions& options, const char* className) {
  const Picture<Sample> picture = pictures::ReadPicture<Sample>(PathOf(options.picture));
  if (options.margin > std::min(picture.width, picture.height)) {
    throw std::runtime_error("the margin is larger than the picture");
  }
  const auto channels = static_cast<std::size_t>(picture.channels);
  std::vector<Sample> planes;
  planes.reserve(picture.samples.size());
  for (std::size_t channel = 0; channel < channels; ++channel) {
    for (std::size_t i = channel; i < picture.samples.size(); i += channels) {
      planes.push_back(picture.samples[i]);
    }
  }
  const LoadedObject object(*FindClass(className));
  const auto aoi = object.As<IAoi>();
  if (!aoi) throw ComFailure(className, E_NOINTERFACE);
  Check(aoi->put_BufferMargin(options.margin), "put_BufferMargin");
  Check(aoi->CreateFromData(picture.channels, picture.width, picture.height, planes.data()),
        "CreateFromData");
  Check(aoi->put_MarginMode(options.marginMode), "put_MarginMode");
  Check(aoi->FillMargins(), "FillMargins");
  Check(aoi->put_MarshalFlags(options.isBuffer ? MarshalBuffer : MarshalRectangle),
        "put_MarshalFlags");
  const std::vector<std::uint8_t> stream = object.Saved(true);
  WriteWholeFile(options.out, stream);
  std::printf("%s: %s, %s, %s\n", options.out.c_str(), className,
              SizeText(picture.channels, picture.width, picture.height).c_str(),
              CountText(stream.size(), "byte").c_str());
  if (options.margin > 0 && !options.isBuffer) {
    std::printf("  the margin is not in the file: --buffer saves it\n");
  }
}

}  // namespace

void ImportPicture(const ImportOptions& options) {
  if (pictures::HasSixteenBits(PathOf(options.picture))) {
    Import<std::uint16_t, IWordAOIKLP>(options, "WordAOIKLP");
  } else {
    Import<std::uint8_t, IByteAOIKLP>(options, "ByteAOIKLP");
  }
}

}  // namespace tools
