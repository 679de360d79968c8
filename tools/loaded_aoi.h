// SPDX-License-Identifier: MIT
// A loaded AOI: what it answers about itself, and what it needs so that Save leaves nothing out.
#pragma once

#include "tools/answers.h"
#include "tools/loaded_object.h"
#include "tools/stream_walk.h"

namespace tools {

// Raises ComFailure.
void AddAoiAnswers(const LoadedObject& object, Answers& answers);

// Whether the object read what the walk found.
bool IsAoiInStep(const LoadedObject& object, const AoiHead& head);

// Shows an AOI that was loaded without its pixels those in the file, which must outlive it. False,
// with nothing changed: they do not lie there as a buffer has them.
bool ShowPixels(const LoadedObject& object, Bytes file, std::span<const Block> blocks);

// Load puts the rectangle form at the corner of its buffer and forgets the margins, and saves of
// that would leave pixels out: puts rectangle and margins back, and where they do not cover the
// buffer, has the whole buffer saved. True in that last case. Raises ComFailure.
bool MakeAoiWhole(const LoadedObject& object, const AoiHead& head);

}  // namespace tools
