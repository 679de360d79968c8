// SPDX-License-Identifier: MIT
// The stream of an attribute map.
#pragma once

#include "tools/class_names.h"
#include "tools/stream_walk.h"

namespace tools {

// The only version that there is.
inline constexpr std::uint32_t kMapVersion = 1;

// Walks over the stream of a map of the class. Raises BrokenStream.
void WalkMap(StreamWalk& walk, const KnownClass& known);

}  // namespace tools
