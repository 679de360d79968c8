// What rows of text cannot say of AOIs: AOIs of another maker, clients that come back to an AOI at
// its end, slots that no interface declares.
#include <gmock/gmock.h>

#include <array>
#include <functional>

#include "interfaces/aoi.h"
#include "tests/rows/values.h"
#include "tests/support/module_client.h"
#include "tests/support/slots.h"
#include "tests/support/streams.h"

namespace tests {

using platform::ComPtr;

// An AOI of bytes of another maker, as a table of functions written by hand: the slots that AOIs
// ask one another are there, every other one counts as a mistake. It lives on the stack.
struct ForeignAoi {
  ForeignAoi() {
    slots.fill(Address([](ForeignAoi* self) { return ++self->mistakes, E_UNEXPECTED; }));
    slots[1] = slots[2] = Address([](ForeignAoi*) { return S_FALSE; });
    slots[34] = Address([](ForeignAoi* self, LONG* w, LONG* h, LONG* skip, std::uint8_t** p) {
      self->onAccess();
      *w = self->width;
      *h = self->height;
      *skip = 1;
      *p = self->pixels;
      return self->result;
    });
  }
  IByteAOIKLP* Interface() { return reinterpret_cast<IByteAOIKLP*>(this); }

  void** table = slots.data();  // an object begins with this
  LONG width = 4, height = 2;
  std::uint8_t* pixels = nullptr;
  HRESULT result = S_OK;
  std::function<void()> onAccess = [] {};
  int mistakes = 0;

