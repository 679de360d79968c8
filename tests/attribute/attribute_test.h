// Maps as clients hold them: made by the loaded module, whose map classes are registered while a
// test runs, so that maps nested in streams can be made.
#pragma once

#include "interfaces/attribute.h"
#include "module/frame/bstr.h"
#include "tests/persist/client_objects.h"

namespace tests {

inline constexpr HRESULT kTooDeep = platform::ResultCode(0x80070005u);

// The three kinds, each with three keys in ascending order: as the typed interface takes them, as
// the generic one does, and in a stream.
template <class Interface, const CLSID* Class, const IID* Typed, KeyKindKLP Code, VARTYPE Demanded,
          VARTYPE Given>
struct MapKind {
  using I = Interface;
  static constexpr const CLSID& kClass = *Class;
  static constexpr const IID& kTyped = *Typed;
  static constexpr KeyKindKLP kCode = Code;
  static constexpr VARTYPE kDemanded = Demanded, kGiven = Given;
};
struct BstrMap : MapKind<IAttributeBstrMapKLP, &CLSID_AttributeBstrMapKLP,
                         &IID_IAttributeBstrMapKLP, KeyKindBstr, VT_BSTR, VT_BSTR> {
  static constexpr const OLECHAR* kWrongType = OLESTR("invalid key type");
  static constexpr const char* kHex[] = {"00 00 00 00", "01 00 00 00 42 00",
                                         "02 00 00 00 61 00 62 00"};
  static constexpr ULONGLONG kCounted[] = {4, 8, 12};
  static BSTR Key(int i) {
    static const rastel::_bstr_t keys[] = {rastel::_bstr_t(""), rastel::_bstr_t("B"),
                                           rastel::_bstr_t("ab")};
    return keys[i].Wide();
  }
  static CComVariant Generic(int i) { return TextValue(Key(i)); }
};
struct LongMap : MapKind<IAttributeLongMapKLP, &CLSID_AttributeLongMapKLP,
                         &IID_IAttributeLongMapKLP, KeyKindLong, VT_INT, VT_I4> {
  static constexpr const OLECHAR* kWrongType = OLESTR("invalid key type. expected VT_INT");
  static constexpr const char* kHex[] = {"FE FF FF FF", "00 00 00 00", "07 00 00 00"};
  static constexpr ULONGLONG kCounted[] = {4, 4, 4};
  static LONG Key(int i) { return LONG{i == 0 ? -2 : i == 1 ? 0 : 7}; }
  static CComVariant Generic(int i) { return Bits(VT_INT, Key(i)); }
};
struct DoubleMap : MapKind<IAttributeDoubleMapKLP, &CLSID_AttributeDoubleMapKLP,
                           &IID_IAttributeDoubleMapKLP, KeyKindDouble, VT_R8, VT_R8> {
  static constexpr const OLECHAR* kWrongType = OLESTR("invalid key type. expected VT_R8");
  static constexpr const char* kHex[] = {"00 00 00 00 00 00 F8 BF", "00 00 00 00 00 00 F0 3F",
                                         "01 00 00 00 00 00 F0 3F"};
  static constexpr ULONGLONG kCounted[] = {8, 8, 8};
  static DOUBLE Key(int i) { return i == 0 ? -1.5 : i == 1 ? 1.0 : 1.0000000000000002; }
  static CComVariant Generic(int i) { return Real(Key(i)); }
};
// Whether the map handed out its i-th key.
template <class Kind>
bool IsKey(const VARIANT& key, int i) {
  const CComVariant wanted = Kind::Generic(i);
  if (key.vt != Kind::kGiven) return false;
  return key.vt == VT_BSTR ? Text(key.bstrVal) == wanted.bstrVal
         : key.vt == VT_R8 ? key.dblVal == wanted.dblVal
                           : key.lVal == wanted.lVal;
}

template <class Kind>
ComPtr<typename Kind::I> NewMap() {
  auto map = ModuleClient::Get().Create<typename Kind::I>(Kind::kClass);
  if (!map) std::abort();
  return map;
}

// test(kind), with the macros' trace.
template <class Test>
void ForAllKinds(Test test) {
  const auto run = [&](auto kind) {
    SCOPED_TRACE(static_cast<int>(kind.kCode));
    test(kind);
  };
  run(BstrMap());
  run(LongMap());
  run(DoubleMap());
}

template <class Map>
LONG CountOf(const Map& map) {
  LONG count = -1;
  EXPECT_EQ(map->get_Count(&count), S_OK);
  return count;
}
template <class Map>
HRESULT DirtOf(const Map& map) {
  return map.template As<IPersistStream>()->IsDirty();
}
// The integer in the value of a key, -1 for what get_Value leaves alone, else the type negated.
template <class Map, class Key>
LONG ValueOf(const Map& map, Key key) {
  CComVariant value = Number(-1);
  map->get_Value(key, &value);
  return value.vt == VT_I4 ? value.lVal : -LONG{value.vt};
}
// A map with integers under its first keys, saved and so clean.
template <class Kind>
ComPtr<typename Kind::I> CleanMap(int count) {
  const auto map = NewMap<Kind>();
  for (int i = 0; i < count; ++i) map->put_Value(Kind::Key(i), Number(10 + i));
  Save(map, NewStream().Get(), TRUE);
  return map;
}
template <class Map>
std::vector<LONG> LongKeysOf(const Map& map) {
  SAFEARRAY* array = nullptr;
  EXPECT_EQ(map->get_Keys(&array), S_OK);
  const auto* first = static_cast<const LONG*>(array->pvData);
  const std::vector<LONG> keys(first, first + array->rgsabound[0].cElements);
  SafeArrayDestroy(array);
  return keys;
}

class MapTest : public ClientTest {
 protected:
  MapTest()
      : ClientTest(
            {CLSID_AttributeBstrMapKLP, CLSID_AttributeLongMapKLP, CLSID_AttributeDoubleMapKLP}) {}
};

// 0x80020009 with these words.
template <class Words>
void ExpectReport(HRESULT result, Words words) {
  EXPECT_EQ(result, kReported);
  EXPECT_EQ(TakeErrorText(), Text(words));
}

}  // namespace tests
