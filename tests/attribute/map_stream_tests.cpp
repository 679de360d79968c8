// Streams of maps, and when a map counts as changed.
#include <chrono>
#include <functional>

#include "attribute/attribute_classes.h"
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
    struct Row {
      const char* event;
      Effect effect;
      std::function<void(I*, IAttributeMapKLP*, IPersistStream*)> act;
    };
    CComVariant wrong = Bits(VT_I1, 1), out;
    VARIANT_BOOL flag = 0;
    LONG count = 0;
    SAFEARRAY* keys = nullptr;
    ComPtr<I> clone;
    ComPtr<IEnumAttributeEntryKLP> enumerator;
    const auto key = [](int i) { return Kind::Key(i); };
    const auto stream = NewStream();
    FaultStream broken(stream.Get());
    broken.FailAt(StreamCall::kEvery, 2, kFull);
    const Row kRows[] = {
        {"new", kSets, [&](I* m, auto*, auto*) { m->put_Value(key(2), out); }},
        {"replaced", kSets, [&](I* m, auto*, auto*) { m->put_Value(key(0), out); }},
        {"refused", kLeaves,
         [&](I* m, auto*, auto*) {
           m->put_OverrideMode(0);
           EXPECT_EQ(m->put_Value(key(0), out), kReported);
         }},
        {"generic", kSets, [&](auto*, auto* g, auto*) { g->put_Value(Kind::Generic(0), out); }},
        {"generic, refused", kSets,
         [&](auto*, auto* g, auto*) {
           g->put_OverrideMode(0);
           EXPECT_EQ(g->put_Value(Kind::Generic(0), out), kReported);
         }},
        {"generic, wrong type", kLeaves, [&](auto*, auto* g, auto*) { g->put_Value(wrong, out); }},
        {"Remove", kLeaves, [&](auto*, auto* g, auto*) { g->Remove(Kind::Generic(0)); }},
        {"Clear", kLeaves, [&](I* m, auto*, auto*) { m->Clear(); }},
        {"mode", kLeaves, [&](I* m, auto*, auto*) { m->put_OverrideMode(0); }},
        {"reading", kLeaves,
         [&](I* m, auto* g, auto*) {
           m->get_Value(key(0), &out);
           g->get_Value(Kind::Generic(0), &out);
           m->Exists(key(0), &flag);
           m->get_Count(&count);
           m->get_Keys(&keys);
           SafeArrayDestroy(keys);
           m->Clone(clone.Put());
           m->GetEnumerator(enumerator.Put());
         }},
        {"Save", kLeaves, [&](auto*, auto*, auto* p) { p->Save(NewStream().Get(), FALSE); }},
        {"Save, clearing", kClears, [&](auto*, auto*, auto* p) { p->Save(NewStream().Get(), 7); }},
        {"Save, failing", kLeaves, [&](auto*, auto*, auto* p) { p->Save(&broken, TRUE); }},
        {"Load", kClears,
         [&](auto*, auto*, auto* p) { p->Load(NewStream(TwoEntries<Kind>()).Get()); }},
        {"Load, failing", kLeaves,
         [&](auto*, auto*, auto* p) {
           p->Load(NewStream("02").Get());
           broken.Reset();
           broken.FailAt(StreamCall::kEvery, 3, kFull);
           p->Load(&broken);
         }},
    };
    for (const Row& row : kRows) {
      SCOPED_TRACE(row.event);
      for (const HRESULT before : {S_OK, S_FALSE}) {
        const auto map = CleanMap<Kind>(2);
        if (before == S_OK) map->put_Value(key(1), out);
        const auto generic = map.template As<IAttributeMapKLP>();
        const auto persist = map.template As<IPersistStream>();
        broken.Reset();
        broken.FailAt(StreamCall::kEvery, 2, kFull);
        row.act(map.Get(), generic.Get(), persist.Get());
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
  inner.As<IPersistStream>()->Save(NewStream().Get(), TRUE);
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
    EXPECT_EQ(replace, kTrue);
    // A mode that is neither counts as on and stays.
    EXPECT_EQ(LoadFrom(map, "01 00 00 00 40 00 00 00 00"), S_OK);
    map->get_OverrideMode(&replace);
    EXPECT_EQ(replace, kTrue);
    EXPECT_EQ(SavedBy(map), "01 00 00 00 40 00 00 00 00");
  });
  const auto map = NewMap<BstrMap>();
  EXPECT_EQ(LoadFrom(map, "01 00 00 00 01 01 00 00 00 03 00 00 00 61 00 00 00 62 00" +
                              std::string(kFive)),
            S_OK);
  EXPECT_EQ(SavedBy(map), "01 00 00 00 01 01 00 00 00 01 00 00 00 61 00 03 00 03 00 05 00 00 00");
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
  EXPECT_EQ(other.As<IPersistStream>()->Load(saved.Get()), kFull);
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
  full.As<IPersistStream>()->Save(saved.Get(), TRUE);
  const CComVariant value = TextValue(OLESTR("value"));
  const rastel::_bstr_t key("new");
  const std::function<HRESULT()> kOperations[] = {
      [&] { return map() ? S_OK : E_OUTOFMEMORY; },
      [&] {
        full->Remove(key.Wide());
        return full->put_Value(key.Wide(), value);
      },
      [&] { return full->Clone(ComPtr<IAttributeBstrMapKLP>().Put()); },
      [&] { return full->GetEnumerator(ComPtr<IEnumAttributeEntryKLP>().Put()); },
      [&] {
        const auto other = map();
        SeekTo(saved.Get(), 0);
        return other ? other.As<IPersistStream>()->Load(saved.Get()) : E_OUTOFMEMORY;
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
}

}  // namespace
}  // namespace tests
