// Maps in maps, in themselves and very deep; objects that change their map; large maps.
#include <chrono>
#include <functional>
#include <future>
#include <random>
#include <set>

#include "module/attribute/attribute_classes.h"
#include "platform/module.h"
#include "tests/attribute/attribute_test.h"
#include "tests/support/fault_stream.h"

namespace tests {
namespace {

using NestedMaps = MapTest;
using Clock = std::chrono::steady_clock;

constexpr auto kQuick = std::chrono::seconds(1);
constexpr HRESULT kDeniedInSave = platform::ResultCode(0x80040005u);

TEST_F(NestedMaps, MapThatHoldsItself) {
  Register();
  for (const int times : {1, 2}) {
    SCOPED_TRACE(times);
    const auto map = NewMap<LongMap>();
    const auto persist = map.As<IPersistStream>();
    const auto holdItself = [&] {
      for (LONG i = 0; i < times; ++i) map->put_Value(i, Object(map.Get()));
    };
    holdItself();
    map->put_Value(5, Number(5));
    const auto start = Clock::now();
    EXPECT_EQ(persist->Save(NewStream().Get(), TRUE), kDeniedInSave);
    ULARGE_INTEGER size{};
    EXPECT_EQ(persist->GetSizeMax(&size), kDeniedInSave);
    EXPECT_EQ(persist->IsDirty(), S_OK);
    ComPtr<IAttributeLongMapKLP> clone;
    EXPECT_EQ(map->Clone(clone.Put()), S_OK);
    EXPECT_EQ(CountOf(clone), times + 1);
    for (LONG i = 0; i < times; ++i) EXPECT_EQ(ValueOf(clone, i), -VT_EMPTY);
    EXPECT_EQ(ValueOf(clone, 5), 5);
    // A load clears the flag, and what an object does meanwhile stays in the map.
    const auto other = NewMap<LongMap>();
    other->put_Value(9, NewValue());
    const auto stream = NewStream();
    EXPECT_EQ(Save(other, stream.Get()), S_OK);
    SeekTo(stream.Get(), 0);
    script_.onLoad = holdItself;
    EXPECT_EQ(persist->Load(stream.Get()), S_OK);
    script_.onLoad = nullptr;
    EXPECT_EQ(CountOf(map), times + 1);
    EXPECT_EQ(persist->IsDirty(), S_FALSE);
    EXPECT_LT(Clock::now() - start, kQuick);
    // The thread is free again.
    EXPECT_EQ(SavedBy(NewMap<BstrMap>()), "01 00 00 00 01 00 00 00 00");
    map->Clear();
  }
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

TEST_F(NestedMaps, Streams_LoadDownTo256Levels) {
  for (const int levels : {1, 60, 256, 257, 10000}) {
    SCOPED_TRACE(levels);
    const auto map = NewMap<LongMap>();
    const auto stream = DeepStream(levels);
    const HRESULT result = Load(map, stream.Get());
    EXPECT_EQ(result, levels <= 256 ? S_OK : kTooDeep);
    if (levels > 60) continue;
    EXPECT_EQ(SavedBy(map), ContentOf(stream.Get()));
  }
}

// What objects in values do to their map, from each of the operations that call them.
TEST_F(NestedMaps, ObjectsThatChangeTheirMap) {
  Register();
  const auto map = NewMap<LongMap>();
  const auto generic = map.As<IAttributeMapKLP>();
  const auto persist = map.As<IPersistStream>();
  const auto remove = [&](LONG key) { return generic->Remove(Bits(VT_INT, key)); };
  const auto put = [&](std::initializer_list<LONG> keys) {
    for (const LONG key : keys) map->put_Value(key, Number(1));
  };
  const struct {
    const char* what;
    std::function<void()> act;
    std::vector<LONG> keys;
  } kChanges[] = {
      {"adds",
       [&] {
         put({0, 4, 9});
       },
       {0, 1, 3, 4, 5, 7, 9}},
      {"replaces all",
       [&] {
         put({1, 3, 5, 7});
       },
       {1, 3, 5, 7}},
      {"removes itself", [&] { remove(3); }, {1, 5, 7}},
      {"removes the others", [&] { remove(1), remove(5), remove(7); }, {3}},
      {"clears", [&] { map->Clear(); }, {}},
  };
  // Objects go when the map is unlocked, so that another thread can use it.
  std::vector<std::future<LONG>> counts;
  const auto expectUnlocked = [&] {
    counts.push_back(std::async(std::launch::async, [&] { return CountOf(map); }));
    EXPECT_EQ(counts.back().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  };
  CComVariant out;
  ComPtr<IAttributeLongMapKLP> clone;
  ULARGE_INTEGER size{};
  const auto stream = NewStream();
  // The object lies under 3.
  const struct {
    const char* what;
    std::function<void()> Script::*hook;
    std::function<HRESULT()> act;
  } kOperations[] = {
      {"Save", &Script::onSave, [&] { return persist->Save(stream.Get(), FALSE); }},
      {"GetSizeMax", &Script::onSave, [&] { return persist->GetSizeMax(&size); }},
      {"Clone", &Script::onSave, [&] { return map->Clone(clone.Put()); }},
      {"IsDirty", &Script::onIsDirty, [&] { return persist->IsDirty(); }},
      {"get_Value", &Script::onAddRef, [&] { return map->get_Value(3, &out); }},
  };
  const auto fill = [&] {
    map->Clear();
    put({1, 3, 5, 7});
    map->put_Value(3, NewValue());
  };
  for (const auto& change : kChanges) {
    for (const auto& operation : kOperations) {
      SCOPED_TRACE(std::string(operation.what) + ", " + change.what);
      fill();
      persist->Save(NewStream().Get(), TRUE);
      SeekTo(stream.Get(), 0);
      bool isFirst = true;
      script_.onRelease = expectUnlocked;
      script_.*operation.hook = [&] {
        if (std::exchange(isFirst, false)) change.act();
      };
      EXPECT_GE(operation.act(), S_OK);
      script_.*operation.hook = nullptr;
      EXPECT_FALSE(isFirst);
      EXPECT_EQ(LongKeysOf(map), change.keys);
      out = CComVariant();
    }
    // What was written is what the map held at the beginning.
    fill();
    const auto whole = NewStream();
    script_.onSave = change.act;
    EXPECT_EQ(persist->Save(whole.Get(), TRUE), S_OK);
    script_.onSave = nullptr;
    EXPECT_EQ(persist->IsDirty(), S_OK) << "the change is not in the stream";
    SeekTo(whole.Get(), 0);
    const auto loaded = NewMap<LongMap>();
    EXPECT_EQ(Load(loaded, whole.Get()), S_OK);
    EXPECT_THAT(LongKeysOf(loaded), ElementsAre(1, 3, 5, 7));
    loaded->Clear();
    map->Clear();
  }

  // A put from the AddRef of an object, wherever one falls into another put.
  fill();
  bool isPutting = false, hasPut = false;
  script_.onAddRef = [&] {
    if (isPutting && !std::exchange(hasPut, true)) put({9});
  };
  script_.onSave = [&] {
    isPutting = true;
    put({0});
  };
  EXPECT_EQ(persist->Save(NewStream().Get(), FALSE), S_OK);
  script_.onSave = nullptr;
  map->get_Value(3, &out);
  script_.onAddRef = nullptr;
  out = CComVariant();
  EXPECT_THAT(LongKeysOf(map), ElementsAre(0, 1, 3, 5, 7, 9));

  // The last Release of the object under 3.
  const std::function<void()> kReleases[] = {
      [&] { remove(3); },
      [&] { map->Clear(); },
      [&] { map->put_Value(3, Number(2)); },
      [&] { generic->put_Value(Bits(VT_INT, 3), Number(2)); },
      [&] { LoadFrom(map, "01 00 00 00 01 00 00 00 00"); },
  };
  for (const auto& release : kReleases) {
    SCOPED_TRACE(&release - kReleases);
    fill();
    LONG counted = -1;
    script_.onRelease = [&] {
      expectUnlocked();
      counted = CountOf(map);
      map->put_Value(8, Number(1));
      remove(7);
      map->put_OverrideMode(0);
      map->put_OverrideMode(1);
    };
    release();
    script_.onRelease = nullptr;
    const auto keys = LongKeysOf(map);
    EXPECT_TRUE(counted == 0 || counted == 3 || counted == 4) << "in its final state";
    EXPECT_EQ(static_cast<LONG>(keys.size()), counted == 0 ? 1 : counted);
    EXPECT_EQ(keys.back(), 8);
  }
}

// What objects in values do, in their own last Release, to a map that is ending. On the map's code
// in this program, for its count.
TEST_F(NestedMaps, ObjectsThatUseTheirDyingMap) {
  Register();
  const BSTR key = BstrMap::Key(1);
  enum Last { kMap, kMapInAggregate, kEntry, kEnumerator };
  for (const Last last : {kMap, kMapInAggregate, kEntry, kEnumerator}) {
    SCOPED_TRACE(last);
    Double<IUnknown> outer;
    ComPtr<IUnknown> holder;
    IUnknown* const aggregate = last == kMapInAggregate ? &outer : nullptr;
    rastel::CreateAttributeMap<KeyKindBstr>(aggregate, IID_IUnknown, holder.PutVoid());
    ASSERT_TRUE(holder);
    // Uncounted.
    IAttributeBstrMapKLP* const map = holder.As<IAttributeBstrMapKLP>().Get();
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
      EXPECT_EQ(map->Clone(ComPtr<IAttributeBstrMapKLP>().Put()), S_OK);
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

TEST_F(NestedMaps, ManyPutsAndRemovals) {
  std::mt19937 random;
  std::set<LONG> keys;
  const auto map = NewMap<LongMap>();
  const auto generic = map.As<IAttributeMapKLP>();
  for (int step = 0; step < 8000; ++step) {
    // Grows, and shrinks to nothing again.
    const auto key = static_cast<LONG>(random() % 500);
    const bool isPut = random() % 8000 > static_cast<unsigned>(step);
    const HRESULT result =
        isPut ? map->put_Value(key, Number(key)) : generic->Remove(Bits(VT_INT, key));
    const bool wasThere = isPut ? !keys.insert(key).second : keys.erase(key) > 0;
    ASSERT_EQ(result, isPut || wasThere ? S_OK : kReported);
    ASSERT_EQ(ValueOf(map, key), isPut ? key : -1);
    if (step % 500 != 499) continue;
    ASSERT_EQ(LongKeysOf(map), std::vector<LONG>(keys.begin(), keys.end()));
  }
  SetErrorInfo(0, nullptr);
}

TEST_F(NestedMaps, HundredThousandKeys) {
  constexpr LONG kKeys = 100000;
  const auto numbers = NewMap<LongMap>();
  const auto texts = NewMap<BstrMap>();
  std::vector<rastel::_bstr_t> names;
  for (LONG i = 0; i < kKeys; ++i) names.emplace_back(std::to_string(i).c_str());
  for (LONG i = 0; i < kKeys; ++i) {
    numbers->put_Value(kKeys - i, Number(i));
    texts->put_Value(names[static_cast<ULONG>(i)].Wide(), Number(i));
  }
  CComVariant value;
  for (LONG i = 0; i < kKeys; ++i) {
    texts->get_Value(names[static_cast<ULONG>(i)].Wide(), &value);
    if (value.lVal != i) ADD_FAILURE() << i;
  }
  EXPECT_EQ(LongKeysOf(numbers).size(), 100000u);
  ComPtr<IEnumAttributeEntryKLP> enumerator;
  EXPECT_EQ(texts->GetEnumerator(enumerator.Put()), S_OK);
  EXPECT_EQ(enumerator->Skip(kKeys), S_OK);
  EXPECT_EQ(enumerator->Skip(1), S_FALSE);
  const auto stream = NewStream();
  EXPECT_EQ(Save(texts, stream.Get(), TRUE), S_OK);
  SeekTo(stream.Get(), 0);
  EXPECT_EQ(Load(texts, stream.Get()), S_OK);
  EXPECT_EQ(CountOf(texts), kKeys);
}

}  // namespace
}  // namespace tests
