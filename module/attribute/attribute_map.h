// SPDX-License-Identifier: MIT
// The attribute map: the typed interface and IAttributeMapKLP side by side on one content.
// Contracts stand in interfaces/attribute.h.
//
// The generic slots call the typed code with the lock held, and treat what it gives differently:
// put_Value passes a failure on and marks the map dirty all the same, get_Value gives S_OK for a
// key that is not there. Only a key of the wrong type fails in both.
//
// Values are released when the map is unlocked and not needed any more: a value may be an object
// that comes back to the map, or ends it. Copying a value calls the object in it too.
//
// Look-ups raise nothing. What put_Value raises as a std::exception is reported in words, also for
// want of memory; everything else leaves a slot as its code.
#pragma once

#include <atomic>

#include "interfaces/attribute.h"
#include "module/attribute/attribute_store.h"
#include "module/attribute/dirty_flag.h"
#include "module/attribute/entry.h"
#include "module/attribute/key_array.h"
#include "module/frame/boundary.h"
#include "module/frame/lockable.h"
#include "module/frame/reports.h"
#include "module/persist/nesting.h"
#include "module/records/tagged_records.h"
#include "platform/class_factory.h"
#include "platform/com_ptr.h"
#include "platform/dispatch_impl.h"

namespace rastel {

// What a late-bound caller walks over.
struct MapKeys {
  static HRESULT Copy(IUnknown& map, SAFEARRAY** out) noexcept {
    platform::ComPtr<IAttributeMapKLP> generic;
    const HRESULT result = map.QueryInterface(IID_IAttributeMapKLP, generic.PutVoid());
    return FAILED(result) ? result : generic->get_Keys(out);
  }
};

// What the code of a map knows about its class: identifier, typed interface, type of the keys.
template <const CLSID* Id, class Interface, class KeyType>
struct MapTraits {
  static constexpr const CLSID* kClassId = Id;
  using ITyped = Interface;
  using Key = KeyType;
  using Store = AttributeStore<Key>;
  using Kind = typename Store::Kind;
  using TypedBase = platform::IDispatchImpl<ITyped, &LIBID_RASTEL_KLP_Lib, MapKeys>;
};

// Holds a map's lock and, for a walk, its content of this moment. The content is let go under the
// lock unless the map has another one by then: the last hold releases values.
template <class Store>
class LockedContent {
 public:
  LockedContent(LockableClass& map, const Store& store) : lock_(map), store_(store) {
    held_ = store.Hold();
  }
  ~LockedContent() {
    if (held_ && held_->IsShared()) held_.Reset();
  }
  LockedContent(const LockedContent&) = delete;
  LockedContent& operator=(const LockedContent&) = delete;

  auto Attributes() const noexcept { return typename Store::AttributeRange(held_); }
  std::size_t Count() const noexcept { return held_ ? held_->Count() : 0; }
  // Whether it still is the map's content, unchanged.
  bool IsCurrent() const noexcept { return store_.IsCurrent(held_); }

 private:
  typename Store::Held held_;
  const ScopedLock lock_;
  const Store& store_;
};

// The operations behind the last slot of the typed interface. They are for the classes' own use.
template <class ITyped, class Base>
struct MapInternalSlots : Base {
  virtual HRESULT STDMETHODCALLTYPE GetKeysInternal(SAFEARRAY** keys) = 0;
  virtual HRESULT STDMETHODCALLTYPE CloneInternal(ITyped** clone) = 0;
};

// The typed removal: a slot of its own, which no interface shows, or the interface's Remove.
template <class Key, class Map, class Base>
struct MapRemovalSlot : Base {
  virtual HRESULT STDMETHODCALLTYPE RemoveEntry(Key key) {
    return static_cast<Map*>(this)->RemoveTyped(key);
  }
};
template <class Map, class Base>
struct MapRemovalSlot<BSTR, Map, Base> : Base {
  STDMETHODIMP Remove(BSTR key) override { return static_cast<Map*>(this)->RemoveTyped(key); }
};

template <class Key, class Item, class Base>
struct MapLookUpSlots : Base {
  // Passes a bitwise copy of the value to put_Value.
  virtual HRESULT STDMETHODCALLTYPE PutByValue(Key key, VARIANT value) = 0;
  // Reports a key of the wrong type; else looks it up and gives S_OK whatever came of it.
  virtual HRESULT STDMETHODCALLTYPE FindVariantEntry(VARIANT key, VARIANT_BOOL* found,
                                                     Item** item) = 0;
  // found: whether the key is there. item: the attribute, not counted, or null; may be null itself.
  // Reports a null text; null found: E_POINTER.
  virtual HRESULT STDMETHODCALLTYPE FindEntry(Key key, VARIANT_BOOL* found, Item** item) = 0;
};

template <class Traits, class Map>
using MapSlots = MapLookUpSlots<
    typename Traits::Key, typename Traits::Store::Item,
    MapRemovalSlot<typename Traits::Key, Map,
                   MapInternalSlots<typename Traits::ITyped, typename Traits::TypedBase>>>;

// The typed interface. Map: the class that derives from this, a LockableClass with a dirty flag.
template <class Traits, class Map>
class SpecialAttributeImpl : public MapSlots<Traits, Map> {
 public:
  using Key = typename Traits::Key;
  using ITyped = typename Traits::ITyped;
  using Store = typename Traits::Store;
  using Item = typename Store::Item;
  using Kind = typename Traits::Kind;

