// Streams of maps, and when a map counts as changed.
#include <chrono>
#include <functional>

#include "module/attribute/attribute_classes.h"
#include "tests/attribute/attribute_test.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/fault_stream.h"

namespace tests {
namespace {

using MapStreams = MapTest;

constexpr char kFive[] = " 03 00 03 00 05 00 00 00";
constexpr char kSix[] = " 03 00 03 00 06 00 00 00";

// Version, mode, count and two entries.
template <class Kind>
std::string TwoEntries(const char* head = "01 00 00 00 00 02 00 00 00 ") {
  return std::string(head) + Kind::kHex[0] + kFive + " " + Kind::kHex[1] + kSix;
}

TEST_F(MapStreams, DirtyTable) {
  ForAllKinds([](auto kind) {
    using Kind = decltype(kind);
    using I = typename Kind::I;
    enum Effect { kSets, kClears, kLeaves };
    CComVariant wrong = Bits(VT_I1, 1), out;
    VARIANT_BOOL flag = 0;
    LONG count = 0;
    SAFEARRAY* keys = nullptr;
    ComPtr<I> map, clone;
    ComPtr<IAttributeMapKLP> generic;
    ComPtr<IEnumAttributeEntryKLP> enumerator;
    const auto key = [](int i) { return Kind::Key(i); };
    const auto genericKey = Kind::Generic(0);
    const auto stream = NewStream(TwoEntries<Kind>());
    FaultStream broken(stream.Get());
    const auto breakAt = [&](ULONG call) -> IStream* {
      SeekTo(stream.Get(), 0);
      broken.Reset();
      broken.FailAt(StreamCall::kEvery, call, kFull);
      return &broken;
    };
    const auto refuse = [&](auto put) {
      map->put_OverrideMode(0);
      EXPECT_EQ(put(), kReported);
    };
    const auto readAll = [&] {
      map->get_Value(key(0), &out);
      generic->get_Value(genericKey, &out);
      map->Exists(key(0), &flag);
      map->get_Count(&count);
      map->get_Keys(&keys);
      SafeArrayDestroy(keys);
      map->Clone(clone.Put());
      map->GetEnumerator(enumerator.Put());
    };
    const struct {
      const char* event;
      Effect effect;
      std::function<void()> act;
    } kRows[] = {{"new", kSets, [&] { map->put_Value(key(2), out); }},
                 {"replaced", kSets, [&] { map->put_Value(key(0), out); }},
                 {"refused", kLeaves, [&] { refuse([&] { return map->put_Value(key(0), out); }); }},
                 {"generic", kSets, [&] { generic->put_Value(genericKey, out); }},
                 {"generic, refused", kSets,
                  [&] { refuse([&] { return generic->put_Value(genericKey, out); }); }},
                 {"generic, wrong type", kLeaves, [&] { generic->put_Value(wrong, out); }},
                 {"Remove", kLeaves, [&] { generic->Remove(genericKey); }},
                 {"Clear", kLeaves, [&] { map->Clear(); }},
                 {"mode", kLeaves, [&] { map->put_OverrideMode(0); }},
                 {"reading", kLeaves, readAll},
                 {"Save", kLeaves, [&] { Save(map, NewStream().Get()); }},
                 {"Save, clearing", kClears, [&] { Save(map, NewStream().Get(), 7); }},
                 {"Save, failing", kLeaves, [&] { Save(map, breakAt(2), TRUE); }},
                 {"Load", kClears, [&] { LoadFrom(map, TwoEntries<Kind>()); }},
                 {"Load, wrong version", kLeaves, [&] { LoadFrom(map, "02"); }},
                 {"Load, failing", kLeaves, [&] { Load(map, breakAt(3)); }}};
    for (const auto& row : kRows) {
      SCOPED_TRACE(row.event);
      for (const HRESULT before : {S_OK, S_FALSE}) {
        map = CleanMap<Kind>(2);
        generic = map.template As<IAttributeMapKLP>();
        if (before == S_OK) map->put_Value(key(1), out);
        row.act();
        EXPECT_EQ(DirtOf(map), row.effect == kLeaves ? before
                               : row.effect == kSets ? S_OK
                                                     : S_FALSE);
      }
    }
  });
}

TEST_F(MapStreams, IsDirty_AsksTheObjectsInValues) {
  const auto map = NewMap<LongMap>();
  map->put_Value(1, Object(nullptr));
  map->put_Value(2, Object(nullptr, VT_DISPATCH));
  map->put_Value(3, NewValue(VT_DISPATCH));
  const auto inner = NewMap<BstrMap>();
  map->put_Value(4, Object(inner.Get()));
  const auto persist = map.As<IPersistStream>();
  EXPECT_EQ(persist->Save(NewStream().Get(), TRUE), S_OK);
  EXPECT_EQ(DirtOf(inner), S_FALSE) << "saved with it";
  const struct {
    HRESULT query, isDirty, result;
  } kRows[] = {{S_OK, S_FALSE, S_FALSE},
               {S_OK, kFull, S_FALSE},
               {S_OK, S_OK, S_OK},
               {kFull, S_OK, kFull},
               {E_NOINTERFACE, S_OK, S_FALSE}};
  for (const auto& row : kRows) {
    script_.query = row.query;
    script_.isDirty = row.isDirty;
    EXPECT_EQ(persist->IsDirty(), row.result);
  }
  inner->put_Value(BstrMap::Key(0), Number(1));
  EXPECT_EQ(persist->IsDirty(), S_OK);
  Save(inner, NewStream().Get(), TRUE);
  EXPECT_EQ(persist->IsDirty(), S_FALSE) << "nothing was marked";
}

TEST_F(MapStreams, BytesInAndOut) {
  ForAllKinds([](auto kind) {
    using Kind = decltype(kind);
    const auto map = NewMap<Kind>();
    EXPECT_EQ(SavedBy(map), "01 00 00 00 01 00 00 00 00");
    EXPECT_EQ(SizeOf(map), 8u);
    CLSID classId{};
    EXPECT_EQ(map.template As<IPersistStream>()->GetClassID(&classId), S_OK);
    EXPECT_EQ(classId, Kind::kClass);
    EXPECT_EQ(LoadFrom(map, TwoEntries<Kind>()), S_OK);
    EXPECT_EQ(SavedBy(map), TwoEntries<Kind>());
    VARIANT_BOOL replace = 7;
    map->get_OverrideMode(&replace);
    EXPECT_EQ(replace, 0);
    // The first of a key's values stays, whatever the mode is.
    EXPECT_EQ(LoadFrom(map, "01 00 00 00 01 03 00 00 00 " + std::string(Kind::kHex[1]) + kFive +
                                Kind::kHex[1] + kSix + Kind::kHex[0] + kSix),
              S_OK);
    EXPECT_EQ(CountOf(map), 2);
    EXPECT_EQ(ValueOf(map, Kind::Key(1)), 5);
    EXPECT_EQ(ValueOf(map, Kind::Key(0)), 6);
    const auto wrong = TwoEntries<Kind>("02 00 00 00 00 02 00 00 00 ");
    ExpectReport(LoadFrom(map, wrong), OLESTR("AttributeMap::Load()->wrong version"));
    EXPECT_EQ(ValueOf(map, Kind::Key(1)), 5);
    map->get_OverrideMode(&replace);
    EXPECT_EQ(replace, kOn);
  });
  // Files that a script has made from the format, which come out as they went in, but for two.
  const std::pair<std::string, std::string> samples[] = {
      {"bstr_order", ""},
      {"bstr_values", ""},
      {"bstr_null_in_key", "01 00 00 00 01 01 00 00 00 01 00 00 00 61 00" + std::string(kFive)},
      {"long_order", ""},
      {"long_odd_mode", ""},
      {"long_twice",
       "01 00 00 00 01 02 00 00 00 FB FF FF FF 03 00 03 00 02 00 00 00 "
       "05 00 00 00 03 00 03 00 01 00 00 00"},
      {"double_order", ""},
      {"double_nan", ""}};
  for (const auto& [name, saved] : samples) {
    SCOPED_TRACE(name);
    const std::string sample = SampleHex(RASTEL_TEST_MAPS "/" + name + ".map");
    const auto map =
        ModuleClient::Get().Create<IAttributeMapKLP>(name[0] == 'b'   ? BstrMap::kClass
                                                     : name[0] == 'l' ? LongMap::kClass
                                                                      : DoubleMap::kClass);
    EXPECT_EQ(LoadFrom(map, sample), S_OK);
    EXPECT_EQ(SavedBy(map), saved.empty() ? sample : saved);
    VARIANT_BOOL replace = 7;
    map->get_OverrideMode(&replace);
    EXPECT_EQ(replace, kOn);
  }
}

TEST_F(MapStreams, CutAtEveryByte) {
  ForAllKinds([](auto kind) {
    using Kind = decltype(kind);
    const bool isNumber = Kind::kCode != KeyKindBstr;
    const std::vector<BYTE> whole = BytesOf(TwoEntries<Kind>());
    const std::size_t keys[] = {9 + BytesOf(Kind::kHex[0]).size(),
                                whole.size() - BytesOf(kSix).size()};
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
      SCOPED_TRACE(cut);
      const auto map = CleanMap<Kind>(3);
      const HRESULT result = LoadFrom(map, HexOf(whole.data(), cut));
      // Of a number in a value the missing bytes are zero; its type is there twice.
      const int loaded = cut >= keys[1] + 4 ? 2 : cut >= keys[0] + 4 ? 1 : 0;
      if (cut == 0) {
        ExpectReport(result, OLESTR("AttributeMap::Load()->wrong version"));
        EXPECT_EQ(CountOf(map), 3);
      } else if (loaded == 2 || cut < 6) {
        EXPECT_EQ(result, S_OK);
        EXPECT_EQ(CountOf(map), loaded);
      } else {
        EXPECT_EQ(CountOf(map), loaded);
        if (isNumber && cut < keys[loaded]) {
          ExpectReport(result, OLESTR("can't write the key!!"));
        } else {
          EXPECT_EQ(result, E_FAIL);
        }
      }
    }
    // Nothing is there of what the count promises: no key is asked for again and again.
    const auto map = NewMap<Kind>();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_LT(LoadFrom(map, "01 00 00 00 01 FF FF FF FF"), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(CountOf(map), 0);
  });
}

TEST_F(MapStreams, FailingCallAtEveryStep) {
  ForAllKinds([](auto kind) {
    using Kind = decltype(kind);
    for (const bool isSave : {true, false}) {
      int shortKeys = 0;
      for (ULONG call = 1;; ++call) {
        SCOPED_TRACE(call);
        const auto map = CleanMap<Kind>(2);
        const auto stream = NewStream(isSave ? "" : TwoEntries<Kind>());
        FaultStream broken(stream.Get());
        broken.FailAt(StreamCall::kEvery, call, kFull);
        const auto persist = map.template As<IPersistStream>();
        map->put_Value(Kind::Key(0), TextValue(OLESTR("text")));
        SetErrorInfo(0, nullptr);
        const HRESULT result = isSave ? persist->Save(&broken, TRUE) : persist->Load(&broken);
        if (broken.Calls(StreamCall::kEvery) < call) break;
        const auto words = TakeErrorText();
        if (words == OLESTR("can't write the key!!")) {
          ++shortKeys;
          EXPECT_EQ(result, kReported);
        } else {
          EXPECT_EQ(result, isSave ? platform::ResultCode(0x80040070u) : kFull);
          EXPECT_EQ(words.value_or(Text()), isSave ? OLESTR("Unknown Error") : OLESTR(""));
        }
        EXPECT_EQ(DirtOf(map), S_OK);
      }
      EXPECT_EQ(shortKeys, Kind::kCode == KeyKindBstr ? 0 : 2);
    }
  });
}

TEST_F(MapStreams, FailingValue_LosesItsCodeInSaveAndKeepsItInLoad) {
  Register();
  const auto map = NewMap<LongMap>();
  map->put_Value(1, NewValue());
  const auto persist = map.As<IPersistStream>();
  const auto saved = NewStream();
  EXPECT_EQ(persist->Save(saved.Get(), FALSE), S_OK);
  // The number of a message of the table brings its words.
  constexpr HRESULT kNoBuffer = platform::ResultCode(0x8004045Au);
  constexpr auto kWords = OLESTR("Rasteldata: Dem AOI ist kein Bildpuffer zugeordnet.");
  script_.save = script_.countingSave = platform::ResultCode(0x8003045Au);
  ULARGE_INTEGER size{};
  for (const bool isSave : {true, false}) {
    EXPECT_EQ(isSave ? persist->Save(NewStream().Get(), TRUE) : persist->GetSizeMax(&size),
              kNoBuffer);
    EXPECT_EQ(TakeErrorText(), kWords);
  }
  script_.load = kFull;
  const auto other = CleanMap<LongMap>(2);
  SeekTo(saved.Get(), 0);
  EXPECT_EQ(Load(other, saved.Get()), kFull);
  EXPECT_EQ(TakeErrorText(), std::nullopt);
  EXPECT_EQ(CountOf(other), 0);
  EXPECT_EQ(DirtOf(other), S_FALSE);
}

// On the map's code in this program, whose allocations can be refused.
TEST_F(MapStreams, EachAllocationRefused_LeavesNothingBehind) {
  const auto map = [] {
    ComPtr<IAttributeBstrMapKLP> made;
    rastel::CreateAttributeMap<KeyKindBstr>(nullptr, IID_IAttributeBstrMapKLP, made.PutVoid());
    return made;
  };
  const auto full = map();
  for (int i = 0; i < 3; ++i) full->put_Value(BstrMap::Key(i), TextValue(OLESTR("text")));
  const auto saved = NewStream();
  Save(full, saved.Get(), TRUE);
  const CComVariant value = TextValue(OLESTR("value"));
  const rastel::_bstr_t key("new");
  const std::function<HRESULT()> kOperations[] = {
      [&] { return map() ? S_OK : E_OUTOFMEMORY; },
      [&] {
        full->Remove(key.Wide());
        return full->put_Value(key.Wide(), value);
      },
      [&] { return full->Clone(ComPtr<IAttributeBstrMapKLP>().Put()); },
      [&] {
        auto* out = reinterpret_cast<IEnumAttributeEntryKLP*>(full.Get());
        const HRESULT result = full->GetEnumerator(&out);
        if (FAILED(result)) return out ? E_UNEXPECTED : result;
        ComPtr<IEnumAttributeEntryKLP>().Attach(out);
        return result;
      },
      [&] {
        const auto other = map();
        SeekTo(saved.Get(), 0);
        return other ? Load(other, saved.Get()) : E_OUTOFMEMORY;
      }};
  for (const auto& operation : kOperations) {
    SCOPED_TRACE(&operation - kOperations);
    full->Remove(key.Wide());
    const int refused = FailEachAllocation(operation, [&](HRESULT result, long long) {
      EXPECT_TRUE(result == E_OUTOFMEMORY || result == kReported || result == S_OK) << result;
      EXPECT_GE(CountOf(full), 3);
    });
    EXPECT_GT(refused, 0);
  }

  // While a stream walks the map, only a change needs memory, but not to empty it.
  full->put_OverrideMode(0);
  const auto changeNothing = [&] {
    AllocationFaults seen;
    full->put_Value(BstrMap::Key(0), value);
    full->Remove(key.Wide());
    return seen.Stop();
  };
  full->Remove(key.Wide());
  const long long outside = changeNothing();
  long long inside = 0;
  HRESULT cleared = E_UNEXPECTED;
  const auto stream = NewStream();
  FaultStream walking(stream.Get());
  walking.onCall = [&] { inside = (std::max)(inside, changeNothing()); };
  EXPECT_EQ(Save(full, &walking), S_OK);
  EXPECT_EQ(inside, outside);
  walking.onCall = [&] {
    const AllocationFaults none(0);
    cleared = full->Clear();
  };
  EXPECT_EQ(Save(full, &walking), S_OK);
  EXPECT_EQ(cleared, S_OK);
}

}  // namespace
}  // namespace tests
