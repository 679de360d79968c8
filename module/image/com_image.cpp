// SPDX-License-Identifier: MIT
#include "module/image/com_image.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "module/image/margins.h"

namespace rastel {
namespace {

bool AreBadSizes(LONG planes, LONG width, LONG height, LONG margin) noexcept {
  return planes == 0 || width == 0 || height == 0 || margin > width || margin > height;
}

// The tail is as long as the way to the first interior pixel. Where wrapped sizes put that pixel
// outside the block no pixel can be reached from there, and the tail is not needed.
std::int64_t TailElements(const BufferGeometry& geometry, std::int64_t blockElements) noexcept {
  if (geometry.margin <= 0) return 0;
  const std::int64_t tail =
      static_cast<std::int64_t>(geometry.margin) * geometry.stride + geometry.margin;
  return tail > 0 && tail < blockElements ? tail : 0;
}

struct StepRange {
  std::int64_t begin;
  std::int64_t end;
};

// The steps k from 0 to count - 1 that bring `length` elements from start + k * step on into
// 0 .. reach - 1. Found by division, since a count may state anything; step is not 0.
StepRange StepsInside(std::int64_t start, std::int64_t length, std::int64_t step,
                      std::int64_t count, std::int64_t reach) noexcept {
  const std::int64_t pace = step < 0 ? -step : step;
  const auto toCover = [pace](std::int64_t way) { return way > 0 ? (way - 1) / pace + 1 : 0; };
  const std::int64_t outside = step < 0 ? start - reach + 1 : 1 - start - length;
  const std::int64_t toLeave = step < 0 ? start + length : reach - start;
  return {toCover(outside), std::min(count, toCover(toLeave))};
}

}  // namespace

STDMETHODIMP ComImageBase::QueryInterface(REFIID iid, void** out) noexcept {
  const bool known = IsEqualIID(iid, IID_IUnknown);
  *out = known ? static_cast<IUnknown*>(this) : nullptr;
  return known ? S_OK : E_NOINTERFACE;
}

ComImageBase::~ComImageBase() {
  GiveBlockBack(own_);
  data_ = nullptr;
}

HRESULT ComImageBase::Allocate(LONG planes, LONG width, LONG height, LONG margin,
                               Contents contents) {
  if (AreBadSizes(planes, width, height, margin)) return E_INVALIDARG;
  if (data_ != nullptr) return E_ABORT;

  const BufferGeometry geometry = BufferGeometry::Of(planes, width, height, margin);
  const std::int64_t blockElements = geometry.WrappedElements();
  if (blockElements < 0) throw std::bad_alloc();
  const std::int64_t tailElements = TailElements(geometry, blockElements);
  const std::size_t blockBytes = static_cast<std::size_t>(blockElements) * elementBytes_;
  const std::size_t tailBytes = static_cast<std::size_t>(tailElements) * elementBytes_;
  // A product that wrapped to 0 is a buffer as well, and its data is not null.
  const std::size_t bytes = std::max<std::size_t>(blockBytes + tailBytes, 1);
  const MemoryBlock block = contents == Contents::Zero ? TakeZeroBlock(bytes) : TakeBlock(bytes);
  if (block.memory == nullptr) throw std::bad_alloc();
  if (contents == Contents::Undefined) {
    std::memset(static_cast<std::byte*>(block.memory) + blockBytes, 0, tailBytes);
  }

  own_ = block;
  data_ = block.memory;
  geometry_ = geometry;
  isWritten_.store(contents == Contents::Undefined, std::memory_order_relaxed);
  blockElements_ = blockElements;
  reachableElements_ = blockElements + tailElements;
  return S_OK;
}

HRESULT ComImageBase::InitFromData(const void* source, LONG planes, LONG width, LONG height,
                                   LONG margin) {
  if (source == nullptr) return E_POINTER;
  if (AreBadSizes(planes, width, height, margin)) return E_INVALIDARG;
  if (data_ != nullptr) return E_ABORT;

  // Wrapped sizes leave elements that are neither copied nor margin.
  const bool fits = BufferGeometry::Of(planes, width, height, margin).Fits();
  Allocate(planes, width, height, margin, fits ? Contents::Undefined : Contents::Zero);
  if (data_ == nullptr) return E_FAIL;
  MarkWritten();
  CopyInterior(static_cast<const std::byte*>(source));
  return margin != 0 ? FillMargins(MarginZero) : S_OK;
}

HRESULT ComImageBase::Attach(void* data, LONG planes, LONG width, LONG height, LONG margin,
                             IUnknown* owner) noexcept {
  if (data == nullptr) return E_POINTER;
  if (planes == 0 || width == 0 || height == 0) return E_INVALIDARG;
  if (width < 0 || height < 0) return E_INVALIDARG;
  if (data_ != nullptr) return E_ABORT;

  data_ = data;
  owner_ = platform::ComPtr<IUnknown>(owner);
  geometry_ = BufferGeometry::Of(planes, width, height, margin);
  MarkWritten();
  blockElements_ = geometry_.CountedElements();
  reachableElements_ = blockElements_;
  return S_OK;
}

HRESULT ComImageBase::GetMargin(LONG* pixels) const noexcept {
  *pixels = HasData() ? geometry_.margin : 0;
  return HasData() ? S_OK : S_FALSE;
}

HRESULT ComImageBase::FillMargins(MarginModeKLP mode) noexcept {
  if (mode == MarginNone) return S_OK;
  if (data_ == nullptr) return E_FAIL;
  if (geometry_.margin == 0) return S_OK;
  switch (mode) {
    case MarginZero:
    case MarginPeriodic:
    case MarginMirror:
    case MarginReplicate:
      MarkWritten();
      FillMarginElements(data_, elementBytes_, reachableElements_, geometry_, mode);
      return S_OK;
    default:
      return E_INVALIDARG;
  }
}

// Walks the target as a pointer would, in 64 bits from a wrapped start, and copies what lies
// inside. Where rows overlap the later one stays.
void ComImageBase::CopyInterior(const std::byte* source) noexcept {
  const std::int64_t reach = reachableElements_;
  const std::int64_t width = geometry_.width;
  const std::int64_t height = geometry_.height;
  const std::int64_t rowStep = geometry_.stride;
  if (reach == 0 || geometry_.planes < 1 || width < 1 || height < 1) return;
  if (geometry_.margin == 0) {
    std::memcpy(data_, source, static_cast<std::size_t>(reach) * elementBytes_);
    return;
  }
  const LONG margin = geometry_.margin;
  const std::int64_t start = geometry_.IndexInPlane(margin, margin);
  const std::int64_t planeStep = height * rowStep + geometry_.IndexInPlane(0, WrapMul(2, margin));
  const std::int64_t lastRow = (height - 1) * rowStep;
  const StepRange planes =
      StepsInside(start + std::min<std::int64_t>(0, lastRow), std::abs(lastRow) + width, planeStep,
                  geometry_.planes, reach);
  for (std::int64_t plane = planes.begin; plane < planes.end; ++plane) {
    const std::int64_t first = start + plane * planeStep;
    const StepRange rows = StepsInside(first, width, rowStep, height, reach);
    for (std::int64_t row = rows.begin; row < rows.end; ++row) {
      const std::int64_t target = first + row * rowStep;
      const ElementRange run = ClipRun(target, width);
      // Far behind a source that nobody can have, the offset wraps instead of overflowing.
      const std::uint64_t from = (static_cast<std::uint64_t>(plane) * static_cast<ULONG>(height) +
                                  static_cast<std::uint64_t>(row)) *
                                     static_cast<std::uint64_t>(width) +
                                 static_cast<std::uint64_t>(run.first - target);
      std::memcpy(Address(run.first), source + from * elementBytes_,
                  static_cast<std::size_t>(run.count) * elementBytes_);
    }
  }
}

}  // namespace rastel