  STDMETHODIMP get_Keys(SAFEARRAY** keys) override { return GetKeysInternal(keys); }
  STDMETHODIMP put_Value(Key key, VARIANT value) override {
    typename Store::Displaced displaced;
    return Guard([&] {
      const platform::ScopedLock lock(Self());
      return PutTyped(key, value, displaced);
    });
  }
  STDMETHODIMP get_Value(Key key, VARIANT* value) override {
    typename Store::ItemPointer held;
    return Guard([&] {
      const platform::ScopedLock lock(Self());
      return GetTyped(key, value, held);
    });
  }
  STDMETHODIMP Exists(Key key, VARIANT_BOOL* exists) override {
    return FindEntry(key, exists, nullptr);
  }
  STDMETHODIMP Clear() override {
    typename Store::Held displaced;
    const platform::ScopedLock lock(Self());
    displaced = attributes_.TakeAll();
    return S_OK;
  }
  STDMETHODIMP put_OverrideMode(VARIANT_BOOL replace) override {
    const platform::ScopedLock lock(Self());
    SetOverrideByte(replace != 0 ? 1 : 0);
    return S_OK;
  }
  STDMETHODIMP get_OverrideMode(VARIANT_BOOL* replace) override {
    *replace = OverrideByte() != 0 ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
  }
  STDMETHODIMP get_KeyKind(KeyKindKLP* kind) override {
    *kind = Kind::kCode;
    return S_OK;
  }
  STDMETHODIMP get_Count(LONG* count) override {
    const platform::ScopedLock lock(Self());
    *count = static_cast<LONG>(attributes_.Count());
    return S_OK;
  }
  STDMETHODIMP Clone(ITyped** clone) override { return CloneInternal(clone); }
  STDMETHODIMP GetEnumerator(IEnumAttributeEntryKLP** enumerator) override {
    return Guard([&]() -> HRESULT {
      const LockedContent content(Self(), attributes_);
      if (!enumerator) return E_POINTER;
      *enumerator = nullptr;
      IAttributeMapKLP* const map = &Self();
      EntryList entries(content.Count());
      for (const auto& attribute : content.Attributes()) {
        _variant_t key;
        static_cast<VARIANT&>(key) = Kind::ToVariant(attribute.Key());
        entries.Add(key, map);
      }
      return entries.GiveEnumerator(map, enumerator);
    });
  }

  STDMETHODIMP GetKeysInternal(SAFEARRAY** keys) override {
    return GiveKeyArray<decltype(Kind::ToElement({}))>(Kind::kGivenType, &Kind::ToElement, keys);
  }
  // Without a lock.
  STDMETHODIMP CloneInternal(ITyped** clone) override {
    *clone = nullptr;
    return Guard([&]() -> HRESULT {
      const OperationLevel level;
      if (FAILED(level.Result())) return level.Result();
      using Copy = platform::CComObject<typename Map::Class>;
      Copy* copy = nullptr;
      const HRESULT result = Copy::CreateInstance(&copy);
      if (FAILED(result)) return result;
      copy->AddUnsharedReference();
      platform::ComPtr<ITyped> owner;
      owner.Attach(copy);
      SpecialAttributeImpl& other = *copy;
      other.SetOverrideByte(OverrideByte());
      const typename Store::Held held = attributes_.Hold();
      if (!held || !held->HasForeignValues()) {
        other.attributes_.Share(held);
      } else {
        for (const Item& attribute : typename Store::AttributeRange(held)) {
          if (!IsForeign(attribute.value)) {
            other.attributes_.Share(attribute);
            continue;
          }
          CComVariant value = GetRealCopyOfVariant(attribute.value);
          other.attributes_.Add(Item::New(attribute.Key(), std::move(value)));
        }
      }
      *clone = owner.Detach();
      return S_OK;
    });
  }
  STDMETHODIMP PutByValue(Key key, VARIANT value) override { return put_Value(key, value); }
  STDMETHODIMP FindVariantEntry(VARIANT key, VARIANT_BOOL* found, Item** item) override {
    if (key.vt != Kind::kDemandedType) return Say(Kind::kWrongType);
    FindEntry(Kind::FromVariant(key), found, item);
    return S_OK;
  }
  STDMETHODIMP FindEntry(Key key, VARIANT_BOOL* found, Item** item) override {
    const platform::ScopedLock lock(Self());
    return FindTyped(key, found, item);
  }

