// The attribute map: the typed interface and IAttributeMapKLP side by side on one content.
// Contracts stand in interfaces/attribute.h.
//
// The generic slots call the typed code with the lock held, and treat what it gives differently:
// put_Value passes a failure on and marks the map dirty all the same, get_Value gives S_OK for a
// key that is not there. Only a key of the wrong type fails in both.
//
// Values are released when the map is unlocked and not needed any more: a value may be an object
// that comes back to the map, or ends it. Copying a value calls the object in it too.
#pragma once

#include <atomic>

#include "attribute/attribute_store.h"
#include "attribute/dirty_flag.h"
#include "attribute/entry.h"
#include "attribute/key_array.h"
#include "frame/boundary.h"
#include "frame/lockable.h"
#include "frame/reports.h"
#include "interfaces/attribute.h"
#include "persist/nesting.h"
#include "persist/variant_records.h"
#include "platform/class_factory.h"
#include "platform/com_ptr.h"
#include "platform/dispatch_impl.h"

namespace rastel {

// What the code of a map knows about its class: identifier, typed interface, type of the keys.
template <const CLSID* Id, class Interface, class KeyType>
struct MapTraits {
  static constexpr const CLSID* kClassId = Id;
  using ITyped = Interface;
  using Key = KeyType;
  using Store = AttributeStore<Key>;
  using Kind = typename Store::Kind;
  using Iterator = typename Store::Iterator;
  using TypedBase = platform::IDispatchImpl<ITyped, &LIBID_RASTEL_KLP_Lib>;
};

// Holds a map's lock and, from Hold on, its content. The content is let go under the lock unless
// the map has another one by then: the last hold releases values.
template <class Store>
class LockedContent {
 public:
  LockedContent(LockableClass& map, const Store& store) : map_(map), store_(store) { map_.Lock(); }
  ~LockedContent() {
    if (held_.use_count() > 1) held_.reset();
    map_.Unlock();
  }
  LockedContent(const LockedContent&) = delete;
  LockedContent& operator=(const LockedContent&) = delete;

  const typename Store::Nodes& Hold() noexcept {
    held_ = store_.Hold();
    return *held_;
  }

 private:
  LockableClass& map_;
  const Store& store_;
  typename Store::Held held_;
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

template <class Key, class Iterator, class Base>
struct MapLookUpSlots : Base {
  // Passes a bitwise copy of the value to put_Value.
  virtual HRESULT STDMETHODCALLTYPE PutByValue(Key key, VARIANT value) = 0;
  // Reports a key of the wrong type; else looks it up and gives S_OK whatever came of it.
  virtual HRESULT STDMETHODCALLTYPE FindVariantEntry(VARIANT key, VARIANT_BOOL* found,
                                                     Iterator* place) = 0;
  // found: whether the key is there. place: where, or the end; may be null. Reports a null text;
  // null found: E_POINTER.
  virtual HRESULT STDMETHODCALLTYPE FindEntry(Key key, VARIANT_BOOL* found, Iterator* place) = 0;
};

template <class Traits, class Map>
using MapSlots = MapLookUpSlots<
    typename Traits::Key, typename Traits::Iterator,
    MapRemovalSlot<typename Traits::Key, Map,
                   MapInternalSlots<typename Traits::ITyped, typename Traits::TypedBase>>>;

// The typed interface. Map: the class that derives from this, a LockableClass with a dirty flag.
template <class Traits, class Map>
class SpecialAttributeImpl : public MapSlots<Traits, Map> {
 public:
  using Key = typename Traits::Key;
  using ITyped = typename Traits::ITyped;
  using Store = typename Traits::Store;
  using Iterator = typename Traits::Iterator;
  using Kind = typename Traits::Kind;
  using Locked = LockedContent<Store>;

