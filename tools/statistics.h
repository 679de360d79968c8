// SPDX-License-Identifier: MIT
// What a block of numbers comes to.
#pragma once

#include "tools/stream_walk.h"

namespace tools {

struct Statistics {
  // Of all that are numbers, so many of them. Without any, NaN.
  double lowest;
  double highest;
  double mean;
  std::uint64_t count = 0;
  std::uint64_t nanCount = 0;
};

// Of a block in a file, once through.
Statistics StatisticsOf(Bytes file, const Block& block);

std::uint64_t ElementCount(const Block& block);

// Calls `use` with the address of the first element, which need not be aligned, the count, and a
// value of their type.
template <class Use>
auto WithElements(Bytes file, const Block& block, Use use) {
  const std::uint8_t* const at = file.data() + static_cast<std::size_t>(block.offset);
  switch (block.type) {
    case ElementChar:
      return use(at, block.bytes, std::int8_t{});
    case ElementWord:
      return use(at, block.bytes / 2, std::uint16_t{});
    case ElementShort:
      return use(at, block.bytes / 2, std::int16_t{});
    case ElementDWord:
      return use(at, block.bytes / 4, std::uint32_t{});
    case ElementLong:
      return use(at, block.bytes / 4, std::int32_t{});
    case ElementFloat:
      return use(at, block.bytes / 4, float{});
    case ElementDouble:
      return use(at, block.bytes / 8, double{});
    default:
      return use(at, block.bytes, std::uint8_t{});
  }
}

}  // namespace tools