  HRESULT RemoveTyped(Key key) {
    return RemoveFound(
        [&](VARIANT_BOOL* found, Item** item) { return FindTyped(key, found, item); });
  }

 protected:
  ~SpecialAttributeImpl() = default;

  template <class Body>
  static HRESULT Guard(Body&& body) noexcept {
    return Guarded(*Traits::kClassId, std::forward<Body>(body));
  }
  static HRESULT Say(const char* text) noexcept { return ReportErrorText(*Traits::kClassId, text); }

  // The whole object, whose lock costs no virtual call.
  auto& Self() noexcept { return static_cast<typename Map::Class&>(static_cast<Map&>(*this)); }

  // The slots' inner parts, for a caller who has the lock.
  HRESULT FindTyped(Key key, VARIANT_BOOL* found, Item** item) noexcept {
    if (!Kind::IsKey(key)) return Say(kInvalidKey);
    if (!found) return E_POINTER;
    Item* const result = attributes_.Find(key);
    if (item) *item = result;
    *found = result ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
  }
  HRESULT PutTyped(Key key, VARIANT& value, typename Store::Displaced& displaced) {
    return ReportTexts(*Traits::kClassId, [&]() -> HRESULT {
      if (!Kind::IsKey(key)) return Say(kInvalidKey);
      CopyToNew(displaced.value, value);
      if (!attributes_.Put(key, OverrideByte() != 0, displaced)) {
        return Say("element already exist => use override mode");
      }
      Self().SetDirty();
      return S_OK;
    });
  }
  // held: to be released when the map is unlocked. A failed copy is raised, since the generic slot
  // passes over results.
  HRESULT GetTyped(Key key, VARIANT* value, typename Store::ItemPointer& held) {
    if (!value) return E_POINTER;
    VARIANT_BOOL exists = VARIANT_FALSE;
    Item* item = nullptr;
    FindTyped(key, &exists, &item);
    if (!exists) return Say("Element is not defined");
    // Two words for one thing, of which clients know the first.
    if (!item) return Say("Attribute is not defined");
    if (IsPlain(item->value.vt)) {
      *value = item->value;
      return S_OK;
    }
    // The object in the value may take it out of the map while it is copied.
    if (IsForeign(item->value)) held = item;
    VARIANT copy{};
    CopyToNew(copy, item->value);
    *value = copy;
    return S_OK;
  }
  // Into an empty VARIANT. Raises CAtlException.
  static void CopyToNew(VARIANT& target, VARIANT& source) {
    if (IsPlain(source.vt)) {
      target = source;
      return;
    }
    const HRESULT result = VariantCopy(&target, &source);
    if (FAILED(result)) AtlThrow(result);
  }
  // find(found, item) looks the key up, with the lock.
  template <class FindKey>
  HRESULT RemoveFound(FindKey find) {
    typename Store::Displaced displaced;
    return Guard([&]() -> HRESULT {
      const platform::ScopedLock lock(Self());
      VARIANT_BOOL found = VARIANT_FALSE;
      Item* item = nullptr;
      const HRESULT result = find(&found, &item);
      if (FAILED(result)) return result;
      if (!found) return Say("this attribute is not defined");
      attributes_.Take(item, displaced);
      return S_OK;
    });
  }
  // make gives the array's element for a key.
  template <class Element, class Make>
  HRESULT GiveKeyArray(VARTYPE type, Make make, SAFEARRAY** keys) {
    if (!keys) return E_POINTER;
    *keys = nullptr;
    return Guard([&] {
      const LockedContent content(Self(), attributes_);
      GiveKeys<Element>(type, content.Count(), content.Attributes(), make, keys);
      return S_OK;
    });
  }

  // 1: put_Value replaces. A stream may have left another value, which counts as 1 and is written
  // as it is.
  BYTE OverrideByte() const noexcept { return override_.load(std::memory_order_relaxed); }
  void SetOverrideByte(BYTE value) noexcept { override_.store(value, std::memory_order_relaxed); }

