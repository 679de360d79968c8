// SPDX-License-Identifier: MIT
// The sanitizer's own operator new ends the program where its limit is reached, whatever its
// options say; the module's answer to memory that it does not get is what is to be seen. Thus
// malloc's, which gives null there.
#include <cstdlib>
#include <new>

void* operator new(std::size_t size) {
  if (void* const block = std::malloc(size ? size : 1)) return block;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size ? size : 1);
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return operator new(size, std::nothrow);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
