// SPDX-License-Identifier: MIT
// By clang++ with libc++, in C++17 without exceptions and run-time types, on the slots alone:
// stretches each plane's levels so that one pixel of a hundred is black, and one white.
#include <algorithm>
#include <array>

#include "examples/parts/part.h"
#include "interfaces/aoi.h"
#include "platform/com_ptr.h"

const Part kPart{CLSID_Stretch, OLESTR("Parts.Stretch")};

namespace {

// A row for each that is out of what the loop needs, in locals that nobody else knows.
template <class Change>
HRESULT ForEachPixel(IByteAOIKLP& aoi, Change change) noexcept {
  LONG outWidth = 0, outHeight = 0, outSkip = 0;
  std::uint8_t* outPixels = nullptr;
  const HRESULT result = aoi.GetAccess(&outWidth, &outHeight, &outSkip, &outPixels);
  if (FAILED(result)) return result;
  const LONG width = outWidth, height = outHeight, skip = outSkip;
  std::uint8_t* pixels = outPixels;
  for (LONG y = 0; y < height; ++y, pixels += skip) {
    for (LONG x = 0; x < width; ++x, ++pixels) *pixels = change(*pixels);
  }
  return S_OK;
}

}  // namespace

HRESULT ApplyPart(IDispatch& picture) noexcept {
  platform::ComPtr<IByteAOIKLP> source, aoi;
  HRESULT result = picture.QueryInterface(IID_IByteAOIKLP, source.PutVoid());
  // The active plane is moved on an AOI of our own.
  if (SUCCEEDED(result)) result = source->Clone(aoi.Put());
  LONG planes = 0;
  if (SUCCEEDED(result)) result = aoi->get_PlaneCount(&planes);
  for (LONG plane = 0; plane < planes && SUCCEEDED(result); ++plane) {
    std::array<std::int64_t, 256> counts{};
    result = aoi->put_ActivePlane(plane);
    if (SUCCEEDED(result)) {
      result = ForEachPixel(*aoi, [&](std::uint8_t pixel) {
        ++counts[pixel];
        return pixel;
      });
    }
    if (FAILED(result)) break;
    std::int64_t all = 0;
    for (const std::int64_t count : counts) all += count;
    const auto level = [&](std::int64_t below) {
      int at = 0;
      for (std::int64_t sum = counts[0]; sum <= below && at < 255;
           sum += counts[std::size_t(++at)]) {
      }
      return at;
    };
    const int low = level(all / 100), high = std::max(level(all - all / 100 - 1), low + 1);
    std::array<std::uint8_t, 256> table;
    for (int i = 0; i < 256; ++i) {
      table[std::size_t(i)] =
          static_cast<std::uint8_t>(std::clamp((i - low) * 255 / (high - low), 0, 255));
    }
    result = ForEachPixel(*aoi, [&](std::uint8_t pixel) { return table[pixel]; });
  }
  return result;
}
