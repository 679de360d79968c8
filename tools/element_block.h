// SPDX-License-Identifier: MIT
// Numbers of one type that follow one another in a stream.
#pragma once

#include <cstdint>
#include <string>

#include "tools/element_types.h"
#include "tools/stream_walk.h"

namespace tools {

// Walks over so many numbers, in rows of a width if they are pixels, and lists them under the name.
// Raises BrokenStream where the stream ends before.
void WalkElementBlock(StreamWalk& walk, const ElementKind& kind, const std::string& name,
                      std::uint64_t count, std::int32_t width = 0);

// "[3]".
std::string IndexText(std::uint64_t index);

}  // namespace tools
