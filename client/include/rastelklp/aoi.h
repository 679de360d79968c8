// SPDX-License-Identifier: MIT
// Areas of interest: pictures, and rectangles of pictures that share their pixels.
//
// Each tile, clone and AOI that was made is for one thread at a time, but plane, planes and what
// only reads are for any number. Writing the same pixels from two threads is a race, as always.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "interfaces/aoi.h"
#include "rastelklp/map.h"
#include "rastelklp/plane.h"
#include "rastelklp/session.h"
#include "rastelklp/value.h"

namespace rastelklp {

namespace detail {

// Sizes are multiplied in 32 bits behind the slots; here it is seen before they wrap.
inline std::int64_t CheckedPixels(std::int64_t planes, std::int64_t stride, std::int64_t rows) {
  constexpr std::int64_t kMost = (std::numeric_limits<std::int32_t>::max)();
  const bool fits = planes >= 0 && stride >= 0 && rows >= 0 && planes <= kMost && stride <= kMost &&
                    rows <= kMost && stride * rows <= kMost && planes * (stride * rows) <= kMost;
  if (!fits) throw Error(E_INVALIDARG, "a buffer holds at most 2^31 - 1 pixels");
  return planes * stride * rows;
}

// What the typed and the generic interface have in common. Self is what tiles and clones are.
template <class Self, class I>
class AoiMembers : public com_ptr<I> {
 public:
  using com_ptr<I>::com_ptr;

  // The rectangle, and its place behind the margin of the buffer.
  Rect rectangle() const {
    LONG x = 0, y = 0, width = 0, height = 0;
    check_hresult(this->get()->GetRect(&x, &y, &width, &height));
    return {static_cast<int>(x), static_cast<int>(y), static_cast<int>(width),
            static_cast<int>(height)};
  }
  Size size() const {
    const Rect rectangle = this->rectangle();
    return {rectangle.width, rectangle.height};
  }
  // E_INVALIDARG for a size below 1, which the slot would take for another one.
  void rectangle(const Rect& to) {
    const std::int64_t right = std::int64_t{to.x} + to.width - 1;
    const std::int64_t bottom = std::int64_t{to.y} + to.height - 1;
    constexpr std::int64_t kMost = (std::numeric_limits<LONG>::max)();
    if (to.width < 1 || to.height < 1 || right > kMost || bottom > kMost) Raise(E_INVALIDARG);
    check_hresult(
        this->get()->SetRect(to.x, to.y, static_cast<LONG>(right), static_cast<LONG>(bottom)));
  }
  int plane_count() const {
    LONG planes = 0;
    check_hresult(this->get()->get_PlaneCount(&planes));
    return static_cast<int>(planes);
  }

  Text name() const {
    Text name;
    check_hresult(this->get()->get_Name(name.put()));
    return name;
  }
  void name(const Text& to) { check_hresult(this->get()->put_Name(to.get())); }
  Value tag() const {
    Variant tag;
    check_hresult(this->get()->get_Tag(tag.put()));
    return Value(std::move(tag));
  }
  void tag(const Value& to) { check_hresult(this->get()->put_Tag(to.variant_value().get())); }
  // The map itself; null where there is none.
  Map attributes() const {
    Map map(nullptr);
    check_hresult(this->get()->get_AttributeMap(map.put()));
    return map;
  }
  void attributes(const Map& to) { check_hresult(this->get()->put_AttributeMap(to.get())); }

  // One pixel of the active plane, from the rectangle's first on.
  double pixel(int x, int y) const {
    double value = 0;
    check_hresult(this->get()->GetPixel(x, y, &value));
    return value;
  }
  void pixel(int x, int y, double to) { check_hresult(this->get()->PutPixel(x, y, to)); }

  // Fills the buffer's margin, in all planes.
  void fill_margins(MarginModeKLP mode) {
    check_hresult(this->get()->put_MarginMode(mode));
    check_hresult(this->get()->FillMargins());
  }

