// SPDX-License-Identifier: MIT
// What an AOI should be, said in as few words as it can be: two axes, a buffer of cells, and the
// arithmetic between them. The slots have the names and results of an AOI's, so that a test calls
// both alike.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "interfaces/enums.h"
#include "platform/platform.h"

namespace tests {

inline LONG In32Bits(std::int64_t number) { return static_cast<LONG>(number); }
constexpr HRESULT CodeOf(int report) {
  return platform::ResultCode(0x80040000u | static_cast<std::uint32_t>(report));
}

// Block and tail of a buffer, or a client's memory.
template <class T>
struct ModelBuffer {
  LONG planes = 0, margin = 0;
  std::array<LONG, 2> size{}, stored{};  // of a plane, without and with margins
  std::int64_t block = 0, reach = 0;     // cells of the block, and of block and tail
  T* cells = nullptr;                    // what they should hold; null while the buffer is empty
  std::vector<T> own;
  bool isDefined = false;  // a fresh block holds anything
  T* pixels = nullptr;     // where the module has them, if the test could find out

  std::int64_t PlaneCells() const { return std::int64_t{stored[0]} * stored[1]; }
  std::int64_t FirstPixel() const { return std::int64_t{margin} * stored[0] + margin; }
  bool Holds(std::int64_t index) const { return index >= 0 && index < reach; }

  void Shape(LONG planeCount, LONG width, LONG height, LONG marginSize) {
    planes = planeCount;
    margin = marginSize;
    size = {width, height};
    stored = {width + 2 * margin, height + 2 * margin};
    block = reach = In32Bits(planes * PlaneCells());
  }
  void Allocate() {
    if (margin > 0 && FirstPixel() < block) reach += FirstPixel();
    own.resize(static_cast<std::size_t>(reach));
    cells = own.data();
  }
  // The interior coordinate that coordinate k of the continued image shows.
  static std::int64_t Continued(MarginModeKLP mode, std::int64_t k, LONG size) {
    if (k >= 0 && k < size) return k;
    if (mode == MarginPeriodic) return (k + size) % size;
    if (mode == MarginMirror) return k < 0 ? -1 - k : 2 * size - 1 - k;
    return k < 0 ? 0 : size - 1;
  }
  void FillMargins(MarginModeKLP mode) {
    const std::vector<T> before(cells, cells + reach);
    for (std::int64_t i = 0; margin > 0 && i < reach && i / PlaneCells() < planes; ++i) {
      const std::int64_t column = i % stored[0] - margin, row = i / stored[0] % stored[1] - margin;
      const std::int64_t x = Continued(mode, column, size[0]), y = Continued(mode, row, size[1]);
      if (x == column && y == row) continue;
      // A corner repeats what the margin's row got.
      const std::int64_t inRow = i - column + x, inside = inRow + (y - row) * stored[0];
      if (mode == MarginZero) {
        cells[i] = 0;
      } else if (inRow < reach) {
        cells[i] = before[static_cast<std::size_t>(inside < reach ? inside : inRow)];
      }
    }
  }
};

// T: the pixels; U: what pointer parameters call them.
template <class T, class U>
struct Model {
  // Memory of the client's, and what it should hold.
  static inline std::vector<T> client, clientCells;

  struct Axis {
    LONG start = 0, length = 0, margin = 0, stored = 0;
  };
  std::array<Axis, 2> axes;
  LONG planes = 0, active = 0, nextMargin = 0;
  MarginModeKLP mode = MarginNone;
  std::shared_ptr<ModelBuffer<T>> buffer;

  // x, y, width, height.
  using Sides = std::array<std::int64_t, 4>;
  Sides Rect(LONG dx = 0, LONG dy = 0, LONG dw = 0, LONG dh = 0) const {
    const auto& [x, y] = axes;
    return {std::int64_t{x.start} + dx, std::int64_t{y.start} + dy, std::int64_t{x.length} + dw,
            std::int64_t{y.length} + dh};
  }
  bool HasCells() const { return buffer && buffer->cells; }

