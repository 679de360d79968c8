// SPDX-License-Identifier: MIT
// The image buffer: a reference-counted block of memory that holds one or more planes of pixels,
// each with a margin of equal width on all four sides. Any number of AOIs share one buffer and it
// knows nothing of their rectangles. It owns its memory or looks at a caller's, which must outlive
// it, or has an owner that the buffer keeps.
//
// A block that a buffer allocates is followed by a tail of margin * stride + margin zeros, which is
// no part of the geometry: a rectangle that runs past the stored rows by the width of the margin
// still ends inside the allocation.
//
// Sizes wrap in 32 bits, so the geometry may state more than the block holds. Walks clip their runs
// with ClipRun; single elements are tested with InBlock.
//
// Threads: the count, and the mark of a buffer that is written to, are atomic. All else is written
// once, while the buffer is empty and before other threads can hold it. Pixels are not protected.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "interfaces/enums.h"
#include "module/frame/pixel_memory.h"
#include "module/image/buffer_geometry.h"
#include "platform/com_ptr.h"
#include "platform/platform.h"
#include "platform/threading.h"

namespace rastel {

// Consecutive elements of a buffer by index; count is never negative.
struct ElementRange {
  std::int64_t first;
  std::int64_t count;
};

// What the pixels of a fresh block are.
enum class Contents {
  Undefined,  // whatever the allocator gave
  Zero,       // zeros that the system provides on first use: a huge block costs nothing by itself
};

// The part of the buffer that does not know its pixel type.
class ComImageBase : public IUnknown {
 public:
  ComImageBase(const ComImageBase&) = delete;
  ComImageBase& operator=(const ComImageBase&) = delete;

  // IID_IUnknown only, S_OK, and without taking a reference: buffers are not handed to clients. Any
  // other identifier: E_NOINTERFACE and a null pointer.
  STDMETHODIMP QueryInterface(REFIID iid, void** out) noexcept final;
  STDMETHODIMP_(ULONG) AddRef() noexcept final {
    return platform::CComMultiThreadModel::Increment(refCount_);
  }
  // So many references at once, and back; the caller has one of his own besides.
  void AddReferences(ULONG count) noexcept {
    refCount_.fetch_add(count, std::memory_order_relaxed);
  }
  void DropReferences(ULONG count) noexcept {
    refCount_.fetch_sub(count, std::memory_order_acq_rel);
  }
  // The last one destroys the buffer.
  STDMETHODIMP_(ULONG) Release() noexcept final {
    const ULONG left = platform::CComMultiThreadModel::Decrement(refCount_);
    if (left == 0) delete this;
    return left;
  }
  virtual ~ComImageBase();

  // Gives an empty buffer memory of its own. E_INVALIDARG for 0 planes, width or height, or a
  // margin above width or height; E_ABORT if there are pixels already. Raises std::bad_alloc if the
  // product of the sizes is negative in 32 bits or the memory cannot be had. A failure changes
  // nothing.
  HRESULT Allocate(LONG planes, LONG width, LONG height, LONG margin,
                   Contents contents = Contents::Undefined);

  // Allocate, and a copy of `planes` times `height` rows of `width` elements without gaps. The
  // margins become 0. E_POINTER for a null source, then as Allocate. The source is only read.
  HRESULT InitFromData(const void* source, LONG planes, LONG width, LONG height, LONG margin);

  // Looks at a caller's memory: planes in packed rows; nothing is copied. E_POINTER for null data;
  // E_INVALIDARG for 0 planes, width or height, or a negative width or height; E_ABORT if there are
  // pixels already. A failure changes nothing. A margin, which the caller has tested, is a part of
  // the memory. An owner is kept until the buffer ends.
  HRESULT Attach(void* data, LONG planes, LONG width, LONG height, LONG margin = 0,
                 IUnknown* owner = nullptr) noexcept;

  // The margin in pixels, S_OK. An empty buffer: 0, S_FALSE. An operation of the buffer like the
  // others, although the AOIs of this module do with margin().
  HRESULT GetMargin(LONG* pixels) const noexcept;

