// SPDX-License-Identifier: MIT
// The records in which a VARIANT lies in a stream. Each is listed under the name and raises
// BrokenStream where what follows it cannot be found.
#pragma once

#include <string_view>

#include "tools/stream_walk.h"

namespace tools {

// The type and the value by its type; an object without a byte count.
void WalkPlainRecord(StreamWalk& walk, std::string_view name);

// The type and a plain record; an object with class identifier and byte count.
void WalkTaggedRecord(StreamWalk& walk, std::string_view name);

// The 24 bytes of a VARIANT as it lay in memory.
void WalkVariantImage(StreamWalk& walk, std::string_view name);

}  // namespace tools
