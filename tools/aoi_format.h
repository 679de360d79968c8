// SPDX-License-Identifier: MIT
// The stream of an AOI, in all its versions.
#pragma once

#include "tools/class_names.h"
#include "tools/stream_walk.h"

namespace tools {

// The version that AOIs write.
inline constexpr std::uint16_t kNewestAoiVersion = 514;

bool IsAoiVersion(std::uint16_t version);

// Walks over the stream of an AOI of the class. Raises BrokenStream.
void WalkAoi(StreamWalk& walk, const KnownClass& known);

}  // namespace tools