 private:
  template <class... Arguments>
  static void* Function(HRESULT (*function)(Arguments...)) {
    return reinterpret_cast<void*>(function);
  }
  template <class Lambda>
  static void* Address(Lambda lambda) {
    return Function(+lambda);
  }
  std::array<void*, 70> slots;
};

namespace {

using testing::ElementsAre;
using I = IByteAOIKLP;

TEST(AoiClients, ForeignAoi_IsAskedThroughItsInterface) {
  const auto aoi = ModuleClient::Get().Create<I>(CLSID_ByteAOIKLP);
  ASSERT_EQ(aoi->CreateImage(10, 10), S_OK);
  for (LONG i = 0; i < 100; ++i) aoi->PutPixel(i % 10, i / 10, i);
  ASSERT_EQ(aoi->SetRect(2, 1, 4, 9), S_OK);
  std::uint8_t memory[12] = {};
  ForeignAoi foreign;
  foreign.pixels = memory + 1;
  ASSERT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
  EXPECT_THAT(memory, ElementsAre(0, 12, 13, 14, 0, 0, 22, 23, 24, 0, 0, 0));
  for (LONG* const side : {&foreign.width, &foreign.height}) {
    const LONG before = std::exchange(*side, INT32_MIN);
    EXPECT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
    *side = before;
  }
  foreign.result = E_ABORT;
  EXPECT_EQ(aoi->CopyTo(foreign.Interface()), E_ABORT);
  foreign.result = S_OK;
  // The other lets the source's pixels go while it is asked: they stay until they are copied.
  std::fill(std::begin(memory), std::end(memory), std::uint8_t{0});
  foreign.onAccess = [&] { EXPECT_EQ(aoi->CreateImage(1, 1), S_OK); };
  EXPECT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
  EXPECT_THAT(memory, ElementsAre(0, 12, 13, 14, 0, 0, 22, 23, 24, 0, 0, 0));
  EXPECT_EQ(foreign.mistakes, 0);
}

// An outer object around an AOI.
struct Outer final : Double<IUnknown> {
  Outer() { references = 1; }
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    const bool isOwn = IsEqualIID(iid, IID_IUnknown);
    return isOwn ? Double::QueryInterface(iid, out) : inner->QueryInterface(iid, out);
  }
  ComPtr<IUnknown> inner;
};

// To an AOI any object with an IDispatch is a map.
IAttributeMapKLP* AsMap(CountedObject& object) {
  return reinterpret_cast<IAttributeMapKLP*>(static_cast<IDispatch*>(&object));
}

TEST(AoiClients, Destruction_LeavesAWholeAoiToWhatItLetsGo) {
  CountedObject late;
  const std::function<HRESULT(I&)> kCalls[] = {
      [&](I& a) { return a.put_Tag(*Value(late.AsVariant(VT_DISPATCH))); },
      [&](I& a) { return a.put_AttributeMap(AsMap(late)); },
      [](I& a) { return a.CreatePlanes(2, 4, 4); },
      [](I& a) { return ComPtr<I>(&a).As<IPersistStream>()->Save(NewStream().Get(), TRUE); }};
  for (const bool isAggregated : {false, true}) {
    for (const auto& call : kCalls) {
      SCOPED_TRACE(testing::Message() << isAggregated << " " << &call - kCalls);
      Outer outer;
      ASSERT_EQ(ModuleClient::Get().CreateInside(isAggregated ? &outer : nullptr, CLSID_ByteAOIKLP,
                                                 IID_IUnknown, outer.inner.PutVoid()),
                S_OK);
      IUnknown* const object = outer.inner.Get();
      I* const aoi = outer.inner.As<I>().Get();
      ASSERT_EQ(aoi->CreateImage(4, 4), S_OK);
      CountedObject map, tag;
      aoi->put_AttributeMap(AsMap(map));
      aoi->put_Tag(*Value(tag.AsVariant(VT_DISPATCH)));
      std::string order;
      const auto comeBack = [&](const CountedObject& self, char mark) {
        if (self.references > 0 || order.find(mark) != order.npos) return;
        order += mark;
        EXPECT_EQ(ModuleClient::Get().CanUnloadNow(), S_OK) << "the count goes down first";
        EXPECT_EQ(object->AddRef(), 0xC0000002u);
        EXPECT_EQ(object->Release(), 0xC0000001u);
        EXPECT_EQ(call(*aoi), S_OK);
      };
      map.onRelease = [&] { comeBack(map, 'm'); };
      tag.onRelease = [&] { comeBack(tag, 't'); };
      EXPECT_EQ(object->Release(), 0u);
      static_cast<void>(outer.inner.Detach());
      EXPECT_EQ(order, "mt");
      EXPECT_TRUE(map.references == 0 && tag.references == 0 && late.references == 0);
      EXPECT_EQ(outer.references, 1);
    }
  }
}

// How far the stream is read depends on the machine's memory.
TEST(AoiClients, NamesThatNoCallCanCarry_AreRefused) {
  const auto stream = NewStream("0002" + std::string(2 * 42, '0') + "FFFFFFFF FFFFFFFF 6100");
  const auto persist = ModuleClient::Get().Create<IPersistStream>(CLSID_ByteAOIKLP);
  EXPECT_EQ(persist->Load(stream.Get()), E_OUTOFMEMORY);
}

TEST(AoiClients, PrivateSlots_StandBehindTheTypedInterface) {
  const auto aoi = ModuleClient::Get().Create<IWordAOIKLP>(CLSID_WordAOIKLP);
  int slot = 71;
  for (const char* version : {"256", "257", "258", "259", "512", "513", "514"}) {
    SCOPED_TRACE(version);
    const auto stream =
        NewStream(SampleHex(std::string(RASTEL_TEST_AOIS "/word_") + version + "_rect.aoi"));
    SeekTo(stream.Get(), 2);
    EXPECT_EQ(CallSlot(aoi.Get(), slot++, stream.Get()), S_OK);
    EXPECT_EQ(PositionOf(stream.Get()), (ContentOf(stream.Get()).size() + 1) / 3);
  }
  LONG n[4] = {};
  EXPECT_EQ(aoi->SetRect(1, 1, 2, 1), S_OK);
  EXPECT_EQ(CallSlot(aoi.Get(), 70, &n[0], &n[1], &n[2], &n[3]), S_OK);
  EXPECT_THAT(n, ElementsAre(1, 1, 2, 1));
}

}  // namespace
}  // namespace tests
