// SPDX-License-Identifier: MIT
// The AOI object: the typed interface and IAoiKLP side by side on one state. A slot that both
// interfaces declare alike is overridden once and serves both tables; the generic slots that take
// or give AOIs convert the pointer and go to the typed ones.
#pragma once

#include <atomic>
#include <cstring>
#include <utility>

#include "interfaces/aoi.h"
#include "interfaces/identifiers.h"
#include "module/frame/boundary.h"
#include "module/frame/element_conversion.h"
#include "module/image/aoi.h"
#include "module/image/aoi_pixels.h"
#include "module/image/aoi_private_slots.h"
#include "module/image/aoi_stream.h"
#include "module/image/derived_aois.h"
#include "module/persist/marshal_by_value.h"
#include "module/persist/streams.h"
#include "platform/class_factory.h"
#include "platform/dispatch_impl.h"

namespace rastel {

// Class: the coclass on top. T: the pixel type. U: the pixel type of pointer parameters.
template <class Class, class T, class U, class ITyped, const CLSID* ClassId, const GUID* LibraryId,
          ElementTypeKLP Code>
class IAOIImpl : public AoiPrivateSlots<platform::IDispatchImpl<ITyped, LibraryId>>,
                 public IPersistStreamInit,
                 public IPersistStream,
                 public platform::IDispatchImpl<IAoiKLP, LibraryId> {
  static_assert(sizeof(T) == sizeof(U));

 public:
  // Slots that need no more than the state. Contracts stand in interfaces/aoi.h.
  STDMETHODIMP get_Width(LONG* width) override { return state_.GetWidth(width); }
  STDMETHODIMP put_Width(LONG width) override { return state_.PutWidth(width); }
  STDMETHODIMP get_Height(LONG* height) override { return state_.GetHeight(height); }
  STDMETHODIMP put_Height(LONG height) override { return state_.PutHeight(height); }
  STDMETHODIMP get_X(LONG* x) override { return state_.GetX(x); }
  STDMETHODIMP put_X(LONG x) override { return state_.PutX(x); }
  STDMETHODIMP get_Y(LONG* y) override { return state_.GetY(y); }
  STDMETHODIMP put_Y(LONG y) override { return state_.PutY(y); }
  STDMETHODIMP get_MarginX(LONG* pixels) override { return state_.GetMarginX(pixels); }
  STDMETHODIMP put_MarginX(LONG pixels) override { return state_.PutMarginX(pixels); }
  STDMETHODIMP get_MarginY(LONG* pixels) override { return state_.GetMarginY(pixels); }
  STDMETHODIMP put_MarginY(LONG pixels) override { return state_.PutMarginY(pixels); }
  STDMETHODIMP get_LineSkip(LONG* pixels) override { return state_.GetLineSkip(pixels); }
  STDMETHODIMP get_BufferWidth(LONG* pixels) override { return state_.GetBufferWidth(pixels); }
  STDMETHODIMP get_BufferHeight(LONG* rows) override { return state_.GetBufferHeight(rows); }
  STDMETHODIMP SetMargins(LONG marginX, LONG marginY) override {
    return state_.SetMargins(marginX, marginY);
  }
  STDMETHODIMP FillMargins() override { return state_.FillMargins(); }
  STDMETHODIMP SetRect(LONG left, LONG top, LONG right, LONG bottom) override {
    return state_.SetRect(left, top, right, bottom);
  }
  STDMETHODIMP GetRect(LONG* x, LONG* y, LONG* width, LONG* height) override {
    return state_.GetRect(x, y, width, height);
  }
  STDMETHODIMP MoveTo(LONG x, LONG y) override { return state_.MoveTo(x, y); }
  STDMETHODIMP MoveBy(LONG dx, LONG dy) override { return state_.MoveBy(dx, dy); }
  STDMETHODIMP ResizeTo(LONG width, LONG height) override { return state_.ResizeTo(width, height); }
  STDMETHODIMP ResizeBy(LONG dw, LONG dh) override { return state_.ResizeBy(dw, dh); }
  STDMETHODIMP SelectAll() override { return state_.SelectAll(); }

  STDMETHODIMP get_PlaneCount(LONG* planes) override {
    *planes = state_.planeCount;
    return S_OK;
  }
  STDMETHODIMP get_PlaneSelected(LONG plane, LONG* selected) override {
    return state_.GetPlaneSelected(plane, selected);
  }
  STDMETHODIMP put_PlaneSelected(LONG plane, LONG selected) override {
    return Guard([&] { return state_.PutPlaneSelected(plane, selected); });
  }
  STDMETHODIMP get_ActivePlane(LONG* plane) override {
    *plane = state_.activePlane;
    return S_OK;
  }
  STDMETHODIMP put_ActivePlane(LONG plane) override { return state_.PutActivePlane(plane); }
  STDMETHODIMP get_BufferMargin(LONG* pixels) override {
    *pixels = state_.bufferMargin;
    return S_OK;
  }
  STDMETHODIMP put_BufferMargin(LONG pixels) override {
    state_.bufferMargin = pixels;
    return S_OK;
  }
  STDMETHODIMP get_MarginMode(MarginModeKLP* mode) override {
    *mode = state_.marginMode;
    return S_OK;
  }
  STDMETHODIMP put_MarginMode(MarginModeKLP mode) override {
    state_.marginMode = mode;
    return S_OK;
  }
  STDMETHODIMP get_MarshalFlags(MarshalFlagsKLP* flags) override {
    *flags = state_.marshalFlags;
    return S_OK;
  }
  STDMETHODIMP put_MarshalFlags(MarshalFlagsKLP flags) override {
    return state_.PutMarshalFlags(flags);
  }
  STDMETHODIMP get_ElementType(ElementTypeKLP* type) override {
    *type = state_.elementType;
    return S_OK;
  }

  STDMETHODIMP get_Name(BSTR* name) override {
    return Guard([&] { return state_.GetName(name); });
  }
  STDMETHODIMP put_Name(BSTR name) override {
    return Guard([&] { return state_.PutName(name); });
  }
  STDMETHODIMP get_Tag(VARIANT* tag) override {
    return Guard([&] { return state_.GetTag(tag); });
  }
  STDMETHODIMP put_Tag(VARIANT tag) override {
    return Guard([&] { return state_.PutTag(tag); });
  }
  STDMETHODIMP get_AttributeMap(IAttributeMapKLP** map) override {
    return state_.GetAttributeMap(map);
  }
  STDMETHODIMP put_AttributeMap(IAttributeMapKLP* map) override {
    return state_.PutAttributeMap(map);
  }

  // Binding.
  STDMETHODIMP CreateImage(LONG width, LONG height) override {
    return Guard([&] { return state_.CreateImage(width, height); });
  }
  STDMETHODIMP CreatePlanes(LONG planes, LONG width, LONG height) override {
    return Guard([&] { return state_.CreatePlanes(planes, width, height); });
  }
  STDMETHODIMP CreateFromData(LONG planes, LONG width, LONG height, U* pixels) override {
    return Guard([&] { return state_.CreateFromData(planes, width, height, pixels); });
  }
  STDMETHODIMP AttachImage(LONG width, LONG height, U* pixels) override {
    return Guard([&] { return state_.AttachImage(width, height, pixels); });
  }
  STDMETHODIMP AttachPlanes(LONG planes, LONG width, LONG height, U* pixels) override {
    return Guard([&] { return state_.AttachPlanes(planes, width, height, pixels); });
  }

  // Pixels.
  STDMETHODIMP GetPixel(LONG x, LONG y, DOUBLE* value) override {
    return AtPixel(x, y, [&](const T& pixel) { *value = DoubleFromElement(pixel); });
  }
  STDMETHODIMP PutPixel(LONG x, LONG y, DOUBLE value) override {
    return AtPixel(x, y, [&](T& pixel) {
      Image().MarkWritten();
      pixel = ElementFromDouble<T>(value);
    });
  }
  STDMETHODIMP GetPointer(U** pixels) override {
    LONG index = 0;
    const HRESULT result = state_.PixelIndex(0, 0, state_.activePlane, &index);
    if (FAILED(result)) return result;
    Image().MarkWritten();
    *pixels = reinterpret_cast<U*>(Image().At(index));
    return result;
  }
  STDMETHODIMP GetAccess(LONG* width, LONG* height, LONG* lineSkip, U** pixels) override {
    const HRESULT result = GetPointer(pixels);
    if (FAILED(result)) return result;
    // With a buffer none of the three can fail.
    state_.GetLineSkip(lineSkip);
    state_.GetHeight(height);
    state_.GetWidth(width);
    return S_OK;
  }
  STDMETHODIMP GetAccessChecked(LONG* width, LONG* height, LONG* lineSkip, U** pixels) override {
    if (!width || !height || !lineSkip || !pixels) return E_POINTER;
    *width = 0;
    *height = 0;
    *lineSkip = 0;
    *pixels = nullptr;
    if (!state_.image) return S_OK;
    LONG foundWidth = 0;
    LONG foundHeight = 0;
    LONG foundSkip = 0;
    U* foundPixels = nullptr;
    // A bad state is told by the zeros, not by the result: clients poll with this call.
    if (FAILED(GetAccess(&foundWidth, &foundHeight, &foundSkip, &foundPixels))) return S_OK;
    *width = foundWidth;
    *height = foundHeight;
    *lineSkip = foundSkip;
    *pixels = foundPixels;
    return S_OK;
  }
  STDMETHODIMP get_IsBound(LONG* bound) override {
    if (!bound) return E_POINTER;
    LONG index = 0;
    const bool hasPixels =
        state_.image && SUCCEEDED(state_.PixelIndex(0, 0, state_.activePlane, &index));
    *bound = hasPixels && state_.rect.width != 0 && state_.rect.height != 0 ? 1 : 0;
    return S_OK;
  }
  STDMETHODIMP Clear() override {
    // Clients clear AOIs that may be unbound; unlike Fill, the failure is swallowed.
    FillRectangle(T{0});
    return S_OK;
  }
  STDMETHODIMP Fill(DOUBLE value) override { return FillRectangle(ElementFromDouble<T>(value)); }
  STDMETHODIMP CopyTo(ITyped* other) override {
    if (!other) return E_INVALIDARG;
    Access<U> from;
    HRESULT result = from.Get(*static_cast<ITyped*>(this));
    if (FAILED(result)) return result;
    const IAOIImpl* own = OwnImplementation(other);
    const Image_t& pixels = Image();
    // Foreign code may bind this AOI elsewhere meanwhile, and vouches for its own geometry.
    const platform::ComPtr<ComImageBase> held(own ? nullptr : state_.image.Get());
    Access<U> to;
    result = to.Get(*other);
    if (FAILED(result)) return result;
    CopyRows(from, pixels, to, own ? &own->Image() : nullptr);
    return S_OK;
  }

  // Two AOIs.
  STDMETHODIMP Unite(ITyped* other) override {
    if (!state_.image) return S_FALSE;
    if (!other) return E_INVALIDARG;
    Rect theirs;
    other->GetRect(&theirs.x, &theirs.y, &theirs.width, &theirs.height);
    return state_.UniteWith(theirs);
  }
  STDMETHODIMP CopyRect(ITyped* other) override {
    if (!other) return E_INVALIDARG;
    Rect theirs;
    const HRESULT result = other->GetRect(&theirs.x, &theirs.y, &theirs.width, &theirs.height);
    return FAILED(result) ? result : state_.SetRect(theirs);
  }
  STDMETHODIMP IsSameSize(ITyped* other, LONG* same) override {
    return other ? CompareSizes(*other, same) : E_INVALIDARG;
  }

  STDMETHODIMP Clone(ITyped** clone) override { return Derived::Clone(*this, clone); }
  STDMETHODIMP SplitHeight(ITyped** upper) override {
    return Derived::Split(*this, Cut::kHeight, upper);
  }
  STDMETHODIMP SplitWidth(ITyped** right) override {
    return Derived::Split(*this, Cut::kWidth, right);
  }
  STDMETHODIMP SplitTiles(LONG columns, LONG rows, ITyped** tiles) override {
    return Derived::SplitTiles(*this, columns, rows, tiles);
  }
  STDMETHODIMP Duplicate(ITyped** duplicate) override {
    return Guard([&] { return Derived::Duplicate(*this, duplicate); });
  }

  // The generic slots that take or give AOIs.
  STDMETHODIMP Clone(IAoiKLP** clone) override { return Derived::Clone(*this, clone); }
  STDMETHODIMP SplitHeight(IAoiKLP** upper) override {
    return Derived::Split(*this, Cut::kHeight, upper);
  }
  STDMETHODIMP SplitWidth(IAoiKLP** right) override {
    return Derived::Split(*this, Cut::kWidth, right);
  }
  STDMETHODIMP SplitTiles(LONG columns, LONG rows, IAoiKLP** tiles) override {
    return Derived::SplitTiles(*this, columns, rows, tiles);
  }
  STDMETHODIMP Duplicate(IAoiKLP** duplicate) override {
    return Guard([&] { return Derived::Duplicate(*this, duplicate); });
  }
  STDMETHODIMP Unite(IAoiKLP* other) override {
    const auto typed = TypedOf(other);
    return typed ? Unite(typed.Get()) : E_INVALIDARG;
  }
  STDMETHODIMP CopyRect(IAoiKLP* other) override {
    const auto typed = TypedOf(other);
    return typed ? CopyRect(typed.Get()) : E_INVALIDARG;
  }
  STDMETHODIMP CopyTo(IAoiKLP* other) override {
    const auto typed = TypedOf(other);
    return typed ? CopyTo(typed.Get()) : E_INVALIDARG;
  }
  // The one operation that works across pixel types.
  STDMETHODIMP IsSameSize(IAoiKLP* other, LONG* same) override {
    if (!other) return E_INVALIDARG;
    const auto typed = TypedOf(other);
    return typed ? IsSameSize(typed.Get(), same) : CompareSizes(*other, same);
  }

  // IPersistStream and IPersistStreamInit.
  STDMETHODIMP GetClassID(CLSID* classId) override {
    *classId = *ClassId;
    return S_OK;
  }
  // An AOI counts as changed at all times.
  STDMETHODIMP IsDirty() override { return S_OK; }
  STDMETHODIMP InitNew() override { return S_OK; }
  STDMETHODIMP Load(IStream* stream) override {
    return Guard([&] { return LoadAoi(state_, sizeof(T), stream); });
  }
  STDMETHODIMP Save(IStream* stream, BOOL) override {
    return Guard([&] { return SaveAoi(state_, stream); });
  }
  STDMETHODIMP GetSizeMax(ULARGE_INTEGER* bytes) override {
    return Guard([&] { return EstimateAoi(state_, &bytes->QuadPart); });
  }

  // The slots behind the typed interface.
  STDMETHODIMP GetRectInternal(LONG* x, LONG* y, LONG* width, LONG* height) override {
    return state_.GetRect(x, y, width, height);
  }
  STDMETHODIMP LoadVersion256(IStream* stream) override {
    return LoadAs(AoiStreamVersion::k256, stream);
  }
  STDMETHODIMP LoadVersion257(IStream* stream) override {
    return LoadAs(AoiStreamVersion::k257, stream);
  }
  STDMETHODIMP LoadVersion258(IStream* stream) override {
    return LoadAs(AoiStreamVersion::k258, stream);
  }
  STDMETHODIMP LoadVersion259(IStream* stream) override {
    return LoadAs(AoiStreamVersion::k259, stream);
  }
  STDMETHODIMP LoadVersion512(IStream* stream) override {
    return LoadAs(AoiStreamVersion::k512, stream);
  }
  STDMETHODIMP LoadVersion513(IStream* stream) override {
    return LoadAs(AoiStreamVersion::k513, stream);
  }
  STDMETHODIMP LoadVersion514(IStream* stream) override {
    return LoadAs(AoiStreamVersion::k514, stream);
  }

 protected:
  using Image_t = ComImage<Class, T>;

  IAOIImpl() : state_(*ClassId, Code, []() -> ComImageBase* { return new Image_t; }) {}
  ~IAOIImpl() = default;

  // Remembers the interface tables of objects of this class, plain and inside an aggregate, by
  // which OwnImplementation knows them.
  void RememberTable(bool aggregated) noexcept {
    ownTables_[aggregated].store(TableOf(static_cast<ITyped*>(this)), std::memory_order_relaxed);
  }

  AoiState state_;

 private:
  using Derived = DerivedAois<Class, ITyped, Image_t>;
  friend Derived;

  template <class Body>
  static HRESULT Guard(Body&& body) noexcept {
    return Guarded(*ClassId, std::forward<Body>(body));
  }

  HRESULT LoadAs(AoiStreamVersion version, IStream* stream) noexcept {
    return Guard([&] { return LoadAoi(state_, sizeof(T), stream, version); });
  }

  static const void* TableOf(const ITyped* aoi) noexcept {
    const void* table = nullptr;
    std::memcpy(&table, static_cast<const void*>(aoi), sizeof table);
    return table;
  }

  // The implementation behind an interface pointer if it is one of this class, else null.
  static const IAOIImpl* OwnImplementation(const ITyped* aoi) noexcept {
    const void* table = TableOf(aoi);
    const bool own = table == ownTables_[false].load(std::memory_order_relaxed) ||
                     table == ownTables_[true].load(std::memory_order_relaxed);
    return own ? static_cast<const IAOIImpl*>(aoi) : nullptr;
  }

  Image_t& Image() const noexcept { return static_cast<Image_t&>(*state_.image); }

  // act(pixel) with the pixel behind rectangle coordinates in the active plane. Does its own
  // arithmetic on the fields: an operation on one pixel is to cost a virtual call and little more.
  template <class Act>
  [[gnu::always_inline]] HRESULT AtPixel(LONG x, LONG y, Act act) const noexcept {
    if (!state_.image) return state_.Report(Message::NoBuffer);
    Image_t& image = Image();
    if (!image.HasData() || state_.activePlane >= image.planes()) return E_POINTER;
    LONG index = 0;
    if (!state_.StoredIndex(x, y, state_.activePlane, &index)) return E_INVALIDARG;
    if (!image.InBlock(index)) return E_INVALIDARG;
    act(*image.At(index));
    return S_OK;
  }

  HRESULT FillRectangle(T value) noexcept {
    LONG index = 0;
    const HRESULT result = state_.PixelIndex(0, 0, state_.activePlane, &index);
    if (FAILED(result)) return result;
    FillRows(Image(), index, state_.rect.width, state_.rect.height, state_.bufferWidth, value);
    return S_OK;
  }

  template <class Other>
  HRESULT CompareSizes(Other& other, LONG* same) {
    LONG width = 0;
    LONG height = 0;
    LONG otherWidth = 0;
    LONG otherHeight = 0;
    state_.GetWidth(&width);
    state_.GetHeight(&height);
    other.get_Width(&otherWidth);
    other.get_Height(&otherHeight);
    *same = width == otherWidth && height == otherHeight ? 1 : 0;
    return *same ? S_OK : S_FALSE;
  }

  static platform::ComPtr<ITyped> TypedOf(IAoiKLP* other) noexcept {
    return platform::ComPtr<IAoiKLP>(other).template As<ITyped>();
  }

  static inline std::atomic<const void*> ownTables_[2];
};

// The coclass. Its template arguments are its row: pixel type, pixel type of pointer parameters,
// typed interface and its identifier, class, library, element type code.
template <class T, class U, class ITyped, const IID* TypedId, const CLSID* ClassId,
          const GUID* LibraryId, ElementTypeKLP Code>
class CCoRastelAoi
    : public platform::CComObjectRootEx<platform::CComMultiThreadModel>,
      public platform::CComCoClass<CCoRastelAoi<T, U, ITyped, TypedId, ClassId, LibraryId, Code>,
                                   ClassId>,
      public CMarshalByValue,
      public ISupportErrorInfo,
      public IAOIImpl<CCoRastelAoi<T, U, ITyped, TypedId, ClassId, LibraryId, Code>, T, U, ITyped,
                      ClassId, LibraryId, Code>,
      public IImageBufferKLP {
 public:
  static platform::QueryTable GetQueryTable() noexcept {
    using platform::DirectRow;
    static constexpr platform::QueryRow kRows[] = {
        DirectRow<CCoRastelAoi, IAoiKLP>(), DirectRow<CCoRastelAoi, IDispatch, ITyped>(),
        DirectRow<CCoRastelAoi, ITyped>(), DirectRow<CCoRastelAoi, IMarshal>(),
        DirectRow<CCoRastelAoi, IPersistStream>(),
        // By way of a base that the table does not list itself.
        DirectRow<CCoRastelAoi, IPersist, IPersistStreamInit>(),
        // Unreachable behind the row above it of the same identifier, and kept with the table.
        DirectRow<CCoRastelAoi, IPersistStream>(), DirectRow<CCoRastelAoi, ISupportErrorInfo>(),
        DirectRow<CCoRastelAoi, IImageBufferKLP>()};
    return kRows;
  }

  // The typed interface alone, not the generic one.
  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID iid) override {
    return IsEqualIID(iid, *TypedId) ? S_OK : S_FALSE;
  }

  STDMETHODIMP GetBlock(ImageBlockKLP* block) override {
    return this->state_.GetBlock(Code, block);
  }
  STDMETHODIMP AttachBlock(const ImageBlockKLP* block, IUnknown* owner) override {
    return Guarded(*ClassId, [&] { return this->state_.AttachBlock(Code, block, owner); });
  }

  HRESULT FinalConstruct(IUnknown* controllingUnknown) noexcept {
    IUnknown* self = static_cast<IAoiKLP*>(this);
    this->RememberTable(controllingUnknown != self);
    return CreateMarshaler(controllingUnknown);
  }
  void FinalRelease() noexcept { ReleaseMarshaler(); }
  void ReleaseContent() noexcept { this->state_.ReleaseContent(); }
};

}  // namespace rastel
