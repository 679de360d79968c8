// SPDX-License-Identifier: MIT
// Numbers drawn.
#pragma once

#include <string>

#include "tools/statistics.h"

namespace tools::report {

// How often each value of a block is there, between its lowest and its highest. Empty where there
// is no number.
std::string HistogramOf(Bytes file, const Block& block, const Statistics& statistics);

// The numbers of a block one beside the other; of very many what their ranges are.
std::string CurveOf(Bytes file, const Block& block, const Statistics& statistics);

}  // namespace tools::report
