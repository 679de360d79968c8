// SPDX-License-Identifier: MIT
// The pixels of planes as pictures that a page can hold.
#pragma once

#include <string>
#include <vector>

#include "tools/statistics.h"

namespace tools::report {

// A picture of a plane, or of three as colours. A large plane is reduced by the mean of what falls
// into a point. Bytes are shown as they are, other types from their lowest to their highest value,
// and a point with a NaN in it stands out.
struct PlanePicture {
  std::string png;
  int width = 0;
  int height = 0;
  bool isReduced = false;
};

// Of one plane, or of three of the same size. The blocks lie in the file and have rows.
PlanePicture PictureOf(Bytes file, const std::vector<Block>& planes,
                       const std::vector<Statistics>& statistics);

}  // namespace tools::report
