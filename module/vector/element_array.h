// SPDX-License-Identifier: MIT
// The arrays of a vector: contiguous and growable, counted in signed 32 bits. New elements are zero
// bits (VT_EMPTY); shrinking keeps the capacity.
//
// A stream can state any count. Memory comes zeroed by the system and is not touched on our side
// before somebody writes there, and what nobody has written is neither cleared, copied nor counted
// one by one: a count alone makes nothing resident and takes no time.
//
// Growing raises std::length_error "vector too long" for a count that no container can hold (one
// below 0), and std::bad_alloc "bad allocation" without memory; the array is then unchanged.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "module/persist/stream_reader.h"
#include "module/persist/zeroed_memory.h"
#include "platform/platform.h"

namespace rastel {

// Zeroed memory that lives until its last holder lets go: a stream that is given an address may
// resize the array before it uses it.
class SharedBlock {
 public:
  SharedBlock() noexcept = default;
  // A copy of `used` bytes, and zeros behind them. Empty when there is no memory.
  static SharedBlock TryAllocate(std::size_t bytes, const void* content, std::size_t used) noexcept;
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
    std::size_t bytes;  // with the header
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
  // Valid until the array grows beyond its capacity or is destroyed, and as long as somebody holds
  // the block.
  void* Address() const noexcept { return data_; }
  void* Address(LONG index) const noexcept {
    return static_cast<std::byte*>(data_) + static_cast<std::size_t>(index) * elementBytes_;
  }
  SharedBlock Hold() const noexcept { return block_; }

  // Elements from here on are zero bits.
  LONG Touched() const noexcept { return (std::min)(Mark(), count_); }

  // Raises, as told above.
  void Resize(LONG count);
  // Takes over count and content, where nobody has written yet. Raises.
  void CopyFrom(const ElementBlock& source);
  void PutBytes(LONG index, const void* element) noexcept {
    Touch(index + 1);
    std::memcpy(Address(index), element, elementBytes_);
  }
  // The result of one Read into all elements, and whether it told that it delivered them all.
  HRESULT ReadFrom(StreamReader& reader, bool* isWhole);

 protected:
  ~ElementBlock() = default;

  LONG Mark() const noexcept { return (std::max)(mark_, readEnd_); }
  void Touch(LONG end) noexcept { mark_ = (std::max)(mark_, end); }

  // Whether so many elements have room where the array lies.
  bool HasRoomFor(LONG count) const noexcept { return count >= 0 && count <= capacity_; }
  // Moves to where there is room for so many elements, and begins with the content there. Raises.
  void Move(LONG count, const void* content, std::size_t contentBytes);
  void SetCount(LONG count) noexcept { count_ = count; }

  // Slots from a mark on are zero bits, so that nobody need look at them. A client that was given
  // the address may write in all slots that it was ever told of until the array moves, which it
  // does only to grow beyond its capacity: until then the mark rises with the count and never
  // falls.
  LONG mark_ = 0;
  bool isExposed_ = false;

 private:
  void* data_ = nullptr;
  LONG count_ = 0;
  std::size_t elementBytes_;
  std::int64_t capacity_ = 0;  // in elements
  // While a stream has the address: elements up to here may have changed.
  LONG readEnd_ = 0;
  SharedBlock block_;
};

// Numeric elements.
template <class T>
class ElementArray : public ElementBlock {
 public:
  ElementArray() noexcept : ElementBlock(sizeof(T)) {}

  // The live array, for clients.
  T* Data() noexcept {
    isExposed_ = true;
    Touch(Count());
    return static_cast<T*>(Address());
  }
  T At(LONG index) const noexcept { return static_cast<const T*>(Address())[index]; }
  void Put(LONG index, T value) noexcept {
    Touch(index + 1);
    static_cast<T*>(Address())[index] = value;
  }
  // Sets every element. Zeros are there already where nobody has written.
  void Fill(T value) noexcept {
    constexpr T kZero{};
    const bool isZero = std::memcmp(&value, &kZero, sizeof value) == 0;
    if (!isZero) Touch(Count());
    std::fill_n(static_cast<T*>(Address()), Touched(), value);
  }
  // Whether there is nothing to let go.
  bool OwnsNothing() const noexcept { return true; }
};

// One operation's change of an array, of numbers here.
template <class Array>
class ElementChange {
 public:
  explicit ElementChange(Array& array) noexcept : array_(array) {}

  // Raises, as told above.
  void Resize(LONG count) { array_.Resize(count); }
  // Sets every element.
  template <class T>
  void Fill(const T& value) noexcept {
    array_.Fill(value);
  }