  // Another AOI on the same pixels, without name, tag and attributes.
  Self clone() const {
    Self clone(nullptr);
    check_hresult(this->get()->Clone(clone.put()));
    return clone;
  }
  // AOIs that cover the rectangle row by row, at most 100, each for a thread of its own. The last
  // ones take what the division leaves.
  std::vector<Self> tiles(int across, int down) const {
    constexpr int kMost = 100;
    // Counts whose product wraps are too many as well.
    if (std::int64_t{across} * down > kMost) across = kMost + 1, down = 1;
    std::vector<Self> tiles(kMost, Self(nullptr));
    I* made[kMost] = {};
    const HRESULT result = this->get()->SplitTiles(across, down, made);
    std::size_t count = 0;
    // What a failure has left is let go here.
    while (count < kMost && made[count]) tiles[count].attach(made[count]), ++count;
    check_hresult(result);
    tiles.resize(count, Self(nullptr));
    return tiles;
  }
};

// The interface, the class and the pointer type of a pixel type.
template <class I, const CLSID& ClassId, class U>
struct AoiRow {
  using Interface = I;
  using Pointer = U;
  static constexpr const CLSID& kClass = ClassId;
};
template <class T>
struct AoiOf;
template <>
struct AoiOf<std::uint8_t> : AoiRow<IByteAOIKLP, CLSID_ByteAOIKLP, std::uint8_t> {};
template <>
struct AoiOf<std::int8_t> : AoiRow<ICharAOIKLP, CLSID_CharAOIKLP, std::uint8_t> {};
template <>
struct AoiOf<std::uint16_t> : AoiRow<IWordAOIKLP, CLSID_WordAOIKLP, std::uint16_t> {};
template <>
struct AoiOf<std::int16_t> : AoiRow<IShortAOIKLP, CLSID_ShortAOIKLP, std::int16_t> {};
template <>
struct AoiOf<std::uint32_t> : AoiRow<IDWordAOIKLP, CLSID_DWordAOIKLP, std::uint32_t> {};
template <>
struct AoiOf<std::int32_t> : AoiRow<ILongAOIKLP, CLSID_LongAOIKLP, std::int32_t> {};
template <>
struct AoiOf<float> : AoiRow<IFloatAOIKLP, CLSID_FloatAOIKLP, float> {};
template <>
struct AoiOf<double> : AoiRow<IDoubleAOIKLP, CLSID_DoubleAOIKLP, double> {};

}  // namespace detail

// T is the pixel type: an integer of 8, 16 or 32 bits, float or double.
template <class T>
class Aoi : public detail::AoiMembers<Aoi<T>, typename detail::AoiOf<T>::Interface> {
  using Row = detail::AoiOf<T>;
  using U = typename Row::Pointer;

 public:
  using pixel_type = T;

  Aoi(std::nullptr_t) noexcept {}
  // A new buffer, whose pixels are not initialised, with a margin on each side of each plane.
  explicit Aoi(Size size, int planes = 1, int margin = 0) : Aoi(Made()) {
    Check(size, planes, margin);
    check_hresult(this->get()->put_BufferMargin(margin));
    check_hresult(this->get()->CreatePlanes(planes, size.width, size.height));
  }
  // A new buffer with a copy of these pixels, plane behind plane, and zeros in the margin.
  Aoi(Size size, std::span<const T> pixels, int planes = 1, int margin = 0) : Aoi(Made()) {
    Check(size, planes, margin, pixels.size());
    check_hresult(this->get()->put_BufferMargin(margin));
    check_hresult(this->get()->CreateFromData(planes, size.width, size.height,
                                              reinterpret_cast<U*>(const_cast<T*>(pixels.data()))));
  }
  // Looks at these pixels, which must outlive all AOIs on them, without a copy and a margin.
  static Aoi attach_to(Size size, std::span<T> pixels, int planes = 1) {
    Aoi aoi = Made();
    Check(size, planes, 0, pixels.size());
    check_hresult(
        aoi->AttachPlanes(planes, size.width, size.height, reinterpret_cast<U*>(pixels.data())));
    return aoi;
  }

