// What maps store and tell.
#include <cmath>
#include <limits>

#include "tests/attribute/attribute_test.h"

namespace tests {

// The slots behind the typed interfaces.
template <class Base, class Key>
struct LookUpInside : Base {
  virtual HRESULT STDMETHODCALLTYPE PutByValue(Key key, VARIANT value) = 0;
  virtual HRESULT STDMETHODCALLTYPE FindVariantEntry(VARIANT key, VARIANT_BOOL* found, void*) = 0;
  virtual HRESULT STDMETHODCALLTYPE FindEntry(Key key, VARIANT_BOOL* found, void*) = 0;
};
template <class I>
struct KeysInside : I {
  virtual HRESULT STDMETHODCALLTYPE GetKeysInternal(SAFEARRAY** keys) = 0;
  virtual HRESULT STDMETHODCALLTYPE CloneInternal(I** clone) = 0;
};
struct LongRemovalInside : KeysInside<IAttributeLongMapKLP> {
  virtual HRESULT STDMETHODCALLTYPE RemoveEntry(LONG key) = 0;
};
using InsideBstrMap = LookUpInside<KeysInside<IAttributeBstrMapKLP>, BSTR>;
using InsideLongMap = LookUpInside<LongRemovalInside, LONG>;

namespace {

using Maps = MapTest;

constexpr DOUBLE kNan = std::numeric_limits<DOUBLE>::quiet_NaN();

TEST_F(Maps, NewMap_ReplacesIsDirtyAndAnswersItsTable) {
  ForAllKinds([](auto kind) {
    using Kind = decltype(kind);
    const auto map = NewMap<Kind>();
    VARIANT_BOOL replace = 7;
    EXPECT_EQ(map->get_OverrideMode(&replace), S_OK);
    EXPECT_EQ(replace, kOn);
    EXPECT_EQ(DirtOf(map), S_OK);
    EXPECT_EQ(CountOf(map), 0);
    const auto identity = map.template As<IUnknown>();
    const auto support = map.template As<ISupportErrorInfo>();
    EXPECT_EQ(identity.Get(), static_cast<IUnknown*>(support.Get()));
    EXPECT_EQ(static_cast<IDispatch*>(map.template As<IAttributeMapKLP>().Get()),
              map.template As<IDispatch>().Get());
    EXPECT_TRUE(map.template As<IMarshal>());
    EXPECT_FALSE(map.template As<IPersistStreamInit>());
    EXPECT_FALSE(map.template As<IPersist>());
    for (const IID& iid : {IID_IAttributeMapKLP, Kind::kTyped}) {
      EXPECT_EQ(support->InterfaceSupportsErrorInfo(iid), S_OK);
    }
    for (const IID& iid : {IID_IUnknown, IID_IDispatch, IID_IAttributeEntryKLP}) {
      EXPECT_EQ(support->InterfaceSupportsErrorInfo(iid), S_FALSE);
    }
  });
}

// What depends on the kind of the keys, one kind after the other.
TEST_F(Maps, KeyKinds) {
  ForAllKinds([](auto kind) {
    using Kind = decltype(kind);
    const auto map = NewMap<Kind>();
    const auto generic = map.template As<IAttributeMapKLP>();
    KeyKindKLP code{};
    EXPECT_EQ(map->get_KeyKind(&code), S_OK);
    EXPECT_EQ(code, Kind::kCode);
    for (const int i : {2, 0, 1}) EXPECT_EQ(map->put_Value(Kind::Key(i), Number(i)), S_OK);

    EXPECT_EQ(map->get_Keys(nullptr), E_POINTER);
    EXPECT_EQ(generic->get_Keys(nullptr), E_POINTER);
    for (const bool isTyped : {true, false}) {
      SAFEARRAY* keys = nullptr;
      ASSERT_EQ(isTyped ? map->get_Keys(&keys) : generic->get_Keys(&keys), S_OK);
      VARTYPE type = 0;
      SafeArrayGetVartype(keys, &type);
      const VARTYPE wanted = isTyped ? Kind::kGiven : VARTYPE{VT_VARIANT};
      EXPECT_EQ(type, wanted);
      EXPECT_EQ(keys->rgsabound[0].cElements, 3u);
      for (LONG i = 0; i < 3; ++i) {
        CComVariant key = Bits(isTyped ? Kind::kGiven : VARTYPE{VT_EMPTY}, 0);
        void* const place = isTyped ? static_cast<void*>(&key.llVal) : &key;
        EXPECT_EQ(SafeArrayGetElement(keys, &i, place), S_OK);
        EXPECT_TRUE(IsKey<Kind>(key, i));
        // An integer map does not take the keys that it hands out.
        constexpr bool isTaken = Kind::kGiven == Kind::kDemanded;
        VARIANT_BOOL exists = 7;
        EXPECT_EQ(generic->Exists(key, &exists), isTaken ? S_OK : kReported);
        EXPECT_EQ(exists, isTaken ? kOn : 7);
        EXPECT_EQ(ValueOf(generic, Kind::Generic(i)), i);
      }
      SafeArrayDestroy(keys);
    }

    const auto one = NewMap<Kind>();
    for (const int i : {0, 1, 2}) {
      one->Clear();
      one->put_Value(Kind::Key(i), CComVariant());
      EXPECT_EQ(SavedBy(one), "01 00 00 00 01 01 00 00 00 " + std::string(Kind::kHex[i]) +
                                  " 00 00 00 00 02 00 00 00 00 00");
      EXPECT_EQ(SizeOf(one), 8 + Kind::kCounted[i] + 10);
    }

    // A key of every other type, by reference too.
    for (int vt = 0; vt <= VT_UINT; ++vt) {
      for (const int modifier : {0, VT_BYREF + 0}) {
        if (vt == Kind::kDemanded && modifier == 0) continue;
        SCOPED_TRACE(vt);
        VARIANT key{};
        key.vt = static_cast<VARTYPE>(vt | modifier);
        CComVariant value = Number(5);
        VARIANT_BOOL exists = 7;
        ExpectReport(generic->put_Value(key, value), Kind::kWrongType);
        ExpectReport(generic->get_Value(key, &value), Kind::kWrongType);
        ExpectReport(generic->Exists(key, &exists), Kind::kWrongType);
        ExpectReport(generic->Remove(key), Kind::kWrongType);
        EXPECT_TRUE(value.vt == VT_I4 && value.lVal == 5 && exists == 7);
      }
    }
    EXPECT_EQ(CountOf(map), 3);
  });
}

TEST_F(Maps, AbsentAndPresentKeys) {
  ForAllKinds([](auto kind) {
    using Kind = decltype(kind);
    const auto map = CleanMap<Kind>(2);
    const auto generic = map.template As<IAttributeMapKLP>();
    CComVariant out = Number(5);
    VARIANT_BOOL exists = 7;
    ExpectReport(map->get_Value(Kind::Key(2), &out), OLESTR("Element is not defined"));
    EXPECT_EQ(generic->get_Value(Kind::Generic(2), &out), S_OK);
    EXPECT_EQ(TakeErrorText(), OLESTR("Element is not defined"));
    EXPECT_EQ(out.lVal, 5);
    EXPECT_EQ(map->Exists(Kind::Key(2), &exists), S_OK);
    EXPECT_EQ(exists, 0);
    ExpectReport(generic->Remove(Kind::Generic(2)), OLESTR("this attribute is not defined"));
    EXPECT_EQ(map->get_Value(Kind::Key(0), nullptr), E_POINTER);
    EXPECT_EQ(map->Exists(Kind::Key(0), nullptr), E_POINTER);
    EXPECT_EQ(generic->get_Value(Kind::Generic(0), nullptr), S_OK);
    EXPECT_EQ(generic->Exists(Kind::Generic(0), nullptr), S_OK);

    EXPECT_EQ(map->put_Value(Kind::Key(0), TextValue(OLESTR("new"))), S_OK);
    EXPECT_EQ(ValueOf(map, Kind::Key(0)), -VT_BSTR);
    EXPECT_EQ(map->put_OverrideMode(0), S_OK);
    constexpr auto kThere = OLESTR("element already exist => use override mode");
    ExpectReport(map->put_Value(Kind::Key(1), Number(9)), kThere);
    ExpectReport(generic->put_Value(Kind::Generic(1), Number(9)), kThere);
    EXPECT_EQ(ValueOf(map, Kind::Key(1)), 11);
    EXPECT_EQ(map->put_Value(Kind::Key(2), Number(9)), S_OK);
    EXPECT_EQ(CountOf(map), 3);
    EXPECT_EQ(generic->Remove(Kind::Generic(1)), S_OK);
    EXPECT_EQ(ValueOf(map, Kind::Key(1)), -1);
    EXPECT_EQ(CountOf(generic), 2);
    EXPECT_EQ(generic->Clear(), S_OK);
    EXPECT_EQ(CountOf(map), 0);
    SAFEARRAY* keys = nullptr;
    EXPECT_EQ(map->get_Keys(&keys), S_OK);
    ASSERT_NE(keys, nullptr);
    EXPECT_EQ(keys->rgsabound[0].cElements, 0u);
    SafeArrayDestroy(keys);
    // Any flag but 0 is true.
    VARIANT_BOOL replace = 7;
    for (const int flag : {1, 0, 0x7F00, 0, -1}) {
      generic->put_OverrideMode(static_cast<VARIANT_BOOL>(flag));
      generic->get_OverrideMode(&replace);
      EXPECT_EQ(replace, flag ? kOn : 0);
    }
    SetErrorInfo(0, nullptr);
    // What no VARIANT is cannot be copied.
    EXPECT_EQ(map->put_Value(Kind::Key(0), Bits(0x0FFF, 0)), platform::ResultCode(0x80020008u));
    EXPECT_EQ(TakeErrorText(), std::nullopt);
    EXPECT_EQ(CountOf(map), 0);
  });
}

TEST_F(Maps, TextKeys) {
  const auto map = NewMap<BstrMap>();
  const auto generic = map.As<IAttributeMapKLP>();
  CComVariant out = Number(5);
  VARIANT_BOOL exists = 7;
  const CComVariant null = TextValue(nullptr);
  constexpr auto kInvalid = OLESTR("invalid key");
  ExpectReport(map->put_Value(nullptr, out), kInvalid);
  ExpectReport(generic->put_Value(null, out), kInvalid);
  ExpectReport(map->Exists(nullptr, &exists), kInvalid);
  ExpectReport(map->Remove(nullptr), kInvalid);
  ExpectReport(map->get_Value(nullptr, &out), OLESTR("Element is not defined"));
  EXPECT_EQ(generic->Exists(null, &exists), S_OK);
  EXPECT_EQ(TakeErrorText(), kInvalid);
  ExpectReport(generic->Remove(null), OLESTR("this attribute is not defined"));
  EXPECT_EQ(exists, 7);

  // Keys end at their first null character, and stand in the order of their units.
  const BSTR cut = SysAllocStringLen(OLESTR("ab\0c"), 4);
  const BSTR nothing = SysAllocStringLen(OLESTR("\0c"), 2);
  const Text keys[] = {OLESTR("a"),      OLESTR("B"),   OLESTR("\xD83D\xDE00"),
                       OLESTR("\xFFFD"), OLESTR("abc"), OLESTR("Z")};
  for (const Text& key : keys) {
    EXPECT_EQ(generic->put_Value(TextValue(key.c_str()), out), S_OK);
  }
  EXPECT_EQ(map->put_Value(cut, out), S_OK);
  EXPECT_EQ(map->put_Value(nothing, out), S_OK);
  SAFEARRAY* array = nullptr;
  ASSERT_EQ(map->get_Keys(&array), S_OK);
  std::vector<Text> found;
  for (ULONG i = 0; i < array->rgsabound[0].cElements; ++i) {
    const BSTR key = static_cast<BSTR*>(array->pvData)[i];
    found.emplace_back(key, SysStringLen(key));
  }
  SafeArrayDestroy(array);
  EXPECT_THAT(found, ElementsAre(OLESTR(""), OLESTR("B"), OLESTR("Z"), OLESTR("a"), OLESTR("ab"),
                                 OLESTR("abc"), keys[2], keys[3]));
  EXPECT_EQ(map->Remove(cut), S_OK);
  EXPECT_EQ(CountOf(map), 7);
  SysFreeString(cut);
  SysFreeString(nothing);
}

TEST_F(Maps, FloatKeys) {
  const auto map = NewMap<DoubleMap>();
  const auto generic = map.As<IAttributeMapKLP>();
  const auto has = [&](DOUBLE key) {
    VARIANT_BOOL exists = 7;
    EXPECT_EQ(map->Exists(key, &exists), S_OK);
    return exists == kOn;
  };
  EXPECT_FALSE(has(kNan));
  map->put_Value(0.1 + 0.2, Number(1));
  EXPECT_FALSE(has(0.3));
  map->put_Value(0.3, Number(2));
  map->put_Value(-0.0, Number(3));
  map->put_Value(0.0, Number(4));
  EXPECT_EQ(CountOf(map), 3);
  EXPECT_THAT(SavedBy(map), testing::HasSubstr("03 00 00 00 00 00 00 00 00 00 00 00 03"))
      << "the new key came with the new value";
  // NaN is equal to every key: found as the smallest, and put in the place of all.
  EXPECT_TRUE(has(kNan));
  EXPECT_EQ(ValueOf(map, kNan), 4);
  EXPECT_EQ(generic->Remove(Real(kNan)), S_OK);
  EXPECT_FALSE(has(0.0));
  map->put_OverrideMode(0);
  ExpectReport(map->put_Value(kNan, Number(5)),
               OLESTR("element already exist => use override mode"));
  EXPECT_EQ(CountOf(map), 2);
  map->put_OverrideMode(1);
  for (const DOUBLE key : {0.3, 5.0}) map->put_Value(key, NewValue());
  script_.onRelease = [&] { EXPECT_EQ(ValueOf(map, 0.3), 6) << "before the old values go"; };
  EXPECT_EQ(map->put_Value(kNan, Number(6)), S_OK);
  script_.onRelease = nullptr;
  EXPECT_EQ(script_.objects, 0);
  EXPECT_EQ(CountOf(map), 1);
  EXPECT_EQ(ValueOf(map, 17.0), 6) << "alone it is any key";
  EXPECT_EQ(map->put_Value(kNan, Number(7)), S_OK);
  EXPECT_EQ(map->put_Value(17.0, Number(8)), S_OK);
  EXPECT_FALSE(has(18.0));
  const std::string nan = "00 00 00 00 00 00 F8 7F 03 00 03 00 01 00 00 00 ";
  const std::string one = "00 00 00 00 00 00 F0 3F 03 00 03 00 02 00 00 00 ";
  for (const std::string& entries : {nan + one, one + nan}) {
    EXPECT_EQ(LoadFrom(map, "01 00 00 00 01 02 00 00 00 " + entries), S_OK);
    EXPECT_EQ(SavedBy(map) + " ", "01 00 00 00 01 01 00 00 00 " + entries.substr(0, nan.size()));
  }
}

TEST_F(Maps, Clone_CopiesObjectsAndKeepsTheMode) {
  ForAllKinds([this](auto kind) {
    using Kind = decltype(kind);
    const auto map = CleanMap<Kind>(1);
    const auto inner = NewMap<Kind>();
    map->put_Value(Kind::Key(1), Object(inner.Get(), VT_DISPATCH));
    map->put_Value(Kind::Key(2), NewValue());
    map->put_OverrideMode(0);
    Save(map, NewStream().Get(), TRUE);
    ComPtr<typename Kind::I> typed;
    ComPtr<IAttributeMapKLP> generic;
    EXPECT_EQ(map->Clone(typed.Put()), S_OK);
    EXPECT_EQ(map.template As<IAttributeMapKLP>()->Clone(generic.Put()), S_OK);
    EXPECT_NE(typed.template As<IUnknown>().Get(), generic.template As<IUnknown>().Get());
    for (const auto& clone : {typed, generic.template As<typename Kind::I>()}) {
      VARIANT_BOOL replace = 7;
      clone->get_OverrideMode(&replace);
      EXPECT_EQ(replace, 0);
      EXPECT_EQ(DirtOf(clone), S_OK);
      EXPECT_EQ(ValueOf(clone, Kind::Key(0)), 10);
      CComVariant value;
      clone->get_Value(Kind::Key(1), &value);
      ASSERT_EQ(value.vt, VT_UNKNOWN);
      const auto copied = ComPtr<IUnknown>(value.punkVal).template As<typename Kind::I>();
      inner->put_Value(Kind::Key(0), Number(1));
      EXPECT_EQ(CountOf(copied), 0);
      inner->Clear();
      Save(inner, NewStream().Get(), TRUE);
      // Of a class that nobody has: what it wrote is kept.
      EXPECT_EQ(ValueOf(clone, Kind::Key(2)), -VT_UNKNOWN);
    }
    EXPECT_EQ(DirtOf(map), S_FALSE);
  });
}

TEST_F(Maps, SlotsBehindTheInterfaces) {
  const auto map = CleanMap<LongMap>(2);
  auto* inside = static_cast<InsideLongMap*>(map.Get());
  SAFEARRAY* keys = nullptr;
  EXPECT_EQ(inside->GetKeysInternal(&keys), S_OK);
  EXPECT_EQ(keys->rgsabound[0].cElements, 2u);
  SafeArrayDestroy(keys);
  ComPtr<IAttributeLongMapKLP> clone;
  EXPECT_EQ(inside->CloneInternal(clone.Put()), S_OK);
  EXPECT_EQ(CountOf(clone), 2);
  EXPECT_EQ(inside->RemoveEntry(0), S_OK);
  ExpectReport(inside->RemoveEntry(0), OLESTR("this attribute is not defined"));
  EXPECT_EQ(inside->PutByValue(4, Number(3)), S_OK);
  VARIANT_BOOL found = 7;
  EXPECT_EQ(inside->FindEntry(4, &found, nullptr), S_OK);
  EXPECT_EQ(found, kOn);
  EXPECT_EQ(inside->FindVariantEntry(Bits(VT_INT, 0), &found, nullptr), S_OK);
  EXPECT_EQ(found, 0);
  auto* texts = static_cast<InsideBstrMap*>(NewMap<BstrMap>().Detach());
  EXPECT_EQ(texts->PutByValue(BstrMap::Key(2), Number(1)), S_OK);
  ExpectReport(texts->FindEntry(nullptr, &found, nullptr), OLESTR("invalid key"));
  texts->Release();
}

}  // namespace
}  // namespace tests
