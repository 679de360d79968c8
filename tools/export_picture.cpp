// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "interfaces/aoi.h"
#include "pictures/picture_file.h"
#include "tools/file_bytes.h"
#include "tools/loaded_object.h"
#include "tools/object_format.h"
#include "tools/pictures.h"

namespace tools {
namespace {

using pictures::Picture;

// The encoder counts bytes in 32 bits.
constexpr std::int64_t kMostSamples = 0x3FFFFFFF;

// What is exported, in rectangle coordinates.
struct Frame {
  LONG left = 0;
  LONG top = 0;
  LONG width = 0;
  LONG height = 0;
};

Frame FrameOf(IAoiKLP& aoi, bool isBuffer) {
  Frame frame;
  LONG x = 0;
  LONG y = 0;
  Check(aoi.GetRect(&x, &y, &frame.width, &frame.height), "GetRect");
  if (!isBuffer) return frame;
  // The buffer of a loaded AOI has no margin: that of the saved one stands among its pixels.
  frame.left = -x;
  frame.top = -y;
  Check(aoi.get_BufferWidth(&frame.width), "get_BufferWidth");
  Check(aoi.get_BufferHeight(&frame.height), "get_BufferHeight");
  return frame;
}

LONG PlanesOf(IAoiKLP& aoi, const ExportOptions& options) {
  LONG planes = 0;
  Check(aoi.get_PlaneCount(&planes), "get_PlaneCount");
  if (planes >= 1 && planes <= 4) return planes;
  throw std::runtime_error(options.file + ": " + NumberText(std::int32_t{planes}) +
                           " planes; a picture has 1 (grey), 2 (grey and alpha), 3 (colour) or "
                           "4 (colour and alpha)");
}

// Row by row in each plane.
template <class Use>
void EachPixel(IAoiKLP& aoi, const Frame& frame, LONG planes, const Use& use) {
  for (LONG plane = 0; plane < planes; ++plane) {
    Check(aoi.put_ActivePlane(plane), "put_ActivePlane");
    for (LONG y = 0; y < frame.height; ++y) {
      for (LONG x = 0; x < frame.width; ++x) {
        double value = 0;
        Check(aoi.GetPixel(frame.left + x, frame.top + y, &value), "GetPixel");
        use(plane, x, y, value);
      }
    }
  }
}

class SampleScale {
 public:
  // Of the finite values of all planes together.
  void Include(double value) {
    if (!std::isfinite(value)) return;
    lowest_ = std::min(lowest_, value);
    highest_ = std::max(highest_, value);
  }
  // Halves, since the whole width may be beyond the type.
  double Apply(double value) const {
    const double width = highest_ / 2 - lowest_ / 2;
    return width > 0 ? (value / 2 - lowest_ / 2) / width * 255 : 0;
  }
  double lowest() const { return lowest_; }
  double highest() const { return highest_; }

 private:
  double lowest_ = std::numeric_limits<double>::infinity();
  double highest_ = -std::numeric_limits<double>::infinity();
};

std::uint8_t Rounded(double value) {
  return std::isnan(value) ? std::uint8_t{0}
                           : static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

}  // namespace

void ExportPicture(const ExportOptions& options) {
  const std::vector<std::uint8_t> file = ReadWholeFile(options.file);
  Listing silent(nullptr, Listing::Extent::kShort);
  const FileFindings found = WalkFile(file, options.BareClass(), silent);
  if (!found.known || found.known->family != Family::kAoi) {
    throw std::runtime_error(options.file + ": not an AOI but " + ClassText(found.classId));
  }
  if (found.IsFormatKnown() && !found.IsWhole()) {
    throw std::runtime_error(options.file + ": not exported: " + found.problems.front().text);
  }
  const LoadedObject object(*found.known,
                            Bytes(file).subspan(found.hasClassId ? sizeof(CLSID) : 0));
  const auto aoi = object.As<IAoiKLP>();
  if (!aoi) throw ComFailure("IAoiKLP", E_NOINTERFACE);
  const LONG planes = PlanesOf(*aoi, options);
  const Frame frame = FrameOf(*aoi, options.isBuffer);
  if (std::int64_t{frame.width} * frame.height > kMostSamples / planes) {
    throw std::runtime_error(options.file + ": too large for a picture");
  }

  SampleScale scale;
  if (options.isScaled) {
    EachPixel(*aoi, frame, planes, [&](LONG, LONG, LONG, double value) { scale.Include(value); });
  }
  Picture<std::uint8_t> picture{frame.width, frame.height, planes, {}};
  picture.samples.resize(static_cast<std::size_t>(frame.width) *
                         static_cast<std::size_t>(frame.height) * static_cast<std::size_t>(planes));
  std::uint64_t outside = 0;
  EachPixel(*aoi, frame, planes, [&](LONG plane, LONG x, LONG y, double value) {
    if (!(value >= 0 && value <= 255)) ++outside;
    picture.At(x, y)[plane] = Rounded(options.isScaled ? scale.Apply(value) : value);
  });
  const std::string png = pictures::EncodePng(picture);
  WriteWholeFile(options.picture,
                 Bytes(reinterpret_cast<const std::uint8_t*>(png.data()), png.size()));
  std::printf("%s: %s\n", options.picture.c_str(),
              SizeText(planes, frame.width, frame.height).c_str());
  if (options.isScaled) {
    std::printf("  %g .. %g became 0 .. 255\n", scale.lowest(), scale.highest());
  } else if (outside > 0) {
    std::printf("  %s outside 0 .. 255: clamped (--scale maps the range instead)\n",
                CountText(outside, "value").c_str());
  }
}

}  // namespace tools
