// What no row of text reaches: other threads, memory while a stream walks a map, maps that end
// under a call, streams deeper than any map, slots behind the interfaces.
#include <functional>
#include <future>

#include "module/attribute/attribute_classes.h"
#include "platform/module.h"
#include "tests/persist/client_objects.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/fault_stream.h"

namespace tests {

// The slots behind the typed interface of numbers.
struct InsideLongMap : IAttributeLongMapKLP {
  virtual HRESULT STDMETHODCALLTYPE GetKeysInternal(SAFEARRAY** keys) = 0;
  virtual HRESULT STDMETHODCALLTYPE CloneInternal(IAttributeLongMapKLP** clone) = 0;
  virtual HRESULT STDMETHODCALLTYPE RemoveEntry(LONG key) = 0;
  virtual HRESULT STDMETHODCALLTYPE PutByValue(LONG key, VARIANT value) = 0;
  virtual HRESULT STDMETHODCALLTYPE FindVariantEntry(VARIANT key, VARIANT_BOOL* found, void*) = 0;
  virtual HRESULT STDMETHODCALLTYPE FindEntry(LONG key, VARIANT_BOOL* found, void*) = 0;
};

namespace {

using MapFaults = ClientTest;

template <class I>
ComPtr<I> NewMap(REFCLSID classId) {
  return New<I>(classId);
}

// A map in a map and so on, the innermost one empty.
ComPtr<IStream> DeepStream(int levels) {
  const auto stream = NewStream();
  for (int level = 1; level <= levels; ++level) {
    const bool isLast = level == levels;
    const auto head = BytesOf(isLast ? "01 00 00 00 01 00 00 00 00"
                                     : "01 00 00 00 01 01 00 00 00 07 00 00 00 0D 00"
                                       "78 69 99 4E D4 B7 7A 41 BD 5B 26 60 FB 96 BF 6C");
    stream->Write(head.data(), static_cast<ULONG>(head.size()), nullptr);
    const ULONGLONG inside = 39ull * static_cast<unsigned>(levels - level) - 30;
    if (!isLast) stream->Write(&inside, sizeof(inside), nullptr);
  }
  SeekTo(stream.Get(), 0);
  return stream;
}

TEST_F(MapFaults, Streams_LoadDownTo256Levels) {
  for (const int levels : {256, 257, 10000}) {
    const auto map = New<IAttributeLongMapKLP>(CLSID_AttributeLongMapKLP);
    EXPECT_EQ(Load(map, DeepStream(levels).Get()), levels <= 256 ? S_OK : E_ACCESSDENIED);
  }
}

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

// On the map's code in this program, whose allocations can be counted and refused: while a stream
// walks the map only a change needs memory, but not to empty it.
TEST_F(MapFaults, Walks_CostNothingUntilTheMapChanges) {
  ComPtr<IAttributeLongMapKLP> map;
  rastel::CreateAttributeMap<KeyKindLong>(nullptr, IID_IAttributeLongMapKLP, map.PutVoid());
  const auto generic = map.As<IAttributeMapKLP>();
  for (const LONG key : {1, 2, 3}) map->put_Value(key, Number(key));
  map->put_OverrideMode(0);
  const auto changeNothing = [&] {
    AllocationFaults seen;
    map->put_Value(1, Number(5));
    generic->Remove(Bits(VT_INT, 7));
    return seen.Stop();
  };
  changeNothing();
  const long long outside = changeNothing();
  long long inside = 0;
  HRESULT cleared = E_UNEXPECTED;
  const auto stream = NewStream();
  FaultStream walking(stream.Get());
  walking.onCall = [&] { inside = (std::max)(inside, changeNothing()); };
  EXPECT_EQ(Save(map, &walking), S_OK);
  EXPECT_EQ(inside, outside);
  walking.onCall = [&] {
    const AllocationFaults none(0);
    cleared = map->Clear();
  };
  EXPECT_EQ(Save(map, &walking), S_OK);
  EXPECT_EQ(cleared, S_OK);
}

TEST_F(MapFaults, Keys_WithoutMemory_EndTheLoad) {
  ComPtr<IAttributeBstrMapKLP> map;
  rastel::CreateAttributeMap<KeyKindBstr>(nullptr, IID_IAttributeBstrMapKLP, map.PutVoid());
  const auto stream = NewStream("01000000 01 01000000 01000000 6100 0300 0300 05000000");
  const auto load = [&] {
    SeekTo(stream.Get(), 0);
    return Load(map, stream.Get());
  };
  const auto expectMemory = [](HRESULT result, long long) { EXPECT_EQ(result, E_OUTOFMEMORY); };
  EXPECT_GE(FailEachAllocation(load, expectMemory), 2);
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

TEST_F(MapFaults, SlotsBehindTheInterface) {
  const auto map = New<IAttributeLongMapKLP>(CLSID_AttributeLongMapKLP);
  auto* const inside = static_cast<InsideLongMap*>(map.Get());
  for (const LONG key : {4, 5}) EXPECT_EQ(inside->PutByValue(key, Number(3)), S_OK);
  SAFEARRAY* keys = nullptr;
  EXPECT_EQ(inside->GetKeysInternal(&keys), S_OK);
  EXPECT_EQ(keys->rgsabound[0].cElements, 2u);
  SafeArrayDestroy(keys);
  ComPtr<IAttributeLongMapKLP> clone;
  EXPECT_EQ(inside->CloneInternal(clone.Put()), S_OK);
  EXPECT_EQ(CountOf(clone), 2);
  for (const HRESULT result : {S_OK, kReported}) EXPECT_EQ(inside->RemoveEntry(4), result);
  VARIANT_BOOL found = 7;
  EXPECT_EQ(inside->FindEntry(5, &found, nullptr), S_OK);
  EXPECT_EQ(found, kOn);
  EXPECT_EQ(inside->FindVariantEntry(Bits(VT_INT, 4), &found, nullptr), S_OK);
  EXPECT_EQ(found, 0);
}

}  // namespace
}  // namespace tests
