// SPDX-License-Identifier: MIT
// Areas of interest (AOIs): rectangles of pixels on a shared image buffer of one or more planes,
// with a margin around each plane. An AOI object answers one typed interface, which knows the pixel
// type and hands out raw pointers, and the generic IAoiKLP, which speaks of pixels as double.
//
// Coordinates. Interior coordinates count from the first pixel behind the buffer's margin; the
// rectangle stands in these. Rectangle coordinates count from the rectangle's first pixel. Sizes
// with margins are those of the stored rows and planes.
//
// Sizes. Sizes, positions and products are computed in 32 bits. A buffer holds at most 2^31 - 1
// pixels, in all planes, margins included. Where the product of more comes out negative the bind
// gives E_OUTOFMEMORY; where it wraps to a number from 0 on, the buffer has memory for that many
// pixels under the stated sizes: what lies outside is E_INVALIDARG for single pixels and pointers,
// and is left out of everything that walks. Attached memory may be larger, but positions in it wrap
// as well.
//
// Results. Every slot gives S_OK on success. 0x8004xxxx comes with an error object on the thread,
// the plain codes come without. "Needs a buffer" stands for 0x8004045A as long as none is bound. An
// AOI takes no lock: concurrent use of one object, or of one buffer for writing, is the caller's
// affair.
//
// The slot groups below are put together at the end of the file, eight times for the typed
// interfaces and once for the generic one, so that a slot that both have is declared once.
#pragma once

#include <cstdint>

#include "interfaces/enums.h"
#include "interfaces/identifiers.h"
#include "platform/interface_id.h"

struct IAttributeMapKLP;

namespace rastel {

// Slots 7 to 32. Self is the interface that slots take and give AOIs as.
template <class Self>
struct AoiRectangleSlots : IDispatch {
  // The rectangle, in pixels, its corner in interior coordinates. Out pointers must not be null.
  // Getters need a buffer. Setters give 0x80040459 for a value below 0, also without a buffer, else
  // what SetRect gives; a new corner keeps the size. SetRect sorts corners, so a size of 0 becomes
  // 2 from the pixel before the corner on.
  virtual HRESULT STDMETHODCALLTYPE get_Width(LONG* width) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Width(LONG width) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Height(LONG* height) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Height(LONG height) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_X(LONG* x) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_X(LONG x) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Y(LONG* y) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Y(LONG y) = 0;

  // Pixels that must exist on each side of the rectangle. Need a buffer; a null out pointer is
  // S_OK. A setter gives 0x80040452 for a value below 0, else what SetMargins gives with the other
  // request unchanged. A request that SetRect had to cut may be read as negative, where the
  // rectangle runs past the stored row.
  virtual HRESULT STDMETHODCALLTYPE get_MarginX(LONG* pixels) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_MarginX(LONG pixels) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_MarginY(LONG* pixels) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_MarginY(LONG pixels) = 0;

  // Binds a new buffer of one plane, width * height pixels and BufferMargin on each side; the
  // pixels are not initialised. 0x8004045B for a size of 0 (the AOI is then without a buffer),
  // E_INVALIDARG for a margin above a size, and so for a size below 0, E_OUTOFMEMORY. A bind
  // restarts the rectangle, the margin requests, the planes and the name, and takes BufferMargin
  // back to 0; margin mode, marshal flags, tag and map stay. One that fails behind the change of
  // buffers leaves a buffer without pixels under the geometry of before.
  virtual HRESULT STDMETHODCALLTYPE CreateImage(LONG width, LONG height) = 0;
  // out: pixels from the end of one rectangle row to the start of the next. Needs a buffer.
  virtual HRESULT STDMETHODCALLTYPE get_LineSkip(LONG* pixels) = 0;
  // out: pixels of a stored row, rows of a stored plane, margins included. Need a buffer.
  virtual HRESULT STDMETHODCALLTYPE get_BufferWidth(LONG* pixels) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_BufferHeight(LONG* rows) = 0;
  // Guarantees the margins inside the stored buffer and moves or cuts the rectangle to make it so.
  // Needs a buffer; 0x80040452 for a value below 0; E_FAIL if twice a margin is not below the size
  // with margins, as always without pixels, or if nothing of the rectangle would be left. Nothing
  // changes on failure.
  virtual HRESULT STDMETHODCALLTYPE SetMargins(LONG marginX, LONG marginY) = 0;
  // Fills the buffer's margin, in all planes, in the present margin mode, whatever the rectangle,
  // then SetMargins with the present requests. Needs a buffer; E_FAIL without pixels; E_INVALIDARG
  // for an unknown mode if the buffer has a margin; else what SetMargins gives: 0x80040452, behind
  // the fill, for requests that SetRect had to cut below 0. Pixels that change later do not reach
  // the margin by themselves.
  virtual HRESULT STDMETHODCALLTYPE FillMargins() = 0;

