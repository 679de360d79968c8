// Attribute maps: ordered key and value stores that carry metadata with images and vectors, in
// three classes for text, integer and float keys. A map answers one typed interface and the generic
// IAttributeMapKLP, where keys are VARIANTs. Entries and their enumerator walk a map.
//
// A map may be used by any thread; Clone reads it without its lock. Reports give 0x80020009 with an
// error object. A generic key must be of exactly one type: VT_BSTR in a text map, VT_INT in an
// integer map, VT_R8 in a float map; any other is reported.
#pragma once

#include "interfaces/enums.h"
#include "interfaces/identifiers.h"
#include "platform/interface_id.h"

struct IEnumAttributeEntryKLP;

namespace rastel {

// Slots 7 to 9. K is what a key is handed over as.
template <class K>
struct MapValueSlots : IDispatch {
  // out: a new array of the keys, ascending, which the caller destroys; no elements for an empty
  // map. Keys are BSTR, 32-bit or 64-bit float, on the generic interface VARIANTs of VT_BSTR, VT_I4
  // or VT_R8. E_POINTER for a null pointer.
  virtual HRESULT STDMETHODCALLTYPE get_Keys(SAFEARRAY** keys) = 0;
  // Stores a copy of the value; objects are shared. An existing key is replaced in override mode,
  // and reported otherwise. A null text key is reported.
  virtual HRESULT STDMETHODCALLTYPE put_Value(K key, VARIANT value) = 0;
  // out: a copy of the value; what the VARIANT held is overwritten, not cleared. E_POINTER for a
  // null pointer; an absent key is reported. The generic slot leaves out as it is and gives S_OK
  // for both.
  virtual HRESULT STDMETHODCALLTYPE get_Value(K key, VARIANT* value) = 0;
};

// Slot 10 of the generic and the text interface; the integer and float ones have none.
template <class K, class Base>
struct MapRemoveSlot : Base {
  // Removes an attribute. An absent key is reported.
  virtual HRESULT STDMETHODCALLTYPE Remove(K key) = 0;
};

// Slots 11 to 18, or 10 to 17 without Remove. Self is the interface that a clone is given as.
template <class Self, class K, class Base>
struct MapContentSlots : Base {
  // out: VARIANT_TRUE if the key is there, else VARIANT_FALSE. E_POINTER for a null pointer; the
  // generic slot gives S_OK.
  virtual HRESULT STDMETHODCALLTYPE Exists(K key, VARIANT_BOOL* exists) = 0;
  // Removes all attributes.
  virtual HRESULT STDMETHODCALLTYPE Clear() = 0;
  // Whether put_Value replaces an existing key: VARIANT_TRUE in a new map; any value but 0 is true.
  // The out pointer must not be null.
  virtual HRESULT STDMETHODCALLTYPE put_OverrideMode(VARIANT_BOOL replace) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_OverrideMode(VARIANT_BOOL* replace) = 0;
  // out: the type of the keys. The pointer must not be null.
  virtual HRESULT STDMETHODCALLTYPE get_KeyKind(KeyKindKLP* kind) = 0;
  // out: number of attributes. The pointer must not be null.
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* count) = 0;
  // out: a new map, which the caller owns, with the same override mode and copies of the values;
  // objects are duplicated through a stream.
  virtual HRESULT STDMETHODCALLTYPE Clone(Self** clone) = 0;
  // out: a new enumerator over the keys of this moment, ascending, which the caller owns. E_POINTER
  // for a null pointer, E_OUTOFMEMORY.
  virtual HRESULT STDMETHODCALLTYPE GetEnumerator(IEnumAttributeEntryKLP** enumerator) = 0;
};

template <class Self, class K>
struct RemovingMapSlots : MapContentSlots<Self, K, MapRemoveSlot<K, MapValueSlots<K>>> {
  static constexpr int kSlotCount = 19;
};

template <class Self, class K>
struct NumericMapSlots : MapContentSlots<Self, K, MapValueSlots<K>> {
  static constexpr int kSlotCount = 18;
};

}  // namespace rastel

// For clients that do not know the key type.
struct IAttributeMapKLP : rastel::RemovingMapSlots<IAttributeMapKLP, VARIANT> {};
RASTEL_INTERFACE_ID(IAttributeMapKLP);

// Keys end at their first null character.
struct IAttributeBstrMapKLP : rastel::RemovingMapSlots<IAttributeBstrMapKLP, BSTR> {};
RASTEL_INTERFACE_ID(IAttributeBstrMapKLP);

struct IAttributeLongMapKLP : rastel::NumericMapSlots<IAttributeLongMapKLP, LONG> {};
RASTEL_INTERFACE_ID(IAttributeLongMapKLP);

struct IAttributeDoubleMapKLP : rastel::NumericMapSlots<IAttributeDoubleMapKLP, DOUBLE> {};
RASTEL_INTERFACE_ID(IAttributeDoubleMapKLP);

// One attribute of a map: its own copy of the key, and the map itself for the value. It keeps the
// map alive. An entry without a map gives E_POINTER for its value.
struct IAttributeEntryKLP : IDispatch {
  static constexpr int kSlotCount = 10;

  // out: a copy of the key, VT_BSTR, VT_I4 or VT_R8; what the VARIANT held is overwritten, not
  // cleared. E_POINTER for a null pointer.
  virtual HRESULT STDMETHODCALLTYPE get_Key(VARIANT* key) = 0;
  // The value as the map has it now, with the results of its generic slots: S_OK and out untouched
  // if the attribute is gone. The entry of an integer map cannot reach its value: 0x80020009.
  virtual HRESULT STDMETHODCALLTYPE get_Value(VARIANT* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Value(VARIANT value) = 0;
};
RASTEL_INTERFACE_ID(IAttributeEntryKLP);

// Walks the entries that a map had when the enumerator was made. Not for two threads at once; each
// takes a Clone.
struct IEnumAttributeEntryKLP : IUnknown {
  static constexpr int kSlotCount = 7;

  // out: up to count counted entries, and their number; fetched may be null for a count of 0 or 1.
  // S_FALSE if fewer are left. E_POINTER for a null array or a missing fetched.
  virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, IAttributeEntryKLP** entries,
                                         ULONG* fetched) = 0;
  // Passes over count entries; S_FALSE, at the end, if fewer are left.
  virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
  // Back to the first entry.
  virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
  // out: a new enumerator at the same position, which the caller owns. E_POINTER for a null
  // pointer.
  virtual HRESULT STDMETHODCALLTYPE Clone(IEnumAttributeEntryKLP** clone) = 0;
};
RASTEL_INTERFACE_ID(IEnumAttributeEntryKLP);
