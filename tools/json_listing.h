// SPDX-License-Identifier: MIT
// The lines of a walk as JSON: an array of fields, in which those inside others stand as "fields".
#pragma once

#include <ostream>

#include "tools/listing.h"

namespace tools {

class JsonListing final : public Listing {
 public:
  // Begins the array. The stream must outlive the listing.
  JsonListing(std::ostream& out, const Extent& extent);
  // Ends it.
  void End();
  // Problems are told behind the fields, by those who collected them.
  void Problem(std::uint64_t, std::string_view) override {}

 private:
  void Take(const Line& line) override;
  void TakeEnd() override;
  // Ends the objects that a line of this depth does not stand in.
  void CloseTo(std::size_t depth);

  std::ostream& out_;
  // Of the objects that have not ended; whether they have fields inside.
  std::vector<bool> open_;
  bool isFirst_ = true;
};

}  // namespace tools
