// SPDX-License-Identifier: MIT
#include "tools/report/plane_picture.h"

#include <algorithm>
#include <cmath>

#include "pictures/picture_file.h"

namespace tools::report {
namespace {

constexpr std::int64_t kMostPoints = 640;

// Where the points of a reduced side begin.
std::int64_t Start(std::int64_t point, std::int64_t points, std::int64_t pixels) {
  return point * pixels / points;
}

// The mean of the pixels that fall into each point; NaN where there is one among them.
std::vector<double> Reduced(Bytes file, const Block& plane, std::int64_t height, int columns,
                            int rows) {
  std::vector<double> points(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
  WithElements(file, plane, [&](const std::uint8_t* at, std::uint64_t, auto zero) {
    using T = decltype(zero);
    const std::int64_t width = plane.width;
    for (std::int64_t row = 0; row < rows; ++row) {
      const std::int64_t top = Start(row, rows, height), bottom = Start(row + 1, rows, height);
      for (std::int64_t column = 0; column < columns; ++column) {
        const std::int64_t left = Start(column, columns, width);
        const std::int64_t right = Start(column + 1, columns, width);
        double sum = 0;
        for (std::int64_t y = top; y < bottom; ++y) {
          const std::uint8_t* const line = at + static_cast<std::size_t>(y * width) * sizeof(T);
          for (std::int64_t x = left; x < right; ++x) {
            sum += static_cast<double>(NumberAt<T>(line + static_cast<std::size_t>(x) * sizeof(T)));
          }
        }
        points[static_cast<std::size_t>(row * columns + column)] =
            sum / static_cast<double>((bottom - top) * (right - left));
      }
    }
  });
  return points;
}

// From the range of a plane to that of a picture.
std::uint8_t Shade(double value, const Block& plane, const Statistics& statistics) {
  const bool isByte = plane.type == ElementByte;
  const double lowest = isByte ? 0 : statistics.lowest, highest = isByte ? 255 : statistics.highest;
  // Halves, since the whole width may be beyond the type.
  const double width = highest / 2 - lowest / 2;
  if (!(width > 0) || !std::isfinite(width)) return value > 0 ? 255 : 0;
  const double part = std::clamp((value / 2 - lowest / 2) / width, 0.0, 1.0);
  return static_cast<std::uint8_t>(std::lround(part * 255));
}

}  // namespace

PlanePicture PictureOf(Bytes file, const std::vector<Block>& planes,
                       const std::vector<Statistics>& statistics) {
  const Block& first = planes.front();
  const std::int64_t width = first.width;
  const auto height = static_cast<std::int64_t>(ElementCount(first)) / width;
  const std::int64_t longest = std::max(width, height);
  const auto shown = [&](std::int64_t side) {
    return static_cast<int>(
        longest <= kMostPoints ? side : std::max<std::int64_t>(1, side * kMostPoints / longest));
  };
  PlanePicture result{"", shown(width), shown(height), longest > kMostPoints};
  std::vector<std::vector<double>> reduced;
  for (const Block& plane : planes) {
    reduced.push_back(Reduced(file, plane, height, result.width, result.height));
  }
  const auto hasNan = [&](std::size_t point) {
    return std::any_of(reduced.begin(), reduced.end(),
                       [&](const auto& plane) { return std::isnan(plane[point]); });
  };
  const std::size_t points = reduced.front().size();
  bool isGrey = planes.size() == 1;
  for (std::size_t point = 0; point < points && isGrey; ++point) isGrey = !hasNan(point);
  pictures::Picture<std::uint8_t> picture{result.width, result.height, isGrey ? 1 : 3, {}};
  const auto channels = static_cast<std::size_t>(picture.channels);
  picture.samples.reserve(channels * points);
  for (std::size_t point = 0; point < points; ++point) {
    constexpr std::uint8_t kNan[] = {255, 0, 160};
    const bool isNan = !isGrey && hasNan(point);
    for (std::size_t channel = 0; channel < channels; ++channel) {
      const std::size_t plane = planes.size() == 3 ? channel : 0;
      picture.samples.push_back(
          isNan ? kNan[channel] : Shade(reduced[plane][point], planes[plane], statistics[plane]));
    }
  }
  result.png = pictures::EncodePng(picture);
  return result;
}

}  // namespace tools::report