  Store attributes_;

 private:
  static constexpr char kInvalidKey[] = "invalid key";

  std::atomic<BYTE> override_{1};
};

// The generic interface.
template <class Traits, class Map>
class VariantAttributeImpl
    : public platform::IDispatchImpl<IAttributeMapKLP, &LIBID_RASTEL_KLP_Lib, MapKeys> {
  using Typed = SpecialAttributeImpl<Traits, Map>;
  using Kind = typename Traits::Kind;

 public:
  STDMETHODIMP get_Keys(SAFEARRAY** keys) override {
    return Self().template GiveKeyArray<VARIANT>(VT_VARIANT, &Kind::ToVariant, keys);
  }
  STDMETHODIMP put_Value(VARIANT key, VARIANT value) override {
    typename Traits::Store::Displaced displaced;
    return Self().Guard([&] {
      const platform::ScopedLock lock(Object());
      if (key.vt != Kind::kDemandedType) return Self().Say(Kind::kWrongType);
      const HRESULT result = Self().PutTyped(Kind::FromVariant(key), value, displaced);
      Self().SetDirty();
      return result;
    });
  }
  STDMETHODIMP get_Value(VARIANT key, VARIANT* value) override {
    typename Traits::Store::ItemPointer held;
    return Self().Guard([&] {
      const platform::ScopedLock lock(Object());
      if (key.vt != Kind::kDemandedType) return Self().Say(Kind::kWrongType);
      Self().GetTyped(Kind::FromVariant(key), value, held);
      return S_OK;
    });
  }
  STDMETHODIMP Remove(VARIANT key) override {
    return Self().RemoveFound([&](VARIANT_BOOL* found, typename Traits::Store::Item** item) {
      return Self().FindVariantEntry(key, found, item);
    });
  }
  STDMETHODIMP Exists(VARIANT key, VARIANT_BOOL* exists) override {
    return Self().FindVariantEntry(key, exists, nullptr);
  }
  STDMETHODIMP Clear() override { return TypedSelf().Clear(); }
  STDMETHODIMP put_OverrideMode(VARIANT_BOOL replace) override {
    return TypedSelf().put_OverrideMode(replace);
  }
  STDMETHODIMP get_OverrideMode(VARIANT_BOOL* replace) override {
    return TypedSelf().get_OverrideMode(replace);
  }
  STDMETHODIMP get_KeyKind(KeyKindKLP* kind) override { return TypedSelf().get_KeyKind(kind); }
  STDMETHODIMP get_Count(LONG* count) override { return TypedSelf().get_Count(count); }
  STDMETHODIMP Clone(IAttributeMapKLP** clone) override {
    *clone = nullptr;
    typename Traits::ITyped* made = nullptr;
    const HRESULT result = Self().CloneInternal(&made);
    if (FAILED(result)) return result;
    made->QueryInterface(IID_IAttributeMapKLP, reinterpret_cast<void**>(clone));
    made->Release();
    return result;
  }
  STDMETHODIMP GetEnumerator(IEnumAttributeEntryKLP** enumerator) override {
    return TypedSelf().GetEnumerator(enumerator);
  }

 protected:
  ~VariantAttributeImpl() = default;

 private:
  Map& Self() noexcept { return static_cast<Map&>(*this); }
  auto& Object() noexcept { return static_cast<typename Map::Class&>(Self()); }
  Typed& TypedSelf() noexcept { return Self(); }
};

// Both interfaces on one content.
template <class Traits, class Coclass>
class CAttributeMapImpl : public SpecialAttributeImpl<Traits, CAttributeMapImpl<Traits, Coclass>>,
                          public VariantAttributeImpl<Traits, CAttributeMapImpl<Traits, Coclass>>,
                          public ORVA::DirtyFlagInterface,
                          public LockableClass {
  friend class SpecialAttributeImpl<Traits, CAttributeMapImpl>;
  friend class VariantAttributeImpl<Traits, CAttributeMapImpl>;

 public:
  using Class = Coclass;

  static platform::QueryTable BaseQueryTable() noexcept {
    static constexpr platform::QueryRow kRows[] = {
        platform::DirectRow<CAttributeMapImpl, IAttributeMapKLP>(),
        platform::DirectRow<CAttributeMapImpl, typename Traits::ITyped>()};
    return kRows;
  }

 protected:
  ~CAttributeMapImpl() = default;

  // At the end of the map, which still stands then: objects in values may come back to it. What
  // they put in meanwhile goes as well.
  void ReleaseValues() noexcept {
    while (this->attributes_.TakeAll()) {
    }
  }
};

}  // namespace rastel