  // Fills the margins of all planes. MarginNone: S_OK; an empty buffer: E_FAIL; no margin: S_OK,
  // whatever the mode; an unknown mode: E_INVALIDARG. The interior is never written. If the sizes
  // have wrapped, what the block cuts off is neither read nor written; a negative margin leaves
  // nothing to fill.
  HRESULT FillMargins(MarginModeKLP mode) noexcept;

  bool HasData() const noexcept { return data_ != nullptr; }
  const BufferGeometry& geometry() const noexcept { return geometry_; }
  LONG planes() const noexcept { return geometry_.planes; }
  LONG margin() const noexcept { return geometry_.margin; }
  std::size_t elementBytes() const noexcept { return elementBytes_; }
  // The address of an element by index; the caller has clipped or tested it.
  std::byte* Address(std::int64_t index) const noexcept {
    return static_cast<std::byte*>(data_) + static_cast<std::size_t>(index) * elementBytes_;
  }

  // Wrapped index of the first element of a plane.
  LONG PlaneStart(LONG plane) const noexcept { return geometry_.PlaneStart(plane); }
  // Elements of the block, and of block and tail. Of attached memory: what its sizes claim.
  std::int64_t blockElements() const noexcept { return blockElements_; }
  std::int64_t reachableElements() const noexcept { return reachableElements_; }

  // Whether an address lies in block or tail.
  bool Contains(const void* address) const noexcept {
    const auto offset =
        reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(data_);
    return offset / elementBytes_ < static_cast<std::uintptr_t>(reachableElements_);
  }
  // Elements from here on are zeros that nobody has written.
  std::int64_t Touched() const noexcept {
    return isWritten_.load(std::memory_order_relaxed) ? reachableElements_ : loadedElements_;
  }
  // To be called before anything but a load writes, or may write.
  [[gnu::always_inline]] void MarkWritten() noexcept {
    if (!isWritten_.load(std::memory_order_relaxed)) {
      isWritten_.store(true, std::memory_order_relaxed);
    }
  }
  // A load has written up to there, or may have; gives how far loads went before.
  std::int64_t SetLoaded(std::int64_t end) noexcept { return std::exchange(loadedElements_, end); }

  bool InBlock(std::int64_t index) const noexcept {
    return static_cast<std::uint64_t>(index) < static_cast<std::uint64_t>(blockElements_);
  }

  // The part of `count` elements from `first` on that lies in block or tail; empty, at index 0, if
  // there is none or count is below 1.
  ElementRange ClipRun(std::int64_t first, std::int64_t count) const noexcept {
    if (count < 1 || first >= reachableElements_) return {0, 0};
    if (first < 0) {
      count += first;
      first = 0;
      if (count < 1) return {0, 0};
    }
    const std::int64_t left = reachableElements_ - first;
    return {first, count < left ? count : left};
  }

 protected:
  explicit ComImageBase(std::size_t elementBytes) noexcept : elementBytes_(elementBytes) {}

  void* bytes() const noexcept { return data_; }

 private:
  void CopyInterior(const std::byte* source) noexcept;

  void* data_ = nullptr;
  platform::ComPtr<IUnknown> owner_;  // of attached memory, where it was named
  BufferGeometry geometry_;
  std::atomic<ULONG> refCount_{0};
  std::atomic<bool> isWritten_{false};
  MemoryBlock own_;  // null for attached memory
  const std::size_t elementBytes_;
  std::int64_t blockElements_ = 0;
  std::int64_t reachableElements_ = 0;
  std::int64_t loadedElements_ = 0;
};

// The buffer of pixel type T. Owner is the AOI class of the same pixel type; it tells buffers apart
// by type and has no influence on them.
template <class Owner, class T>
class ComImage final : public ComImageBase {
  static_assert(std::is_arithmetic_v<T> &&
                (sizeof(T) == 1 || sizeof(T) == 2 || sizeof(T) == 4 || sizeof(T) == 8));

 public:
  // An empty buffer with no references.
  ComImage() noexcept : ComImageBase(sizeof(T)) {}

  // First element of plane 0, margins included; null while the buffer is empty.
  T* data() const noexcept { return static_cast<T*>(bytes()); }
  // The address of an element by index; the caller has clipped or tested it.
  T* At(std::int64_t index) const noexcept { return data() + index; }
};

}  // namespace rastel
