// Entries and their enumerator.
#include "tests/attribute/attribute_test.h"

namespace tests {
namespace {

using Entries = MapTest;
using Enumerator = ComPtr<IEnumAttributeEntryKLP>;
using Entry = ComPtr<IAttributeEntryKLP>;

template <class Map>
Enumerator EnumeratorOf(const Map& map) {
  Enumerator enumerator;
  EXPECT_EQ(map->GetEnumerator(enumerator.Put()), S_OK);
  return enumerator;
}

Entry NextOf(const Enumerator& enumerator) {
  Entry entry;
  enumerator->Next(1, entry.Put(), nullptr);
  return entry;
}

TEST_F(Entries, Enumerator_WalksTheKeysInOrder) {
  ForAllKinds([](auto kind) {
    using Kind = decltype(kind);
    const auto map = CleanMap<Kind>(3);
    EXPECT_EQ(map->GetEnumerator(nullptr), E_POINTER);
    const Enumerator walked = EnumeratorOf(map.template As<IAttributeMapKLP>());
    // N, S: so many asked for of Next and Skip; P: Next without a place for the number; R: Reset.
    const struct {
      char step;
      ULONG count;
      HRESULT result;
      ULONG fetched;
    } kSteps[] = {{'N', 0, S_OK, 0},    {'P', 0, S_OK, 0},    {'P', 2, E_POINTER, 0},
                  {'N', 2, S_OK, 2},    {'N', 2, S_FALSE, 1}, {'N', 1, S_FALSE, 0},
                  {'S', 0, S_OK, 0},    {'S', 1, S_FALSE, 0}, {'R', 0, S_OK, 0},
                  {'S', 1, S_OK, 0},    {'P', 1, S_OK, 1},    {'S', 9, S_FALSE, 0},
                  {'P', 1, S_FALSE, 0}, {'R', 0, S_OK, 0},    {'N', 5, S_FALSE, 3}};
    ULONG position = 0;
    for (const auto& row : kSteps) {
      SCOPED_TRACE(&row - kSteps);
      IAttributeEntryKLP* entries[5] = {};
      ULONG fetched = 9;
      HRESULT result = S_OK;
      if (row.step == 'R') result = walked->Reset();
      if (row.step == 'S') result = walked->Skip(row.count);
      if (row.step == 'N' || row.step == 'P') {
        result = walked->Next(row.count, entries, row.step == 'N' ? &fetched : nullptr);
        EXPECT_EQ(fetched, row.step == 'N' ? row.fetched : 9);
      }
      EXPECT_EQ(result, row.result);
      if (row.step == 'R') position = 0;
      if (row.step == 'S') position = (std::min)(ULONG{3}, position + row.count);
      for (ULONG i = 0; i < 5; ++i) {
        Entry entry;
        entry.Attach(entries[i]);
        ASSERT_EQ(static_cast<bool>(entry), i < row.fetched);
        if (!entry) continue;
        CComVariant key = Number(7);
        EXPECT_EQ(entry->get_Key(&key), S_OK);
        EXPECT_EQ(key.vt, Kind::kGiven);
        EXPECT_TRUE(IsKey<Kind>(key, static_cast<int>(position++)));
      }
    }
    EXPECT_EQ(walked->Next(1, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(walked->Clone(nullptr), E_POINTER);
    EXPECT_EQ(DirtOf(map), S_FALSE);
    EXPECT_EQ(EnumeratorOf(NewMap<Kind>())->Skip(1), S_FALSE);
    ComPtr<IUnknown> none;
    EXPECT_EQ(walked->QueryInterface(IID_IMarshal, none.PutVoid()), E_NOINTERFACE);
  });
}

TEST_F(Entries, Clone_SharesTheEntriesAndKeepsThemAlive) {
  auto map = CleanMap<DoubleMap>(3);
  Enumerator source = EnumeratorOf(map);
  source->Skip(2);
  Enumerator clone, second;
  EXPECT_EQ(source->Clone(clone.Put()), S_OK);
  const Entry third = NextOf(clone);
  EXPECT_EQ(NextOf(source).Get(), third.Get());
  EXPECT_FALSE(NextOf(source));
  EXPECT_EQ(clone->Clone(second.Put()), S_OK);
  source.Reset();
  clone.Reset();
  map.Reset();
  EXPECT_EQ(second->Reset(), S_OK);
  EXPECT_TRUE(NextOf(second));
  CComVariant value;
  EXPECT_EQ(third->get_Value(&value), S_OK);
  EXPECT_EQ(value.lVal, 12);
}

TEST_F(Entries, Entry_HasItsKeyAndTheMapsValue) {
  ForAllKinds([](auto kind) {
    using Kind = decltype(kind);
    // The generic slots of an integer map refuse the key that its entries hold.
    const bool canReach = Kind::kGiven == Kind::kDemanded;
    const auto map = CleanMap<Kind>(2);
    const Enumerator walked = EnumeratorOf(map);
    const Entry entry = NextOf(walked);
    map->put_Value(Kind::Key(2), Number(1));
    const auto support = entry.template As<ISupportErrorInfo>();
    EXPECT_EQ(entry.template As<IUnknown>().Get(), static_cast<IUnknown*>(support.Get()));
    EXPECT_TRUE(entry.template As<IMarshal>());
    EXPECT_FALSE(entry.template As<IDispatch>());
    EXPECT_FALSE(entry.template As<IPersistStream>());
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IAttributeMapKLP), S_OK);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IAttributeEntryKLP), S_OK);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(Kind::kTyped), S_FALSE);
    EXPECT_EQ(entry->get_Key(nullptr), E_POINTER);

