// SPDX-License-Identifier: MIT
// Memory of many pages for one owner each. The system takes its time to make pages, several times
// what it takes to fill them: large ones are asked for, and some blocks that were given back are
// used again. Those the system takes back by itself where memory is short, and
// CoFreeUnusedLibraries gives all of them back. Any thread may call. Nothing here is exported.
#pragma once

#include <cstddef>

namespace host {

// Smaller ones are a matter of the allocator.
inline constexpr std::size_t kLargeBlockBytes = std::size_t{4} << 20;

// Pages with any content, whose size is at least `bytes` and is told; null where they cannot be
// had.
void* TakeLargeBlock(std::size_t bytes, std::size_t* size) noexcept;
// Moves the pages of a block, and their content, to where there is room for so many bytes, or cuts
// them off. Null: the block stays as it is.
void* ResizeLargeBlock(void* block, std::size_t bytes, std::size_t* size) noexcept;
void GiveLargeBlock(void* block, std::size_t size) noexcept;

void FreeSpareBlocks() noexcept;

}  // namespace host
