// Name, tag and attribute map: what a client hangs on a picture.
#include "tests/image/aoi_types.h"
#include "tests/support/debug_capture.h"
#include "tests/support/streams.h"

namespace tests {
namespace {

using AoiClientData = AoiTest;
using testing::ElementsAre;

TEST_F(AoiClientData, Name_IsACopyOfWhatWasPut) {
  const auto aoi = NewAoi<ByteAoi>();
  const auto generic = aoi.As<IAoiKLP>();
  EXPECT_TRUE(NameOf(*aoi) == OLESTR("None"));
  for (const Text& text : {Text(OLESTR("A")), Text(), Text(OLESTR("a\0b"), 3)}) {
    const BSTR name = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    EXPECT_EQ(aoi->put_Name(name), S_OK);
    if (!text.empty()) name[0] = OLECHAR{'x'};
    EXPECT_TRUE(NameOf(*generic) == text);
    SysFreeString(name);
  }
  EXPECT_EQ(aoi->CreateImage(4, 4), S_OK);
  EXPECT_TRUE(NameOf(*aoi) == OLESTR("None"));
  EXPECT_EQ(generic->put_Name(nullptr), S_OK);
  EXPECT_EQ(aoi->CreatePlanes(1, 0, 4), platform::ResultCode(0x8004045Bu));
  BSTR name = SysAllocString(OLESTR("stays with the client"));
  const BSTR before = name;
  EXPECT_EQ(aoi->get_Name(&name), S_OK);
  EXPECT_EQ(name, nullptr) << "a bind that fails does not reach the name";
  SysFreeString(before);
}

TEST_F(AoiClientData, Tag_IsCopiedBothWays) {
  const auto aoi = NewAoi<ByteAoi>();
  const auto generic = aoi.As<IAoiKLP>();
  VARIANT tag{}, out{};
  tag.vt = out.vt = VT_BSTR;
  out.bstrVal = SysAllocString(OLESTR("is freed"));
  EXPECT_EQ(aoi->get_Tag(&out), S_OK);
  EXPECT_EQ(out.vt, VT_EMPTY);
  EXPECT_EQ(Ask([&] { return aoi->get_Tag(nullptr); }), Plain(E_POINTER));
  tag.bstrVal = SysAllocString(OLESTR("tag"));
  EXPECT_EQ(aoi->put_Tag(tag), S_OK);
  tag.bstrVal[0] = OLECHAR{'x'};
  VariantClear(&tag);
  EXPECT_EQ(generic->get_Tag(&out), S_OK);
  ASSERT_EQ(out.vt, VT_BSTR);
  EXPECT_TRUE(Text(out.bstrVal) == OLESTR("tag"));
  VariantClear(&out);

  MapDouble object;
  tag.vt = VT_DISPATCH;
  tag.pdispVal = &object;
  EXPECT_EQ(aoi->put_Tag(tag), S_OK);
  EXPECT_EQ(object.references, 2);
  // What the old tag does when it goes finds the new one in place.
  object.onRelease = [&] { aoi->get_Tag(&out); };
  EXPECT_EQ(aoi->put_Tag(Int4(5)), S_OK);
  EXPECT_EQ(out.vt, VT_I4);
  EXPECT_EQ(object.references, 1);

  // A type that nobody can copy is refused, and marked.
  tag.vt = 0x0FFF;
  EXPECT_EQ(Ask([&] { return aoi->put_Tag(tag); }), Plain(DISP_E_BADVARTYPE));
  EXPECT_EQ(aoi->get_Tag(&out), S_OK);
  EXPECT_TRUE(out.vt == VT_ERROR && out.scode == DISP_E_BADVARTYPE);
  // Nothing moves to where it cannot be cleared.
  out.vt = 0x0FFF;
  EXPECT_EQ(Ask([&] { return aoi->get_Tag(&out); }), Plain(DISP_E_BADVARTYPE));
  EXPECT_EQ(out.vt, 0x0FFF);
}

TEST_F(AoiClientData, AttributeMap_IsShared) {
  MapDouble first, second;
  const auto aoi = NewAoi<ByteAoi>();
  const auto generic = aoi.As<IAoiKLP>();
  DebugCapture debug;
  IAttributeMapKLP* map = nullptr;
  EXPECT_EQ(aoi->get_AttributeMap(&map), S_OK);
  EXPECT_EQ(map, nullptr);
  EXPECT_EQ(Ask([&] { return generic->get_AttributeMap(nullptr); }), Plain(E_POINTER));
  EXPECT_EQ(aoi->put_AttributeMap(&first), S_OK);
  EXPECT_EQ(aoi->CreateImage(4, 4), S_OK);
  EXPECT_EQ(generic->get_AttributeMap(&map), S_OK);
  EXPECT_EQ(map, &first);
  EXPECT_THAT(debug.Texts(), testing::IsEmpty());
  // What is still in the pointer goes, with a word about it.
  EXPECT_EQ(aoi->get_AttributeMap(&map), S_OK);
  EXPECT_EQ(first.references, 3);
  EXPECT_THAT(debug.Texts(), ElementsAre("AOI::get_AttributeMap()-> with zero initialised pointer "
                                         "expected. release!\r\n"));
  // It goes last: by then the held map has been handed out. So does the old map of a put.
  first.onRelease = [&] { aoi->put_AttributeMap(&second); };
  EXPECT_EQ(aoi->get_AttributeMap(&map), S_OK);
  EXPECT_EQ(map, &first);
  EXPECT_EQ(first.references, 2);
  first.onRelease = {};
  map->Release();
  IAttributeMapKLP* found = nullptr;
  second.onRelease = [&] { aoi->get_AttributeMap(&found); };
  EXPECT_EQ(aoi->put_AttributeMap(&first), S_OK);
  EXPECT_EQ(found, &first);
  EXPECT_EQ(second.references, 1);
  found->Release();

  // A map that refuses its dispatch interface is not handed out, and that is no failure.
  first.dispatchResult = E_NOINTERFACE;
  map = nullptr;
  EXPECT_EQ(aoi->get_AttributeMap(&map), S_OK);
  EXPECT_EQ(map, nullptr);
  EXPECT_EQ(generic->put_AttributeMap(nullptr), S_OK);
  EXPECT_EQ(first.references, 1);
}

VARIANT TagOf(IDispatch& object) {
  VARIANT tag{};
  tag.vt = VT_DISPATCH;
  tag.pdispVal = &object;
  return tag;
}

TEST_F(AoiClientData, Destruction_LeavesAWholeAoiToWhatItLetsGo) {
  using I = IByteAOIKLP;
  MapDouble late;
  const std::function<void(I&)> kCalls[] = {
      [&](I& a) { EXPECT_EQ(a.put_Tag(TagOf(late)), S_OK); },
      [&](I& a) { EXPECT_EQ(a.put_AttributeMap(&late), S_OK); },
      [](I& a) { EXPECT_EQ(a.CreatePlanes(2, 4, 4), S_OK); },
      [](I& a) { PutName(a, NameOf(a).c_str()); },
      [](I& a) { EXPECT_EQ(a.SetRect(0, 0, 0, 0), platform::ResultCode(0x8004045Au)); },
      [](I& a) { EXPECT_EQ(a.Clone(ComPtr<I>().Put()), S_OK); },
      [](I& a) { EXPECT_EQ(a.Duplicate(ComPtr<I>().Put()), S_OK); },
      [](I& a) {
        EXPECT_EQ(ComPtr<I>(&a).As<IPersistStream>()->Save(NewStream().Get(), TRUE), S_OK);
      }};
  for (const bool isAggregated : {false, true}) {
    for (const auto& call : kCalls) {
      SCOPED_TRACE(testing::Message() << isAggregated << " " << &call - kCalls);
      AoiOuter outer;
      ASSERT_EQ(ModuleClient::Get().CreateInside(isAggregated ? &outer : nullptr, ByteAoi::kClass,
                                                 IID_IUnknown, outer.inner.PutVoid()),
                S_OK);
      IUnknown* const object = outer.inner.Get();
      I* const aoi = outer.inner.As<I>().Get();
      ASSERT_EQ(aoi->CreateImage(4, 4), S_OK);
      MapDouble map, tagged;
      aoi->put_AttributeMap(&map);
      aoi->put_Tag(TagOf(tagged));
      std::string order;
      const auto comeBack = [&](MapDouble& self, char mark) {
        if (self.references > 1 || order.find(mark) != order.npos) return;
        order += mark;
        EXPECT_EQ(ModuleClient::Get().CanUnloadNow(), S_OK) << "the count goes down first";
        EXPECT_EQ(object->AddRef(), 0xC0000002u);
        EXPECT_EQ(object->Release(), 0xC0000001u);
        call(*aoi);
      };
      // What comes in meanwhile goes as early.
      late.onRelease = [&] { static_cast<void>(object->AddRef() + object->Release()); };
      map.onRelease = [&] { comeBack(map, 'm'); };
      tagged.onRelease = [&] { comeBack(tagged, 't'); };
      EXPECT_EQ(object->Release(), 0u);
      static_cast<void>(outer.inner.Detach());
      EXPECT_EQ(order, "mt");
      EXPECT_TRUE(map.references == 1 && tagged.references == 1 && late.references == 1);
      EXPECT_EQ(outer.references, 1);
    }
  }
}

}  // namespace
}  // namespace tests
