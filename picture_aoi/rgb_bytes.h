// SPDX-License-Identifier: MIT
// Pixels of three bytes, apart and together: what most picture files hold.
#pragma once

#include <cstddef>
#include <cstdint>

namespace picture_aoi {

// Of 16 pixels at a time, as many as fit into `count`: gives how many pixels were moved, 0 where
// the processor cannot. The rows do not overlap.
std::size_t SplitRgb(const std::uint8_t* pixels, std::uint8_t* const rows[3], std::size_t count);
std::size_t JoinRgb(const std::uint8_t* const rows[3], std::uint8_t* pixels, std::size_t count);

}  // namespace picture_aoi
