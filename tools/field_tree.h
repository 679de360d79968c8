// SPDX-License-Identifier: MIT
// The fields of a stream as a tree, for those who look for some of them.
#pragma once

#include "tools/listing.h"

namespace tools {

struct FieldNode {
  std::uint64_t offset = 0;
  // 0 for what has none of its own.
  std::uint64_t bytes = 0;
  std::string name;
  Value value;
  std::vector<FieldNode> fields;

  // The first field inside of the name; null if there is none.
  const FieldNode* Find(std::string_view name) const;
};

// The fields of an object inside another, in whose value it stands.
const std::vector<FieldNode>& ObjectFields(const FieldNode& value);

// Keeps the lines of a walk, up to a limit.
class FieldTree final : public Listing {
 public:
  FieldTree() : Listing({20000, 20000, 1, 60}) {}

  // The outermost fields are inside it.
  const FieldNode& root() const { return root_; }
  // Whether there are more than were kept.
  bool IsCut() const { return isCut_; }
  void Problem(std::uint64_t, std::string_view) override {}

 private:
  void Take(const Line& line) override;
  void TakeEnd() override { isCut_ = true; }

  FieldNode root_{0, 0, "", "", {}};
  // The last field on each level.
  std::vector<FieldNode*> last_{&root_};
  bool isCut_ = false;
};

}  // namespace tools
