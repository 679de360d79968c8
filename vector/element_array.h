// The arrays of a vector: contiguous and growable, counted in signed 32 bits. New elements are zero
// bits (VT_EMPTY); shrinking keeps the capacity.
//
// A stream can state any count. Memory comes zeroed by the system and is not touched on our side
// before somebody writes there, so that a count alone makes nothing resident.
//
// Growing raises std::length_error "vector too long" for a count that no container can hold (one
// below 0), and std::bad_alloc "bad allocation" without memory; the array is then unchanged.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "platform/platform.h"

namespace rastel {

[[noreturn]] void RaiseBadAllocation();

// Zeroed memory that lives until its last holder lets go: a stream that is given an address may
// resize the array before it uses it.
class SharedBlock {
 public:
  SharedBlock() noexcept = default;
  // Empty when there is no memory.
  static SharedBlock TryAllocate(std::size_t bytes) noexcept;
  SharedBlock(const SharedBlock& other) noexcept : header_(other.header_) {
    if (header_) header_->holders.fetch_add(1, std::memory_order_relaxed);
  }
  SharedBlock(SharedBlock&& other) noexcept : header_(std::exchange(other.header_, nullptr)) {}
  SharedBlock& operator=(SharedBlock other) noexcept {
    std::swap(header_, other.header_);
    return *this;
  }
  ~SharedBlock();

  explicit operator bool() const noexcept { return header_ != nullptr; }
  // Null for an empty one.
  void* Get() const noexcept { return header_ ? header_ + 1 : nullptr; }

 private:
  struct alignas(16) Header {
    std::atomic<std::size_t> holders;
  };

  Header* header_ = nullptr;
};

// The array without the type of its elements. It does not release what elements own.
class ElementBlock {
 public:
  explicit ElementBlock(std::size_t elementBytes) noexcept : elementBytes_(elementBytes) {}
  ElementBlock(const ElementBlock&) = delete;
  ElementBlock& operator=(const ElementBlock&) = delete;

  LONG Count() const noexcept { return count_; }
  bool Has(LONG index) const noexcept { return index >= 0 && index < count_; }
  std::size_t ElementBytes() const noexcept { return elementBytes_; }
  // Of all elements.
  std::size_t Bytes() const noexcept { return static_cast<std::size_t>(count_) * elementBytes_; }
  // Valid until the array next grows or is destroyed, and as long as somebody holds the block.
  void* Address() const noexcept { return data_; }
  void* Address(LONG index) const noexcept {
    return static_cast<std::byte*>(data_) + static_cast<std::size_t>(index) * elementBytes_;
  }
  SharedBlock Hold() const noexcept { return block_; }

  // Raises, as told above.
  void Resize(LONG count);
  // Takes over count and content. Raises.
  void CopyFrom(const ElementBlock& source);

 protected:
  ~ElementBlock() = default;

  // Makes room, keeping so many bytes from the start. Raises.
  void Reserve(LONG count, std::size_t bytesInUse);
  void SetCount(LONG count) noexcept { count_ = count; }
  // Gives the memory away; the array is empty.
  SharedBlock Detach() noexcept;

 private:
  void MoveTo(SharedBlock block, std::int64_t capacity, std::size_t bytesInUse) noexcept;

  void* data_ = nullptr;
  LONG count_ = 0;
  std::size_t elementBytes_;
  std::int64_t capacity_ = 0;  // in elements
  SharedBlock block_;
};

// Values that were taken out of an array of VARIANTs. They are released at the end of the scope,
// when the array is in its final state: a release may call back into the object. One serves one
// array.
class DisplacedVariants {
 public:
  DisplacedVariants() noexcept = default;
  DisplacedVariants(const DisplacedVariants&) = delete;
  DisplacedVariants& operator=(const DisplacedVariants&) = delete;
  ~DisplacedVariants();

  // Whether releasing a value does anything.
  static bool IsOwner(const VARIANT& value) noexcept;

  // Room for more values; false without memory.
  bool Reserve(std::size_t more) noexcept;
  // Takes a value, for which there must be room.
  void Take(const VARIANT& value) noexcept { values_[count_++] = value; }
  // Takes a whole array.
  void TakeBlock(SharedBlock block, LONG count) noexcept;

 private:
  static constexpr std::size_t kStackValues = 8;

  VARIANT stack_[kStackValues];
  VARIANT* values_ = stack_;
  std::size_t count_ = 0;
  std::size_t capacity_ = kStackValues;
  SharedBlock block_;
  LONG blockCount_ = 0;
};

// Numeric elements.
template <class T>
class ElementArray : public ElementBlock {
 public:
  ElementArray() noexcept : ElementBlock(sizeof(T)) {}

  T* Data() const noexcept { return static_cast<T*>(Address()); }

  using ElementBlock::Resize;
  void Resize(LONG count, DisplacedVariants&) { Resize(count); }
  // Sets every element.
  void Fill(const T& value, DisplacedVariants&) noexcept { std::fill_n(Data(), Count(), value); }
};

// VARIANTs, which the array owns. What a slot held comes out to the caller and is never released in
// here.
template <>
class ElementArray<VARIANT> : private ElementBlock {
 public:
  ElementArray() noexcept : ElementBlock(sizeof(VARIANT)) {}
  ~ElementArray();

  using ElementBlock::Count;
  using ElementBlock::Has;

  // The live array, for clients.
  VARIANT* Data() noexcept {
    touched_ = Count();
    return Slots();
  }
  // The bits of an element, without a count of its own.
  const VARIANT& At(LONG index) const noexcept { return Slots()[index]; }
  // Elements from here on are VT_EMPTY.
  LONG Touched() const noexcept { return (std::min)(touched_, Count()); }
  // A place to put a value in; what it holds is then the caller's.
  VARIANT& Slot(LONG index) noexcept {
    touched_ = (std::max)(touched_, index + 1);
    return Slots()[index];
  }
  [[nodiscard]] VARIANT Exchange(LONG index, const VARIANT& value) noexcept {
    return std::exchange(Slot(index), value);
  }

  // Raises std::bad_alloc also for a shrink that finds no room for what it displaces; emptying
  // never raises.
  void Resize(LONG count, DisplacedVariants& displaced);
  // Makes the elements from an index on VT_EMPTY; the count stays. Raises std::bad_alloc.
  void Empty(LONG from, DisplacedVariants& displaced);
  // Sets every element to a value that owns nothing. Raises std::bad_alloc.
  void Fill(const VARIANT& value, DisplacedVariants& displaced);

 private:
  VARIANT* Slots() const noexcept { return static_cast<VARIANT*>(Address()); }
  bool TryEmpty(LONG from, DisplacedVariants& displaced) noexcept;

  // Elements from here on are zero bits, so that nobody need look at them.
  LONG touched_ = 0;
};

}  // namespace rastel
