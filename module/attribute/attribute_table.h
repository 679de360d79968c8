// SPDX-License-Identifier: MIT
// The attributes of one content of a map: a hash finds them, and rows list them in the order of
// their keys. Both lie in one block of memory.
//
// Both are made when they are needed, without memory. New attributes go behind the rows; whoever
// walks has those that came since sorted and merged, so that a walk after a few changes costs no
// more than the walk itself. Keys that come in order stay in it, and a load that brings them so
// hashes none; the first look-up does.
//
// A table is counted. While several hold it nobody changes it, but each of them may walk and look
// up at any time, on any thread.
#pragma once

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <utility>
#include <vector>

#include "module/attribute/attribute.h"
#include "module/attribute/deferred_work.h"
#include "platform/com_ptr.h"

namespace rastel {

template <class Key>
class AttributeTable {
 public:
  using Kind = KeyKind<Key>;
  using Sought = typename Kind::Sought;
  using Item = Attribute<Key>;
  using Pointer = platform::ComPtr<AttributeTable>;

  // With room for so many attributes. Raises std::bad_alloc.
  static Pointer New(std::size_t attributes) { return Make(SlotsFor(attributes)); }
  // The same attributes, with room for one more. Raises std::bad_alloc.
  Pointer Copy() const {
    Arrange();
    Pointer copy = Make(SlotsFor(count_ + 1));
    copy->TakeRows(*this);
    for (Item* const attribute : *copy) attribute->AddRef();
    return copy;
  }
  AttributeTable(const AttributeTable&) = delete;
  AttributeTable& operator=(const AttributeTable&) = delete;

