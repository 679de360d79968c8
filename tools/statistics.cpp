// SPDX-License-Identifier: MIT
#include "tools/statistics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

#include "tools/element_types.h"

namespace tools {

std::uint64_t ElementCount(const Block& block) {
  return block.bytes / FindElementKind(block.type)->bytes;
}

Statistics StatisticsOf(Bytes file, const Block& block) {
  return WithElements(file, block, [](const std::uint8_t* at, std::uint64_t count, auto zero) {
    using T = decltype(zero);
    // Integers of a plane are summed exactly.
    using Sum = std::conditional_t<std::is_integral_v<T>, std::int64_t, double>;
    T lowest = std::numeric_limits<T>::max(), highest = std::numeric_limits<T>::lowest();
    if constexpr (!std::is_integral_v<T>) {
      lowest = std::numeric_limits<T>::infinity();
      highest = -lowest;
    }
    Sum sum = 0;
    std::uint64_t nanCount = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
      const T value = NumberAt<T>(at + i * sizeof(T));
      if constexpr (!std::is_integral_v<T>) {
        if (std::isnan(value)) {
          ++nanCount;
          continue;
        }
      }
      lowest = std::min(lowest, value);
      highest = std::max(highest, value);
      sum += static_cast<Sum>(value);
    }
    const std::uint64_t numbers = count - nanCount;
    if (numbers == 0) {
      const double nan = std::numeric_limits<double>::quiet_NaN();
      return Statistics{nan, nan, nan, 0, nanCount};
    }
    return Statistics{static_cast<double>(lowest), static_cast<double>(highest),
                      static_cast<double>(sum) / static_cast<double>(numbers), numbers, nanCount};
  });
}

}  // namespace tools
