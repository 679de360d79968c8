// SPDX-License-Identifier: MIT
// Vectors: growable sequences of elements of one type, and beside them, optionally, one VARIANT per
// element, its tag. A vector answers one typed interface and the generic IVectorKLP.
//
// Every slot gives S_OK on success. An index outside 0 .. Count - 1 is reported with 0x80040461. A
// vector takes no lock: concurrent use of one object is the caller's affair. E_OUTOFMEMORY is named
// where an operation needs memory for what it makes; letting values go needs none.
#pragma once

#include <cstdint>

#include "interfaces/enums.h"
#include "interfaces/identifiers.h"
#include "platform/interface_id.h"

namespace rastel {

// Slots 7 to 12. V is what a value is handed over as.
template <class V>
struct VectorValueSlots : IDispatch {
  // An element by its index, as double through the generic interface and that of numbers. The out
  // pointer must not be null.
  //
  // Numbers. Reading widens. Writing makes values beyond the type's limits, infinities among them,
  // the limit; then integers are cut toward zero and Float is rounded to the nearest. NaN becomes 0
  // in integers, the lowest value in Long, and stays NaN in Float. Double takes everything as it
  // is.
  //
  // VARIANTs, as VARIANT. Reading clears out, which must be initialised, and hands it a copy;
  // VariantCopy's code, and VT_EMPTY, for an element that cannot be copied. Writing always gives
  // S_OK: a value that cannot be copied leaves VT_EMPTY, an element that cannot be cleared stays.
  //
  // VARIANTs, as double. Reading reports 0x80020009 "Type conversion impossible" for texts and
  // objects and "empty variant" for VT_EMPTY; VT_R4 and VT_R8 give their value, all else the 8
  // bytes of the value field as a signed integer. Writing puts a VT_R8, or gives VariantClear's
  // code for an element that cannot be cleared.
  virtual HRESULT STDMETHODCALLTYPE get_Value(LONG index, V* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Value(LONG index, V value) = 0;
  // The tag of an element. Behind the index test E_FAIL unless tags are on and the element has one:
  // a stream may have brought fewer tags than elements. Reading clears out, which must be
  // initialised, and hands it a copy; one that is null or cannot be cleared gets nothing, with
  // S_OK. VariantCopy's code for a tag that cannot be copied: out is unchanged. In writing the tag
  // then becomes VT_ERROR with that code, as it does with VariantClear's if it cannot be cleared.
  virtual HRESULT STDMETHODCALLTYPE get_ElementTag(LONG index, VARIANT* tag) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_ElementTag(LONG index, VARIANT tag) = 0;
  // out: number of elements; S_FALSE if it is 0. E_POINTER for a null pointer.
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* count) = 0;
  // Grows with zeros (VT_EMPTY for VARIANTs) or shrinks, and the tags along with it if they are on.
  // A count below 1 empties both. E_OUTOFMEMORY for a larger count: the elements, or only the tags,
  // stay as they were.
  virtual HRESULT STDMETHODCALLTYPE put_Count(LONG count) = 0;
};

// Typed slot 13. T is the element type.
template <class T, class Base>
struct VectorPointerSlot : Base {
  // out: the number of elements and the live array, for reading and writing; nothing that is
  // written there is converted. The pointer carries no count. It lives until the array has to move
  // or the vector ends: growing beyond what the array ever had room for moves it, also in Load;
  // other changes of the count do not. S_FALSE, 0 and null for an empty vector; E_POINTER for a
  // null pointer.
  virtual HRESULT STDMETHODCALLTYPE GetPointer(LONG* count, T** elements) = 0;
};

// Typed slots 14 to 23, generic slots 13 to 22. Self is the interface that new vectors are given
// as.
template <class Self, class Base>
struct VectorContentSlots : Base {
  // out: the number of tags and the live array, as in GetPointer; S_FALSE, 0 and null if there are
  // none or tags are off. Switching tags on and off does not move them either.
  virtual HRESULT STDMETHODCALLTYPE GetTagPointer(LONG* count, VARIANT** tags) = 0;
  // out: a new vector, which the caller owns, with the same elements and tags; objects in VARIANTs
  // are shared. The pointer is always one of the vector's typed interface, also where it is
  // declared as the generic one: query for what you need. The out pointer must not be null; what it
  // holds is overwritten, with null on every failure:
  //   0x80040462     reported: the vector cannot be made
  //   E_OUTOFMEMORY
  //   VariantCopy's  code for a value that cannot be copied
  virtual HRESULT STDMETHODCALLTYPE Clone(Self** clone) = 0;
  // Whether elements have tags. Only VARIANT_TRUE switches them on; any other value that is not 0
  // is kept and leaves them off. 0 drops all tags. The out pointer must not be null. E_OUTOFMEMORY:
  // nothing is changed.
  virtual HRESULT STDMETHODCALLTYPE get_HasElementTags(VARIANT_BOOL* hasTags) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_HasElementTags(VARIANT_BOOL hasTags) = 0;
  // out: the element type. E_POINTER for a null pointer.
  virtual HRESULT STDMETHODCALLTYPE get_ElementType(ElementTypeKLP* type) = 0;
  // out: as Clone, but objects in VARIANTs are duplicated through a stream. What an object fails to
  // save or load shows in the copy and is no failure; null goes out with
  //   0x8004046A     reported: the vector cannot be made
  //   0x80020009     reported: "can't create stream on hGlobal"
  //   E_OUTOFMEMORY
  //   E_ACCESSDENIED called from inside objects that are nested too deep
  //   VariantCopy's  code for a value that cannot be copied
  //   an object's    code, if it fails to answer IPersistStream, but for E_NOINTERFACE
  virtual HRESULT STDMETHODCALLTYPE DeepCopy(Self** copy) = 0;
  // Sets every element to 0 (VT_INT 0 for VARIANTs) and every tag to VT_EMPTY; the count stays, and
  // there are as many tags as elements then, also if they are off. E_OUTOFMEMORY if there were
  // fewer tags and more cannot be had: the elements are cleared, and there are no tags.
  virtual HRESULT STDMETHODCALLTYPE Clear() = 0;
  // Sets every element to the value, converted as by put_Value of a double. Tags stay.
  virtual HRESULT STDMETHODCALLTYPE Fill(DOUBLE value) = 0;
  // As put_Count, but resizes the tags also if they are off.
  virtual HRESULT STDMETHODCALLTYPE ResizeAll(LONG count) = 0;
  // As put_Count.
  virtual HRESULT STDMETHODCALLTYPE SetCount(LONG count) = 0;
};

// The slot list of the typed interfaces.
template <class Self, class T, class V = DOUBLE>
struct TypedVectorSlots : VectorContentSlots<Self, VectorPointerSlot<T, VectorValueSlots<V>>> {
  static constexpr int kSlotCount = 24;
};

}  // namespace rastel

