// SPDX-License-Identifier: MIT
// The state of an AOI and every operation on it that does not depend on the pixel type: binding to
// a buffer, the rectangle, margins, planes, name, tag and attribute map. The pixels belong to the
// buffer, the geometry to the AOI.
//
// Three coordinate systems. Rectangle coordinates count from the rectangle's first pixel; interior
// coordinates from the buffer's first pixel behind its margin; buffer coordinates from the first
// stored pixel. x, y and SetRect are in interior coordinates, yet their limits are the stored
// sizes: a rectangle may end up to one buffer margin beyond the stored row. That is kept, since
// clients select whole buffers that way; memory ends are watched where pixels move.
//
// A bind that fails behind the replacement of the buffer leaves the old geometry over the new,
// empty buffer. Sums wrap in 32 bits. No operation takes a lock.
#pragma once

#include <cstdint>

#include "interfaces/attribute.h"
#include "interfaces/image_buffer.h"
#include "module/frame/bstr.h"
#include "module/frame/reports.h"
#include "module/frame/variants.h"
#include "module/image/com_image.h"
#include "module/image/plane_mask.h"
#include "platform/com_ptr.h"

namespace rastel {

// A rectangle by its corner and its size, in pixels.
struct Rect {
  LONG x = 0;
  LONG y = 0;
  LONG width = 0;
  LONG height = 0;
};

class AoiState {
 public:
  // Makes an empty buffer of the pixel type, with no references.
  using ImageMaker = ComImageBase* (*)();

  AoiState(const CLSID& classId, ElementTypeKLP elementType, ImageMaker makeImage);
  // The state of a sibling that is no object; may raise std::bad_alloc.
  struct SiblingOf {
    const AoiState& source;
  };
  explicit AoiState(SiblingOf sibling);
  AoiState(const AoiState&) = delete;
  AoiState& operator=(const AoiState&) = delete;

  // Lets go of buffer, map, tag and name, in this order. An object among them may come back and put
  // another: that goes as well.
  void ReleaseContent() noexcept;

  // Binding. `pixels` is a buffer's or a client's memory of the pixel type. Raise std::bad_alloc
  // when memory cannot be had, std::length_error for a negative number of planes.
  HRESULT CreateImage(LONG width, LONG height, Contents contents = Contents::Undefined);
  HRESULT CreatePlanes(LONG planes, LONG width, LONG height,
                       Contents contents = Contents::Undefined);
  HRESULT CreateFromData(LONG planes, LONG width, LONG height, const void* pixels);
  HRESULT AttachImage(LONG width, LONG height, void* pixels);
  HRESULT AttachPlanes(LONG planes, LONG width, LONG height, void* pixels, LONG margin = 0,
                       IUnknown* owner = nullptr);
  // The slots of IImageBufferKLP, for pixels of one type.
  HRESULT GetBlock(ElementTypeKLP type, ImageBlockKLP* block) const noexcept;
  HRESULT AttachBlock(ElementTypeKLP type, const ImageBlockKLP* block, IUnknown* owner);

  // The rectangle.
  HRESULT GetWidth(LONG* width) const noexcept { return GetBound(rect.width, width); }
  HRESULT GetHeight(LONG* height) const noexcept { return GetBound(rect.height, height); }
  HRESULT GetX(LONG* x) const noexcept { return GetBound(rect.x, x); }
  HRESULT GetY(LONG* y) const noexcept { return GetBound(rect.y, y); }
  HRESULT PutWidth(LONG value) noexcept;
  HRESULT PutHeight(LONG value) noexcept;
  HRESULT PutX(LONG value) noexcept;
  HRESULT PutY(LONG value) noexcept;
  HRESULT SetRect(LONG left, LONG top, LONG right, LONG bottom) noexcept;
  HRESULT SetRect(const Rect& wanted) noexcept;
  HRESULT GetRect(LONG* x, LONG* y, LONG* width, LONG* height) const noexcept;
  HRESULT MoveTo(LONG x, LONG y) noexcept;
  HRESULT MoveBy(LONG dx, LONG dy) noexcept;
  HRESULT ResizeTo(LONG width, LONG height) noexcept;
  HRESULT ResizeBy(LONG dw, LONG dh) noexcept;
  HRESULT SelectAll() noexcept;
  HRESULT UniteWith(const Rect& other) noexcept;
  HRESULT GetLineSkip(LONG* pixels) const noexcept;
  HRESULT GetBufferWidth(LONG* pixels) const noexcept { return GetBound(bufferWidth, pixels); }
  HRESULT GetBufferHeight(LONG* rows) const noexcept { return GetBound(bufferHeight, rows); }

