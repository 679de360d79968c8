// What an AOI should be, said in as few words as it can be: two axes, a buffer of cells, and the
// arithmetic between them. The slots have the names and results of an AOI's, so that a test calls
// both alike; what they hand out are further models.
#pragma once

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "tests/image/aoi_types.h"

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
  LONG block = 0, reach = 0;             // cells of the block, and of block and tail
  T* cells = nullptr;                    // what they should hold; null while the buffer is empty
  std::vector<T> own;
  bool isDefined = false;     // a fresh block holds anything
  const T* pixels = nullptr;  // where the module has them, if the test could find out

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
    if (margin > 0 && FirstPixel() < block) reach += In32Bits(FirstPixel());
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
    if (margin < 1) return;
    const std::vector<T> before(cells, cells + reach);
    for (LONG i = 0; i < reach && i / PlaneCells() < planes; ++i) {
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

template <class Type>
struct Model {
  using T = typename Type::T;
  using U = typename Type::U;
  using Models = std::vector<Model>;

  // Memory of the client's, and what it should hold.
  static inline std::vector<T> client, clientCells;

  struct Axis {
    LONG start = 0, length = 0, margin = 0, stored = 0;
  };
  std::array<Axis, 2> axes;
  LONG planes = 0, active = 0, nextMargin = 0;
  MarginModeKLP mode = MarginNone;
  MarshalFlagsKLP flags = MarshalRectangle;
  std::set<LONG> deselected;
  std::shared_ptr<ModelBuffer<T>> buffer;

  // x, y, width, height.
  std::array<LONG, 4> Rect() const {
    if (!buffer) return {};
    return {axes[0].start, axes[1].start, axes[0].length, axes[1].length};
  }
  bool HasCells() const { return buffer && buffer->cells; }

  HRESULT SetRect(LONG left, LONG top, LONG right, LONG bottom) {
    if (!buffer) return CodeOf(1114);
    if (std::min({left, top, right, bottom}) < 0) return CodeOf(1113);
    if (std::max(left, right) >= axes[0].stored || std::max(top, bottom) >= axes[1].stored) {
      return E_INVALIDARG;
    }
    Place(0, left, right);
    Place(1, top, bottom);
    return S_OK;
  }
  void Place(std::size_t axis, LONG first, LONG last) {
    Axis& a = axes[axis];
    a.start = std::min(first, last);
    a.length = std::abs(last - first) + 1;
    const LONG before = a.start + buffer->margin;
    const LONG behind = buffer->margin + buffer->size[axis] - a.length - a.start;
    a.margin = std::min({a.margin, before, behind});
  }
  HRESULT SetSpans(std::int64_t x, std::int64_t y, LONG width, LONG height) {
    return SetRect(In32Bits(x), In32Bits(y), In32Bits(x + width - 1), In32Bits(y + height - 1));
  }
  HRESULT Put(LONG value, LONG Axis::*member, std::size_t axis) {
    if (value < 0) return CodeOf(1113);
    std::array<Axis, 2> wanted = axes;
    wanted[axis].*member = value;
    return SetSpans(wanted[0].start, wanted[1].start, wanted[0].length, wanted[1].length);
  }
  HRESULT put_X(LONG value) { return Put(value, &Axis::start, 0); }
  HRESULT put_Y(LONG value) { return Put(value, &Axis::start, 1); }
  HRESULT put_Width(LONG value) { return Put(value, &Axis::length, 0); }
  HRESULT put_Height(LONG value) { return Put(value, &Axis::length, 1); }
  HRESULT Try(std::int64_t x, std::int64_t y, std::int64_t width, std::int64_t height) {
    if (!buffer) return CodeOf(1114);
    SetSpans(x, y, In32Bits(width), In32Bits(height));
    return S_OK;
  }
  HRESULT MoveTo(LONG x, LONG y) { return Try(x, y, axes[0].length, axes[1].length); }
  HRESULT MoveBy(std::int64_t dx, std::int64_t dy) {
    return MoveTo(In32Bits(axes[0].start + dx), In32Bits(axes[1].start + dy));
  }
  HRESULT ResizeTo(LONG width, LONG height) {
    return Try(axes[0].start, axes[1].start, width, height);
  }
  HRESULT ResizeBy(std::int64_t dw, std::int64_t dh) {
    return ResizeTo(In32Bits(axes[0].length + dw), In32Bits(axes[1].length + dh));
  }
  HRESULT SelectAll() { return SetRect(0, 0, axes[0].stored - 1, axes[1].stored - 1); }
  HRESULT Unite(const Model* other) {
    if (!buffer) return S_FALSE;
    const auto a = Rect(), b = other->Rect();
    return SetRect(std::min(a[0], b[0]), std::min(a[1], b[1]),
                   std::max(a[0] + a[2], b[0] + b[2]) - 1, std::max(a[1] + a[3], b[1] + b[3]) - 1);
  }
  HRESULT CopyRect(const Model* other) {
    const auto [x, y, width, height] = other->Rect();
    return other->buffer ? SetSpans(x, y, width, height) : CodeOf(1114);
  }
  HRESULT IsSameSize(const Model* other, LONG* same) const {
    const auto a = Rect(), b = other->Rect();
    *same = a[2] == b[2] && a[3] == b[3];
    return *same ? S_OK : S_FALSE;
  }

  HRESULT SetMargins(LONG marginX, LONG marginY) {
    if (!buffer) return CodeOf(1114);
    if (std::min(marginX, marginY) < 0) return CodeOf(1106);
    const LONG wanted[] = {marginX, marginY}, margin = buffer->margin;
    LONG first[2], last[2];
    for (std::size_t i = 0; i < 2; ++i) {
      if (std::int64_t{wanted[i]} * 2 >= axes[i].stored) return E_FAIL;
      // Both ends of what may be left, in interior coordinates.
      first[i] = std::max(axes[i].start, wanted[i] - margin);
      last[i] = std::min(axes[i].start + axes[i].length, axes[i].stored - wanted[i] - margin) - 1;
    }
    if (last[0] < first[0] || last[1] < first[1]) return E_FAIL;
    SetRect(first[0], first[1], last[0], last[1]);
    axes[0].margin = marginX;
    axes[1].margin = marginY;
    return S_OK;
  }
  HRESULT PutMargin(LONG pixels, LONG marginX, LONG marginY) {
    return buffer && pixels < 0 ? CodeOf(1106) : SetMargins(marginX, marginY);
  }
  HRESULT put_MarginX(LONG pixels) { return PutMargin(pixels, pixels, axes[1].margin); }
  HRESULT put_MarginY(LONG pixels) { return PutMargin(pixels, axes[0].margin, pixels); }
  HRESULT FillMargins() {
    if (!buffer) return CodeOf(1114);
    if (mode != MarginNone && !buffer->cells) return E_FAIL;
    if (mode > MarginReplicate && buffer->margin != 0) return E_INVALIDARG;
    if (mode != MarginNone) buffer->FillMargins(mode);
    return SetMargins(axes[0].margin, axes[1].margin);
  }
  HRESULT put_MarginMode(MarginModeKLP value) { return mode = value, S_OK; }
  HRESULT put_BufferMargin(LONG pixels) { return nextMargin = pixels, S_OK; }
  HRESULT put_MarshalFlags(MarshalFlagsKLP value) {
    if (value > MarshalBuffer) return platform::ResultCode(0x80020009u);
    return flags = value, S_OK;
  }
  HRESULT put_ActivePlane(LONG plane) {
    if (plane < 0 || plane >= planes) return CodeOf(1129);
    return active = plane, S_OK;
  }
  HRESULT put_PlaneSelected(LONG plane, LONG selected) {
    if (plane < 0 || plane >= planes) return CodeOf(1129);
    if (selected) return deselected.erase(plane), S_OK;
    return deselected.insert(plane), S_OK;
  }

  // Pixels. The index of a position in the block.
  std::optional<LONG> IndexOf(std::int64_t x, std::int64_t y, LONG plane) const {
    const LONG column = In32Bits(x + axes[0].start + buffer->margin);
    const LONG row = In32Bits(y + axes[1].start + buffer->margin);
    if (column < 0 || column >= axes[0].stored || row < 0 || row >= axes[1].stored) return {};
    const LONG index =
        In32Bits(plane * buffer->PlaneCells() + std::int64_t{row} * axes[0].stored + column);
    if (index < 0 || index >= buffer->block) return {};
    return index;
  }
  HRESULT Find(LONG x, LONG y, LONG plane, std::int64_t* index) const {
    if (!buffer) return CodeOf(1114);
    if (plane < 0 || plane >= planes) return E_INVALIDARG;
    if (!buffer->cells) return E_FAIL;
    const auto found = plane < buffer->planes ? IndexOf(x, y, plane) : std::nullopt;
    if (!found) return E_INVALIDARG;
    return *index = *found, S_OK;
  }
  HRESULT FindFirst(std::int64_t* index) const { return Find(0, 0, active, index); }
  HRESULT Pixel(LONG x, LONG y, T** cell) const {
    if (!buffer) return CodeOf(1114);
    if (!buffer->cells || active >= buffer->planes) return E_POINTER;
    const auto index = IndexOf(x, y, active);
    if (!index) return E_INVALIDARG;
    return *cell = buffer->cells + *index, S_OK;
  }
  HRESULT GetPixel(LONG x, LONG y, double* value) const {
    T* cell = nullptr;
    const HRESULT result = Pixel(x, y, &cell);
    if (cell) *value = static_cast<double>(*cell);
    return result;
  }
  static T Converted(double value) {
    using Limits = std::numeric_limits<T>;
    return static_cast<T>(std::clamp(value, static_cast<double>(Limits::lowest()),
                                     static_cast<double>(Limits::max())));
  }
  HRESULT PutPixel(LONG x, LONG y, double value) {
    T* cell = nullptr;
    const HRESULT result = Pixel(x, y, &cell);
    if (cell) *cell = Converted(value);
    return result;
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
  HRESULT Clear() { return Fill(0), S_OK; }
  HRESULT CopyTo(Model* other) {
    std::int64_t from = 0, to = 0;
    if (const HRESULT result = FindFirst(&from); FAILED(result)) return result;
    if (const HRESULT result = other->FindFirst(&to); FAILED(result)) return result;
    for (LONG row = 0; row < std::min(axes[1].length, other->axes[1].length); ++row) {
      const std::int64_t count =
          std::min({std::int64_t{axes[0].length}, std::int64_t{other->axes[0].length},
                    buffer->reach - from, other->buffer->reach - to});
      if (count < 1) break;
      std::memmove(other->buffer->cells + to, buffer->cells + from,
                   static_cast<std::size_t>(count) * sizeof(T));
      from += axes[0].stored;
      to += other->axes[0].stored;
    }
    return S_OK;
  }

  // Binding.
  static bool AreEmpty(LONG width, LONG height) { return width == 0 || height == 0; }
  HRESULT Bind() {
    active = nextMargin = 0;
    planes = buffer->planes;
    deselected.clear();
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
    buffer.reset();
    if (AreEmpty(width, height)) return CodeOf(1115);
    return CreatePlanes(1, width, height);
  }
  HRESULT CreatePlanes(LONG count, LONG width, LONG height) {
    Renew();
    return AreEmpty(width, height) ? CodeOf(1115) : Allocate(count, width, height);
  }
  HRESULT CreateFromData(LONG count, LONG width, LONG height, const U* pixels) {
    Renew();
    if (AreEmpty(width, height)) return CodeOf(1115);
    if (!pixels) return E_POINTER;
    const HRESULT result = Allocate(count, width, height);
    if (FAILED(result)) return result;
    buffer->isDefined = true;
    for (std::int64_t i = 0; i < std::int64_t{width} * height * std::min(count, 64); ++i) {
      const std::int64_t at = i / width / height * buffer->PlaneCells() + buffer->FirstPixel() +
                              i / width % height * buffer->stored[0] + i % width;
      if (buffer->Holds(at)) std::memcpy(buffer->cells + at, pixels + i, sizeof(T));
    }
    return S_OK;
  }
  HRESULT AttachImage(LONG width, LONG height, U* pixels) {
    if (AreEmpty(width, height)) return CodeOf(1115);
    if (!buffer) Renew();
    return Attach(1, width, height, pixels);
  }
  HRESULT AttachPlanes(LONG count, LONG width, LONG height, U* pixels) {
    Renew();
    return AreEmpty(width, height) ? CodeOf(1115) : Attach(count, width, height, pixels);
  }

  // Further AOIs.
  HRESULT Clone(Models* out) const { return out->push_back(*this), S_OK; }
  HRESULT Split(std::size_t axis, bool isFirstHalf, Models* out) {
    if (!buffer) return CodeOf(1114);
    const auto cut = [axis, whole = axes](Model& model, bool isFirst) {
      std::array<Axis, 2> part = whole;
      const LONG half = part[axis].length / 2;
      part[axis].length = isFirst ? half : part[axis].length - half;
      if (!isFirst) part[axis].start += half;
      return model.SetSpans(part[0].start, part[1].start, part[0].length, part[1].length);
    };
    Model part = *this;
    if (const HRESULT result = cut(part, isFirstHalf); FAILED(result)) return result;
    out->push_back(part);
    return cut(*this, !isFirstHalf);
  }
  HRESULT SplitHeight(Models* out) { return Split(1, true, out); }
  HRESULT SplitWidth(Models* out) { return Split(0, false, out); }
  HRESULT SplitTiles(LONG across, LONG down, Models* out) const {
    if (!buffer) return CodeOf(1114);
    if (across < 1 || down < 1) return CodeOf(1118);
    const auto [x, y, width, height] = Rect();
    out->assign(static_cast<std::size_t>(across * down), *this);
    if (width < across || height < down) return CodeOf(1119);
    const auto end = [](LONG i, LONG count, LONG size) {
      return i == count ? size : i * (size / count);
    };
    for (LONG i = 0; i < across * down; ++i) {
      const LONG column = i % across, row = i / across;
      const LONG left = end(column, across, width), top = end(row, down, height);
      (*out)[static_cast<std::size_t>(i)].SetSpans(x + left, y + top,
                                                   end(column + 1, across, width) - left,
                                                   end(row + 1, down, height) - top);
    }
    return S_OK;
  }
  // The rows begin with the left margin, are bytes longer instead of pixels, and go to the new
  // rectangle.
  Model CopyOfRectangle() const {
    const LONG marginX = axes[0].margin, rows = axes[1].length + 2 * axes[1].margin;
    Model copy;
    copy.CreateImage(axes[0].length + 2 * marginX, rows);
    copy.SetMargins(marginX, axes[1].margin);
    if (copy.buffer) copy.buffer->isDefined = true;
    std::int64_t from = 0, to = 0;
    if (FAILED(FindFirst(&from)) || FAILED(copy.FindFirst(&to))) return copy;
    constexpr LONG kBytes = sizeof(T);
    const LONG rowBytes = axes[0].length * kBytes + 2 * marginX;
    for (LONG i = 0; i < rows * rowBytes; ++i) {
      const LONG row = i / rowBytes, byte = i % rowBytes;
      const std::int64_t source = (from - marginX + row * axes[0].stored) * kBytes + byte;
      const std::int64_t target = (to + row * copy.axes[0].stored) * kBytes + byte;
      if (source < 0 || !buffer->Holds(source / kBytes)) continue;
      if (!copy.buffer->Holds(target / kBytes)) continue;
      std::memcpy(reinterpret_cast<char*>(copy.buffer->cells) + target,
                  reinterpret_cast<const char*>(buffer->cells) + source, 1);
    }
    return copy;
  }
  HRESULT Duplicate(Models* out) const {
    if ((flags & 1) == 0) return out->push_back(CopyOfRectangle()), S_OK;
    Model whole = *this;
    if (const HRESULT result = whole.SelectAll(); FAILED(result)) return result;
    out->push_back(whole.CopyOfRectangle());
    out->back().flags = flags;
    const auto [x, y, width, height] = Rect();
    out->back().SetSpans(x, y, width, height);
    return S_OK;
  }

  // The stream, of an AOI whose name and tag nobody has put.
  using Bytes = std::vector<BYTE>;
  struct Totals {
    LONG marginX, marginY, width, height;
  };
  Totals TotalsOf() const {
    if (!buffer) return {};
    const Axis &x = axes[0], &y = axes[1];
    return {x.margin, y.margin, x.length + 2 * x.margin, y.length + 2 * y.margin};
  }
  ULONGLONG Estimate() const {
    const auto [marginX, marginY, width, height] = TotalsOf();
    const std::int64_t area =
        (flags & 1) != 0 ? std::int64_t{width} * height : std::int64_t{Rect()[2]} * Rect()[3];
    const auto pixels = static_cast<ULONGLONG>(area * planes);
    return 71u + ((flags & 1) != 0 ? 12u : 0u) + (buffer ? pixels * sizeof(T) : 0u);
  }
  template <class Field>
  static void Append(Bytes& bytes, const Field* fields, std::int64_t count) {
    const auto* first = reinterpret_cast<const BYTE*>(fields);
    bytes.insert(bytes.end(), first, first + static_cast<std::size_t>(count) * sizeof(Field));
  }
  void AppendCells(Bytes& bytes, std::int64_t first, std::int64_t count) const {
    count = std::min(count, buffer->reach - first);
    if (count > 0) Append(bytes, buffer->cells + first, count);
  }
  Bytes Saved() const {
    Bytes bytes = {2, 2};
    const auto [marginX, marginY, width, height] = TotalsOf();
    const LONG sizes[] = {width, height}, margins[] = {marginX, marginY, planes};
    Append(bytes, sizes, 2);
    Append(bytes, Rect().data(), 4);
    Append(bytes, margins, 3);
    const BYTE rest[] = {BYTE(flags), 0,   BYTE(Type::kCode),
                         0,           0,   0,
                         4,           0,   0,
                         0,           4,   0,
                         0,           0,   'N',
                         0,           'o', 0,
                         'n',         0,   'e',
                         0,           0,   0,
                         0,           0,   2,
                         0,           0,   0,
                         0,           0,   0};
    Append(bytes, rest, sizeof(rest));
    std::int64_t first = 0;
    if ((flags & 1) != 0) {
      Model whole = *this;
      whole.SelectAll();
      const LONG counts[] = {planes, whole.Rect()[2], whole.Rect()[3]};
      Append(bytes, counts, 3);
      for (LONG plane = 0; plane < planes; ++plane) {
        if (FAILED(whole.Find(0, 0, plane, &first))) break;
        AppendCells(bytes, first, counts[1] * counts[2]);
      }
      return bytes;
    }
    for (LONG plane = 0; plane < planes; ++plane) {
      if (deselected.count(plane) > 0) continue;
      if (FAILED(Find(-marginX, -marginY, plane, &first))) break;
      for (LONG row = 0; row < height; ++row) {
        AppendCells(bytes, first + row * axes[0].stored, width);
      }
    }
    return bytes;
  }
  HRESULT Load(const Bytes& bytes) {
    LONG head[9], counts[3];
    std::memcpy(head, bytes.data() + 2, sizeof(head));
    flags = static_cast<MarshalFlagsKLP>(bytes[38]);
    const bool isBuffer = (flags & 1) != 0;
    std::size_t at = 71;
    if (isBuffer) {
      std::memcpy(counts, bytes.data() + at, sizeof(counts));
      at += sizeof(counts);
    }
    const LONG width = isBuffer ? counts[1] : head[0], height = isBuffer ? counts[2] : head[1];
    const LONG planesToRead = isBuffer ? counts[0] : head[8];
    if (SUCCEEDED(CreatePlanes(planesToRead, width, height))) {
      buffer->isDefined = true;
      std::int64_t first = 0;
      for (LONG plane = 0; plane < planesToRead; ++plane) {
        if (FAILED(Find(0, 0, plane, &first))) break;
        for (LONG i = 0; i < width * height && at < bytes.size(); ++i, at += sizeof(T)) {
          if (buffer->Holds(first + i)) {
            std::memcpy(buffer->cells + first + i, bytes.data() + at, sizeof(T));
          }
        }
      }
    }
    if (isBuffer) SetSpans(head[2], head[3], head[4], head[5]);
    SetMargins(head[6], head[7]);
    if (!isBuffer) SetSpans(0, 0, head[4], head[5]);
    return S_OK;
  }
};

}  // namespace tests
