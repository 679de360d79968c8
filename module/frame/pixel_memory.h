// SPDX-License-Identifier: MIT
// The memory of pictures, which begins where a cache line does. The system takes longer to make
// fresh pages resident than a program to fill them, so some blocks that are given back are kept for
// the next picture: at most four, of 4 MB and more, 128 MB in all. They are freed when memory runs
// out, when the host asks whether the module can be unloaded (CoFreeUnusedLibraries), and with the
// module. Any thread may call.
#pragma once

#include <cstddef>

namespace rastel {

// A block, how many bytes it has room for, and what of the allocator it lies in.
struct MemoryBlock {
  void* memory = nullptr;
  std::size_t bytes = 0;
  void* allocated = nullptr;
};

// At least so many bytes, of any content. Without memory the block is null.
MemoryBlock TakeBlock(std::size_t bytes) noexcept;
// The same, all zeros, which the system provides on first use.
MemoryBlock TakeZeroBlock(std::size_t bytes) noexcept;
// A block that is not used any more; null is fine.
void GiveBlockBack(MemoryBlock block) noexcept;
void FreeKeptBlocks() noexcept;

}  // namespace rastel