  // Margins.
  HRESULT GetMarginX(LONG* pixels) const noexcept { return GetMarginRequest(marginX, pixels); }
  HRESULT GetMarginY(LONG* pixels) const noexcept { return GetMarginRequest(marginY, pixels); }
  HRESULT PutMarginX(LONG pixels) noexcept;
  HRESULT PutMarginY(LONG pixels) noexcept;
  HRESULT SetMargins(LONG wantedX, LONG wantedY) noexcept;
  HRESULT FillMargins() noexcept;

  // Planes.
  HRESULT GetPlaneSelected(LONG plane, LONG* selected) const noexcept;
  HRESULT PutPlaneSelected(LONG plane, LONG selected);
  HRESULT PutActivePlane(LONG plane) noexcept;

  HRESULT PutMarshalFlags(MarshalFlagsKLP flags) noexcept;

  // Name, tag and map. A failed copy raises _com_error.
  HRESULT GetName(BSTR* out) const;
  HRESULT PutName(BSTR text);
  HRESULT GetTag(VARIANT* out) const;
  HRESULT PutTag(const VARIANT& value);
  HRESULT GetAttributeMap(IAttributeMapKLP** out) noexcept;
  HRESULT PutAttributeMap(IAttributeMapKLP* map) noexcept;

  // The name of a new AOI, which costs no memory.
  static _bstr_t DefaultName() noexcept;

  // Takes over what a sibling shares with its source: the buffer, and all state but name, tag, map
  // and element type. May raise std::bad_alloc.
  void CopyForSibling(const AoiState& source) { CopyForSibling(source, source.image); }
  // sharedImage: the source's, with a reference for this sibling.
  void CopyForSibling(const AoiState& source, platform::ComPtr<ComImageBase> sharedImage);

  // The stored element of rectangle coordinates in a plane, as index into the buffer.
  //   true   the position lies in the stored plane; *index is computed in 32 bits
  [[gnu::always_inline]] bool StoredIndex(LONG pixelX, LONG pixelY, LONG plane,
                                          LONG* index) const noexcept {
    const LONG column = WrapAdd(WrapAdd(pixelX, rect.x), image->margin());
    const LONG row = WrapAdd(WrapAdd(pixelY, rect.y), image->margin());
    if (column < 0 || row < 0 || column >= bufferWidth || row >= bufferHeight) return false;
    *index = WrapAdd(WrapAdd(WrapMul(row, bufferWidth), column), image->PlaneStart(plane));
    return true;
  }

  // The shared step of the pointer operations: the index of a position, tested in its order.
  // Report 1114, E_INVALIDARG or E_FAIL otherwise, and *index untouched.
  HRESULT PixelIndex(LONG pixelX, LONG pixelY, LONG plane, LONG* index) const noexcept;

  // Raises a numbered report under the AOI's class and gives its result.
  HRESULT Report(Message message) const noexcept { return rastel::Report(classId_, message); }

  const std::uint16_t streamVersion = 514;
  MarshalFlagsKLP marshalFlags = MarshalRectangle;
  LONG activePlane = 0;
  LONG planeCount = 0;
  PlaneMask planeMask;
  Rect rect;
  MarginModeKLP marginMode = MarginNone;
  LONG marginX = 0;
  LONG marginY = 0;
  LONG bufferMargin = 0;  // of the next buffer that this AOI allocates
  LONG bufferWidth = 0;   // the buffer's stored row, margins included
  LONG bufferHeight = 0;  // the buffer's stored rows in a plane, margins included
  _bstr_t name;
  _variant_t tag;
  platform::ComPtr<IDispatch> attributeMap;
  platform::ComPtr<ComImageBase> image;
  ElementTypeKLP elementType;

 private:
  HRESULT GetBound(LONG value, LONG* out) const noexcept {
    if (!image) return Report(Message::NoBuffer);
    *out = value;
    return S_OK;
  }
  HRESULT GetMarginRequest(LONG value, LONG* out) const noexcept;
  HRESULT SetRectUnlessNegative(LONG value, const Rect& wanted) noexcept;
  bool HasPlane(LONG plane) const noexcept { return plane >= 0 && plane < planeCount; }
  void ClampMargins() noexcept;
  void BindEmptyImage();
  HRESULT Reset();

  const CLSID& classId_;
  ImageMaker makeImage_;
};

}  // namespace rastel
