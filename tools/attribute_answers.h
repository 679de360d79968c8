// SPDX-License-Identifier: MIT
// Names, tags and attributes of a stream, with what stands in them.
#pragma once

#include "tools/answers.h"
#include "tools/field_tree.h"

namespace tools {

// The tag of an AOI, and the attributes of its map, or of the map that the fields are of.
void AddTag(const FieldNode& aoi, Answers& answers);
void AddAttributes(const FieldNode& owner, Answers& answers);

// An attribute's value, or an object inside, in one line, and for programs.
std::string ValueText(const FieldNode& value);
Json ValueJson(const FieldNode& value);

// Calls `use` with the key and the value of each attribute of a map.
template <class Use>
void EachAttribute(const std::vector<FieldNode>& mapFields, Use use) {
  for (const FieldNode& group : mapFields) {
    if (group.name != "attributes") continue;
    for (std::size_t i = 0; i + 1 < group.fields.size(); i += 2) {
      use(group.fields[i], group.fields[i + 1]);
    }
  }
}

}  // namespace tools
