// SPDX-License-Identifier: MIT
#include "tools/field_tree.h"

#include <algorithm>

namespace tools {

const FieldNode* FieldNode::Find(std::string_view wanted) const {
  const auto found = std::find_if(fields.begin(), fields.end(),
                                  [&](const FieldNode& field) { return field.name == wanted; });
  return found == fields.end() ? nullptr : &*found;
}

const std::vector<FieldNode>& ObjectFields(const FieldNode& value) {
  // Behind a byte count, or behind the class, or beside it.
  for (const char* const name : {"byte count", "class"}) {
    const FieldNode* const field = value.Find(name);
    if (field && !field->fields.empty()) return field->fields;
  }
  return value.fields;
}

void FieldTree::Take(const Line& line) {
  // Where a list is cut a remark says so.
  if (!line.offset) return;
  last_.resize(std::min<std::size_t>(last_.size(), line.depth + std::size_t{1}));
  std::vector<FieldNode>& siblings = last_.back()->fields;
  siblings.push_back(
      {*line.offset, line.bytes.value_or(0), std::string(line.name), line.value, {}});
  last_.push_back(&siblings.back());
}

}  // namespace tools
