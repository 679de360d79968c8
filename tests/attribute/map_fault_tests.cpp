// What no row of text reaches: other threads, memory while a stream walks a map, maps that end
// under a call, slots behind the interfaces.
#include <functional>
#include <future>

#include "module/attribute/attribute_classes.h"
#include "platform/module.h"
#include "tests/persist/client_objects.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/fault_stream.h"
#include "tests/support/slots.h"

namespace tests {
namespace {

using MapFaults = ClientTest;

// Values go when the map is unlocked, so that another thread can use it.
TEST_F(MapFaults, Values_LeaveBehindTheLock) {
  const auto map = New<IAttributeLongMapKLP>(CLSID_AttributeLongMapKLP);
  const auto generic = map.As<IAttributeMapKLP>();
  const auto persist = map.As<IPersistStream>();
  std::vector<std::future<LONG>> counts;
  script_.onRelease = [&] {
    counts.push_back(std::async(std::launch::async, [&] { return CountOf(map); }));
    EXPECT_EQ(counts.back().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  };
  // A walk is the last to hold what an object takes out of the map meanwhile.
  const auto clearIn = [&](std::function<void()> Script::*hook, auto walk) {
    bool isFirst = true;
    script_.*hook = [&, isFirst]() mutable {
      if (std::exchange(isFirst, false)) map->Clear();
    };
    walk();
    script_.*hook = nullptr;
  };
  CComVariant out;
  ULARGE_INTEGER size{};
  const std::function<void()> operations[] = {
      [&] { generic->Remove(Bits(VT_INT, 3)); },
      [&] { map->Clear(); },
      [&] { map->put_Value(3, Number(2)); },
      [&] { generic->put_Value(Bits(VT_INT, 3), Number(2)); },
      [&] { LoadFrom(map, "01 00 00 00 01 00 00 00 00"); },
      [&] { clearIn(&Script::onSave, [&] { persist->Save(NewStream().Get(), FALSE); }); },
      [&] { clearIn(&Script::onSave, [&] { persist->GetSizeMax(&size); }); },
      [&] { clearIn(&Script::onIsDirty, [&] { persist->IsDirty(); }); },
      [&] { clearIn(&Script::onAddRef, [&] { map->get_Value(3, &out); }), out = CComVariant(); }};
  for (const auto& operation : operations) {
    SCOPED_TRACE(&operation - operations);
    map->put_Value(3, NewValue());
    Save(map, NewStream().Get(), TRUE);
    counts.clear();
    operation();
    EXPECT_EQ(counts.size(), 1u);
  }
}

// On the map's code in this program, whose allocations can be refused: while a stream walks the map
// only a change needs memory, but not to empty it.
TEST_F(MapFaults, Walks_CostNothingUntilTheMapChanges) {
  ComPtr<IAttributeLongMapKLP> map;
  rastel::CreateAttributeMap<KeyKindLong>(nullptr, IID_IAttributeLongMapKLP, map.PutVoid());
  map->put_OverrideMode(0);
  const auto stream = NewStream();
  FaultStream walking(stream.Get());
  const auto outside = [&] {
    AllocationFaults seen;
    map->put_Value(1, Number(5));
    return seen.Stop();
  };
  map->put_Value(1, Number(1));
  outside();  // The first one tells the thread more.
  const long long report = outside();
  walking.onCall = [&] { EXPECT_EQ(outside(), report); };
  EXPECT_EQ(Save(map, &walking), S_OK);
  walking.onCall = [&] {
    const AllocationFaults none(0);
    map->Clear();
  };
  EXPECT_EQ(Save(map, &walking), S_OK);
  EXPECT_EQ(CountOf(map), 0);
}

// What objects in values do, in their own last Release, to a map that is ending. On the map's code
// in this program, for its count.
TEST_F(MapFaults, ObjectsThatUseTheirDyingMap) {
  Register();
  constexpr DOUBLE key = 1;
  enum Last { kMap, kMapInAggregate, kEntry, kEnumerator };
  for (const Last last : {kMap, kMapInAggregate, kEntry, kEnumerator}) {
    SCOPED_TRACE(last);
    Double<IUnknown> outer;
    ComPtr<IUnknown> holder;
    IUnknown* const aggregate = last == kMapInAggregate ? &outer : nullptr;
    rastel::CreateAttributeMap<KeyKindDouble>(aggregate, IID_IUnknown, holder.PutVoid());
    ASSERT_TRUE(holder);
    // Uncounted.
    IAttributeDoubleMapKLP* const map = holder.As<IAttributeDoubleMapKLP>().Get();
    IPersistStream* const persist = holder.As<IPersistStream>().Get();
    EXPECT_EQ(map->put_Value(key, NewValue()), S_OK);
    ComPtr<IEnumAttributeEntryKLP> enumerator;
    ComPtr<IAttributeEntryKLP> entry;
    if (last == kEntry || last == kEnumerator) map->GetEnumerator(enumerator.Put());
    if (last == kEntry) enumerator->Next(1, entry.Put(), nullptr);
    if (last == kEntry) holder = ComPtr<IUnknown>(entry.Get());
    if (last == kEnumerator) holder = ComPtr<IUnknown>(enumerator.Get());
    entry.Reset();
    enumerator.Reset();

    int calls = 0;
    bool isInside = false;
    script_.onRelease = [&] {
      if (std::exchange(isInside, true)) return;
      EXPECT_EQ(platform::moduleLockCount, 0);
      map->AddRef();
      map->Release();
      EXPECT_EQ(CountOf(map), 0);
      map->put_Value(key, NewValue());
      EXPECT_EQ(persist->IsDirty(), S_OK);
      const auto stream = NewStream();
      EXPECT_EQ(persist->Save(stream.Get(), TRUE), S_OK);
      SeekTo(stream.Get(), 0);
      EXPECT_EQ(persist->Load(stream.Get()), S_OK);
      EXPECT_EQ(map->Clone(ComPtr<IAttributeDoubleMapKLP>().Put()), S_OK);
      EXPECT_EQ(map->GetEnumerator(enumerator.Put()), S_OK);
      enumerator->Next(1, entry.Put(), nullptr);
      enumerator.Reset();
      CComVariant out;
      EXPECT_EQ(entry->get_Value(&out), S_OK);
      EXPECT_EQ(out.vt, VT_UNKNOWN);
      entry.Reset();
      map->Clear();
      if (++calls < 4) map->put_Value(key, NewValue());
      out = CComVariant();
      isInside = false;
    };
    holder.Reset();
    script_.onRelease = nullptr;
    EXPECT_EQ(calls, 4) << "what is put in meanwhile goes as well";
    EXPECT_EQ(script_.objects, 0);
    EXPECT_EQ(outer.references, 0);
  }
}

// Keys, Clone, Remove, Put, and both ways to find an entry.
TEST_F(MapFaults, SlotsBehindTheInterface) {
  const auto map = New<IAttributeLongMapKLP>(CLSID_AttributeLongMapKLP);
  const int first = SlotOf(&OneMore<IAttributeLongMapKLP>::Behind);
  const auto call = [&]<class... Arguments>(int slot, Arguments... arguments) {
    return CallSlot(map.Get(), first + slot, arguments...);
  };
  for (const LONG key : {4, 5}) EXPECT_EQ(call(3, key, VARIANT(Number(3))), S_OK);
  SAFEARRAY* keys = nullptr;
  EXPECT_EQ(call(0, &keys), S_OK);
  EXPECT_EQ(keys->rgsabound[0].cElements, 2u);
  SafeArrayDestroy(keys);
  ComPtr<IAttributeLongMapKLP> clone;
  EXPECT_EQ(call(1, clone.Put()), S_OK);
  EXPECT_EQ(CountOf(clone), 2);
  for (const HRESULT result : {S_OK, kReported}) EXPECT_EQ(call(2, LONG{4}), result);
  VARIANT_BOOL found = 7;
  void* const noEntry = nullptr;
  EXPECT_EQ(call(5, LONG{5}, &found, noEntry), S_OK);
  EXPECT_EQ(found, kOn);
  EXPECT_EQ(call(4, VARIANT(Bits(VT_INT, 4)), &found, noEntry), S_OK);
  EXPECT_EQ(found, 0);
}

}  // namespace
}  // namespace tests