  HRESULT SetRect(LONG left, LONG top, LONG right, LONG bottom) {
    if (!buffer) return CodeOf(1114);
    if (std::min({left, top, right, bottom}) < 0) return CodeOf(1113);
    if (std::max(left, right) >= axes[0].stored) return E_INVALIDARG;
    if (std::max(top, bottom) >= axes[1].stored) return E_INVALIDARG;
    Place(0, left, right);
    Place(1, top, bottom);
    return S_OK;
  }
  void Place(std::size_t axis, LONG first, LONG last) {
    Axis& a = axes[axis];
    a.start = std::min(first, last);
    a.length = std::abs(last - first) + 1;
    const LONG behind = buffer->margin + buffer->size[axis] - a.length - a.start;
    a.margin = std::min({a.margin, a.start + buffer->margin, behind});
  }
  HRESULT Set(const Sides& rect) {
    const auto [x, y, width, height] = rect;
    return SetRect(In32Bits(x), In32Bits(y), In32Bits(x + width - 1), In32Bits(y + height - 1));
  }
  HRESULT Put(std::size_t side, LONG value) {
    Sides rect = Rect();
    rect[side] = value;
    return value < 0 ? CodeOf(1113) : Set(rect);
  }
  HRESULT put_X(LONG x) { return Put(0, x); }
  HRESULT put_Y(LONG y) { return Put(1, y); }
  HRESULT put_Width(LONG width) { return Put(2, width); }
  HRESULT put_Height(LONG height) { return Put(3, height); }
  HRESULT Try(const Sides& rect) {
    Set(rect);
    return buffer ? S_OK : CodeOf(1114);
  }
  HRESULT MoveBy(LONG dx, LONG dy) { return Try(Rect(dx, dy)); }
  HRESULT ResizeBy(LONG dw, LONG dh) { return Try(Rect(0, 0, dw, dh)); }
  HRESULT SelectAll() { return SetRect(0, 0, axes[0].stored - 1, axes[1].stored - 1); }

  HRESULT SetMargins(LONG marginX, LONG marginY) {
    if (!buffer) return CodeOf(1114);
    if (std::min(marginX, marginY) < 0) return CodeOf(1106);
    const std::int64_t wanted[] = {marginX, marginY}, margin = buffer->margin;
    std::int64_t first[2], last[2];
    for (std::size_t i = 0; i < 2; ++i) {
      const auto& [start, length, request, stored] = axes[i];
      if (wanted[i] * 2 >= stored) return E_FAIL;
      first[i] = std::max<std::int64_t>(start, wanted[i] - margin);
      last[i] = std::min<std::int64_t>(start + length, stored - wanted[i] - margin) - 1;
    }
    if (last[0] < first[0] || last[1] < first[1]) return E_FAIL;
    SetRect(In32Bits(first[0]), In32Bits(first[1]), In32Bits(last[0]), In32Bits(last[1]));
    axes[0].margin = marginX;
    axes[1].margin = marginY;
    return S_OK;
  }
  HRESULT FillMargins() {
    if (!buffer) return CodeOf(1114);
    if (mode != MarginNone && !buffer->cells) return E_FAIL;
    if (mode > MarginReplicate && buffer->margin != 0) return E_INVALIDARG;
    if (mode != MarginNone) buffer->FillMargins(mode);
    return SetMargins(axes[0].margin, axes[1].margin);
  }
  HRESULT put_BufferMargin(LONG pixels) { return nextMargin = pixels, S_OK; }
  HRESULT put_ActivePlane(LONG plane) {
    if (plane < 0 || plane >= planes) return CodeOf(1129);
    return active = plane, S_OK;
  }

