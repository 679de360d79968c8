// SPDX-License-Identifier: MIT
// The memory that crosses an interface: whoever receives such a block frees it with CoTaskMemFree.
// Any thread may free what another one allocated.
#pragma once

#include "host/base/scalars.h"

// A block of the given size in bytes, uninitialised; 0 bytes give a block as well. Null when the
// memory cannot be had.
RASTEL_HOST_API LPVOID CoTaskMemAlloc(SIZE_T bytes) noexcept;

// Changes the size and keeps what fits. A null block is allocated; a size of 0 frees the block and
// gives null. When the memory cannot be had the result is null and the old block is untouched.
RASTEL_HOST_API LPVOID CoTaskMemRealloc(LPVOID block, SIZE_T bytes) noexcept;

// Frees a block; null is nothing.
RASTEL_HOST_API void CoTaskMemFree(LPVOID block) noexcept;
