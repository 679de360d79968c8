// SPDX-License-Identifier: MIT
// Walks over the pixels of rectangles. Each row is a run; runs are clipped to what the buffer's
// memory holds, since geometry may be stale or have wrapped, and runs below 1 do nothing.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <utility>

#include "module/image/com_image.h"

namespace rastel {

// Geometry and address of a rectangle, as an AOI's typed interface tells them.
template <class U>
struct Access {
  LONG width = 0;
  LONG height = 0;
  LONG lineSkip = 0;
  U* pixels = nullptr;

  template <class ITyped>
  HRESULT Get(ITyped& aoi) {
    return aoi.GetAccess(&width, &height, &lineSkip, &pixels);
  }
  // Elements from row to row.
  std::int64_t Step() const noexcept { return WrapAdd(width, lineSkip); }
};

namespace pixels_detail {

// How many rows of a walk begin inside the memory; the walk steps forwards.
inline std::int64_t ReachableRows(std::int64_t elements, std::int64_t first, std::int64_t step,
                                  std::int64_t height) noexcept {
  if (height < 1 || first >= elements) return 0;
  if (step < 1) return height;
  return std::min(height, (elements - 1 - first) / step + 1);
}

// Copies rows of kChunk to 2 * kChunk bytes, a chunk from either end of each; the columns of a row
// may overlap.
template <std::size_t kChunk>
void CopyShortRows(const std::byte* from, std::int64_t fromStep, std::byte* to, std::int64_t toStep,
                   std::size_t bytes, std::int64_t rows) noexcept {
  const std::size_t last = bytes - kChunk;
  for (; rows > 0; --rows, from += fromStep, to += toStep) {
    std::byte head[kChunk];
    std::byte tail[kChunk];
    std::memcpy(head, from, kChunk);
    std::memcpy(tail, from + last, kChunk);
    std::memcpy(to, head, kChunk);
    std::memcpy(to + last, tail, kChunk);
  }
}

// The compiler for the other system spills wide registers to places that are not aligned for it.
#if defined(__x86_64__) && !defined(_WIN32)
using Wide = long long __attribute__((vector_size(32)));

inline bool HasWideRegisters() noexcept {
  static const bool has = __builtin_cpu_supports("avx2") != 0;
  return has;
}

// The same where a chunk takes so many wide registers as there are indexes.
template <std::size_t... kIndex>
__attribute__((target("avx2"))) void CopyWideRows(const std::byte* from, std::int64_t fromStep,
                                                  std::byte* to, std::int64_t toStep,
                                                  std::size_t bytes, std::int64_t rows,
                                                  std::index_sequence<kIndex...>) noexcept {
  const std::size_t last = bytes - sizeof...(kIndex) * sizeof(Wide);
  for (; rows > 0; --rows, from += fromStep, to += toStep) {
    Wide heads[sizeof...(kIndex)];
    Wide tails[sizeof...(kIndex)];
    (std::memcpy(&heads[kIndex], from + kIndex * sizeof(Wide), sizeof(Wide)), ...);
    (std::memcpy(&tails[kIndex], from + last + kIndex * sizeof(Wide), sizeof(Wide)), ...);
    (std::memcpy(to + kIndex * sizeof(Wide), &heads[kIndex], sizeof(Wide)), ...);
    (std::memcpy(to + last + kIndex * sizeof(Wide), &tails[kIndex], sizeof(Wide)), ...);
  }
}

// False: it is left to do.
inline bool CopyRowsWidely(const std::byte* from, std::int64_t fromStep, std::byte* to,
                           std::int64_t toStep, std::size_t bytes, std::int64_t rows) noexcept {
  if (bytes < 64 || bytes > 256 || !HasWideRegisters()) return false;
  if (bytes <= 128) {
    CopyWideRows(from, fromStep, to, toStep, bytes, rows, std::make_index_sequence<2>());
  } else {
    CopyWideRows(from, fromStep, to, toStep, bytes, rows, std::make_index_sequence<4>());
  }
  return true;
}
#else
constexpr bool CopyRowsWidely(const std::byte*, std::int64_t, std::byte*, std::int64_t, std::size_t,
                              std::int64_t) noexcept {
  return false;
}
#endif

// Copies rows of so many bytes that lie in memory, the first one first. What is as short as a few
// cache lines costs no call.
inline void CopyWholeRows(const std::byte* from, std::int64_t fromStep, std::byte* to,
                          std::int64_t toStep, std::size_t bytes, std::int64_t rows) noexcept {
  if (CopyRowsWidely(from, fromStep, to, toStep, bytes, rows)) return;
  if (bytes <= 64) {
    const auto copy = bytes > 32   ? &CopyShortRows<32>
                      : bytes > 16 ? &CopyShortRows<16>
                      : bytes > 8  ? &CopyShortRows<8>
                      : bytes > 4  ? &CopyShortRows<4>
                      : bytes > 2  ? &CopyShortRows<2>
                                   : &CopyShortRows<1>;
    copy(from, fromStep, to, toStep, bytes, rows);
    return;
  }
  for (; rows > 0; --rows, from += fromStep, to += toStep) std::memmove(to, from, bytes);
}

template <class T>
bool HasEqualBytes(const T& value) noexcept {
  unsigned char bytes[sizeof(T)];
  std::memcpy(bytes, &value, sizeof(T));
  return std::all_of(bytes, bytes + sizeof(T), [&](unsigned char b) { return b == bytes[0]; });
}

}  // namespace pixels_detail

// Sets `height` rows of `width` elements, `step` elements apart. The element `first` lies in the
// block.
template <class Image, class T>
void FillRows(Image& image, std::int64_t first, std::int64_t width, std::int64_t height,
              std::int64_t step, T value) noexcept {
  // What nobody has written is 0 already.
  const bool isZero = pixels_detail::HasEqualBytes(value) && value == T{0};
  if (!isZero) image.MarkWritten();
  const std::int64_t reach = image.Touched();
  std::int64_t rows = pixels_detail::ReachableRows(reach, first, step, height);
  if (rows < 1 || width < 1 || step < 1) return;
  const bool isOneRun = width == step;
  if (isOneRun) {
    width *= rows;
    rows = 1;
  }
  if (pixels_detail::HasEqualBytes(value)) {
    unsigned char byte = 0;
    std::memcpy(&byte, &value, 1);
    for (std::int64_t row = 0; row < rows; ++row) {
      const ElementRange run = image.ClipRun(first + row * step, width);
      std::memset(static_cast<void*>(image.At(run.first)), byte,
                  static_cast<std::size_t>(std::min(run.count, reach - run.first)) * sizeof(T));
    }
    return;
  }
  // The first row is written, the others are copies of it; no row is longer behind clipping. A
  // single long run is taken as rows that stay in the nearest cache.
  constexpr std::int64_t kPattern = 8192 / sizeof(T);
  const ElementRange whole = image.ClipRun(first, width);
  if (isOneRun && whole.count > kPattern) {
    width = kPattern;
    step = kPattern;
    rows = (whole.count + kPattern - 1) / kPattern;
  }
  const std::int64_t end = isOneRun ? whole.first + whole.count : image.reachableElements();
  T* const pattern = image.At(first);
  std::fill_n(pattern, std::min(width, whole.count), value);
  for (std::int64_t row = 1; row < rows; ++row) {
    const std::int64_t start = first + row * step;
    std::memmove(pattern + row * step, pattern,
                 static_cast<std::size_t>(std::min(width, end - start)) * sizeof(T));
  }
}

// Copies the overlap of two rectangles from their first pixels on, top row first; the columns of a
// row may overlap. Rows without gaps move as one, unless a row would overwrite one that is still to
// be read. `targetImage` is the memory behind the target, or null if it is not known.
template <class U, class Image>
void CopyRows(const Access<U>& from, const Image& sourceImage, const Access<U>& to,
              const Image* targetImage) noexcept {
  const std::int64_t height = std::min(from.height, to.height);
  std::int64_t width = std::min(from.width, to.width);
  if (height < 1 || width < 1) return;
  const auto indexIn = [](const Image& image, const U* address) -> std::int64_t {
    return address - reinterpret_cast<const U*>(image.data());
  };
  const std::int64_t sourceFirst = indexIn(sourceImage, from.pixels);
  const std::int64_t targetFirst = targetImage ? indexIn(*targetImage, to.pixels) : 0;
  std::int64_t rows = pixels_detail::ReachableRows(sourceImage.reachableElements(), sourceFirst,
                                                   from.Step(), height);
  if (targetImage) {
    rows = pixels_detail::ReachableRows(targetImage->reachableElements(), targetFirst, to.Step(),
                                        rows);
  }
  if (rows > 1 && from.Step() == width && to.Step() == width) {
    const std::less<const U*> isBefore;
    if (!isBefore(from.pixels, to.pixels) || !isBefore(to.pixels, from.pixels + width * rows)) {
      width *= rows;
      rows = 1;
    }
  }
  const auto isWhole = [&](const Image& image, std::int64_t first, std::int64_t step) {
    return first >= 0 && step > 0 && first + (rows - 1) * step + width <= image.reachableElements();
  };
  if (rows > 0 && isWhole(sourceImage, sourceFirst, from.Step()) &&
      (!targetImage || isWhole(*targetImage, targetFirst, to.Step()))) {
    constexpr std::int64_t kBytes = sizeof(U);
    pixels_detail::CopyWholeRows(reinterpret_cast<const std::byte*>(from.pixels),
                                 from.Step() * kBytes, reinterpret_cast<std::byte*>(to.pixels),
                                 to.Step() * kBytes, static_cast<std::size_t>(width * kBytes),
                                 rows);
    return;
  }
  for (std::int64_t row = 0; row < rows; ++row) {
    std::int64_t count = sourceImage.ClipRun(sourceFirst + row * from.Step(), width).count;
    if (targetImage) {
      count = std::min(count, targetImage->ClipRun(targetFirst + row * to.Step(), width).count);
    }
    std::memmove(to.pixels + row * to.Step(), from.pixels + row * from.Step(),
                 static_cast<std::size_t>(count) * sizeof(U));
  }
}

// Copies `rows` runs of `runBytes` bytes. Run k begins at the element sourceFirst + k * sourceStep
// and goes to targetFirst + k * targetStep; runs may lie outside the memory at either end, and may
// reach into each other. The steps are at least 1. The target is zero; what nobody has written to
// the source is not copied.
template <class Image>
void CopyByteRuns(const Image& source, std::int64_t sourceFirst, std::int64_t sourceStep,
                  Image& target, std::int64_t targetFirst, std::int64_t targetStep,
                  std::int64_t runBytes, std::int64_t rows) noexcept {
  constexpr std::int64_t kElementBytes = sizeof(*source.data());
  const std::int64_t sourceBytes = source.Touched() * kElementBytes;
  const std::int64_t targetBytes = target.reachableElements() * kElementBytes;
  using pixels_detail::ReachableRows;
  rows = ReachableRows(source.Touched(), sourceFirst, sourceStep, rows);
  rows = ReachableRows(target.reachableElements(), targetFirst, targetStep, rows);
  if (rows > 1 && sourceStep * kElementBytes == runBytes &&
      targetStep * kElementBytes == runBytes) {
    runBytes *= rows;
    rows = 1;
  }
  std::int64_t writtenBytes = 0;
  for (std::int64_t row = 0; row < rows; ++row) {
    const std::int64_t from = (sourceFirst + row * sourceStep) * kElementBytes;
    const std::int64_t to = (targetFirst + row * targetStep) * kElementBytes;
    const std::int64_t skipped = std::max({std::int64_t{0}, -from, -to});
    const std::int64_t end = std::min({runBytes, sourceBytes - from, targetBytes - to});
    if (skipped >= end) continue;
    std::memcpy(reinterpret_cast<std::byte*>(target.data()) + to + skipped,
                reinterpret_cast<const std::byte*>(source.data()) + from + skipped,
                static_cast<std::size_t>(end - skipped));
    writtenBytes = to + end;
  }
  target.SetLoaded((writtenBytes + kElementBytes - 1) / kElementBytes);
}

}  // namespace rastel
