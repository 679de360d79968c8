// SPDX-License-Identifier: MIT
#include "module/image/margins.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

namespace rastel {
namespace {

// One whole plane, its sizes in bytes.
struct PlaneBytes {
  std::byte* start;
  std::size_t stride;    // of a stored row
  std::size_t interior;  // of an interior row
  std::size_t margin;    // of the margin at one end of a row
  std::size_t marginRows;
  std::size_t interiorRows;

  std::byte* Row(std::size_t storedRow) const { return start + storedRow * stride; }
};

// Ends of rows are short, and a library call for each would cost more than its bytes. A run is
// moved as two chunks of one width for a whole plane: one begins with the run and one ends with it,
// wherever they overlap. Only runs of more than two of the widest chunks take more.
constexpr std::size_t kWidestChunk = 64;

template <class Word>
Word Load(const std::byte* from) {
  Word word;
  std::memcpy(&word, from, sizeof(Word));
  return word;
}

template <class Word>
void Store(std::byte* to, Word word) {
  std::memcpy(to, &word, sizeof(Word));
}

// Calls operation(width) with the narrowest width for a run, as a constant. The run is at least two
// elements long.
template <std::size_t kElementBytes, class Operation>
void WithChunkFor(std::size_t runBytes, const Operation& operation) {
  const auto tryWidth = [&]<std::size_t kBytes>(std::integral_constant<std::size_t, kBytes> width) {
    if constexpr (kBytes >= kElementBytes) {
      if (kBytes == kWidestChunk || 2 * kBytes >= runBytes) {
        operation(width);
        return true;
      }
    }
    return false;
  };
  [&]<std::size_t... kBytes>(std::index_sequence<kBytes...>) {
    (tryWidth(std::integral_constant<std::size_t, kBytes>{}) || ...);
  }
  (std::index_sequence<1, 2, 4, 8, 16, 32, 48, kWidestChunk>{});
}

// Calls step(offset) for the chunks of a run. Step comes and captures by value: what it held by
// reference would be read again after every byte that it stores.
template <std::size_t kBytes, class Step>
void ForEachChunk(std::size_t runBytes, Step step) {
  const std::size_t last = runBytes - kBytes;
  step(std::size_t{0});
  if constexpr (kBytes == kWidestChunk) {
    for (std::size_t offset = kBytes; offset < last; offset += kBytes) step(offset);
  }
  step(last);
}

template <std::size_t kBytes>
void ClearRun(std::byte* to, std::size_t runBytes) {
  if (kBytes == kWidestChunk && runBytes > 2 * kBytes) {
    std::memset(to, 0, runBytes);
  } else {
    ForEachChunk<kBytes>(runBytes, [=](std::size_t at) { std::memset(to + at, 0, kBytes); });
  }
}

template <std::size_t kBytes>
void CopyRun(std::byte* to, const std::byte* from, std::size_t runBytes) {
  if (kBytes == kWidestChunk && runBytes > 2 * kBytes) {
    std::memcpy(to, from, runBytes);
  } else {
    ForEachChunk<kBytes>(runBytes,
                         [=](std::size_t at) { std::memcpy(to + at, from + at, kBytes); });
  }
}

// The unsigned integer that moves a chunk of a width, or each part of a wider one.
template <std::size_t kBytes>
using WordOf = std::conditional_t<
    kBytes == 1, std::uint8_t,
    std::conditional_t<kBytes == 2, std::uint16_t,
                       std::conditional_t<kBytes == 4, std::uint32_t, std::uint64_t>>>;

template <std::size_t kBytes, class Element>
void RepeatOverRun(std::byte* to, Element element, std::size_t runBytes) {
  using Word = WordOf<kBytes>;
  constexpr std::uint64_t kOnes = ~std::uint64_t{0} / static_cast<Element>(~Element{0});
  const auto word = static_cast<Word>(kOnes * element);
  ForEachChunk<kBytes>(runBytes, [=](std::size_t at) {
    for (std::size_t i = 0; i < kBytes; i += sizeof(Word)) Store(to + at + i, word);
  });
}

// The elements of a word in reverse order.
template <class Element, class Word>
Word Reverse(Word word) {
  std::uint64_t bits = word;
  if constexpr (sizeof(Word) == 8 && sizeof(Element) <= 4) bits = bits << 32 | bits >> 32;
  if constexpr (sizeof(Word) >= 4 && sizeof(Element) <= 2) {
    bits = (bits & 0x0000FFFF0000FFFF) << 16 | (bits >> 16 & 0x0000FFFF0000FFFF);
  }
  if constexpr (sizeof(Word) >= 2 && sizeof(Element) == 1) {
    bits = (bits & 0x00FF00FF00FF00FF) << 8 | (bits >> 8 & 0x00FF00FF00FF00FF);
  }
  return static_cast<Word>(bits);
}

template <std::size_t kBytes, class Element>
void ReverseRun(std::byte* to, const std::byte* from, std::size_t runBytes) {
  using Word = WordOf<kBytes>;
  const std::byte* const end = from + runBytes;
  ForEachChunk<kBytes>(runBytes, [=](std::size_t at) {
    std::byte* const target = to + at;
    const std::byte* const source = end - at - kBytes;
    if constexpr (kBytes <= sizeof(Word)) {
      Store(target, Reverse<Element>(Load<Word>(source)));
    } else {
      // In pairs, both loaded before one is stored, so that the compiler may use wide registers.
      constexpr std::size_t kPair = 2 * sizeof(Word);
      for (std::size_t i = 0; i < kBytes; i += kPair) {
        const std::byte* const pair = source + (kBytes - kPair - i);
        const Word low = Reverse<Element>(Load<Word>(pair + sizeof(Word)));
        const Word high = Reverse<Element>(Load<Word>(pair));
        Store(target + i, low);
        Store(target + i + sizeof(Word), high);
      }
    }
  });
}

// The ends of rows lie too far from each other for the processor to foresee them; asked for some
// rows ahead, they are there when they are written. What lies behind the plane is asked for in
// vain.
constexpr std::size_t kRowsAhead = 32;

void Foresee(const std::byte* end, std::size_t bytes) {
  __builtin_prefetch(end, 1);
  if (bytes > 16) __builtin_prefetch(end + bytes - 1, 1);
}

// The right margin of a row and the left margin of the next are one run.
void ClearMargins(const PlaneBytes& plane) {
  const std::size_t wholeRows = plane.marginRows * plane.stride + plane.margin;
  std::memset(plane.start, 0, wholeRows);
  std::byte* gap = plane.start + wholeRows + plane.interior;
  WithChunkFor<1>(2 * plane.margin,
                  [&]<std::size_t kBytes>(std::integral_constant<std::size_t, kBytes>) {
                    for (std::size_t y = 1; y < plane.interiorRows; ++y, gap += plane.stride) {
                      Foresee(gap + kRowsAhead * plane.stride, 2 * plane.margin);
                      ClearRun<kBytes>(gap, 2 * plane.margin);
                    }
                  });
  std::memset(gap, 0, wholeRows);
}

template <class Side>
void ForEachInteriorRow(const PlaneBytes& plane, const Side& fillSides) {
  std::byte* row = plane.Row(plane.marginRows);
  for (std::size_t y = 0; y < plane.interiorRows; ++y, row += plane.stride) {
    Foresee(row + kRowsAhead * plane.stride - plane.margin, 2 * plane.margin);
    fillSides(row, row + plane.margin + plane.interior);
  }
}

// Calls fillSides(width, left, right) for the interior rows; left and right are where the margins
// begin. The width of the chunks is a constant.
template <std::size_t kElementBytes, class Side>
void ForEachInteriorRowInChunks(const PlaneBytes& plane, const Side& fillSides) {
  WithChunkFor<kElementBytes>(plane.margin, [&](auto width) {
    ForEachInteriorRow(plane,
                       [&](std::byte* left, std::byte* right) { fillSides(width, left, right); });
  });
}

template <class Element>
void FillWideSides(const PlaneBytes& plane, MarginModeKLP mode) {
  const std::size_t run = plane.margin;
  if (mode == MarginPeriodic) {
    ForEachInteriorRowInChunks<1>(plane, [&](auto width, std::byte* left, std::byte* right) {
      CopyRun<width()>(left, right - run, run);
      CopyRun<width()>(right, left + run, run);
    });
  } else if (mode == MarginMirror) {
    ForEachInteriorRowInChunks<sizeof(Element)>(
        plane, [&](auto width, std::byte* left, std::byte* right) {
          ReverseRun<width(), Element>(left, left + run, run);
          ReverseRun<width(), Element>(right, right - run, run);
        });
  } else {
    ForEachInteriorRowInChunks<sizeof(Element)>(
        plane, [&](auto width, std::byte* left, std::byte* right) {
          RepeatOverRun<width()>(left, Load<Element>(left + run), run);
          RepeatOverRun<width()>(right, Load<Element>(right - sizeof(Element)), run);
        });
  }
}

// A margin of one: mirrored and replicated are the same.
template <class Element>
void FillSidesOfOne(const PlaneBytes& plane, bool periodic) {
  const std::size_t distance = periodic ? plane.interior : sizeof(Element);
  ForEachInteriorRow(plane, [&](std::byte* left, std::byte* right) {
    Store(left, Load<Element>(left + distance));
    Store(right, Load<Element>(right - distance));
  });
}

// The interior rows have their sides already, so whole stored rows carry the corners with them.
void CopyMarginRows(const PlaneBytes& plane, MarginModeKLP mode) {
  const std::size_t m = plane.marginRows;
  const std::size_t h = plane.interiorRows;
  if (mode == MarginPeriodic) {
    std::memcpy(plane.Row(m + h), plane.Row(m), m * plane.stride);
    std::memcpy(plane.Row(0), plane.Row(h), m * plane.stride);
    return;
  }
  for (std::size_t i = 0; i < m; ++i) {
    const std::size_t fromEdge = mode == MarginMirror ? i : 0;
    std::memcpy(plane.Row(m + h + i), plane.Row(m + h - 1 - fromEdge), plane.stride);
    std::memcpy(plane.Row(m - 1 - i), plane.Row(m + fromEdge), plane.stride);
  }
}

template <class Element>
void FillPlane(const PlaneBytes& plane, MarginModeKLP mode) {
  if (mode == MarginZero) return ClearMargins(plane);
  if (plane.marginRows == 1) {
    FillSidesOfOne<Element>(plane, mode == MarginPeriodic);
  } else {
    FillWideSides<Element>(plane, mode);
  }
  CopyMarginRows(plane, mode);
}

// The stored row or column that one outside the interior repeats; size is the interior's.
std::int64_t Repeated(MarginModeKLP mode, std::int64_t stored, std::int64_t margin,
                      std::int64_t size) {
  const bool isBefore = stored < margin;
  if (mode == MarginPeriodic) return isBefore ? stored + size : stored - size;
  const std::int64_t edge = isBefore ? margin : margin + size - 1;
  if (mode == MarginReplicate) return edge;
  return 2 * edge - stored + (isBefore ? -1 : 1);
}

// A plane of which only the first `elements` elements are there. No speed is needed. The columns
// come last, since the corners repeat what the margin rows got.
template <class Element>
void FillCutPlane(std::byte* start, std::int64_t elements, const BufferGeometry& geometry,
                  MarginModeKLP mode) {
  const std::int64_t margin = geometry.margin;
  const auto at = [&](std::int64_t index) {
    return start + static_cast<std::size_t>(index) * sizeof(Element);
  };
  for (const bool isColumns : {false, true}) {
    for (std::int64_t i = 0; i < elements; ++i) {
      std::int64_t row = i / geometry.stride;
      std::int64_t column = i % geometry.stride;
      const bool isRowInside = row >= margin && row < margin + geometry.height;
      const bool isColumnInside = column >= margin && column < margin + geometry.width;
      if (isColumns ? isColumnInside : isRowInside || !isColumnInside) continue;
      if (mode == MarginZero) {
        Store(at(i), Element{0});
        continue;
      }
      if (isColumns) {
        column = Repeated(mode, column, margin, geometry.width);
      } else {
        row = Repeated(mode, row, margin, geometry.height);
      }
      const std::int64_t source = row * geometry.stride + column;
      if (source < elements) Store(at(i), Load<Element>(at(source)));
    }
  }
}

template <class Element>
void FillPlanes(std::byte* data, std::int64_t elements, const BufferGeometry& geometry,
                MarginModeKLP mode) {
  const auto bytes = [](LONG count) { return static_cast<std::size_t>(count) * sizeof(Element); };
  const std::int64_t planeElements = static_cast<std::int64_t>(geometry.rows) * geometry.stride;
  const std::int64_t wholePlanes =
      std::min<std::int64_t>(geometry.planes, elements / planeElements);
  PlaneBytes plane{.start = data,
                   .stride = bytes(geometry.stride),
                   .interior = bytes(geometry.width),
                   .margin = bytes(geometry.margin),
                   .marginRows = static_cast<std::size_t>(geometry.margin),
                   .interiorRows = static_cast<std::size_t>(geometry.height)};
  const std::size_t planeBytes = static_cast<std::size_t>(geometry.rows) * plane.stride;
  for (std::int64_t i = 0; i < wholePlanes; ++i, plane.start += planeBytes) {
    FillPlane<Element>(plane, mode);
  }
  if (wholePlanes < geometry.planes) {
    FillCutPlane<Element>(plane.start, elements - wholePlanes * planeElements, geometry, mode);
  }
}

}  // namespace

void FillMarginElements(void* data, std::size_t elementBytes, std::int64_t elements,
                        const BufferGeometry& geometry, MarginModeKLP mode) noexcept {
  if (geometry.planes < 1 || geometry.margin < 1 || !geometry.HasTrueSums()) return;
  auto* const bytes = static_cast<std::byte*>(data);
  switch (elementBytes) {
    case 1:
      return FillPlanes<std::uint8_t>(bytes, elements, geometry, mode);
    case 2:
      return FillPlanes<std::uint16_t>(bytes, elements, geometry, mode);
    case 4:
      return FillPlanes<std::uint32_t>(bytes, elements, geometry, mode);
    default:
      return FillPlanes<std::uint64_t>(bytes, elements, geometry, mode);
  }
}

}  // namespace rastel