    Save(map, NewStream().Get(), TRUE);
    CComVariant value = Number(5);
    map->put_Value(Kind::Key(0), Number(20));
    Save(map, NewStream().Get(), TRUE);
    if (!canReach) {
      ExpectReport(entry->get_Value(&value), Kind::kWrongType);
      ExpectReport(entry->put_Value(value), Kind::kWrongType);
      EXPECT_EQ(DirtOf(map), S_FALSE);
      return;
    }
    EXPECT_EQ(entry->get_Value(&value), S_OK);
    EXPECT_EQ(value.lVal, 20);
    EXPECT_EQ(entry->put_Value(Number(21)), S_OK);
    EXPECT_EQ(DirtOf(map), S_OK);
    EXPECT_EQ(ValueOf(map, Kind::Key(0)), 21);
    map->put_OverrideMode(0);
    ExpectReport(entry->put_Value(Number(22)),
                 OLESTR("element already exist => use override mode"));
    map.template As<IAttributeMapKLP>()->Remove(Kind::Generic(0));
    EXPECT_EQ(entry->get_Value(&value), S_OK);
    EXPECT_EQ(TakeErrorText(), OLESTR("Element is not defined"));
    EXPECT_EQ(value.lVal, 20);
    EXPECT_EQ(entry->put_Value(Number(23)), S_OK);
    EXPECT_EQ(ValueOf(map, Kind::Key(0)), 23);
    EXPECT_TRUE(NextOf(walked));
    EXPECT_FALSE(NextOf(walked)) << "the third key came later";
  });
}

TEST_F(Entries, EntryWithoutMap_GivesPointer) {
  const auto entry = ModuleClient::Get().Create<IAttributeEntryKLP>(CLSID_AttributeEntryKLP);
  ASSERT_TRUE(entry);
  CComVariant out = Number(5);
  EXPECT_EQ(entry->get_Value(&out), E_POINTER);
  EXPECT_EQ(entry->put_Value(out), E_POINTER);
  EXPECT_EQ(entry->get_Key(&out), S_OK);
  EXPECT_EQ(out.vt, VT_EMPTY);
}

}  // namespace
}  // namespace tests
