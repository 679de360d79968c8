// Name, tag and attribute map: what a client hangs on a picture.
#include "tests/image/aoi_types.h"
#include "tests/image/map_double.h"
#include "tests/support/debug_capture.h"

namespace tests {
namespace {

using AoiClientData = AoiTest;
using testing::ElementsAre;
using testing::IsEmpty;
TEST_F(AoiClientData, Name_IsACopyOfWhatWasPut) {
  ForAllAoiTypes([](auto type) {
    const auto aoi = NewAoi<decltype(type)>();
    const auto generic = aoi.template As<IAoiKLP>();
    EXPECT_TRUE(NameOf(*aoi) == OLESTR("None"));
    const struct {
      const OLECHAR* units;
      UINT length;
    } kRows[] = {{OLESTR("A"), 1}, {OLESTR(""), 0}, {OLESTR("a\0b"), 3}, {OLESTR("None"), 4}};
    for (const auto& row : kRows) {
      const BSTR name = SysAllocStringLen(row.units, row.length);
      EXPECT_EQ(aoi->put_Name(name), S_OK);
      EXPECT_TRUE(NameOf(*generic) == Text(row.units, row.length));
      if (row.length > 0) name[0] = OLECHAR{'x'};
      EXPECT_TRUE(NameOf(*aoi) == Text(row.units, row.length));
      SysFreeString(name);
    }
    EXPECT_EQ(generic->put_Name(nullptr), S_OK);
    BSTR name = SysAllocString(OLESTR("stays with the client"));
    const BSTR before = name;
    EXPECT_EQ(aoi->get_Name(&name), S_OK);
    EXPECT_EQ(name, nullptr);
    SysFreeString(before);
    EXPECT_EQ(aoi->CreateImage(4, 4), S_OK);
    EXPECT_TRUE(NameOf(*aoi) == OLESTR("None"));
    EXPECT_EQ(generic->put_Name(nullptr), S_OK);
    EXPECT_EQ(aoi->CreatePlanes(1, 0, 4), platform::ResultCode(0x8004045Bu));
    EXPECT_EQ(aoi->get_Name(&name), S_OK);
    EXPECT_EQ(name, nullptr) << "a bind that fails does not reach the name";
  });
}

VARIANT TextVariant(const OLECHAR* text) {
  VARIANT value{};
  value.vt = VT_BSTR;
  value.bstrVal = SysAllocString(text);
  return value;
}

TEST_F(AoiClientData, Tag_IsCopiedBothWays) {
  ForAllAoiTypes([](auto type) {
    const auto aoi = NewAoi<decltype(type)>();
    const auto generic = aoi.template As<IAoiKLP>();
    VARIANT out = TextVariant(OLESTR("is freed"));
    EXPECT_EQ(aoi->get_Tag(&out), S_OK);
    EXPECT_EQ(out.vt, VT_EMPTY);
    EXPECT_EQ(Ask([&] { return aoi->get_Tag(nullptr); }), Plain(E_POINTER));

    VARIANT tag = TextVariant(OLESTR("tag"));
    EXPECT_EQ(aoi->put_Tag(tag), S_OK);
    tag.bstrVal[0] = OLECHAR{'x'};
    VariantClear(&tag);
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(generic->get_Tag(&out), S_OK);
      ASSERT_EQ(out.vt, VT_BSTR);
      EXPECT_TRUE(Text(out.bstrVal) == OLESTR("tag"));
    }
    // A VARIANT that is the tag itself, bit by bit, as far as the client can tell.
    EXPECT_EQ(generic->put_Tag(out), S_OK);
    VariantClear(&out);

    MapDouble object;
    tag.vt = VT_DISPATCH;
    tag.pdispVal = &object;
    EXPECT_EQ(aoi->put_Tag(tag), S_OK);
    EXPECT_EQ(object.references, 2u);
    EXPECT_EQ(aoi->get_Tag(&out), S_OK);
    EXPECT_EQ(out.pdispVal, &object);
    EXPECT_EQ(object.references, 3u);
    // What the old tag does when it goes finds the new one in place.
    std::uint16_t seen = 99;
    object.onRelease = [&] {
      VARIANT now{};
      aoi->get_Tag(&now);
      seen = now.vt;
      VariantClear(&now);
    };
    tag.vt = VT_I2;
    tag.iVal = 5;
    EXPECT_EQ(aoi->put_Tag(tag), S_OK);
    EXPECT_EQ(seen, VT_I2);
    EXPECT_EQ(object.references, 2u);
    VariantClear(&out);
    EXPECT_EQ(object.references, 1u);

    // A type that nobody can copy is refused, and marked.
    tag.vt = 0x0FFF;
    EXPECT_EQ(Ask([&] { return aoi->put_Tag(tag); }), Plain(DISP_E_BADVARTYPE));
    EXPECT_EQ(aoi->get_Tag(&out), S_OK);
    EXPECT_EQ(out.vt, VT_ERROR);
    EXPECT_EQ(out.scode, DISP_E_BADVARTYPE);
  });
}

TEST_F(AoiClientData, AttributeMap_IsShared) {
  ForAllAoiTypes([](auto type) {
    MapDouble first;
    MapDouble second;
    {
      const auto aoi = NewAoi<decltype(type)>();
      const auto generic = aoi.template As<IAoiKLP>();
      DebugCapture debug;
      IAttributeMapKLP* map = nullptr;
      EXPECT_EQ(aoi->get_AttributeMap(&map), S_OK);
      EXPECT_EQ(map, nullptr);
      EXPECT_EQ(Ask([&] { return generic->get_AttributeMap(nullptr); }), Plain(E_POINTER));

      EXPECT_EQ(aoi->put_AttributeMap(&first), S_OK);
      EXPECT_EQ(aoi->CreateImage(4, 4), S_OK);
      EXPECT_EQ(generic->get_AttributeMap(&map), S_OK);
      EXPECT_EQ(map, &first);
      EXPECT_EQ(first.references, 3u);
      EXPECT_THAT(debug.Texts(), IsEmpty());
      // What is still in the pointer goes, with a word about it.
      EXPECT_EQ(aoi->get_AttributeMap(&map), S_OK);
      EXPECT_EQ(map, &first);
      EXPECT_EQ(first.references, 3u);
      EXPECT_THAT(debug.Texts(),
                  ElementsAre("AOI::get_AttributeMap()-> with zero initialised pointer expected. "
                              "release!\r\n"));
      map->Release();

      // The old map goes last and finds the new one in place.
      IAttributeMapKLP* found = nullptr;
      first.onRelease = [&] {
        if (!found) aoi->get_AttributeMap(&found);
      };
      EXPECT_EQ(aoi->put_AttributeMap(&second), S_OK);
      EXPECT_EQ(first.references, 1u);
      ASSERT_EQ(found, &second);
      first.onRelease = {};
      found->Release();
      EXPECT_EQ(generic->put_AttributeMap(&second), S_OK);
      EXPECT_EQ(second.references, 2u);

      // What leaves the pointer goes last too: by then the held map has been handed out.
      first.onRelease = [&] { aoi->put_AttributeMap(nullptr); };
      map = &first;
      first.AddRef();
      EXPECT_EQ(aoi->get_AttributeMap(&map), S_OK);
      EXPECT_EQ(map, &second);
      first.onRelease = {};
      map->Release();
      EXPECT_EQ(aoi->put_AttributeMap(&second), S_OK);

      // A map that refuses its dispatch interface is not handed out, and that is no failure.
      second.dispatchResult = E_NOINTERFACE;
      map = &first;
      first.AddRef();
      EXPECT_EQ(aoi->get_AttributeMap(&map), S_OK);
      EXPECT_EQ(map, nullptr);
      EXPECT_EQ(first.references, 1u);
      EXPECT_EQ(aoi->put_AttributeMap(nullptr), S_OK);
      EXPECT_EQ(second.references, 1u);
      EXPECT_EQ(aoi->put_AttributeMap(&first), S_OK);
    }
    EXPECT_EQ(first.references, 1u) << "the map goes with the AOI";
  });
}

TEST_F(AoiClientData, Destruction_EmptiesTheObjectBeforeItLetsGo) {
  const ModuleClient& module = ModuleClient::Get();
  MapDouble map;
  MapDouble tagged;
  auto aoi = NewAoi<ByteAoi>();
  aoi->put_AttributeMap(&map);
  VARIANT tag{};
  tag.vt = VT_DISPATCH;
  tag.pdispVal = &tagged;
  aoi->put_Tag(tag);
  int order = 0;
  int mapAt = 0;
  int tagAt = 0;
  map.onRelease = [&] { mapAt = ++order; };
  tagged.onRelease = [&] { tagAt = ++order; };
  aoi.Reset();
  EXPECT_EQ(mapAt, 1);
  EXPECT_EQ(tagAt, 2);
  EXPECT_EQ(module.CanUnloadNow(), S_OK);
}

}  // namespace
}  // namespace tests
