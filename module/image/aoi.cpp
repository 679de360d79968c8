// SPDX-License-Identifier: MIT
#include "module/image/aoi.h"

#include <algorithm>

#include "module/frame/debug_texts.h"

namespace rastel {
namespace {

constinit BstrLiteral kDefaultName("None");

// The corner that ends `length` pixels that begin at `start`, in wrapped arithmetic.
constexpr LONG LastOf(LONG start, LONG length) noexcept {
  return WrapSub(WrapAdd(start, length), 1);
}

// One axis of SetMargins. False when nothing of the rectangle would be left.
struct Span {
  LONG first;
  LONG last;
};
constexpr Span CutToMargin(LONG start, LONG length, LONG bufferMargin, LONG bufferLength,
                           LONG wanted) noexcept {
  const LONG stored = WrapAdd(start, bufferMargin);
  const LONG limit = WrapSub(bufferLength, wanted);
  return {stored >= wanted ? start : WrapSub(wanted, bufferMargin),
          WrapAdd(stored, length) > limit ? WrapSub(WrapSub(limit, bufferMargin), 1)
                                          : LastOf(start, length)};
}

// One axis of the margin clamp behind SetRect. The result may be negative.
constexpr LONG ClampMargin(LONG margin, LONG start, LONG length, LONG bufferMargin,
                           LONG interior) noexcept {
  const LONG before = WrapAdd(start, bufferMargin);
  const LONG behind = WrapSub(WrapSub(WrapAdd(bufferMargin, interior), length), start);
  return std::min(std::min(margin, before), behind);
}

}  // namespace

AoiState::AoiState(const CLSID& classId, ElementTypeKLP type, ImageMaker makeImage)
    : name(kDefaultName), elementType(type), classId_(classId), makeImage_(makeImage) {}

AoiState::AoiState(SiblingOf sibling)
    : AoiState(sibling.source.classId_, sibling.source.elementType, sibling.source.makeImage_) {
  CopyForSibling(sibling.source);
}

_bstr_t AoiState::DefaultName() noexcept { return _bstr_t(kDefaultName); }

void AoiState::ReleaseContent() noexcept {
  while (image || attributeMap || tag.vt != VT_EMPTY) {
    // Each member is empty before what it held goes.
    image.Reset();
    attributeMap.Reset();
    tag = _variant_t();
  }
  name.Release();
}

HRESULT AoiState::CreateImage(LONG width, LONG height, Contents contents) {
  image.Reset();
  if (width == 0 || height == 0) return Report(Message::AoiNotCreated);
  BindEmptyImage();
  const HRESULT allocated = image->Allocate(1, width, height, bufferMargin, contents);
  if (FAILED(allocated)) return allocated;
  return Reset();
}

HRESULT AoiState::CreatePlanes(LONG planes, LONG width, LONG height, Contents contents) {
  BindEmptyImage();
  if (width == 0 || height == 0) return Report(Message::AoiNotCreated);
  const HRESULT allocated = image->Allocate(planes, width, height, bufferMargin, contents);
  return FAILED(allocated) ? allocated : Reset();
}

HRESULT AoiState::CreateFromData(LONG planes, LONG width, LONG height, const void* pixels) {
  // Pixels of the buffer that is replaced here must outlive the copy; any other buffer goes first.
  const platform::ComPtr<ComImageBase> source = image && image->Contains(pixels) ? image : nullptr;
  BindEmptyImage();
  if (width == 0 || height == 0) return Report(Message::AoiNotCreated);
  const HRESULT copied = image->InitFromData(pixels, planes, width, height, bufferMargin);
  return FAILED(copied) ? copied : Reset();
}

HRESULT AoiState::AttachImage(LONG width, LONG height, void* pixels) {
  if (width == 0 || height == 0) return Report(Message::AoiNotCreated);
  if (!image) BindEmptyImage();
  const HRESULT attached = image->Attach(pixels, 1, width, height);
  if (FAILED(attached)) return attached;
  return Reset();
}

HRESULT AoiState::AttachPlanes(LONG planes, LONG width, LONG height, void* pixels, LONG margin,
                               IUnknown* owner) {
  BindEmptyImage();
  if (width == 0 || height == 0) return Report(Message::AoiNotCreated);
  const HRESULT attached = image->Attach(pixels, planes, width, height, margin, owner);
  return FAILED(attached) ? attached : Reset();
}

HRESULT AoiState::GetBlock(ElementTypeKLP type, ImageBlockKLP* block) const noexcept {
  if (!block) return E_POINTER;
  if (!image) return Report(Message::NoBuffer);
  if (!image->HasData()) return E_FAIL;
  const BufferGeometry& buffer = image->geometry();
  if (!buffer.Fits()) return E_INVALIDARG;
  image->MarkWritten();
  *block = {image->Address(0), buffer.planes, buffer.width, buffer.height, buffer.margin, type};
  return S_OK;
}

HRESULT AoiState::AttachBlock(ElementTypeKLP type, const ImageBlockKLP* block, IUnknown* owner) {
  if (!block || !owner) return E_POINTER;
  const auto [pixels, planes, width, height, margin, elementType] = *block;
  const bool isPossible = elementType == type && margin >= 0 &&
                          (planes < 1 || width < 1 || height < 1 ||
                           BufferGeometry::Of(planes, width, height, margin).Fits());
  if (!isPossible) return E_INVALIDARG;
  return AttachPlanes(planes, width, height, pixels, margin, owner);
}

HRESULT AoiState::SetRectUnlessNegative(LONG value, const Rect& wanted) noexcept {
  return value < 0 ? Report(Message::NegativeCoordinate) : SetRect(wanted);
}

HRESULT AoiState::PutWidth(LONG value) noexcept {
  return SetRectUnlessNegative(value, {rect.x, rect.y, value, rect.height});
}

HRESULT AoiState::PutHeight(LONG value) noexcept {
  return SetRectUnlessNegative(value, {rect.x, rect.y, rect.width, value});
}

HRESULT AoiState::PutX(LONG value) noexcept {
  return SetRectUnlessNegative(value, {value, rect.y, rect.width, rect.height});
}

HRESULT AoiState::PutY(LONG value) noexcept {
  return SetRectUnlessNegative(value, {rect.x, value, rect.width, rect.height});
}

HRESULT AoiState::SetRect(const Rect& wanted) noexcept {
  return SetRect(wanted.x, wanted.y, LastOf(wanted.x, wanted.width),
                 LastOf(wanted.y, wanted.height));
}

HRESULT AoiState::SetRect(LONG left, LONG top, LONG right, LONG bottom) noexcept {
  if (!image) return Report(Message::NoBuffer);
  if (left < 0 || top < 0 || right < 0 || bottom < 0) return Report(Message::NegativeCoordinate);
  if (left >= bufferWidth || right >= bufferWidth || top >= bufferHeight ||
      bottom >= bufferHeight) {
    return E_INVALIDARG;
  }
  rect.x = std::min(left, right);
  rect.y = std::min(top, bottom);
  rect.width = std::max(left, right) - rect.x + 1;
  rect.height = std::max(top, bottom) - rect.y + 1;
  ClampMargins();
  return S_OK;
}

void AoiState::ClampMargins() noexcept {
  // An empty buffer states 0 for all three.
  const BufferGeometry& buffer = image->geometry();
  marginX = ClampMargin(marginX, rect.x, rect.width, buffer.margin, buffer.width);
  marginY = ClampMargin(marginY, rect.y, rect.height, buffer.margin, buffer.height);
}

HRESULT AoiState::GetRect(LONG* x, LONG* y, LONG* width, LONG* height) const noexcept {
  if (!image) return Report(Message::NoBuffer);
  if (x) *x = rect.x;
  if (y) *y = rect.y;
  if (width) *width = rect.width;
  if (height) *height = rect.height;
  return S_OK;
}

// The four below drop what SetRect says: clients drag rectangles against the border and expect them
// to stay where they are without a failure.
HRESULT AoiState::MoveTo(LONG x, LONG y) noexcept {
  if (!image) return Report(Message::NoBuffer);
  SetRect({x, y, rect.width, rect.height});
  return S_OK;
}

// Dragging moves a rectangle in small steps: one call for all.
[[gnu::flatten]] HRESULT AoiState::MoveBy(LONG dx, LONG dy) noexcept {
  return MoveTo(WrapAdd(rect.x, dx), WrapAdd(rect.y, dy));
}

HRESULT AoiState::ResizeTo(LONG width, LONG height) noexcept {
  if (!image) return Report(Message::NoBuffer);
  SetRect({rect.x, rect.y, width, height});
  return S_OK;
}

HRESULT AoiState::ResizeBy(LONG dw, LONG dh) noexcept {
  return ResizeTo(WrapAdd(rect.width, dw), WrapAdd(rect.height, dh));
}

HRESULT AoiState::SelectAll() noexcept {
  return SetRect(0, 0, WrapSub(bufferWidth, 1), WrapSub(bufferHeight, 1));
}

HRESULT AoiState::UniteWith(const Rect& other) noexcept {
  const LONG right = std::max(WrapAdd(rect.x, rect.width), WrapAdd(other.x, other.width));
  const LONG bottom = std::max(WrapAdd(rect.y, rect.height), WrapAdd(other.y, other.height));
  return SetRect(std::min(rect.x, other.x), std::min(rect.y, other.y), WrapSub(right, 1),
                 WrapSub(bottom, 1));
}

HRESULT AoiState::GetLineSkip(LONG* pixels) const noexcept {
  return GetBound(WrapSub(bufferWidth, rect.width), pixels);
}

HRESULT AoiState::GetMarginRequest(LONG value, LONG* out) const noexcept {
  if (!image) return Report(Message::NoBuffer);
  if (out) *out = value;
  return S_OK;
}

HRESULT AoiState::PutMarginX(LONG pixels) noexcept {
  if (!image) return Report(Message::NoBuffer);
  if (pixels < 0) return Report(Message::NegativeMargin);
  return SetMargins(pixels, marginY);
}

HRESULT AoiState::PutMarginY(LONG pixels) noexcept {
  if (!image) return Report(Message::NoBuffer);
  if (pixels < 0) return Report(Message::NegativeMargin);
  return SetMargins(marginX, pixels);
}

HRESULT AoiState::SetMargins(LONG wantedX, LONG wantedY) noexcept {
  if (!image) return Report(Message::NoBuffer);
  if (wantedX < 0 || wantedY < 0) return Report(Message::NegativeMargin);
  if (2 * static_cast<std::int64_t>(wantedX) >= bufferWidth ||
      2 * static_cast<std::int64_t>(wantedY) >= bufferHeight) {
    return E_FAIL;
  }
  const LONG margin = image->margin();
  const Span columns = CutToMargin(rect.x, rect.width, margin, bufferWidth, wantedX);
  const Span rows = CutToMargin(rect.y, rect.height, margin, bufferHeight, wantedY);
  if (columns.last < columns.first || rows.last < rows.first) return E_FAIL;
  SetRect(columns.first, rows.first, columns.last, rows.last);
  // Behind SetRect, so that its clamp does not touch them.
  marginX = wantedX;
  marginY = wantedY;
  return S_OK;
}

HRESULT AoiState::FillMargins() noexcept {
  if (!image) return Report(Message::NoBuffer);
  const HRESULT filled = image->FillMargins(marginMode);
  if (FAILED(filled)) return filled;
  return SetMargins(marginX, marginY);
}

HRESULT AoiState::GetPlaneSelected(LONG plane, LONG* selected) const noexcept {
  if (!HasPlane(plane)) return Report(Message::PlaneOutside);
  *selected = planeMask.IsSelected(plane) ? 1 : 0;
  return S_OK;
}

HRESULT AoiState::PutPlaneSelected(LONG plane, LONG selected) {
  if (!HasPlane(plane)) return Report(Message::PlaneOutside);
  planeMask.Select(plane, selected != 0);
  return S_OK;
}

HRESULT AoiState::PutActivePlane(LONG plane) noexcept {
  if (!HasPlane(plane)) return Report(Message::PlaneOutside);
  activePlane = plane;
  return S_OK;
}

HRESULT AoiState::PutMarshalFlags(MarshalFlagsKLP flags) noexcept {
  if (static_cast<std::uint32_t>(flags) > static_cast<std::uint32_t>(MarshalBuffer)) {
    return ReportErrorText(classId_, "Unsupported Marshalflags");
  }
  marshalFlags = flags;
  return S_OK;
}

HRESULT AoiState::GetName(BSTR* out) const {
  *out = name.Copy();
  return S_OK;
}

HRESULT AoiState::PutName(BSTR text) {
  name = _bstr_t::CopyOfBytes(text);
  return S_OK;
}

HRESULT AoiState::GetTag(VARIANT* out) const {
  if (!out) return E_POINTER;
  _variant_t copy(tag);
  return MoveVariantTo(out, copy);
}

HRESULT AoiState::PutTag(const VARIANT& value) {
  CheckResult(ReplaceVariantOrMark(tag, value));
  return S_OK;
}

HRESULT AoiState::GetAttributeMap(IAttributeMapKLP** out) noexcept {
  if (!out) return E_POINTER;
  platform::ComPtr<IAttributeMapKLP> displaced;
  if (*out) {
    OutputDebugStringA(debug_texts::kMapPointerNotNull);
    displaced.Attach(*out);
    *out = nullptr;
  }
  if (attributeMap) {
    // A map's IDispatch is its generic interface; another answer is the client's own doing.
    const platform::ComPtr<IDispatch> held = attributeMap;
    held->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(out));
  }
  return S_OK;
}

