// Vectors: growable sequences of elements of one type, and beside them, optionally, one VARIANT per
// element, its tag. A vector answers one typed interface and the generic IVectorKLP.
//
// Every slot gives S_OK on success. An index outside 0 .. Count - 1 is reported with 0x80040461. A
// vector takes no lock: concurrent use of one object is the caller's affair.
#pragma once

#include <cstdint>

#include "interfaces/enums.h"
#include "interfaces/identifiers.h"
#include "platform/interface_id.h"

namespace rastel {

// Slots 7 to 12. V is what a value is handed over as.
template <class V>
struct VectorValueSlots : IDispatch {
  // An element by its index. As double it is clamped to the element type's limits and truncated on
  // the way in. The out pointer must not be null.
  virtual HRESULT STDMETHODCALLTYPE get_Value(LONG index, V* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Value(LONG index, V value) = 0;
  // The tag of an element; behind the index test E_FAIL unless tags are on. out: a copy; the
  // VARIANT must be initialised and is cleared first.
  virtual HRESULT STDMETHODCALLTYPE get_ElementTag(LONG index, VARIANT* tag) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_ElementTag(LONG index, VARIANT tag) = 0;
  // out: number of elements; S_FALSE if it is 0. E_POINTER for a null pointer.
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* count) = 0;
  // Grows with zeros (VT_EMPTY for VARIANTs) or shrinks, and the tags along with it if they are on.
  // A count below 1 empties both. E_OUTOFMEMORY.
  virtual HRESULT STDMETHODCALLTYPE put_Count(LONG count) = 0;
};

// Typed slot 13. T is the element type.
template <class T, class Base>
struct VectorPointerSlot : Base {
  // out: the number of elements and the live array, for reading and writing. The pointer carries no
  // count and lives until the array next changes its size. S_FALSE, 0 and null for an empty vector;
  // E_POINTER for a null pointer.
  virtual HRESULT STDMETHODCALLTYPE GetPointer(LONG* count, T** elements) = 0;
};

// Typed slots 14 to 23, generic slots 13 to 22. Self is the interface that new vectors are given
// as.
template <class Self, class Base>
struct VectorContentSlots : Base {
  // out: the number of tags and the live array, as in GetPointer; S_FALSE, 0 and null if tags are
  // off.
  virtual HRESULT STDMETHODCALLTYPE GetTagPointer(LONG* count, VARIANT** tags) = 0;
  // out: a new vector, which the caller owns, with the same elements and tags; objects in VARIANTs
  // are shared. The pointer is always one of the vector's typed interface, also where it is
  // declared as the generic one: query for what you need. 0x80040462 if it cannot be made.
  virtual HRESULT STDMETHODCALLTYPE Clone(Self** clone) = 0;
  // Whether elements have tags. Only VARIANT_TRUE switches them on; any other value that is not 0
  // is kept and leaves them off. 0 drops all tags. The out pointer must not be null.
  virtual HRESULT STDMETHODCALLTYPE get_HasElementTags(VARIANT_BOOL* hasTags) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_HasElementTags(VARIANT_BOOL hasTags) = 0;
  // out: the element type. E_POINTER for a null pointer.
  virtual HRESULT STDMETHODCALLTYPE get_ElementType(ElementTypeKLP* type) = 0;
  // out: as Clone, but objects in VARIANTs are duplicated through a stream. 0x8004046A.
  virtual HRESULT STDMETHODCALLTYPE DeepCopy(Self** copy) = 0;
  // Sets every element to 0 (VT_INT 0 for VARIANTs) and every tag to VT_EMPTY; the count stays.
  virtual HRESULT STDMETHODCALLTYPE Clear() = 0;
  // Sets every element to the value, converted as by put_Value of a double.
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