  void AddRef() noexcept { holders_.fetch_add(1, std::memory_order_relaxed); }
  void Release() noexcept {
    if (IsShared() && holders_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    // Objects go in the order of the keys.
    if (HasForeignValues()) Arrange();
    for (Item* const attribute : *this) attribute->Release();
    this->~AttributeTable();
    ::operator delete(this);
  }
  bool IsShared() const noexcept { return holders_.load(std::memory_order_acquire) != 1; }

  std::size_t Count() const noexcept { return count_; }
  // Whether a value, when it is copied or released, may call foreign code.
  bool HasForeignValues() const noexcept { return foreignValues_ != 0; }

  // The attribute with a key, or null. The hash is that of the key.
  Item* Find(Sought key, std::uint32_t hash) const noexcept {
    NeedSlots();
    for (std::size_t i = hash & mask_; slots_[i].attribute; i = (i + 1) & mask_) {
      if (slots_[i].hash == hash && Kind::IsEqual(slots_[i].attribute->Key(), key)) {
        return slots_[i].attribute;
      }
    }
    return nullptr;
  }

  // Brings the rows into order.
  void Arrange() const noexcept {
    order_.Need([this] { Sort(); });
  }
  // Walks over the rows: in order, if they were arranged since the last change.
  class Iterator {
   public:
    Iterator() = default;
    Iterator(Item* const* row, Item* const* end) noexcept : row_(row), end_(end) { Skip(); }
    Item* operator*() const noexcept { return *row_; }
    Iterator& operator++() noexcept {
      ++row_;
      Skip();
      return *this;
    }
    bool operator==(const Iterator& other) const noexcept { return row_ == other.row_; }

   private:
    void Skip() noexcept {
      while (row_ != end_ && !*row_) ++row_;
    }
    Item* const* row_ = nullptr;
    Item* const* end_ = nullptr;
  };
  Iterator begin() const noexcept { return {rows_, rows_ + rowCount_}; }
  Iterator end() const noexcept { return {rows_ + rowCount_, rows_ + rowCount_}; }

  // The following change a table that nobody else holds.

  bool HasRoom() const noexcept { return rowCount_ < RowsOf(mask_ + 1); }
  // The same attributes in a table with room for more; this one is empty then, but for its memory.
  // Raises std::bad_alloc, with nothing changed.
  Pointer Move() {
    // Where many were removed, the same size has room.
    const std::size_t slots = mask_ + 1;
    Pointer larger = Make(count_ > RowsOf(slots) / 2 ? slots * 2 : slots);
    larger->TakeRows(*this);
    rowCount_ = 0;
    return larger;
  }
  // Whether a key is known to be greater than all, without a look at more than one.
  bool IsBehindAll(Sought key) const noexcept {
    // While others put the rows into order they are not to be read.
    if (!order_.IsDone()) return false;
    return rowCount_ == 0 ||
           (rows_[rowCount_ - 1] && Kind::IsLess(rows_[rowCount_ - 1]->Key(), key));
  }
  // Takes a counted attribute with such a key. There must be room.
  void Append(Item* attribute) noexcept {
    if (hash_.IsDone()) return Insert(attribute, Kind::Hash(attribute->Key()));
    AddRow(attribute);
    sortedRows_ = rowCount_;
  }
  // Takes a counted attribute with a new key, and its hash. There must be room.
  void Insert(Item* attribute, std::uint32_t hash) noexcept {
    NeedSlots();
    const bool isBehindAll = IsBehindAll(attribute->Key());
    *FreeSlot(hash) = {attribute, hash, static_cast<std::uint32_t>(rowCount_)};
    AddRow(attribute);
    if (isBehindAll) {
      sortedRows_ = rowCount_;
    } else {
      order_.SetDone(false);
    }
  }
  // Gives the count of the attribute to the caller.
  void Remove(Item* attribute) noexcept {
    NeedSlots();
    std::size_t hole = SlotOf(attribute);
    *RowOf(hole) = nullptr;
    --count_;
    foreignValues_ -= IsForeign(attribute->value);
    // Walks are not to step over many empty rows.
    if (rowCount_ > 16 + 2 * count_) order_.SetDone(false);
    // What was put behind the slot because it was taken moves up.
    for (std::size_t i = (hole + 1) & mask_; slots_[i].attribute; i = (i + 1) & mask_) {
      const std::size_t home = slots_[i].hash & mask_;
      if (((i - home) & mask_) < ((i - hole) & mask_)) continue;
      slots_[hole] = slots_[i];
      hole = i;
    }
    slots_[hole] = {};
  }
  // Puts a counted attribute with an equal key in the place of another, whose count goes to the
  // caller.
  void Replace(Item* attribute, Item* made) noexcept {
    NeedSlots();
    const std::size_t slot = SlotOf(attribute);
    *RowOf(slot) = made;
    slots_[slot].attribute = made;
    foreignValues_ += IsForeign(made->value);
    foreignValues_ -= IsForeign(attribute->value);
  }
  // Of an attribute that nobody else holds.
  void SwapValue(Item& attribute, VARIANT& value) noexcept {
    foreignValues_ += IsForeign(value);
    foreignValues_ -= IsForeign(attribute.value);
    std::swap<VARIANT>(attribute.value, value);
  }

 private:
  struct Slot {
    Item* attribute;  // null where none is
    std::uint32_t hash;
    std::uint32_t row;  // where it stands, if arePlaced_
  };

  // Maps are mostly small.
  static constexpr std::size_t kFewestSlots = 16;
  static constexpr std::size_t kMostSlots = std::size_t{1} << 31;
  // So many of the slots may be taken before look-ups step over too many.
  static constexpr std::size_t RowsOf(std::size_t slots) noexcept { return slots / 4 * 3; }
  static std::size_t SlotsFor(std::size_t attributes) noexcept {
    return std::max(kFewestSlots, std::bit_ceil(attributes + (attributes + 2) / 3));
  }

  static Pointer Make(std::size_t slots) {
    if (slots > kMostSlots) throw std::bad_alloc();
    void* const block = ::operator new(sizeof(AttributeTable) + slots * sizeof(Slot) +
                                       RowsOf(slots) * sizeof(Item*));
    Pointer made;
    made.Attach(new (block) AttributeTable(slots));
    return made;
  }
  explicit AttributeTable(std::size_t slots) noexcept
      : mask_(slots - 1),
        slots_(reinterpret_cast<Slot*>(this + 1)),
        rows_(reinterpret_cast<Item**>(slots_ + slots)) {}
  ~AttributeTable() = default;

  // Fills an empty table with what stands in another, but for the counts. Raises std::bad_alloc,
  // with nothing changed.
  void TakeRows(const AttributeTable& other) {
    // Where rows go whose places are known.
    std::vector<std::uint32_t> places;
    const bool hasGaps = other.rowCount_ != other.count_;
    if (hasGaps) places.reserve(other.rowCount_);
    for (std::size_t i = 0; i < other.rowCount_; ++i) {
      if (hasGaps) places.push_back(static_cast<std::uint32_t>(rowCount_));
      if (other.rows_[i]) rows_[rowCount_++] = other.rows_[i];
      if (i + 1 == other.sortedRows_) sortedRows_ = rowCount_;
    }
    count_ = other.count_;
    foreignValues_ = other.foreignValues_;
    order_.SetDone(other.order_.IsDone());
    if (!other.hash_.IsDone()) return;
    ClearSlots();
    arePlaced_ = other.arePlaced_;
    for (const Slot& slot : std::span(other.slots_, other.mask_ + 1)) {
      if (!slot.attribute) continue;
      const bool isMoved = hasGaps && arePlaced_;
      *FreeSlot(slot.hash) = {slot.attribute, slot.hash, isMoved ? places[slot.row] : slot.row};
    }
    hash_.SetDone(true);
  }
  void AddRow(Item* attribute) noexcept {
    rows_[rowCount_++] = attribute;
    ++count_;
    foreignValues_ += IsForeign(attribute->value);
  }

  void NeedSlots() const noexcept {
    hash_.Need([this] { FillSlots(); });
  }
  void ClearSlots() const noexcept { std::uninitialized_value_construct_n(slots_, mask_ + 1); }
  // No row is empty, and none moves meanwhile: where nobody looked up, rows came in order.
  void FillSlots() const noexcept {
    ClearSlots();
    for (std::uint32_t i = 0; i < rowCount_; ++i) {
      const std::uint32_t hash = Kind::Hash(rows_[i]->Key());
      *FreeSlot(hash) = {rows_[i], hash, i};
    }
    arePlaced_ = true;
  }
  Slot* FreeSlot(std::uint32_t hash) const noexcept {
    std::size_t i = hash & mask_;
    while (slots_[i].attribute) i = (i + 1) & mask_;
    return &slots_[i];
  }
  std::size_t SlotOf(const Item* attribute) const noexcept {
    std::size_t i = Kind::Hash(attribute->Key()) & mask_;
    while (slots_[i].attribute != attribute) i = (i + 1) & mask_;
    return i;
  }
  Item** RowOf(std::size_t slot) noexcept {
    if (!arePlaced_) {
      // The first one after a walk is searched; for more the slots learn their rows.
      if (order_.IsDone() && rowCount_ == count_) {
        return std::lower_bound(rows_, rows_ + rowCount_, slots_[slot].attribute, IsBefore);
      }
      for (std::size_t i = 0; i < rowCount_; ++i) {
        if (rows_[i]) slots_[SlotOf(rows_[i])].row = static_cast<std::uint32_t>(i);
      }
      arePlaced_ = true;
    }
    return &rows_[slots_[slot].row];
  }

  static bool IsBefore(const Item* a, const Item* b) noexcept {
    return Kind::IsLess(a->Key(), b->Key());
  }
  void Sort() const noexcept {
    std::size_t kept = 0, sorted = 0;
    for (std::size_t i = 0; i < rowCount_; ++i) {
      if (i == sortedRows_) sorted = kept;
      if (rows_[i]) rows_[kept++] = rows_[i];
    }
    if (sortedRows_ == rowCount_) sorted = kept;
    std::sort(rows_ + sorted, rows_ + kept, IsBefore);
    Merge(rows_ + sorted, rows_ + kept);
    rowCount_ = sortedRows_ = kept;
    arePlaced_ = false;
  }
  // The rows before added are in order, and those up to the end.
  void Merge(Item** added, Item** end) const noexcept {
    constexpr std::ptrdiff_t kFew = 32;
    if (end - added > kFew) {
      std::inplace_merge(std::upper_bound(rows_, added, *added, IsBefore), added, end, IsBefore);
      return;
    }
    // A few, and they alone, are compared.
    Item* few[kFew];
    for (Item** next = std::copy(added, end, few); next != few;) {
      Item** const place = std::upper_bound(rows_, added, *--next, IsBefore);
      end = std::move_backward(place, added, end);
      *--end = *next;
      added = place;
    }
  }

  std::atomic<ULONG> holders_{1};
  mutable DeferredWork order_{true};
  mutable DeferredWork hash_{false};
  // Whether the slots know their rows.
  mutable bool arePlaced_ = true;
  std::size_t count_ = 0;
  std::size_t foreignValues_ = 0;
  mutable std::size_t rowCount_ = 0;
  mutable std::size_t sortedRows_ = 0;
  const std::size_t mask_;
  Slot* const slots_;
  Item** const rows_;
};

}  // namespace rastel