// For clients that do not know the element type.
struct IVectorKLP : rastel::VectorContentSlots<IVectorKLP, rastel::VectorValueSlots<DOUBLE>> {
  static constexpr int kSlotCount = 23;
};
RASTEL_INTERFACE_ID(IVectorKLP);

struct IByteVectorKLP : rastel::TypedVectorSlots<IByteVectorKLP, std::uint8_t> {};
RASTEL_INTERFACE_ID(IByteVectorKLP);

struct ICharVectorKLP : rastel::TypedVectorSlots<ICharVectorKLP, std::int8_t> {};
RASTEL_INTERFACE_ID(ICharVectorKLP);

struct IWordVectorKLP : rastel::TypedVectorSlots<IWordVectorKLP, std::uint16_t> {};
RASTEL_INTERFACE_ID(IWordVectorKLP);

struct IShortVectorKLP : rastel::TypedVectorSlots<IShortVectorKLP, std::int16_t> {};
RASTEL_INTERFACE_ID(IShortVectorKLP);

struct IDWordVectorKLP : rastel::TypedVectorSlots<IDWordVectorKLP, std::uint32_t> {};
RASTEL_INTERFACE_ID(IDWordVectorKLP);

struct ILongVectorKLP : rastel::TypedVectorSlots<ILongVectorKLP, std::int32_t> {};
RASTEL_INTERFACE_ID(ILongVectorKLP);

struct IFloatVectorKLP : rastel::TypedVectorSlots<IFloatVectorKLP, float> {};
RASTEL_INTERFACE_ID(IFloatVectorKLP);

struct IDoubleVectorKLP : rastel::TypedVectorSlots<IDoubleVectorKLP, double> {};
RASTEL_INTERFACE_ID(IDoubleVectorKLP);

struct IVariantVectorKLP : rastel::TypedVectorSlots<IVariantVectorKLP, VARIANT, VARIANT> {};
RASTEL_INTERFACE_ID(IVariantVectorKLP);
