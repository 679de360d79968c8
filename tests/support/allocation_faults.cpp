// SPDX-License-Identifier: MIT
#include "tests/support/allocation_faults.h"

#include <atomic>
#include <cstdlib>
#include <new>

// The linker sends calls of malloc to __wrap_malloc, and those of __real_malloc to malloc. It takes
// the calls in shared libraries for such calls too and wants the symbols visible, but does not
// divert them.
#pragma GCC visibility push(default)
extern "C" {
void* __real_malloc(std::size_t bytes);
void* __real_calloc(std::size_t count, std::size_t bytes);
void* __real_realloc(void* block, std::size_t bytes);
void* __wrap_malloc(std::size_t bytes);
void* __wrap_calloc(std::size_t count, std::size_t bytes);
void* __wrap_realloc(void* block, std::size_t bytes);
}
#pragma GCC visibility pop

namespace tests {
namespace {

constexpr long long kOff = -2;

std::atomic<long long> refused{kOff};  // index of the allocation that fails
std::atomic<bool> refusesForGood{false};
std::atomic<long long> seen{0};
std::atomic<long long> liveBlocks{0};

bool Refuse() noexcept {
  const long long index = refused.load(std::memory_order_relaxed);
  if (index == kOff) return false;
  const long long number = seen.fetch_add(1, std::memory_order_relaxed);
  return number == index ||
         (number > index && index >= 0 && refusesForGood.load(std::memory_order_relaxed));
}

void* Allocate(std::size_t bytes) noexcept {
  if (Refuse()) return nullptr;
  void* const block = __real_malloc(bytes != 0 ? bytes : 1);
  if (block != nullptr) liveBlocks.fetch_add(1, std::memory_order_relaxed);
  return block;
}

void* AllocateOrThrow(std::size_t bytes) {
  if (void* const block = Allocate(bytes)) return block;
  throw std::bad_alloc();
}

void Free(void* block) noexcept {
  if (block != nullptr) liveBlocks.fetch_sub(1, std::memory_order_relaxed);
  std::free(block);
}

}  // namespace

long long LiveBlocks() noexcept { return liveBlocks.load(std::memory_order_relaxed); }

AllocationFaults::AllocationFaults(long long granted, bool forGood) noexcept {
  // The first exception that gets no memory locks the reserve that exceptions have, and on Windows
  // a lock's first use takes memory: without that the program would throw until its stack ends.
  refusesForGood.store(false, std::memory_order_relaxed);
  seen.store(0, std::memory_order_relaxed);
  refused.store(0, std::memory_order_relaxed);
  try {
    throw 0;
  } catch (int) {
  }
  seen.store(0, std::memory_order_relaxed);
  refusesForGood.store(forGood, std::memory_order_relaxed);
  refused.store(granted, std::memory_order_relaxed);
}

long long AllocationFaults::Stop() noexcept {
  if (running_) refused.store(kOff, std::memory_order_relaxed);
  running_ = false;
  return seen.load(std::memory_order_relaxed);
}

}  // namespace tests

void* __wrap_malloc(std::size_t bytes) { return tests::Refuse() ? nullptr : __real_malloc(bytes); }
void* __wrap_calloc(std::size_t count, std::size_t bytes) {
  return tests::Refuse() ? nullptr : __real_calloc(count, bytes);
}
void* __wrap_realloc(void* block, std::size_t bytes) {
  return tests::Refuse() ? nullptr : __real_realloc(block, bytes);
}

void* operator new(std::size_t bytes) { return tests::AllocateOrThrow(bytes); }
void* operator new[](std::size_t bytes) { return tests::AllocateOrThrow(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return tests::Allocate(bytes);
}
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
  return tests::Allocate(bytes);
}
void operator delete(void* block) noexcept { tests::Free(block); }
void operator delete[](void* block) noexcept { tests::Free(block); }
void operator delete(void* block, std::size_t) noexcept { tests::Free(block); }
void operator delete[](void* block, std::size_t) noexcept { tests::Free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { tests::Free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { tests::Free(block); }
