// SPDX-License-Identifier: MIT
// The zlib form of small blocks.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace pictures {

// Nothing where the bytes are no such block, or one of more than 64 MiB.
std::optional<std::vector<std::uint8_t>> Inflate(std::span<const std::uint8_t> bytes);
// At most 1 GiB. Raises std::bad_alloc.
std::vector<std::uint8_t> Deflate(std::span<const std::uint8_t> bytes);

}  // namespace pictures
