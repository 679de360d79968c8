// SPDX-License-Identifier: MIT
// A loaded attribute map: what it answers about itself.
#pragma once

#include "tools/answers.h"
#include "tools/loaded_object.h"
#include "tools/stream_walk.h"

namespace tools {

// Raises ComFailure.
void AddMapAnswers(const LoadedObject& object, Answers& answers);

// Whether the object read what the walk found.
bool IsMapInStep(const LoadedObject& object, const MapHead& head);

}  // namespace tools