  // One pixel of the active plane, in rectangle coordinates; the stored plane is the limit, not the
  // rectangle. Needs a buffer; E_POINTER if it has no pixels or no such plane; E_INVALIDARG outside
  // the plane. A value is clamped to the pixel type's finite limits, then truncated towards 0 for
  // integer pixels, rounded to the nearest for Float and kept for Double. NaN stays NaN in these
  // two, and is the lowest value in Long and 0 in all others. The out pointer must not be null.
  virtual HRESULT STDMETHODCALLTYPE GetPixel(LONG x, LONG y, DOUBLE* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE PutPixel(LONG x, LONG y, DOUBLE value) = 0;

  // out: a new AOI on the same buffer, or without one like its source, with the same rectangle,
  // margins, planes and marshal flags, without name, tag and map; the caller owns it. E_FAIL, and
  // null, if it cannot be made.
  virtual HRESULT STDMETHODCALLTYPE Clone(Self** clone) = 0;
  // Split the rectangle. out: a new AOI with the upper half of the height, or the right half of the
  // width, which the caller owns; this AOI keeps the rest. Of an odd size the lower or right part
  // is the larger. Need a buffer; 0x8004045D if the new AOI cannot be made; else what SetRect
  // gives, first for the new AOI and then for this one. A typed call whose first SetRect fails
  // leaves a pointer that leads nowhere, one whose second fails leaves the new AOI to the caller.
  // On the generic interface a failure leaves null, and a null pointer is E_POINTER.
  virtual HRESULT STDMETHODCALLTYPE SplitHeight(Self** upper) = 0;
  virtual HRESULT STDMETHODCALLTYPE SplitWidth(Self** right) = 0;
  // out: across * down new AOIs that cover the rectangle, row by row; the last ones take what the
  // division leaves; the caller owns them. Needs a buffer; 0x8004045E for counts below 1 or more
  // than 100 tiles; 0x8004045D if a tile cannot be made, 0x8004045F if one would have no pixel:
  // tiles made so far stay in the array of a typed call, for the caller to release. A generic call
  // that fails leaves none.
  virtual HRESULT STDMETHODCALLTYPE SplitTiles(LONG across, LONG down, Self** tiles) = 0;
  // Takes the smallest rectangle that holds both. On the generic interface null and another pixel
  // type are E_INVALIDARG before anything else; S_FALSE, and no error object, without a buffer;
  // E_INVALIDARG for null; else what SetRect gives. An other without a buffer counts as four zeros.
  virtual HRESULT STDMETHODCALLTYPE Unite(Self* other) = 0;
  // The rectangle by two opposite corners, both included, in any order, interior coordinates. Needs
  // a buffer; 0x80040459 for a value below 0; E_INVALIDARG at or beyond the size with margins. The
  // rectangle may so run past the stored rows, by one margin of the buffer. Nothing changes on
  // failure. Margin requests are cut to what the new place leaves, and do not grow back.
  virtual HRESULT STDMETHODCALLTYPE SetRect(LONG left, LONG top, LONG right, LONG bottom) = 0;
};

// Typed slots 33 to 35. U is the pixel type of pointers. A pointer carries no count and means
// nothing in another process: it lives as long as some AOI holds the buffer, and is dead behind a
// bind or the Release of the last of them.
template <class U, class Base>
struct AoiPointerSlots : Base {
  // out: the rectangle's first pixel in the active plane; must not be null. Needs a buffer;
  // E_INVALIDARG for a plane or position outside it, as always for an empty buffer; E_FAIL where a
  // failed bind has left planes without pixels.
  virtual HRESULT STDMETHODCALLTYPE GetPointer(U** pixels) = 0;
  // out: sizes in pixels, pixels from row end to row start, and the pointer of GetPointer, with its
  // results. No pointer may be null. A fast loop over pixels first copies the four into locals of
  // its own whose addresses went nowhere: a store through the pixel pointer may change the others,
  // as far as a compiler knows, and it would read them anew for every pixel.
  virtual HRESULT STDMETHODCALLTYPE GetAccess(LONG* width, LONG* height, LONG* lineSkip,
                                              U** pixels) = 0;
  // Looks at width * height pixels of the caller, one plane without a margin, aligned as the pixel
  // type needs it; the memory must outlive the buffer, which never frees it. Keeps the buffer if
  // there is one, so that AOIs that share it look at the pixels as well. 0x8004045B for a size of
  // 0, E_POINTER for null, E_INVALIDARG for a negative size, E_ABORT if the buffer already has
  // pixels.
  virtual HRESULT STDMETHODCALLTYPE AttachImage(LONG width, LONG height, U* pixels) = 0;
};

// Typed slots 36 to 48, generic slots 33 to 45.
template <class Self, class Base>
struct AoiDerivedSlots : Base {
  // out: a new AOI with a one-plane buffer of its own and a copy of the active plane's pixels; the
  // caller owns it. MarshalFlags tell whether the rectangle is copied, with its margins and with
  // name, a deep copy of the tag and a clone of the map, or the whole plane without these three.
  // Rows of the copy begin MarginX pixels left of the rectangle and are 2 * MarginX bytes, not
  // pixels, longer than it; what they do not reach is 0. Where there are no pixels the duplicate
  // has none either. E_OUTOFMEMORY; for the whole plane E_FAIL if the AOI that selects it cannot be
  // made, and what its SelectAll gives; E_ACCESSDENIED for tags nested too deep; the code of a tag
  // that cannot be copied. A failure leaves null.
  virtual HRESULT STDMETHODCALLTYPE Duplicate(Self** duplicate) = 0;
  // out: 1 and S_OK if width and height agree, else 0 and S_FALSE; must not be null. E_INVALIDARG
  // for a null AOI. An AOI without a buffer counts as 0 by 0, with an error object on the way. The
  // generic slot compares AOIs of different pixel types too.
  virtual HRESULT STDMETHODCALLTYPE IsSameSize(Self* other, LONG* same) = 0;
  // Takes the other's rectangle. E_INVALIDARG for null, and on the generic interface for another
  // pixel type; else what the other's GetRect and SetRect give.
  virtual HRESULT STDMETHODCALLTYPE CopyRect(Self* other) = 0;
  // Move with the size kept, and resize with the corner kept, to or by pixels. Need a buffer; what
  // SetRect gives is dropped: an impossible place is S_OK and changes nothing.
  virtual HRESULT STDMETHODCALLTYPE MoveTo(LONG x, LONG y) = 0;
  virtual HRESULT STDMETHODCALLTYPE MoveBy(LONG dx, LONG dy) = 0;
  virtual HRESULT STDMETHODCALLTYPE ResizeTo(LONG width, LONG height) = 0;
  virtual HRESULT STDMETHODCALLTYPE ResizeBy(LONG dw, LONG dh) = 0;
  // Set every pixel of the rectangle in the active plane to 0, or to a value that is converted like
  // PutPixel's. Rows that run past the stored ones go on in what lies behind. Where pixels cannot
  // be reached Clear gives S_OK, Fill the code of GetAccess.
  virtual HRESULT STDMETHODCALLTYPE Clear() = 0;
  virtual HRESULT STDMETHODCALLTYPE Fill(DOUBLE value) = 0;
  // The rectangle from 0, 0 to the size with margins: what SetRect gives.
  virtual HRESULT STDMETHODCALLTYPE SelectAll() = 0;
  // out: the rectangle, interior coordinates; each pointer may be null. Needs a buffer.
  virtual HRESULT STDMETHODCALLTYPE GetRect(LONG* x, LONG* y, LONG* width, LONG* height) = 0;
  // Copies this rectangle's pixels into the other's rectangle, in the active planes, from their
  // first pixels on as far as both reach. Rows go top to bottom, also where the rectangles overlap.
  // E_INVALIDARG for null, and on the generic interface for another pixel type; else the first
  // failure of GetAccess, this AOI's before the other's, and then nothing is copied.
  virtual HRESULT STDMETHODCALLTYPE CopyTo(Self* other) = 0;
  // Binds a new buffer like CreateImage, with several planes; a failure, also 0x8004045B, leaves a
  // buffer without pixels. E_INVALIDARG for no plane, E_OUTOFMEMORY for a number below 0.
  virtual HRESULT STDMETHODCALLTYPE CreatePlanes(LONG planes, LONG width, LONG height) = 0;
};

// Typed slots 49 and 50. Pixels stand plane behind plane, row behind row, without gaps.
template <class U, class Base>
struct AoiPlanePointerSlots : Base {
  // Looks at the caller's planes like AttachImage, always with a fresh buffer, which a failure
  // leaves without pixels. 0x8004045B for a size of 0, E_POINTER for null, E_INVALIDARG for no
  // plane or a negative size, E_OUTOFMEMORY for planes below 0.
  virtual HRESULT STDMETHODCALLTYPE AttachPlanes(LONG planes, LONG width, LONG height,
                                                 U* pixels) = 0;
  // Binds a new buffer with BufferMargin, copies the pixels in, which may be this AOI's own, and
  // sets the margins to 0. A failure leaves a buffer without pixels: 0x8004045B for a size of 0,
  // E_POINTER for null, E_INVALIDARG for no plane or a margin above a size, E_OUTOFMEMORY, also for
  // planes below 0.
  virtual HRESULT STDMETHODCALLTYPE CreateFromData(LONG planes, LONG width, LONG height,
                                                   U* pixels) = 0;
};

// Typed slots 51 to 63, generic slots 46 to 58. No slot here needs a buffer, and no out pointer is
// tested.
template <class Base>
struct AoiPropertySlots : Base {
  // out: planes of the bound buffer, 0 in a new AOI; a failed bind leaves those of before.
  virtual HRESULT STDMETHODCALLTYPE get_PlaneCount(LONG* planes) = 0;
  // Whether Save writes the plane when the rectangle travels: 0 or not 0; all planes are selected
  // by a bind. 0x80040469 for a plane outside 0 .. PlaneCount - 1; deselecting may give
  // E_OUTOFMEMORY, and changes nothing then.
  virtual HRESULT STDMETHODCALLTYPE get_PlaneSelected(LONG plane, LONG* selected) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_PlaneSelected(LONG plane, LONG selected) = 0;
  // The plane that pixel and pointer operations address. Setter: 0x80040469 as above.
  virtual HRESULT STDMETHODCALLTYPE get_ActivePlane(LONG* plane) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_ActivePlane(LONG plane) = 0;
  // Margin, in pixels, of the next buffer that this AOI allocates; kept as it stands, also
  // negative.
  virtual HRESULT STDMETHODCALLTYPE get_BufferMargin(LONG* pixels) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_BufferMargin(LONG pixels) = 0;
  // What FillMargins fills with; not tested before that. A bind keeps it.
  virtual HRESULT STDMETHODCALLTYPE get_MarginMode(MarginModeKLP* mode) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_MarginMode(MarginModeKLP mode) = 0;
  // How much Save and Duplicate take. Setter: any value but 0 and 1 is reported with 0x80020009. A
  // loaded AOI may tell others, of which the lowest bit counts.
  virtual HRESULT STDMETHODCALLTYPE get_MarshalFlags(MarshalFlagsKLP* flags) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_MarshalFlags(MarshalFlagsKLP flags) = 0;
  // The name, "None" in a new AOI and after a bind. out: a copy that the caller frees, or null for
  // a null name. put copies; a null name is kept as null, and saved as an empty one. E_OUTOFMEMORY.
  virtual HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Name(BSTR name) = 0;
};

// Generic slot 59.
template <class Base>
struct AoiElementTypeSlot : Base {
  // out: the pixel type. An AOI loaded from version 512 on tells what its stream stated, which may
  // be another one than its pixels are. The pointer is not tested.
  virtual HRESULT STDMETHODCALLTYPE get_ElementType(ElementTypeKLP* type) = 0;
};

// Typed slots 64 to 67, generic slots 60 to 63. They need no buffer.
template <class Base>
struct AoiClientDataSlots : Base {
  // A value that is the client's own. out: a copy; the VARIANT must be initialised and is cleared.
  // E_POINTER for a null pointer, E_OUTOFMEMORY or what the copy gives, or what clearing gives, and
  // then nothing has moved. put copies; a failure gives the copy's code and leaves a tag of
  // VT_ERROR with it.
  virtual HRESULT STDMETHODCALLTYPE get_Tag(VARIANT* tag) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Tag(VARIANT tag) = 0;
  // The map with the picture's metadata, or null; shared, not copied. out: a counted pointer, null
  // with S_OK if there is no map; it must come in as null, anything else is released. E_POINTER for
  // a null pointer. put takes a count of its own and lets the old map go.
  virtual HRESULT STDMETHODCALLTYPE get_AttributeMap(IAttributeMapKLP** map) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_AttributeMap(IAttributeMapKLP* map) = 0;
};

// Typed slot 68.
template <class U, class Base>
struct AoiCheckedAccessSlot : Base {
  // As GetAccess, but tests its pointers, E_POINTER, and gives S_OK with three zeros and null, and
  // no error object, where pixels cannot be reached.
  virtual HRESULT STDMETHODCALLTYPE GetAccessChecked(LONG* width, LONG* height, LONG* lineSkip,
                                                     U** pixels) = 0;
};

// Typed slot 69, generic slot 64.
template <class Base>
struct AoiBoundSlot : Base {
  // out: 1 if pixels can be reached and the rectangle is not empty, else 0. E_POINTER for null.
  virtual HRESULT STDMETHODCALLTYPE get_IsBound(LONG* bound) = 0;
};

// The slot list of the typed interfaces.
template <class Self, class U>
struct TypedAoiSlots
    : AoiBoundSlot<AoiCheckedAccessSlot<
          U, AoiClientDataSlots<AoiPropertySlots<AoiPlanePointerSlots<
                 U, AoiDerivedSlots<Self, AoiPointerSlots<U, AoiRectangleSlots<Self>>>>>>>> {
  static constexpr int kSlotCount = 70;
};

// The slot list of the generic interface.
template <class Self>
struct GenericAoiSlots
    : AoiBoundSlot<AoiClientDataSlots<
          AoiElementTypeSlot<AoiPropertySlots<AoiDerivedSlots<Self, AoiRectangleSlots<Self>>>>>> {
  static constexpr int kSlotCount = 65;
};

}  // namespace rastel

// For clients that do not know the pixel type. Slots that take an AOI refuse one of another pixel
// type with E_INVALIDARG, except IsSameSize.
struct IAoiKLP : rastel::GenericAoiSlots<IAoiKLP> {};
RASTEL_INTERFACE_ID(IAoiKLP);

struct IByteAOIKLP : rastel::TypedAoiSlots<IByteAOIKLP, std::uint8_t> {};
RASTEL_INTERFACE_ID(IByteAOIKLP);

// Pixels are signed 8 bit; the pointers say unsigned all the same, and the client reinterprets
// them.
struct ICharAOIKLP : rastel::TypedAoiSlots<ICharAOIKLP, std::uint8_t> {};
RASTEL_INTERFACE_ID(ICharAOIKLP);

struct IWordAOIKLP : rastel::TypedAoiSlots<IWordAOIKLP, std::uint16_t> {};
RASTEL_INTERFACE_ID(IWordAOIKLP);

struct IShortAOIKLP : rastel::TypedAoiSlots<IShortAOIKLP, std::int16_t> {};
RASTEL_INTERFACE_ID(IShortAOIKLP);

struct IDWordAOIKLP : rastel::TypedAoiSlots<IDWordAOIKLP, std::uint32_t> {};
RASTEL_INTERFACE_ID(IDWordAOIKLP);

struct ILongAOIKLP : rastel::TypedAoiSlots<ILongAOIKLP, std::int32_t> {};
RASTEL_INTERFACE_ID(ILongAOIKLP);

struct IFloatAOIKLP : rastel::TypedAoiSlots<IFloatAOIKLP, float> {};
RASTEL_INTERFACE_ID(IFloatAOIKLP);

struct IDoubleAOIKLP : rastel::TypedAoiSlots<IDoubleAOIKLP, double> {};
RASTEL_INTERFACE_ID(IDoubleAOIKLP);
