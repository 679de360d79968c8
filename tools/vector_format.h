// SPDX-License-Identifier: MIT
// The stream of a vector, in all its versions.
#pragma once

#include "tools/class_names.h"
#include "tools/stream_walk.h"

namespace tools {

// The version that vectors write.
inline constexpr std::uint16_t kNewestVectorVersion = 0x0103;

bool IsVectorVersion(std::uint16_t version);

// Walks over the stream of a vector of the class. Raises BrokenStream.
void WalkVector(StreamWalk& walk, const KnownClass& known);

}  // namespace tools
