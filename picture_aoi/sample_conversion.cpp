// SPDX-License-Identifier: MIT
#include "picture_aoi/sample_conversion.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

namespace picture_aoi {
namespace {

using pictures::PixelType;

// The nearest of To; NaN is 0 among whole numbers.
template <class To>
To Nearest(double value) {
  if constexpr (std::is_same_v<To, double>) {
    return value;
  } else if constexpr (std::is_same_v<To, float>) {
    if (!std::isfinite(value)) return static_cast<float>(value);
    constexpr double kMost = std::numeric_limits<float>::max();
    return static_cast<float>(std::clamp(value, -kMost, kMost));
  } else {
    if (std::isnan(value)) return 0;
    return static_cast<To>(
        std::round(std::clamp(value, double{1} * std::numeric_limits<To>::lowest(),
                              double{1} * std::numeric_limits<To>::max())));
  }
}

template <class To>
bool IsSame(double value, To converted) {
  return static_cast<double>(converted) == value ||
         (std::isnan(value) && std::is_floating_point_v<To>);
}

// Calls use with a vector of values of one type, and a sample of the other.
template <class Use>
void Visit(PixelType from, PixelType to, const Use& use) {
  VisitPixelType(from,
                 [&](auto sample) { VisitPixelType(to, [&](auto other) { use(sample, other); }); });
}

}  // namespace

double LowestOf(PixelType type) {
  return VisitPixelType(type, [](auto sample) {
    return static_cast<double>(std::numeric_limits<decltype(sample)>::lowest());
  });
}
double HighestOf(PixelType type) {
  return VisitPixelType(type, [](auto sample) {
    return static_cast<double>(std::numeric_limits<decltype(sample)>::max());
  });
}

double HighestScaled(PixelType type) {
  return type == PixelType::kFloat || type == PixelType::kDouble ? 1 : HighestOf(type);
}

void SampleConversion::Survey(const std::byte* samples, std::size_t count) {
  Visit(from_, to_, [&](auto sample, auto other) {
    const auto* values = reinterpret_cast<const decltype(sample)*>(samples);
    double lowest = std::numeric_limits<double>::infinity(), highest = -lowest;
    std::uint64_t changed = 0;
    for (std::size_t i = 0; i < count; ++i) {
      const double value = static_cast<double>(values[i]);
      if (!IsSame(value, Nearest<decltype(other)>(value))) ++changed;
      if (!std::isfinite(value)) continue;
      lowest = std::min(lowest, value);
      highest = std::max(highest, value);
    }
    changed_ += changed;
    if (lowest > highest) return;
    lowest_ = hasFinite_ ? std::min(lowest_, lowest) : lowest;
    highest_ = hasFinite_ ? std::max(highest_, highest) : highest;
    hasFinite_ = true;
  });
}

void SampleConversion::Convert(const std::byte* samples, std::size_t count, std::byte* converted) {
  Visit(from_, to_, [&](auto sample, auto other) {
    using To = decltype(other);
    const auto* values = reinterpret_cast<const decltype(sample)*>(samples);
    auto* to = reinterpret_cast<To*>(converted);
    // Halves, since the whole width may be beyond the type.
    const double low = lowest_ / 2, width = highest_ / 2 - low;
    const double most = HighestScaled(to_);
    const bool isScaled = narrowing_ == Narrowing::kScale;
    std::uint64_t changed = 0;
    for (std::size_t i = 0; i < count; ++i) {
      const double value = static_cast<double>(values[i]);
      double wanted = value;
      if (isScaled) {
        wanted = width > 0 || std::isnan(value) ? (value / 2 - low) / width * most : 0;
        // Of signed types, 0 is the least of what is wanted.
        if (wanted < 0) wanted = 0;
      }
      to[i] = Nearest<To>(wanted);
      if (!IsSame(value, to[i])) ++changed;
    }
    changed_ += changed;
  });
}

}  // namespace picture_aoi
