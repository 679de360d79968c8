// What no row of text reaches: other threads, memory while a stream walks a map, slots
// behind the interfaces.
#include <functional>
#include <future>

#include "module/attribute/attribute_classes.h"
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