 private:
  Array& array_;
};

// VARIANTs, which the array owns. Slots behind the mark may stand for another value than their zero
// bits, to which all elements were set; it owns nothing, and is written when the mark rises.
template <>
class ElementArray<VARIANT> : private ElementBlock {
 public:
  ElementArray() noexcept : ElementBlock(sizeof(VARIANT)) {}
  ~ElementArray();

  using ElementBlock::Count;
  using ElementBlock::Has;

  // The live array, for clients.
  VARIANT* Data() noexcept {
    isExposed_ = true;
    Touch(Count());
    return Slots();
  }
  bool OwnsNothing() const noexcept { return mark_ == 0; }
  // The bits of an element, without a count of its own.
  VARIANT At(LONG index) const noexcept {
    if (index < mark_) return Slots()[index];
    return index < fillEnd_ ? fill_ : VARIANT{};
  }
  // Whether the element lies there.
  bool IsAt(LONG index, const VARIANT* place) const noexcept { return place == Slots() + index; }
  // Elements from here on own nothing.
  using ElementBlock::Touched;
  // The end of the elements that are known to be the same as this one.
  LONG EndOfEqual(LONG index) const noexcept {
    if (index < mark_) return index + 1;
    return index < fillEnd_ ? fillEnd_ : Count();
  }
  // Elements from here on, of which nobody has written any, become VT_EMPTY.
  void EmptyFrom(LONG index) noexcept { fillEnd_ = (std::min)(fillEnd_, index); }
  // Takes over the elements of the source that nobody has written.
  void CopyUntouched(const ElementArray& source) noexcept {
    fill_ = source.fill_;
    fillEnd_ = (std::min)(source.fillEnd_, Count());
  }
  // A place to put a value in; what it holds is then the caller's.
  VARIANT& Slot(LONG index) noexcept {
    Touch(index + 1);
    return Slots()[index];
  }
  [[nodiscard]] VARIANT Exchange(LONG index, const VARIANT& value) noexcept {
    return std::exchange(Slot(index), value);
  }

 private:
  using Change = ElementChange<ElementArray>;
  friend Change;

  VARIANT* Slots() const noexcept { return static_cast<VARIANT*>(Address()); }
  void Touch(LONG end) noexcept {
    for (LONG i = mark_; i < (std::min)(end, fillEnd_); ++i) Slots()[i] = fill_;
    ElementBlock::Touch(end);
  }
  void SetCount(LONG count) noexcept {
    EmptyFrom(count);
    ElementBlock::SetCount(count);
  }
  VARIANT TakeBehindEnd(LONG index) noexcept;

  // What slots from the mark up to the end stand for.
  VARIANT fill_{};
  LONG fillEnd_ = 0;
  // The innermost of the changes that go on.
  Change* change_ = nullptr;
};

// A change of an array of VARIANTs. What it displaces is released at the end of the scope, when the
// object is in its final state: a release may call back into the object and change it again, or end
// it. None of this needs memory, but for the move of an array that grows.
//
// Elements that are cut off wait in their slots behind the end, where nobody looks. Those that a
// fill replaces wait in memory of their own; without it they stay in place and leave one by one,
// each when its slot has the new value.
template <>
class ElementChange<ElementArray<VARIANT>> {
 public:
  explicit ElementChange(ElementArray<VARIANT>& array) noexcept
      : array_(&array), outer_(std::exchange(array.change_, this)) {}
  ~ElementChange();
  ElementChange(const ElementChange&) = delete;
  ElementChange& operator=(const ElementChange&) = delete;

  // Raises, as told above; not for a count that has room.
  void Resize(LONG count);
  // Sets every element to a value that owns nothing.
  void Fill(const VARIANT& value) noexcept {
    Replace(0, array_->Count(), value);
    array_->fill_ = value;
    array_->fillEnd_ = array_->Count();
  }

 private:
  friend ElementArray<VARIANT>;

  struct Range {
    LONG from = 0;
    LONG end = 0;
  };

  void Replace(LONG from, LONG end, const VARIANT& value) noexcept;

  ElementArray<VARIANT>* array_;  // null once it is gone
  ElementChange* const outer_;
  // What was replaced.
  ZeroedMemory<VARIANT> values_;
  LONG valueCount_ = 0;
  // What stayed in place instead, and its successor.
  Range late_;
  VARIANT lateValue_{};
  // What was cut off in the block from which the array moved.
  SharedBlock leftBlock_;
  Range left_;
};

}  // namespace rastel
