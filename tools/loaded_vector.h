// SPDX-License-Identifier: MIT
// A loaded vector: what it answers about itself.
#pragma once

#include "tools/answers.h"
#include "tools/loaded_object.h"
#include "tools/stream_walk.h"

namespace tools {

// Raises ComFailure.
void AddVectorAnswers(const LoadedObject& object, Answers& answers);

// Whether the object read what the walk found.
bool IsVectorInStep(const LoadedObject& object, const VectorHead& head);

// The oldest version always has tags, and Load keeps them out of sight: Save would leave them out.
void ShowHiddenTags(const LoadedObject& object);

}  // namespace tools
