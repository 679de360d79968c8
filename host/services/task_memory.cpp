// SPDX-License-Identifier: MIT
#include "host/services/task_memory.h"

#include <cstdlib>

LPVOID CoTaskMemAlloc(SIZE_T bytes) noexcept { return std::malloc(bytes == 0 ? 1 : bytes); }

LPVOID CoTaskMemRealloc(LPVOID block, SIZE_T bytes) noexcept {
  if (block != nullptr && bytes == 0) {
    std::free(block);
    return nullptr;
  }
  return std::realloc(block, bytes == 0 ? 1 : bytes);
}

void CoTaskMemFree(LPVOID block) noexcept { std::free(block); }
