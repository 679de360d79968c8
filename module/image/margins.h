// SPDX-License-Identifier: MIT
// Fills the margins of image planes in place, by element size only: 1, 2, 4 or 8 bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "interfaces/enums.h"
#include "module/image/buffer_geometry.h"

namespace rastel {

// Writes the margin of every plane, each from its own interior, in one of the modes MarginZero to
// MarginReplicate. A margin may equal the smaller interior size but not exceed it. A corner is the
// rule of the columns applied to the rule of the rows.
//
// Only the first `elements` elements of the geometry are there. Of the plane that their end cuts
// through, margin elements are written as far as they and what they repeat are there; planes behind
// it are left alone. Margins below 1 and stored sizes that wrapped leave nothing to fill.
void FillMarginElements(void* data, std::size_t elementBytes, std::int64_t elements,
                        const BufferGeometry& geometry, MarginModeKLP mode) noexcept;

}  // namespace rastel