  STDMETHODIMP get_Keys(SAFEARRAY** keys) override { return GetKeysInternal(keys); }
  STDMETHODIMP put_Value(Key key, VARIANT value) override {
    CComVariant displaced;
    return Guard([&] {
      const ScopedLock lock(Self());
      return PutTyped(key, value, displaced);
    });
  }
  STDMETHODIMP get_Value(Key key, VARIANT* value) override {
    return Guard([&] {
      Locked content(Self(), attributes_);
      return GetTyped(key, value, content);
    });
  }
  STDMETHODIMP Exists(Key key, VARIANT_BOOL* exists) override {
    return FindEntry(key, exists, nullptr);
  }
  STDMETHODIMP Clear() override {
    typename Store::Nodes displaced;
    return Guard([&] {
      const ScopedLock lock(Self());
      displaced = attributes_.TakeAll();
      return S_OK;
    });
  }
  STDMETHODIMP put_OverrideMode(VARIANT_BOOL replace) override {
    const ScopedLock lock(Self());
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
    const ScopedLock lock(Self());
    *count = static_cast<LONG>(attributes_.Count());
    return S_OK;
  }
  STDMETHODIMP Clone(ITyped** clone) override { return CloneInternal(clone); }
  STDMETHODIMP GetEnumerator(IEnumAttributeEntryKLP** enumerator) override {
    return Guard([&]() -> HRESULT {
      Locked content(Self(), attributes_);
      if (!enumerator) return E_POINTER;
      const auto& attributes = content.Hold();
      IAttributeMapKLP* const map = &Self();
      EntryList entries(attributes.size());
      for (const auto& attribute : attributes) {
        _variant_t key;
        static_cast<VARIANT&>(key) = Kind::ToVariant(attribute.first);
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
      for (const auto& [key, value] : *held) {
        other.attributes_.Add(key, GetRealCopyOfVariant(value));
      }
      *clone = owner.Detach();
      return S_OK;
    });
  }
  STDMETHODIMP PutByValue(Key key, VARIANT value) override { return put_Value(key, value); }
  STDMETHODIMP FindVariantEntry(VARIANT key, VARIANT_BOOL* found, Iterator* place) override {
    return Guard([&] {
      const ScopedLock lock(Self());
      return ReportTexts(*Traits::kClassId, [&] {
        FindTyped(Kind::FromVariant(key), found, place);
        return S_OK;
      });
    });
  }
  STDMETHODIMP FindEntry(Key key, VARIANT_BOOL* found, Iterator* place) override {
    return Guard([&] {
      const ScopedLock lock(Self());
      return FindTyped(key, found, place);
    });
  }

  HRESULT RemoveTyped(Key key) {
    return RemoveFound(
        [&](VARIANT_BOOL* found, Iterator* place) { return FindEntry(key, found, place); });
  }

 protected:
  ~SpecialAttributeImpl() = default;

  template <class Body>
  static HRESULT Guard(Body&& body) noexcept {
    return Guarded(*Traits::kClassId, std::forward<Body>(body));
  }
  static HRESULT Say(const char* text) noexcept { return ReportErrorText(*Traits::kClassId, text); }

  // The slots' inner parts, for a caller who has the lock.
  HRESULT FindTyped(Key key, VARIANT_BOOL* found, Iterator* place) {
    return ReportTexts(*Traits::kClassId, [&]() -> HRESULT {
      Kind::Check(key);
      if (!found) return E_POINTER;
      *found = VARIANT_FALSE;
      const Iterator result = attributes_.Find(key);
      if (place) *place = result;
      if (result != attributes_.End()) *found = VARIANT_TRUE;
      return S_OK;
    });
  }
  HRESULT PutTyped(Key key, const VARIANT& value, CComVariant& displaced) {
    return ReportTexts(*Traits::kClassId, [&]() -> HRESULT {
      Kind::Check(key);
      displaced = value;
      if (!attributes_.Put(key, displaced, OverrideByte() != 0)) {
        return Say("element already exist => use override mode");
      }
      Self().SetDirty();
      return S_OK;
    });
  }
  HRESULT GetTyped(Key key, VARIANT* value, Locked& content) {
    if (!value) return E_POINTER;
    VARIANT_BOOL exists = VARIANT_FALSE;
    Iterator place{};
    FindTyped(key, &exists, &place);
    if (!exists) return Say("Element is not defined");
    // Two words for one thing, of which clients know the first.
    if (place == attributes_.End()) return Say("Attribute is not defined");
    // The object in the value may take it out of the map while it is copied.
    if (place->second.vt > VT_BSTR) content.Hold();
    CComVariant copy(place->second);
    *value = copy.Detach();
    return S_OK;
  }
  // find(found, place) looks the key up.
  template <class FindKey>
  HRESULT RemoveFound(FindKey find) {
    typename Store::Node displaced;
    return Guard([&]() -> HRESULT {
      const ScopedLock lock(Self());
      attributes_.Unshare();
      VARIANT_BOOL found = VARIANT_FALSE;
      Iterator place{};
      const HRESULT result = find(&found, &place);
      if (FAILED(result)) return result;
      if (!found) return Say("this attribute is not defined");
      displaced = attributes_.Take(place);
      return S_OK;
    });
  }
  // make gives the array's element for a key.
  template <class Element, class Make>
  HRESULT GiveKeyArray(VARTYPE type, Make make, SAFEARRAY** keys) {
    if (!keys) return E_POINTER;
    return Guard([&] {
      const ScopedLock lock(Self());
      GiveKeys<Element>(type, *attributes_.Hold(), make, keys);
      return S_OK;
    });
  }

  // 1: put_Value replaces. A stream may have left another value, which counts as 1 and is written
  // as it is.
  BYTE OverrideByte() const noexcept { return override_.load(std::memory_order_relaxed); }
  void SetOverrideByte(BYTE value) noexcept { override_.store(value, std::memory_order_relaxed); }

  Store attributes_;

 private:
  Map& Self() noexcept { return static_cast<Map&>(*this); }

  std::atomic<BYTE> override_{1};
};

// The generic interface.
template <class Traits, class Map>
class VariantAttributeImpl
    : public platform::IDispatchImpl<IAttributeMapKLP, &LIBID_RASTEL_KLP_Lib> {
  using Typed = SpecialAttributeImpl<Traits, Map>;
  using Kind = typename Traits::Kind;

 public:
  STDMETHODIMP get_Keys(SAFEARRAY** keys) override {
    return Self().template GiveKeyArray<VARIANT>(VT_VARIANT, &Kind::ToVariant, keys);
  }
  STDMETHODIMP put_Value(VARIANT key, VARIANT value) override {
    CComVariant displaced;
    return Typed::Guard([&] {
      const ScopedLock lock(Self());
      return ReportTexts(*Traits::kClassId, [&] {
        const HRESULT result = Self().PutTyped(Kind::FromVariant(key), value, displaced);
        Self().SetDirty();
        return result;
      });
    });
  }
  STDMETHODIMP get_Value(VARIANT key, VARIANT* value) override {
    return Typed::Guard([&] {
      typename Typed::Locked content(Self(), Self().attributes_);
      return ReportTexts(*Traits::kClassId, [&] {
        Self().GetTyped(Kind::FromVariant(key), value, content);
        return S_OK;
      });
    });
  }
  STDMETHODIMP Remove(VARIANT key) override {
    return Self().RemoveFound([&](VARIANT_BOOL* found, typename Traits::Iterator* place) {
      return Self().FindVariantEntry(key, found, place);
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

  // At the end of the map, which still stands then: objects in values may come back to it.
  void ReleaseValues() noexcept {
    typename Traits::Store::Nodes displaced;
    this->Guard([&] {
      displaced = this->attributes_.TakeAll();
      return S_OK;
    });
  }
};

}  // namespace rastel
