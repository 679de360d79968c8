// SPDX-License-Identifier: MIT
// The sizes of an image buffer and the 32-bit arithmetic on them. Sums and products of sizes wrap
// in 32 bits, and clients depend on it: a buffer of 65536 by 65536 pixels exists and has no
// elements.
#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace rastel {

// Two's complement results; done in unsigned arithmetic, where wrapping is defined.
constexpr LONG WrapAdd(LONG a, LONG b) noexcept {
  return static_cast<LONG>(static_cast<ULONG>(a) + static_cast<ULONG>(b));
}
constexpr LONG WrapSub(LONG a, LONG b) noexcept {
  return static_cast<LONG>(static_cast<ULONG>(a) - static_cast<ULONG>(b));
}
constexpr LONG WrapMul(LONG a, LONG b) noexcept {
  return static_cast<LONG>(static_cast<ULONG>(a) * static_cast<ULONG>(b));
}

// Sizes in elements. Planes lie one behind the other without gaps, a plane is `rows` stored rows of
// `stride` elements; the interior pixel (x, y) is stored at column x + margin, row y + margin.
struct BufferGeometry {
  // Highest element count that is ever stated: as bytes of the widest element it fits 64 bits.
  static constexpr std::int64_t kMaxElements = INT64_MAX / 8;

  LONG planes = 0;
  LONG width = 0;
  LONG height = 0;
  LONG margin = 0;
  LONG stride = 0;         // width + 2 * margin, wrapped
  LONG rows = 0;           // height + 2 * margin, wrapped
  LONG planeElements = 0;  // elements of one: rows * stride, wrapped

  static constexpr BufferGeometry Of(LONG planes, LONG width, LONG height, LONG margin) noexcept {
    const LONG bothSides = WrapMul(2, margin);
    const LONG stride = WrapAdd(width, bothSides);
    const LONG rows = WrapAdd(height, bothSides);
    return {planes, width, height, margin, stride, rows, WrapMul(rows, stride)};
  }

  // Wrapped index of a stored element in its plane.
  constexpr LONG IndexInPlane(LONG column, LONG row) const noexcept {
    return WrapAdd(WrapMul(row, stride), column);
  }
  // Wrapped index of the first element of a plane.
  constexpr LONG PlaneStart(LONG plane) const noexcept { return WrapMul(plane, planeElements); }
  // planes * rows * stride, wrapped: the size of a block that a buffer allocates.
  constexpr LONG WrappedElements() const noexcept { return PlaneStart(planes); }

  // planes * rows * stride, not wrapped: 0 if it is negative, at most kMaxElements.
  constexpr std::int64_t CountedElements() const noexcept {
    std::int64_t elements = static_cast<std::int64_t>(rows) * stride;
    std::int64_t count = planes;
    if (elements < 0) {
      elements = -elements;
      count = -count;
    }
    if (elements == 0 || count <= 0) return 0;
    return count > kMaxElements / elements ? kMaxElements : count * elements;
  }

  // Whether stride and rows are the sums that they stand for.
  constexpr bool HasTrueSums() const noexcept {
    const std::int64_t bothSides = 2 * static_cast<std::int64_t>(margin);
    return stride == width + bothSides && rows == height + bothSides;
  }

  // Whether every stored row, margins included, lies in an allocated block of WrappedElements().
  constexpr bool Fits() const noexcept {
    return planes > 0 && margin >= 0 && margin <= width && margin <= height && HasTrueSums() &&
           CountedElements() == WrappedElements();
  }
};

}  // namespace rastel
