// SPDX-License-Identifier: MIT
// Entries and their enumerator. An entry holds a copy of a key and a count on the map, and asks the
// map for the value in every call; what the map's generic slots give is what it gives. So it takes
// no lock, and the entry of an integer map, whose generic slots demand VT_INT, cannot reach its
// value with the VT_I4 that it holds. An enumerator walks the keys of the moment in which it was
// made.
#pragma once

#include <cstddef>

#include "interfaces/attribute.h"
#include "interfaces/identifiers.h"
#include "module/frame/agile_object.h"
#include "module/frame/boundary.h"
#include "module/frame/stack_buffer.h"
#include "module/frame/variants.h"
#include "platform/class_factory.h"
#include "platform/com_enum.h"
#include "platform/dispatch_impl.h"

namespace rastel {

// Slots 10 and 11, with which the map sets up its entries; no client knows them.
template <class Value, class Entry>
struct IInternalSetting : Entry {
  // Takes a copy of the key.
  virtual HRESULT STDMETHODCALLTYPE SetKey(Value key) = 0;
  // Counts the map, for the life of the entry. Null: E_POINTER.
  virtual HRESULT STDMETHODCALLTYPE SetOwner(IAttributeMapKLP* map) = 0;
};

}  // namespace rastel

// Clients know it by the interface that it extends.
template <>
struct InterfaceId<rastel::IInternalSetting<VARIANT, IAttributeEntryKLP>>
    : InterfaceId<IAttributeEntryKLP> {};

namespace rastel {

template <const CLSID* ClassId, class Entry, class Value, const IID* EntryId>
class CAttributeEntryImpl
    : public platform::CComObjectRootEx<platform::CComMultiThreadModel>,
      public platform::CComCoClass<CAttributeEntryImpl<ClassId, Entry, Value, EntryId>, ClassId>,
      public ISupportErrorInfo,
      public platform::IDispatchImpl<IInternalSetting<Value, Entry>, &LIBID_RASTEL_KLP_Lib>,
      public AgileObject {
 public:
  static constexpr bool kProtectFinalConstruct = true;

  static platform::QueryTable GetQueryTable() noexcept {
    static constexpr platform::QueryRow kRows[] = {
        platform::DirectRow<CAttributeEntryImpl, ISupportErrorInfo>(),
        platform::DirectRow<CAttributeEntryImpl, Entry>(),
        platform::DelegatedRow<CAttributeEntryImpl, IMarshal,
                               &CAttributeEntryImpl::m_pFreeThreadedMarshaler>()};
    return kRows;
  }

  HRESULT FinalConstruct(IUnknown* controllingUnknown) noexcept {
    return CreateMarshaler(controllingUnknown);
  }
  void FinalRelease() noexcept { ReleaseMarshaler(); }
  void ReleaseContent() noexcept {
    if (IAttributeMapKLP* const owner = std::exchange(m_Owner, nullptr)) owner->Release();
    m_Key = _variant_t();
  }

  // It names the map's interface too, although it does not answer it.
  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID iid) override {
    const bool isKnown = IsEqualIID(iid, IID_IAttributeMapKLP) || IsEqualIID(iid, *EntryId);
    return isKnown ? S_OK : S_FALSE;
  }

  STDMETHODIMP get_Key(Value* key) override {
    if (!key) return E_POINTER;
    return Guarded(*ClassId, [&] {
      _variant_t copy(m_Key);
      *key = copy.Detach();
      return S_OK;
    });
  }
  STDMETHODIMP get_Value(Value* value) override {
    return m_Owner ? m_Owner->get_Value(m_Key, value) : E_POINTER;
  }
  STDMETHODIMP put_Value(Value value) override {
    return m_Owner ? m_Owner->put_Value(m_Key, value) : E_POINTER;
  }

  STDMETHODIMP SetKey(Value key) override {
    return Guarded(*ClassId, [&] {
      m_Key = key;
      return S_OK;
    });
  }
  STDMETHODIMP SetOwner(IAttributeMapKLP* map) override {
    if (!map) return E_POINTER;
    m_Owner = map;
    m_Owner->AddRef();
    return S_OK;
  }

 protected:
  ~CAttributeEntryImpl() = default;

 private:
  _variant_t m_Key;
  IAttributeMapKLP* m_Owner = nullptr;
};

using AttributeEntry = CAttributeEntryImpl<&CLSID_AttributeEntryKLP, IAttributeEntryKLP, VARIANT,
                                           &IID_IAttributeEntryKLP>;

using MyInterfaceCopy = platform::CopyInterface<IAttributeEntryKLP>;
using AttributeEnumerator =
    platform::CComEnum<IEnumAttributeEntryKLP, IAttributeEntryKLP*, MyInterfaceCopy>;

// The entries of an enumerator that is being made.
class EntryList {
 public:
  // Raises std::bad_alloc.
  explicit EntryList(std::size_t mostEntries);
  ~EntryList();
  EntryList(const EntryList&) = delete;
  EntryList& operator=(const EntryList&) = delete;

  // A new entry with a copy of the key. Raises _com_error E_OUTOFMEMORY.
  void Add(const VARIANT& key, IAttributeMapKLP* map);
  // out: a new enumerator over the entries, which keeps the map alive. E_OUTOFMEMORY.
  HRESULT GiveEnumerator(IAttributeMapKLP* map, IEnumAttributeEntryKLP** out);

 private:
  // Maps are mostly small.
  StackBuffer<IAttributeEntryKLP*, 64> entries_;
  std::size_t count_ = 0;
};

// The instance creator of the entry class; see platform::InstanceCreator.
HRESULT CreateAttributeEntry(IUnknown* outer, REFIID iid, void** out) noexcept;

}  // namespace rastel
