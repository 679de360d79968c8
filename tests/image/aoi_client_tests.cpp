// What rows of text cannot say of AOIs: AOIs of another maker, clients that come back to an AOI at
// its end, slots that no interface declares.
#include <gmock/gmock.h>

#include <array>
#include <functional>

#include "interfaces/aoi.h"
#include "tests/support/doubles.h"
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
    slots[7] = Address([](ForeignAoi* self, LONG* out) { return *out = self->width, S_OK; });
    slots[9] = Address([](ForeignAoi* self, LONG* out) { return *out = self->height, S_OK; });
    slots[34] = Address([](ForeignAoi* self, LONG* w, LONG* h, LONG* skip, std::uint8_t** p) {
      self->onAccess();
      *w = self->width;
      *h = self->height;
      *skip = 1;
      *p = self->pixels;
      return self->result;
    });
    slots[46] = Address([](ForeignAoi* self, LONG* x, LONG* y, LONG* w, LONG* h) {
      *x = 5;
      *y = 6;
      *w = self->width;
      *h = self->height;
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

std::array<LONG, 4> RectOf(I& aoi) {
  std::array<LONG, 4> rect{};
  aoi.GetRect(&rect[0], &rect[1], &rect[2], &rect[3]);
  return rect;
}

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
  for (const LONG size : {0, INT32_MIN}) {
    foreign.height = size;
    EXPECT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
    std::swap(foreign.height, foreign.width);
    EXPECT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
    foreign.width = 4;
  }
  foreign.height = 2;
  // CopyRect and CopyTo heed what the other says, Unite does not.
  foreign.result = E_ABORT;
  EXPECT_EQ(aoi->CopyTo(foreign.Interface()), E_ABORT);
  EXPECT_EQ(aoi->CopyRect(foreign.Interface()), E_ABORT);
  EXPECT_EQ(aoi->Unite(foreign.Interface()), S_OK);
  EXPECT_THAT(RectOf(*aoi), ElementsAre(2, 1, 7, 9));
  foreign.result = S_OK;
  EXPECT_EQ(aoi->CopyRect(foreign.Interface()), S_OK);
  EXPECT_THAT(RectOf(*aoi), ElementsAre(5, 6, 4, 2));
  LONG same = 7;
  EXPECT_EQ(aoi->IsSameSize(foreign.Interface(), &same), S_OK);
  // The other lets the source's pixels go while it is asked: they stay until they are copied.
  foreign.onAccess = [&] { EXPECT_EQ(aoi->CreateImage(1, 1), S_OK); };
  EXPECT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
  EXPECT_THAT(memory, ElementsAre(0, 65, 66, 67, 68, 0, 75, 76, 77, 78, 0, 0));
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

// Map and tag at once, as far as an AOI asks; what they do when the AOI lets them go is the test's.
struct Held final : WithoutMembers<Double<IDispatch>> {
  Held() { references = 1; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = Double::Release();
    if (left == 1) std::exchange(onLast, [] {})();
    return left;
  }
  IAttributeMapKLP* AsMap() {
    return reinterpret_cast<IAttributeMapKLP*>(static_cast<IDispatch*>(this));
  }
  VARIANT AsTag() {
    VARIANT tag{};
    tag.vt = VT_DISPATCH;
    tag.pdispVal = this;
    return tag;
  }
  std::function<void()> onLast = [] {};
};

TEST(AoiClients, Destruction_LeavesAWholeAoiToWhatItLetsGo) {
  Held late;
  const std::function<HRESULT(I&)> kCalls[] = {
      [&](I& a) { return a.put_Tag(late.AsTag()); },
      [&](I& a) { return a.put_AttributeMap(late.AsMap()); },
      [](I& a) { return a.CreatePlanes(2, 4, 4); },
      [](I& a) { return a.put_Name(nullptr); },
      [](I& a) { return a.Clone(ComPtr<I>().Put()); },
      [](I& a) { return a.Duplicate(ComPtr<I>().Put()); },
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
      Held map, tag;
      aoi->put_AttributeMap(map.AsMap());
      aoi->put_Tag(tag.AsTag());
      std::string order;
      const auto comeBack = [&](char mark) {
        order += mark;
        EXPECT_EQ(ModuleClient::Get().CanUnloadNow(), S_OK) << "the count goes down first";
        EXPECT_EQ(object->AddRef(), 0xC0000002u);
        EXPECT_EQ(object->Release(), 0xC0000001u);
        EXPECT_EQ(call(*aoi), S_OK);
      };
      map.onLast = [&] { comeBack('m'); };
      tag.onLast = [&] { comeBack('t'); };
      EXPECT_EQ(object->Release(), 0u);
      static_cast<void>(outer.inner.Detach());
      EXPECT_EQ(order, "mt");
      EXPECT_TRUE(map.references == 1 && tag.references == 1 && late.references == 1);
      EXPECT_EQ(outer.references, 1);
    }
  }
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
