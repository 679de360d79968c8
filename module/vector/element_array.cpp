// SPDX-License-Identifier: MIT
#include "module/vector/element_array.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

#include "module/frame/exceptions.h"
#include "platform/object_memory.h"

namespace rastel {
namespace {

constexpr std::byte kZeros[4096]{};

bool IsZero(const std::byte* chunk, std::size_t bytes) noexcept {
  return bytes == sizeof kZeros && std::memcmp(chunk, kZeros, bytes) == 0;
}

// What is not large becomes resident anyway, and is written once only.
constexpr bool IsLarge(std::size_t bytes) noexcept { return bytes >= std::size_t{1} << 20; }

// Both leave alone what is zero already, so that nothing becomes resident for it.

void CopyToZeroed(void* target, const void* source, std::size_t bytes) noexcept {
  for (std::size_t at = 0; at < bytes; at += sizeof kZeros) {
    const std::size_t chunk = (std::min)(bytes - at, sizeof kZeros);
    const auto* const from = static_cast<const std::byte*>(source) + at;
    if (!IsZero(from, chunk)) std::memcpy(static_cast<std::byte*>(target) + at, from, chunk);
  }
}

void Zero(void* target, std::size_t bytes) noexcept {
  for (std::size_t at = 0; at < bytes; at += sizeof kZeros) {
    const std::size_t chunk = (std::min)(bytes - at, sizeof kZeros);
    auto* const to = static_cast<std::byte*>(target) + at;
    if (!IsZero(to, chunk)) std::memset(to, 0, chunk);
  }
}

// Whether releasing a value does anything.
bool IsOwner(const VARIANT& value) noexcept {
  const VARTYPE type = value.vt;
  if (type & VT_BYREF) return false;
  return type == VT_BSTR || type == VT_DISPATCH || type == VT_UNKNOWN || type > VT_UINT;
}

void Release(VARIANT value) noexcept { VariantClear(&value); }

}  // namespace

SharedBlock SharedBlock::TryAllocate(std::size_t bytes, const void* content,
                                     std::size_t used) noexcept {
  SharedBlock block;
  const std::size_t allBytes = sizeof(Header) + bytes;
  void* const memory =
      IsLarge(allBytes) ? std::calloc(1, allBytes) : platform::objectMemory.Allocate(allBytes);
  if (!memory) return block;
  block.header_ = new (memory) Header{1, allBytes};
  auto* const target = static_cast<std::byte*>(block.Get());
  if (IsLarge(allBytes)) {
    CopyToZeroed(target, content, used);
  } else {
    if (used > 0) std::memcpy(target, content, used);
    std::memset(target + used, 0, bytes - used);
  }
  return block;
}

SharedBlock::~SharedBlock() {
  if (!header_) return;
  // Nobody can take a count while the only one is here.
  if (header_->holders.load(std::memory_order_acquire) != 1 &&
      header_->holders.fetch_sub(1, std::memory_order_acq_rel) != 1) {
    return;
  }
  if (IsLarge(header_->bytes)) {
    std::free(header_);
  } else {
    platform::objectMemory.Free(header_, header_->bytes);
  }
}

void ElementBlock::Resize(LONG count) {
  if (!HasRoomFor(count)) {
    Move(count, data_, static_cast<std::size_t>(Touched()) * elementBytes_);
  } else if (const LONG end = (std::min)(count, Mark()); end > count_) {
    Zero(Address(count_), static_cast<std::size_t>(end - count_) * elementBytes_);
  }
  count_ = count;
  if (isExposed_) Touch(count);
}

void ElementBlock::CopyFrom(const ElementBlock& source) {
  const LONG touched = source.Touched();
  const std::size_t bytes = static_cast<std::size_t>(touched) * elementBytes_;
  if (HasRoomFor(source.count_)) {
    CopyToZeroed(data_, source.data_, bytes);
  } else {
    Move(source.count_, source.data_, bytes);
  }
  count_ = source.count_;
  mark_ = touched;
}

HRESULT ElementBlock::ReadFrom(StreamReader& reader, bool* isWhole) {
  const auto bytes = static_cast<ULONG>(Bytes());
  if (bytes <= kWindowBytes && reader.Look(bytes)) {
    *isWhole = true;
    Touch(count_);
    return reader.Read(data_, bytes);
  }
  // The stream may come back to the array while it has the address.
  const SharedBlock held = block_;
  const LONG outerEnd = std::exchange(readEnd_, (std::max)(readEnd_, count_));
  const LONG end = count_;
  // No stream delivers so many: one that fails, or does not tell, may have written anywhere.
  ULONG delivered = bytes + 1;
  const HRESULT result = reader.Read(data_, bytes, &delivered);
  readEnd_ = outerEnd;
  *isWhole = delivered == bytes;
  const bool isTold = SUCCEEDED(result) && delivered <= bytes;
  Touch(isTold ? static_cast<LONG>((delivered + elementBytes_ - 1) / elementBytes_) : end);
  return result;
}

void ElementBlock::Move(LONG count, const void* content, std::size_t contentBytes) {
  if (count < 0) throw std::length_error("vector too long");
  // Room to grow on, or what is wanted if that cannot be had.
  std::int64_t capacity = (std::max)(std::int64_t{count}, capacity_ + capacity_ / 2);
  const auto allocate = [&] {
    return SharedBlock::TryAllocate(static_cast<std::size_t>(capacity) * elementBytes_, content,
                                    contentBytes);
  };
  SharedBlock block = allocate();
  if (!block && capacity > count) {
    capacity = count;
    block = allocate();
  }
  if (!block) RaiseBadAllocation();
  block_ = std::move(block);
  data_ = block_.Get();
  capacity_ = capacity;
  mark_ = Touched();
  isExposed_ = false;
}

ElementArray<VARIANT>::~ElementArray() {
  if (!OwnsNothing()) Change(*this).Resize(0);
  for (Change* change = change_; change; change = change->outer_) change->array_ = nullptr;
}

VARIANT ElementArray<VARIANT>::TakeBehindEnd(LONG index) noexcept {
  if (!isExposed_) mark_ = (std::min)(mark_, index);
  return std::exchange(Slots()[index], VARIANT{});
}

void ElementChange<ElementArray<VARIANT>>::Resize(LONG count) {
  ElementArray<VARIANT>& array = *array_;
  if (array.HasRoomFor(count)) {
    Replace(array.Count(), count, VARIANT{});
  } else {
    SharedBlock block = array.Hold();
    const LONG mark = array.mark_;
    array.Move(count, array.Slots(), static_cast<std::size_t>(array.Touched()) * sizeof(VARIANT));
    leftBlock_ = std::move(block);
    left_ = {array.Count(), mark};
  }
  array.SetCount(count);
  if (array.isExposed_) array.Touch(count);
}

void ElementChange<ElementArray<VARIANT>>::Replace(LONG from, LONG end,
                                                   const VARIANT& value) noexcept {
  end = (std::min)(end, array_->mark_);
  if (from >= end) return;
  VARIANT* const slots = array_->Slots();
  const auto owners = std::count_if(slots + from, slots + end, &IsOwner);
  bool hasRoom = owners == 0;
  if (!hasRoom && !values_) {
    values_ = AllocateZeroed<VARIANT>(static_cast<std::uint64_t>(owners));
    hasRoom = values_ != nullptr;
  }
  for (LONG i = from; i < end; ++i) {
    if (IsOwner(slots[i])) {
      if (!hasRoom) continue;
      values_[static_cast<std::size_t>(valueCount_++)] = slots[i];
    }
    slots[i] = value;
  }
  if (hasRoom) return;
  late_ = {from, end};
  lateValue_ = value;
}

ElementChange<ElementArray<VARIANT>>::~ElementChange() {
  for (LONG i = 0; i < valueCount_; ++i) VariantClear(&values_[static_cast<std::size_t>(i)]);
  auto* const leftSlots = static_cast<VARIANT*>(leftBlock_.Get());
  for (LONG i = left_.from; i < left_.end; ++i) Release(std::exchange(leftSlots[i], VARIANT{}));
  // A release may have moved or ended the array, which is therefore asked again each time.
  LONG end = array_ ? array_->mark_ : 0;
  while (array_ && end > array_->Count()) Release(array_->TakeBehindEnd(--end));
  for (LONG i = late_.from; array_ && i < late_.end && array_->Has(i); ++i) {
    if (IsOwner(array_->At(i))) Release(array_->Exchange(i, lateValue_));
  }
  if (array_) array_->change_ = outer_;
}

}  // namespace rastel
