// Objects whose last reference goes while they hold objects that come back to them.
#include "interfaces/aoi.h"
#include "tests/persist/client_objects.h"

namespace tests {
namespace {

// An outer object around another, or around none.
struct Outer final : Double<IUnknown> {
  Outer() : Double(1) {}
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    const bool isOwn = IsEqualIID(iid, IID_IUnknown);
    return isOwn ? Double::QueryInterface(iid, out) : inner->QueryInterface(iid, out);
  }
  ComPtr<IUnknown> inner;
};

using Endings = ObjectTest;

TEST_F(Endings, LeaveAWholeObjectToWhatTheyLetGo) {
  Register();
  enum Last { kObject, kAggregate, kEntry, kEnumerator };
  const std::pair<const CLSID&, Last> rows[] = {{CLSID_ByteAOIKLP, kObject},
                                                {CLSID_ByteAOIKLP, kAggregate},
                                                {CLSID_AttributeDoubleMapKLP, kObject},
                                                {CLSID_AttributeDoubleMapKLP, kAggregate},
                                                {CLSID_AttributeDoubleMapKLP, kEntry},
                                                {CLSID_AttributeDoubleMapKLP, kEnumerator}};
  for (const auto& [classId, last] : rows) {
    SCOPED_TRACE(testing::Message() << classId.Data1 << " " << last);
    Outer outer;
    ASSERT_EQ(ModuleClient::Get().CreateInside(last == kAggregate ? &outer : nullptr, classId,
                                               IID_IUnknown, outer.inner.PutVoid()),
              S_OK);
    // Uncounted.
    IUnknown* const object = outer.inner.Get();
    IPersistStream* const persist = outer.inner.As<IPersistStream>().Get();
    IByteAOIKLP* const aoi = outer.inner.As<IByteAOIKLP>().Get();
    IAttributeDoubleMapKLP* const map = outer.inner.As<IAttributeDoubleMapKLP>().Get();
    const auto put = [&] {
      if (map) return map->put_Value(1, NewValue());
      // To an AOI any object with an IDispatch is a map.
      IDispatch* const other = NewObject().Detach();
      aoi->put_AttributeMap(reinterpret_cast<IAttributeMapKLP*>(other));
      other->Release();
      return aoi->put_Tag(NewValue(VT_DISPATCH));
    };
    EXPECT_EQ(put(), S_OK);
    ComPtr<IEnumAttributeEntryKLP> entries;
    ComPtr<IAttributeEntryKLP> entry;
    const auto enter = [&] {
      EXPECT_EQ(map->GetEnumerator(entries.Put()), S_OK);
      EXPECT_EQ(entries->Next(1, entry.Put(), nullptr), S_OK);
    };
    if (last >= kEntry) enter();
    if (last == kEntry) entries.Reset();
    if (last == kEnumerator) entry.Reset();

    int calls = 0;
    bool isInside = false;
    script_.onRelease = [&] {
      if (isInside || calls == 4) return;
      isInside = true;
      ++calls;
      EXPECT_EQ(ModuleClient::Get().CanUnloadNow(), S_OK) << "the count goes down first";
      EXPECT_EQ(object->AddRef(), 0xC0000002u);
      EXPECT_EQ(object->Release(), 0xC0000001u);
      EXPECT_EQ(map ? CountOf(map) : 0, 0);
      EXPECT_EQ(put(), S_OK);
      EXPECT_EQ(persist->IsDirty(), S_OK);
      const auto stream = NewStream();
      EXPECT_EQ(persist->Save(stream.Get(), TRUE), S_OK);
      SeekTo(stream.Get(), 0);
      EXPECT_EQ(persist->Load(stream.Get()), S_OK);
      if (map) {
        EXPECT_EQ(map->Clone(ComPtr<IAttributeDoubleMapKLP>().Put()), S_OK);
        enter();
        CComVariant out;
        EXPECT_EQ(entry->get_Value(&out), S_OK);
        EXPECT_EQ(out.vt, VT_UNKNOWN);
        entries.Reset();
        entry.Reset();
      } else {
        EXPECT_EQ(aoi->CreatePlanes(2, 4, 4), S_OK);
      }
      isInside = false;
    };
    EXPECT_EQ(object->Release() == 0, last < kEntry);
    static_cast<void>(outer.inner.Detach());
    entries.Reset();
    entry.Reset();
    script_.onRelease = nullptr;
    EXPECT_EQ(calls, 4) << "what is put in meanwhile goes as well";
    EXPECT_EQ(script_.objects, 0);
    EXPECT_EQ(outer.references, 1);
  }
}

}  // namespace
}  // namespace tests
