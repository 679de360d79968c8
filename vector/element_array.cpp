#include "vector/element_array.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

namespace rastel {
namespace {

// From this size on memory is asked of the system afresh rather than cleared by hand.
constexpr std::size_t kLazyBytes = std::size_t{1} << 20;

class BadAllocation final : public std::bad_alloc {
 public:
  const char* what() const noexcept override { return "bad allocation"; }
};

// Copies to zeroed memory, and leaves what is zero untouched there.
void CopyToZeroed(void* target, const void* source, std::size_t bytes) noexcept {
  static constexpr std::byte kZeros[4096]{};
  auto* to = static_cast<std::byte*>(target);
  auto* from = static_cast<const std::byte*>(source);
  while (bytes > 0) {
    const std::size_t chunk = (std::min)(bytes, sizeof kZeros);
    if (bytes < sizeof kZeros || std::memcmp(from, kZeros, chunk) != 0) {
      std::memcpy(to, from, chunk);
    }
    to += chunk;
    from += chunk;
    bytes -= chunk;
  }
}

}  // namespace

void RaiseBadAllocation() { throw BadAllocation(); }

SharedBlock SharedBlock::TryAllocate(std::size_t bytes) noexcept {
  SharedBlock block;
  void* const memory = std::calloc(1, sizeof(Header) + bytes);
  if (memory) block.header_ = new (memory) Header{1};
  return block;
}

SharedBlock::~SharedBlock() {
  if (header_ && header_->holders.fetch_sub(1, std::memory_order_acq_rel) == 1) std::free(header_);
}

void ElementBlock::Resize(LONG count) {
  if (count < 0 || count > capacity_) {
    Reserve(count, Bytes());
  } else if (count > count_) {
    const std::size_t gap = static_cast<std::size_t>(count - count_) * elementBytes_;
    SharedBlock fresh;
    if (gap >= kLazyBytes) {
      fresh = SharedBlock::TryAllocate(static_cast<std::size_t>(capacity_) * elementBytes_);
    }
    if (fresh) {
      MoveTo(std::move(fresh), capacity_, Bytes());
    } else {
      std::memset(Address(count_), 0, gap);
    }
  }
  count_ = count;
}

void ElementBlock::CopyFrom(const ElementBlock& source) {
  const std::size_t bytes = source.Bytes();
  if (source.count_ > capacity_) {
    Reserve(source.count_, 0);
    CopyToZeroed(data_, source.data_, bytes);
  } else if (bytes > 0) {
    std::memcpy(data_, source.data_, bytes);
  }
  count_ = source.count_;
}

void ElementBlock::Reserve(LONG count, std::size_t bytesInUse) {
  if (count < 0) throw std::length_error("vector too long");
  if (count <= capacity_) return;
  // Room to grow on, or what is wanted if that cannot be had.
  std::int64_t capacity = (std::max)(std::int64_t{count}, capacity_ + capacity_ / 2);
  SharedBlock block = SharedBlock::TryAllocate(static_cast<std::size_t>(capacity) * elementBytes_);
  if (!block && capacity > count) {
    capacity = count;
    block = SharedBlock::TryAllocate(static_cast<std::size_t>(capacity) * elementBytes_);
  }
  if (!block) RaiseBadAllocation();
  MoveTo(std::move(block), capacity, bytesInUse);
}

void ElementBlock::MoveTo(SharedBlock block, std::int64_t capacity,
                          std::size_t bytesInUse) noexcept {
  CopyToZeroed(block.Get(), data_, bytesInUse);
  block_ = std::move(block);
  data_ = block_.Get();
  capacity_ = capacity;
}

SharedBlock ElementBlock::Detach() noexcept {
  data_ = nullptr;
  count_ = 0;
  capacity_ = 0;
  return std::exchange(block_, SharedBlock());
}

DisplacedVariants::~DisplacedVariants() {
  for (std::size_t i = 0; i < count_; ++i) VariantClear(&values_[i]);
  if (values_ != stack_) std::free(values_);
  auto* const slots = static_cast<VARIANT*>(block_.Get());
  for (LONG i = 0; i < blockCount_; ++i) VariantClear(&slots[i]);
}

bool DisplacedVariants::IsOwner(const VARIANT& value) noexcept {
  const VARTYPE type = value.vt;
  if (type & VT_BYREF) return false;
  return type == VT_BSTR || type == VT_DISPATCH || type == VT_UNKNOWN || type > VT_UINT;
}

bool DisplacedVariants::Reserve(std::size_t more) noexcept {
  if (more <= capacity_ - count_) return true;
  const std::size_t capacity = count_ + more;
  auto* const values = static_cast<VARIANT*>(std::malloc(capacity * sizeof(VARIANT)));
  if (!values) return false;
  std::copy_n(values_, count_, values);
  if (values_ != stack_) std::free(values_);
  values_ = values;
  capacity_ = capacity;
  return true;
}

void DisplacedVariants::TakeBlock(SharedBlock block, LONG count) noexcept {
  block_ = std::move(block);
  blockCount_ = count;
}

ElementArray<VARIANT>::~ElementArray() {
  for (LONG i = 0; i < Touched(); ++i) VariantClear(&Slots()[i]);
}

void ElementArray<VARIANT>::Resize(LONG count, DisplacedVariants& displaced) {
  if (count < 0 || count >= Count()) {
    Reserve(count, static_cast<std::size_t>(Touched()) * sizeof(VARIANT));
  } else if (!TryEmpty(count, displaced)) {
    if (count > 0) RaiseBadAllocation();
    const LONG touched = std::exchange(touched_, 0);
    displaced.TakeBlock(Detach(), touched);
  }
  SetCount(count);
}

void ElementArray<VARIANT>::Empty(LONG from, DisplacedVariants& displaced) {
  if (!TryEmpty(from, displaced)) RaiseBadAllocation();
}

void ElementArray<VARIANT>::Fill(const VARIANT& value, DisplacedVariants& displaced) {
  Empty(0, displaced);
  std::fill_n(Slots(), Count(), value);
  touched_ = Count();
}

bool ElementArray<VARIANT>::TryEmpty(LONG from, DisplacedVariants& displaced) noexcept {
  const LONG end = Touched();
  if (from >= end) return true;
  VARIANT* const first = Slots() + from;
  VARIANT* const last = Slots() + end;
  const auto owners = std::count_if(first, last, &DisplacedVariants::IsOwner);
  if (!displaced.Reserve(static_cast<std::size_t>(owners))) return false;
  for (VARIANT* slot = first; slot < last; ++slot) {
    if (DisplacedVariants::IsOwner(*slot)) displaced.Take(*slot);
    *slot = VARIANT{};
  }
  touched_ = from;
  return true;
}

}  // namespace rastel
