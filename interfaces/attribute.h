// SPDX-License-Identifier: MIT
// Attribute maps: ordered key and value stores that carry metadata with images and vectors, in
// three classes for text, integer and float keys. A map answers one typed interface and the generic
// IAttributeMapKLP, where keys are VARIANTs. Entries and their enumerator walk a map.
//
// A map may be used by any thread, but Clone reads it without its lock: no other thread may change
// it meanwhile. Reports give 0x80020009 with an error object. Everything that needs memory may give
// E_OUTOFMEMORY, and a value that cannot be copied the code of VariantCopy.
//
// A generic key must be of exactly one type, and any other is reported: VT_BSTR in a text map,
// VT_INT in an integer map, VT_R8 in a float map. Keys that a map hands out in VARIANTs are
// VT_BSTR, VT_I4 and VT_R8, so that those of an integer map are refused when they come back.
//
// Text keys end at their first null character and are ordered by UTF-16 unit; an empty text is a
// key, a null one is not. Float keys are ordered by <, without tolerance: -0.0 and 0.0 are one key.
// NaN is equal to every key: a look-up for it finds the smallest key, and a put is one of an
// existing key where there is any: refused, or in override mode in the place of all keys. From then
// on every key finds the NaN, and is put in its place. A load drops a NaN beside other keys, and
// other keys beside a NaN.
//
// IPersistStream::IsDirty of a map is S_OK from its creation on, clones included, and from each
// put_Value that stores, until a Save with clearDirty or a Load succeeds; a Save during which the
// map was changed leaves it so. Nothing else counts as a change, neither Remove nor Clear nor
// put_OverrideMode. A map that holds a dirty object is dirty as well.
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
  // map. Elements are VT_BSTR, VT_I4 or VT_R8, on the generic interface VT_VARIANT with one of
  // these. E_POINTER for a null pointer.
  virtual HRESULT STDMETHODCALLTYPE get_Keys(SAFEARRAY** keys) = 0;
  // Stores a copy of the value; objects are shared. An existing key is replaced in override mode,
  // and reported otherwise; a null text key is reported, and want of memory may be. The typed slots
  // make the map dirty on S_OK, the generic one also where it reports, but for the type of the key.
  virtual HRESULT STDMETHODCALLTYPE put_Value(K key, VARIANT value) = 0;
  // out: a copy of the value; what the VARIANT held is overwritten, not cleared. E_POINTER for a
  // null pointer; an absent key is reported, a null text key too. The generic slot leaves out as it
  // is and gives S_OK for all of these, with the error object of the report.
  virtual HRESULT STDMETHODCALLTYPE get_Value(K key, VARIANT* value) = 0;
};

// Slot 10 of the generic and the text interface; the integer and float ones have none.
template <class K, class Base>
struct MapRemoveSlot : Base {
  // Removes an attribute. An absent key is reported, a null text key too.
  virtual HRESULT STDMETHODCALLTYPE Remove(K key) = 0;
};

// Slots 11 to 18, or 10 to 17 without Remove. Self is the interface that a clone is given as.
template <class Self, class K, class Base>
struct MapContentSlots : Base {
  // out: VARIANT_TRUE if the key is there, else VARIANT_FALSE. E_POINTER for a null pointer; a null
  // text key is reported. The generic slot leaves out as it is and gives S_OK for both.
  virtual HRESULT STDMETHODCALLTYPE Exists(K key, VARIANT_BOOL* exists) = 0;
  // Removes all attributes.
  virtual HRESULT STDMETHODCALLTYPE Clear() = 0;
  // Whether put_Value replaces an existing key: VARIANT_TRUE in a new map; any value but 0 is true.
  // The out pointer must not be null.
  virtual HRESULT STDMETHODCALLTYPE put_OverrideMode(VARIANT_BOOL replace) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_OverrideMode(VARIANT_BOOL* replace) = 0;
  // out: the type of the keys. The pointer must not be null.
  virtual HRESULT STDMETHODCALLTYPE get_KeyKind(KeyKindKLP* kind) = 0;
  // out: number of attributes, its low 32 bits. The pointer must not be null.
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* count) = 0;
  // out: a new map, which the caller owns, with the same override mode and copies of the values.
  // Objects are duplicated through a stream and become VT_UNKNOWN: VT_EMPTY where the object cannot
  // be saved or is null, an object that keeps the saved bytes where its class cannot be created.
  // The pointer must not be null; on failure it is.
  virtual HRESULT STDMETHODCALLTYPE Clone(Self** clone) = 0;
  // out: a new enumerator over the keys of this moment, ascending, which the caller owns; null on
  // failure. E_POINTER for a null pointer.
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

struct IAttributeBstrMapKLP : rastel::RemovingMapSlots<IAttributeBstrMapKLP, BSTR> {};
RASTEL_INTERFACE_ID(IAttributeBstrMapKLP);

struct IAttributeLongMapKLP : rastel::NumericMapSlots<IAttributeLongMapKLP, LONG> {};
RASTEL_INTERFACE_ID(IAttributeLongMapKLP);

struct IAttributeDoubleMapKLP : rastel::NumericMapSlots<IAttributeDoubleMapKLP, DOUBLE> {};
RASTEL_INTERFACE_ID(IAttributeDoubleMapKLP);

// One attribute of a map: its own copy of the key, and the map itself for the value. It keeps the
// map alive. An entry that a client creates has an empty key and no map, and gives E_POINTER for
// its value.
struct IAttributeEntryKLP : IDispatch {
  static constexpr int kSlotCount = 10;

  // out: a copy of the key, VT_BSTR, VT_I4 or VT_R8; what the VARIANT held is overwritten, not
  // cleared. E_POINTER for a null pointer.
  virtual HRESULT STDMETHODCALLTYPE get_Key(VARIANT* key) = 0;
  // The value as the map has it now, by the map's generic slots and with their results: S_OK and
  // out untouched if the attribute is gone, which put_Value creates again. The entry of an integer
  // map cannot reach its value, since its key is VT_I4: a report.
  virtual HRESULT STDMETHODCALLTYPE get_Value(VARIANT* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Value(VARIANT value) = 0;
};
RASTEL_INTERFACE_ID(IAttributeEntryKLP);

// Walks the entries that a map had when the enumerator was made. Not for two threads at once; each
// takes a Clone.
struct IEnumAttributeEntryKLP : IUnknown {
  static constexpr int kSlotCount = 7;

  // out: up to count counted entries, and their number; fetched may be null for a count of 0 or 1.
  // S_FALSE if fewer are left. E_POINTER for a null array or a missing fetched. E_FAIL if there was
  // no memory for the entries when the enumerator was made.
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
