// SPDX-License-Identifier: MIT
#include "module/frame/pixel_memory.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "platform/large_pages.h"
#include "platform/object_memory.h"

namespace rastel {
namespace {

constexpr std::size_t kLarge = std::size_t{4} << 20;
// A cache line less one byte. Under the sanitizer a block ends where the allocator's does.
#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t kSlack = 0;
#else
constexpr std::size_t kSlack = 63;
#endif
constexpr std::size_t kMostKeptBytes = std::size_t{128} << 20;

class KeptBlocks {
 public:
  ~KeptBlocks() { Free(); }

  // A kept block of which no more than a fifth is left over; a null one if there is none.
  MemoryBlock Take(std::size_t bytes) noexcept {
    const Turn turn(isBusy_);
    if (!turn) return {};
    for (MemoryBlock& block : blocks_) {
      if (block.bytes < bytes || block.bytes - bytes > bytes / 4) continue;
      bytes_ -= block.bytes;
      return std::exchange(block, MemoryBlock{});
    }
    return {};
  }

  // Keeps the block in the place of older ones. False: it is to be freed.
  bool Keep(MemoryBlock block) noexcept {
    if (block.bytes > kMostKeptBytes) return false;
    const Turn turn(isBusy_);
    if (!turn) return false;
    do {
      next_ = (next_ + 1) % std::size(blocks_);
      FreeOne(blocks_[next_]);
    } while (bytes_ + block.bytes > kMostKeptBytes);
    bytes_ += block.bytes;
    blocks_[next_] = block;
    return true;
  }

  void Free() noexcept {
    const Turn turn(isBusy_);
    if (!turn) return;
    for (MemoryBlock& block : blocks_) FreeOne(block);
  }

 private:
  // Who would have to wait does without.
  class Turn {
   public:
    explicit Turn(std::atomic_flag& isBusy) noexcept
        : isBusy_(isBusy), isMine_(!isBusy.test_and_set(std::memory_order_acquire)) {}
    ~Turn() {
      if (isMine_) isBusy_.clear(std::memory_order_release);
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    explicit operator bool() const noexcept { return isMine_; }

   private:
    std::atomic_flag& isBusy_;
    const bool isMine_;
  };

  void FreeOne(MemoryBlock& block) noexcept {
    bytes_ -= block.bytes;
    std::free(std::exchange(block, MemoryBlock{}).allocated);
  }

  std::atomic_flag isBusy_;
  MemoryBlock blocks_[4];
  std::size_t next_ = 0;
  std::size_t bytes_ = 0;
};

KeptBlocks keptBlocks;

constexpr bool IsSmall(std::size_t bytes) noexcept {
  return bytes <= platform::ObjectMemory::kMostBytes - kSlack;
}

MemoryBlock Allocate(std::size_t bytes, bool isZero) noexcept {
  if (bytes > SIZE_MAX - kSlack) return {};
  const auto allocate = [&]() -> void* {
    if (!IsSmall(bytes)) {
      return isZero ? std::calloc(bytes + kSlack, 1) : std::malloc(bytes + kSlack);
    }
    void* const block = platform::objectMemory.Allocate(bytes + kSlack);
    return block && isZero ? std::memset(block, 0, bytes + kSlack) : block;
  };
  void* allocated = allocate();
  if (!allocated) {
    keptBlocks.Free();
    allocated = allocate();
  }
  if (!allocated) return {};
  if (bytes >= kLarge) platform::PreferLargePages(allocated, bytes);
  void* memory = allocated;
  std::size_t room = bytes + kSlack;
  std::align(kSlack + 1, bytes, memory, room);
  return {memory, bytes, allocated};
}

}  // namespace

MemoryBlock TakeBlock(std::size_t bytes) noexcept {
  if (bytes >= kLarge) {
    if (const MemoryBlock kept = keptBlocks.Take(bytes); kept.memory) return kept;
  }
  return Allocate(bytes, false);
}

MemoryBlock TakeZeroBlock(std::size_t bytes) noexcept { return Allocate(bytes, true); }

void GiveBlockBack(MemoryBlock block) noexcept {
  if (block.bytes >= kLarge && keptBlocks.Keep(block)) return;
  if (block.allocated && IsSmall(block.bytes)) {
    platform::objectMemory.Free(block.allocated, block.bytes + kSlack);
  } else {
    std::free(block.allocated);
  }
}

void FreeKeptBlocks() noexcept { keptBlocks.Free(); }

}  // namespace rastel