HRESULT AoiState::PutAttributeMap(IAttributeMapKLP* map) noexcept {
  attributeMap = platform::ComPtr<IDispatch>(map);
  return S_OK;
}

void AoiState::CopyForSibling(const AoiState& source, platform::ComPtr<ComImageBase> sharedImage) {
  PlaneMask mask = source.planeMask;
  planeMask = std::move(mask);
  image = std::move(sharedImage);
  marshalFlags = source.marshalFlags;
  activePlane = source.activePlane;
  planeCount = source.planeCount;
  rect = source.rect;
  marginMode = source.marginMode;
  marginX = source.marginX;
  marginY = source.marginY;
  bufferMargin = source.bufferMargin;
  bufferWidth = source.bufferWidth;
  bufferHeight = source.bufferHeight;
}

HRESULT AoiState::PixelIndex(LONG pixelX, LONG pixelY, LONG plane, LONG* index) const noexcept {
  if (!image) return Report(Message::NoBuffer);
  if (!HasPlane(plane)) return E_INVALIDARG;
  if (!image->HasData()) return E_FAIL;
  LONG found = 0;
  if (plane >= image->planes() || !StoredIndex(pixelX, pixelY, plane, &found)) return E_INVALIDARG;
  if (!image->InBlock(found)) return E_INVALIDARG;
  *index = found;
  return S_OK;
}

void AoiState::BindEmptyImage() {
  image.Reset();
  image = platform::ComPtr<ComImageBase>(makeImage_());
}

HRESULT AoiState::Reset() {
  activePlane = 0;
  planeCount = 0;
  planeMask.Clear();
  rect = Rect{};
  marginX = 0;
  marginY = 0;
  bufferMargin = 0;
  bufferWidth = 0;
  bufferHeight = 0;
  name = DefaultName();
  if (!image) return S_OK;
  const BufferGeometry& buffer = image->geometry();
  planeCount = buffer.planes;
  planeMask.SelectAll(planeCount);
  rect.width = buffer.width;
  rect.height = buffer.height;
  bufferWidth = buffer.stride;
  bufferHeight = buffer.rows;
  return S_OK;
}

}  // namespace rastel