  // The index of a position in the block, or -1.
  std::int64_t IndexOf(std::int64_t x, std::int64_t y) const {
    const LONG column = In32Bits(x + axes[0].start + buffer->margin);
    const LONG row = In32Bits(y + axes[1].start + buffer->margin);
    const bool isInPlane =
        column >= 0 && column < axes[0].stored && row >= 0 && row < axes[1].stored;
    const LONG index =
        In32Bits(active * buffer->PlaneCells() + std::int64_t{row} * axes[0].stored + column);
    return isInPlane && active < buffer->planes && index < buffer->block ? index : -1;
  }
  HRESULT FindFirst(std::int64_t* index) const {
    if (!buffer) return CodeOf(1114);
    if (active >= planes) return E_INVALIDARG;
    if (!buffer->cells) return E_FAIL;
    *index = IndexOf(0, 0);
    return *index < 0 ? E_INVALIDARG : S_OK;
  }
  HRESULT PutPixel(LONG x, LONG y, double value) {
    if (!buffer) return CodeOf(1114);
    if (!buffer->cells || active >= buffer->planes) return E_POINTER;
    const std::int64_t index = IndexOf(x, y);
    if (index >= 0) buffer->cells[index] = Converted(value);
    return index < 0 ? E_INVALIDARG : S_OK;
  }
  static T Converted(double value) {
    constexpr auto kLowest = static_cast<double>(std::numeric_limits<T>::lowest());
    constexpr auto kHighest = static_cast<double>(std::numeric_limits<T>::max());
    return static_cast<T>(std::clamp(value, kLowest, kHighest));
  }
  HRESULT Fill(double value) {
    std::int64_t first = 0;
    const HRESULT result = FindFirst(&first);
    for (LONG i = 0; SUCCEEDED(result) && i < axes[0].length * axes[1].length; ++i) {
      const std::int64_t at = first + i / axes[0].length * axes[0].stored + i % axes[0].length;
      if (buffer->Holds(at)) buffer->cells[at] = Converted(value);
    }
    return result;
  }
  HRESULT CopyTo(Model* other) {
    std::int64_t from = 0, to = 0;
    if (const HRESULT result = FindFirst(&from); FAILED(result)) return result;
    if (const HRESULT result = other->FindFirst(&to); FAILED(result)) return result;
    const std::int64_t width = std::min(axes[0].length, other->axes[0].length);
    for (LONG row = 0; row < std::min(axes[1].length, other->axes[1].length); ++row) {
      CopyRow(from, *other->buffer, to, width);
      from += axes[0].stored;
      to += other->axes[0].stored;
    }
    return S_OK;
  }
  // As many as are there on both sides.
  void CopyRow(std::int64_t from, const ModelBuffer<T>& target, std::int64_t to,
               std::int64_t count) const {
    count = std::min({count, buffer->reach - from, target.reach - to});
    if (count < 1) return;
    std::memmove(target.cells + to, buffer->cells + from,
                 static_cast<std::size_t>(count) * sizeof(T));
  }

  // Binding.
  HRESULT Bind() {
    active = nextMargin = 0;
    planes = buffer->planes;
    for (std::size_t i = 0; i < 2; ++i) axes[i] = {0, buffer->size[i], 0, buffer->stored[i]};
    return S_OK;
  }
  HRESULT Allocate(LONG count, LONG width, LONG height) {
    if (count == 0 || nextMargin > std::min(width, height)) return E_INVALIDARG;
    buffer->Shape(count, width, height, nextMargin);
    buffer->Allocate();
    return Bind();
  }
  HRESULT Attach(LONG count, LONG width, LONG height, U* pixels) {
    if (!pixels) return E_POINTER;
    if (count == 0 || width < 0 || height < 0) return E_INVALIDARG;
    if (buffer->cells) return E_ABORT;
    buffer->Shape(count, width, height, 0);
    buffer->pixels = reinterpret_cast<T*>(pixels);
    buffer->cells = clientCells.data() + (buffer->pixels - client.data());
    buffer->isDefined = true;
    return Bind();
  }
  void Renew() { buffer = std::make_shared<ModelBuffer<T>>(); }
  HRESULT CreateImage(LONG width, LONG height) {
    const HRESULT result = CreatePlanes(1, width, height);
    if (width == 0 || height == 0) buffer.reset();
    return result;
  }
  HRESULT CreatePlanes(LONG count, LONG width, LONG height) {
    Renew();
    return width == 0 || height == 0 ? CodeOf(1115) : Allocate(count, width, height);
  }
  HRESULT AttachImage(LONG width, LONG height, U* pixels) {
    if (width == 0 || height == 0) return CodeOf(1115);
    if (!buffer) Renew();
    return Attach(1, width, height, pixels);
  }
  HRESULT AttachPlanes(LONG count, LONG width, LONG height, U* pixels) {
    Renew();
    return width == 0 || height == 0 ? CodeOf(1115) : Attach(count, width, height, pixels);
  }
};

}  // namespace tests