  // The rectangle's rows in a plane, and so many pixels around it as well: pixel x, y is then
  // [y + around][x + around]. The active plane stays, so that threads do not meet there. Raises
  // report 1129 for a plane that there is not, E_FAIL where the buffer has fewer pixels around.
  Plane<T> plane(int n = 0, int around = 0) const {
    if (around != 0) return Grown(n, around);
    auto* const aoi = this->get();
    LONG width = 0, height = 0, skip = 0, rows = 0, planes = 0, active = 0, selected = 0;
    U* pixels = nullptr;
    check_hresult(aoi->GetAccess(&width, &height, &skip, &pixels));
    check_hresult(aoi->get_BufferHeight(&rows));
    check_hresult(aoi->get_PlaneCount(&planes));
    check_hresult(aoi->get_ActivePlane(&active));
    if (n < 0 || n >= planes) check_hresult(aoi->get_PlaneSelected(n, &selected));
    const std::ptrdiff_t stride = std::ptrdiff_t{width} + skip;
    detail::CheckedPixels(planes, stride, rows);
    return {*this,
            reinterpret_cast<T*>(pixels) + (n - active) * (stride * rows),
            {static_cast<int>(width), static_cast<int>(height)},
            stride};
  }
  std::vector<Plane<T>> planes(int around = 0) const {
    std::vector<Plane<T>> planes;
    const int count = this->plane_count();
    for (int n = 0; n < count; ++n) planes.push_back(plane(n, around));
    return planes;
  }

 private:
  static Aoi Made() { return create<Aoi>(Row::kClass); }

  static void Check(Size size, int planes, int margin,
                    std::size_t given = (std::numeric_limits<std::size_t>::max)()) {
    const auto stored = [&](int side) { return side + 2 * std::int64_t{margin}; };
    detail::CheckedPixels(planes, stored(size.width), stored(size.height));
    if (static_cast<std::size_t>(detail::CheckedPixels(planes, size.width, size.height)) > given) {
      throw Error(E_INVALIDARG, "fewer pixels than planes of this size have");
    }
  }

  // Margins are asked for on a sibling: where they are not to be had its rectangle would move.
  Plane<T> Grown(int n, int around) const {
    const Aoi sibling = this->clone();
    check_hresult(sibling->SetMargins(around, around));
    if (sibling.rectangle() != this->rectangle()) {
      throw Error(E_FAIL, "the buffer has fewer pixels around the rectangle");
    }
    const Plane<T> inner = sibling.plane(n);
    return {sibling,
            inner.data() - around * inner.stride() - around,
            {inner.width() + 2 * around, inner.height() + 2 * around},
            inner.stride()};
  }
};

// An AOI of a pixel type that is not known before it is there.
class AnyAoi : public detail::AoiMembers<AnyAoi, IAoiKLP> {
 public:
  AnyAoi(std::nullptr_t) noexcept {}
  template <class T>
  AnyAoi(const Aoi<T>& aoi) : AnyAoi(aoi.template as<AnyAoi>()) {}

  // Calls visitor with Aoi<T> of its pixel type, and gives what that gives: one type for all. The
  // object itself is asked; its ElementType is what a stream has said.
  template <class Visitor>
  decltype(auto) visit(Visitor&& visitor) const {
    return VisitAs<Visitor, std::uint8_t, std::uint16_t, float, std::int16_t, double, std::int32_t,
                   std::uint32_t, std::int8_t>(visitor);
  }

 private:
  template <class Visitor, class T, class... Others>
  decltype(auto) VisitAs(Visitor& visitor) const {
    if constexpr (sizeof...(Others) > 0) {
      if (const auto typed = this->try_as<Aoi<T>>()) return visitor(typed);
      return VisitAs<Visitor, Others...>(visitor);
    } else {
      return visitor(this->as<Aoi<T>>());
    }
  }
};

}  // namespace rastelklp
