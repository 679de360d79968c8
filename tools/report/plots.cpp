// SPDX-License-Identifier: MIT
#include "tools/report/plots.h"

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <vector>

#include "tools/report/html.h"

namespace tools::report {
namespace {

constexpr double kHeight = 100;

bool IsFinite(const Statistics& statistics) {
  return statistics.count > 0 && std::isfinite(statistics.lowest) &&
         std::isfinite(statistics.highest);
}

// What stands at both ends of an axis.
std::string Ends(const std::string& left, const std::string& right) {
  return Element("div", "ends", "<span>" + left + "</span><span>" + right + "</span>");
}

// The part of the way from the lowest to the highest value, without a width in between that the
// type does not hold.
double PartOf(double value, const Statistics& statistics) {
  const double width = statistics.highest / 2 - statistics.lowest / 2;
  return width > 0 ? std::clamp((value / 2 - statistics.lowest / 2) / width, 0.0, 1.0) : 0.5;
}

}  // namespace

std::string HistogramOf(Bytes file, const Block& block, const Statistics& statistics) {
  if (!IsFinite(statistics)) return "";
  constexpr std::size_t kMostBars = 64;
  const bool isWhole = block.type != ElementFloat && block.type != ElementDouble;
  const double width = statistics.highest - statistics.lowest;
  const std::size_t bars =
      isWhole && width < kMostBars ? static_cast<std::size_t>(width) + 1 : kMostBars;
  std::vector<std::uint64_t> counts(bars);
  WithElements(file, block, [&](const std::uint8_t* at, std::uint64_t count, auto zero) {
    using T = decltype(zero);
    for (std::uint64_t i = 0; i < count; ++i) {
      const auto value = static_cast<double>(NumberAt<T>(at + i * sizeof(T)));
      if (std::isnan(value)) continue;
      const double part = PartOf(value, statistics) * static_cast<double>(bars);
      ++counts[std::min(bars - 1, static_cast<std::size_t>(part))];
    }
  });
  const double most = static_cast<double>(*std::max_element(counts.begin(), counts.end()));
  // Roots, since one peak would press all else to the ground.
  std::string path;
  for (std::size_t i = 0; i < bars; ++i) {
    if (counts[i] == 0) continue;
    const double height = kHeight * std::sqrt(static_cast<double>(counts[i]) / most);
    path += "M" + NumberText(i) + " " + Coordinate(kHeight - height) + "h1V100h-1z";
  }
  return "<svg class=\"histogram\" viewBox=\"0 0 " + NumberText(bars) +
         " 100\" preserveAspectRatio=\"none\" role=\"img\" aria-label=\"histogram\"><path d=\"" +
         path + "\"/></svg>" + Ends(ShortText(statistics.lowest), ShortText(statistics.highest));
}

std::string CurveOf(Bytes file, const Block& block, const Statistics& statistics) {
  if (!IsFinite(statistics)) return "";
  constexpr std::uint64_t kMostPoints = 600;
  constexpr std::uint64_t kMostDots = 60;
  const std::uint64_t count = ElementCount(block);
  const std::uint64_t columns = std::min(count, kMostPoints);
  const auto y = [&](double value) { return Coordinate(96 - 92 * PartOf(value, statistics)); };
  const auto x = [&](std::uint64_t column) {
    return Coordinate(columns == 1 ? 300.0
                                   : 4 + 592.0 * static_cast<double>(column) /
                                             static_cast<double>(columns - 1));
  };
  std::string upper, lower, dots;
  WithElements(file, block, [&](const std::uint8_t* at, std::uint64_t, auto zero) {
    using T = decltype(zero);
    for (std::uint64_t column = 0; column < columns; ++column) {
      const std::uint64_t first = column * count / columns, end = (column + 1) * count / columns;
      double lowest = INFINITY, highest = -INFINITY;
      for (std::uint64_t i = first; i < end; ++i) {
        const auto value = static_cast<double>(NumberAt<T>(at + i * sizeof(T)));
        lowest = std::fmin(lowest, value), highest = std::fmax(highest, value);
      }
      if (lowest > highest) continue;
      upper += (upper.empty() ? "M" : "L") + x(column) + " " + y(highest);
      lower.insert(0, "L" + x(column) + " " + y(lowest));
      // A line of no length, whose round ends are a dot on any scale.
      if (columns <= kMostDots) dots += "M" + x(column) + " " + y(highest) + "h0";
    }
  });
  std::string zero;
  if (statistics.lowest < 0 && statistics.highest > 0) {
    zero = "<path class=\"zero\" d=\"M0 " + y(0) + "H600\"/>";
  }
  return Element("div", "top", ShortText(statistics.highest)) +
         "<svg class=\"curve\" viewBox=\"0 0 600 100\" preserveAspectRatio=\"none\" role=\"img\" "
         "aria-label=\"plot\">" +
         zero +
         (count > columns ? "<path class=\"range\" d=\"" + upper + lower + "z\"/>"
                          : "<path class=\"line\" d=\"" + upper + "\"/><path class=\"dots\" d=\"" +
                                dots + "\"/>") +
         "</svg>" + Ends(ShortText(statistics.lowest), CountText(count, "element"));
}

}  // namespace tools::report
