// SPDX-License-Identifier: MIT
// A loaded attribute map: what it answers about itself.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/loaded_object.h"
#include "tools/stream_walk.h"

namespace tools {

// Names and values for people. Raises ComFailure.
std::vector<std::pair<const char*, std::string>> MapAnswers(const LoadedObject& object);

// Whether the object read what the walk found.
bool IsMapInStep(const LoadedObject& object, const MapHead& head);

}  // namespace tools
