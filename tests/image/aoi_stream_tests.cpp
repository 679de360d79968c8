// The stream of an AOI: its bytes, its seven versions, and streams that fail, end or lie.
#include <numeric>

#include "module/frame/variants.h"
#include "tests/image/aoi_types.h"
#include "tests/persist/test_object.h"
#include "tests/support/debug_capture.h"
#include "tests/support/fault_stream.h"
#include "tests/support/slots.h"

namespace tests {
namespace {

using rastel::CComVariant;
using testing::AnyOf;
using testing::Each;
using testing::ElementsAre;

constexpr HRESULT kFull = platform::ResultCode(0x80030070u);
constexpr HRESULT kMemory = platform::ResultCode(0x8007000Eu);
const std::vector<std::string> kNotSaved = {"Aoi::Save()->exception occured [(null)]\r\n",
                                            "Aoi::Save()->can't save tag -> ignoring\r\n"};
const std::vector<std::string> kNotRead = {"Aoi::Load()->exception occured [(null)]\r\n",
                                           "Aoi::Load()->can't read tag variant from stream"};

struct Kind {
  const char* name;
  const CLSID* classId;
  ElementTypeKLP code;
  double first;  // pixel of the files in tests/data/aois
};
constexpr Kind kKinds[] = {{"byte", &CLSID_ByteAOIKLP, ElementByte, 7},
                           {"char", &CLSID_CharAOIKLP, ElementChar, -30},
                           {"word", &CLSID_WordAOIKLP, ElementWord, 65000},
                           {"short", &CLSID_ShortAOIKLP, ElementShort, -300},
                           {"dword", &CLSID_DWordAOIKLP, ElementDWord, 4294967000.0},
                           {"long", &CLSID_LongAOIKLP, ElementLong, -70000},
                           {"float", &CLSID_FloatAOIKLP, ElementFloat, -1.5},
                           {"double", &CLSID_DoubleAOIKLP, ElementDouble, -0.25}};

ComPtr<IAoiKLP> Make(REFCLSID classId = CLSID_ByteAOIKLP) {
  return ModuleClient::Get().Create<IAoiKLP>(classId);
}
ComPtr<IPersistStream> Persist(const ComPtr<IAoiKLP>& aoi) { return aoi.As<IPersistStream>(); }

HRESULT LoadFrom(const ComPtr<IAoiKLP>& aoi, std::string_view hex) {
  return Persist(aoi)->Load(NewStream(hex).Get());
}
std::string SavedBy(const ComPtr<IAoiKLP>& aoi) {
  const auto stream = NewStream();
  EXPECT_EQ(Persist(aoi)->Save(stream.Get(), TRUE), S_OK);
  return ContentOf(stream.Get());
}
ULONGLONG EstimateOf(const ComPtr<IAoiKLP>& aoi) {
  ULARGE_INTEGER size{};
  EXPECT_EQ(Persist(aoi)->GetSizeMax(&size), S_OK);
  return size.QuadPart;
}
// Every pixel of a buffer, plane by plane.
std::vector<double> PixelsIn(const ComPtr<IAoiKLP>& aoi) {
  const std::vector<LONG> g = GeometryOf(*aoi);
  std::vector<double> pixels;
  for (LONG plane = 0; plane < g[8]; ++plane) {
    aoi->put_ActivePlane(plane);
    const auto more = PixelsOf(*aoi, -g[0], -g[1], g[6], g[7]);
    pixels.insert(pixels.end(), more.begin(), more.end());
  }
  return pixels;
}
// One of the files that a script has made from the format.
std::string Sample(const std::string& name) {
  return SampleHex(RASTEL_TEST_AOIS "/" + name + ".aoi");
}
bool IsAtEnd(const ComPtr<IStream>& stream) {
  return PositionOf(stream.Get()) == (ContentOf(stream.Get()).size() + 1) / 3;
}

// Two planes of 4 by 3 words in a margin of 1, each its own index in the buffer; rectangle 2 by 1
// at 1, 1 with margins 1, 1.
ComPtr<IAoiKLP> NewWords(MarshalFlagsKLP flags = MarshalRectangle) {
  const auto aoi = Make(CLSID_WordAOIKLP);
  aoi->put_BufferMargin(1);
  EXPECT_EQ(aoi->CreatePlanes(2, 4, 3), S_OK);
  for (LONG i = 0; i < 60; ++i) {
    aoi->put_ActivePlane(i / 30);
    EXPECT_EQ(aoi->PutPixel(i % 6 - 1, i / 6 % 5 - 1, i), S_OK);
  }
  EXPECT_EQ(aoi->SetRect(1, 1, 2, 1), S_OK);
  EXPECT_EQ(aoi->SetMargins(1, 1), S_OK);
  PutName(*aoi, OLESTR("w"));
  aoi->put_MarshalFlags(flags);
  aoi->put_Tag(Int4(5));
  return aoi;
}
constexpr char kWordsHead[] =
    "02 02 04 00 00 00 03 00 00 00 01 00 00 00 01 00 00 00 02 00 00 00 01 00 00 00 "
    "01 00 00 00 01 00 00 00 02 00 00 00 ";
constexpr char kWordsText[] =
    " 00 02 00 00 00 01 00 00 00 01 00 00 00 77 00 03 00 03 00 05 00 00 00 00 ";
constexpr char kFirstPlane[] =
    "07 00 08 00 09 00 0A 00 0D 00 0E 00 0F 00 10 00 13 00 14 00 15 00 16 00";
constexpr char kSecondPlane[] =
    "25 00 26 00 27 00 28 00 2B 00 2C 00 2D 00 2E 00 31 00 32 00 33 00 34 00";
// Foreign objects write AB CD; their class is there once Register is called.
class AoiStreams : public ObjectTest {
 protected:
  AoiStreams() { script_.data = "AB CD"; }
  ~AoiStreams() override {
    SetErrorInfo(0, nullptr);
    EXPECT_EQ(ModuleClient::Get().CanUnloadNow(), S_OK) << "objects of the module are left";
  }
};

TEST_F(AoiStreams, Save_WithoutABuffer_WritesTheHeaderAndReportsOnTheWay) {
  const std::string zeros =
      "02 02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
      "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ";
  const std::string tag = "00 00 00 00 02 00 00 00 00 00 00";
  const std::string name = "04 00 00 00 04 00 00 00 4E 00 6F 00 6E 00 65 00 ";
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const auto aoi = Make(*kind.classId);
    const std::string code = HexOf(&kind.code, 4) + " ";
    std::string saved;
    EXPECT_EQ(Ask([&] { return saved = SavedBy(aoi), S_OK; }), Swallowed(1114));
    EXPECT_EQ(saved, zeros + "00 00 " + code + name + tag);
    EXPECT_EQ(EstimateOf(aoi), 71u);
    aoi->put_MarshalFlags(MarshalBuffer);
    EXPECT_EQ(aoi->put_Name(nullptr), S_OK);
    EXPECT_EQ(SavedBy(aoi), zeros + "01 00 " + code + "00 00 00 00 00 00 00 00 " + tag +
                                " 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(EstimateOf(aoi), 75u);
  }
}

TEST_F(AoiStreams, Save_WritesTheRectangleWithMarginsOrTheBuffer) {
  const auto aoi = NewWords();
  EXPECT_EQ(SavedBy(aoi),
            std::string(kWordsHead) + "00" + kWordsText + kFirstPlane + " " + kSecondPlane);
  EXPECT_EQ(EstimateOf(aoi), 54u + 8 + 1 + 2 * 1 * 2 * 2) << "without the margins";
  aoi->put_PlaneSelected(0, 0);
  EXPECT_EQ(SavedBy(aoi), std::string(kWordsHead) + "00" + kWordsText + kSecondPlane);
  aoi->put_MarshalFlags(MarshalBuffer);
  const std::vector<LONG> before = GeometryOf(*aoi);
  // From the first image pixel on; a plane's last margin is the next one's first, and zero behind
  // the last.
  std::string planes;
  for (int start : {7, 37}) {
    for (int i = start; i < start + 30; ++i) {
      const BYTE pixel[] = {static_cast<BYTE>(i < 60 ? i : 0), 0};
      planes.append(" ").append(HexOf(pixel, 2));
    }
  }
  EXPECT_EQ(SavedBy(aoi), std::string(kWordsHead) + "01" + kWordsText +
                              "02 00 00 00 06 00 00 00 05 00 00 00" + planes);
  EXPECT_EQ(EstimateOf(aoi), 54u + 8 + 1 + 12 + 4 * 3 * 2 * 2) << "the rectangle with margins";
  EXPECT_EQ(GeometryOf(*aoi), before);
}

TEST_F(AoiStreams, Load_ReadsEveryVersionOfEveryType) {
  using Numbers = std::vector<LONG>;
  const Numbers inner = {2, 1, 2, 2, 1, 1, 5, 4, 2, 0, 0}, rect = {0, 0, 3, 2, 0, 0, 5, 4, 2, 0, 0},
                buffer = {2, 1, 3, 2, 1, 1, 6, 5, 2, 0, 0};
  const struct {
    const char* file;
    Numbers geometry;
    std::size_t pixels;
    LONG flags;  // 1: those of before the load
  } versions[] = {{"256_rect", {1, 0, 4, 2, 1, 0, 8, 3, 1, 0, 0}, 18, 1},
                  {"257_rect", inner, 40, 1},
                  {"258_rect", inner, 40, 1},
                  {"259_rect", rect, 40, -2},
                  {"259_buffer", buffer, 60, 3},
                  {"512_rect", rect, 40, -2},
                  {"512_buffer", buffer, 60, 3},
                  {"513_rect", rect, 40, -2},
                  {"513_buffer", buffer, 60, 3},
                  {"514_rect", rect, 40, -2},
                  {"514_buffer", buffer, 60, 3}};
  for (const Kind& kind : kKinds) {
    for (const auto& version : versions) {
      SCOPED_TRACE(testing::Message() << kind.name << " " << version.file);
      const auto stream = NewStream(Sample(kind.name + (std::string("_") + version.file)));
      const std::string_view number = version.file;
      // Over what it held before.
      const auto aoi = Make(*kind.classId);
      ASSERT_EQ(aoi->CreatePlanes(3, 4, 4), S_OK);
      aoi->put_MarshalFlags(MarshalBuffer);
      aoi->put_MarginMode(MarginMirror);
      aoi->put_Tag(Int4(9));
      PutName(*aoi, OLESTR("before"));
      ASSERT_EQ(Persist(aoi)->Load(stream.Get()), S_OK);
      EXPECT_TRUE(IsAtEnd(stream));
      EXPECT_EQ(GeometryOf(*aoi), version.geometry);
      EXPECT_EQ(Get(*aoi, &IAoiKLP::get_MarshalFlags), version.flags);
      EXPECT_EQ(Get(*aoi, &IAoiKLP::get_MarginMode), MarginMirror);
      const bool isNamed = number >= "512";
      EXPECT_EQ(Get(*aoi, &IAoiKLP::get_ElementType), isNamed ? 7 - kind.code : kind.code);
      EXPECT_TRUE(NameOf(*aoi) == (isNamed ? OLESTR("N\u00E4h") : OLESTR("None")));
      CComVariant tag;
      aoi->get_Tag(&tag);
      EXPECT_EQ(tag.lVal, number >= "513" ? 5 : 9);
      std::vector<double> expected(version.pixels);
      std::iota(expected.begin(), expected.end(), kind.first);
      if (number < "257") {
        // The buffer is rounded up to 8, the rows in the stream are not.
        for (const int at : {6, 14, 22}) expected.insert(expected.begin() + at, 2, 0);
      }
      EXPECT_EQ(PixelsIn(aoi), expected);
    }
  }
}

// Version 512, 5 by 3 bytes without margins, up to the name; no name and the pixels.
const std::string kHead512 =
    "0002 05000000 03000000 00000000 00000000 05000000 03000000 00000000 00000000 01000000 0000 "
    "00000000 ";
const std::string kPixels = "0102030405 0607080910 1112131415";
const std::string kPlain512 = kHead512 + "00000000 00000000" + kPixels;

TEST_F(AoiStreams, Load_PassesOverWhatCannotBeBoundOrPlacedOrIsMissing) {
  const struct {
    const char* file;
    std::vector<LONG> geometry;
    Said said;
    VARTYPE tag = VT_I4;                  // of before the load
    std::size_t pixels = 0, missing = 0;  // 1, 2, 3, ..., then 0
  } rows[] = {
      {"256_empty", {-99, -99, -99, -99, -99, -99, -99, -99, 1, 0, 0}, Swallowed(1114)},
      {"257_negative_position", {1, 0, 3, 3, 1, 0, 5, 3, 1, 0, 0}, Swallowed(1113), VT_I4, 15},
      {"258_wide_margins", {1, 1, 2, 1, 0, 0, 5, 3, 1, 0, 0}, Plain(S_OK), VT_I4, 15},
      {"512_empty", {0, 0, 2, 2, 0, 0, 2, 2, 1, 0, 0}, Swallowed(1113)},
      {"512_missing_pixels", {0, 0, 5, 3, 0, 0, 5, 3, 1, 0, 0}, Plain(S_OK), VT_I4, 8, 7},
      {"513_null_text", {0, 0, 2, 1, 0, 0, 2, 1, 1, 0, 0}, Plain(S_OK), VT_BSTR, 2},
      {"514_negative_margins", {0, 0, 4, 3, 0, 0, 4, 3, 1, 0, 0}, Swallowed(1106), VT_EMPTY, 12},
      {"514_null_object", {0, 0, 2, 1, 0, 0, 2, 1, 1, 0, 0}, Plain(S_OK), VT_EMPTY, 2},
      {"514_unbound", {0, 0, 2, 2, 0, 0, 2, 2, 1, 0, 0}, Swallowed(1113), VT_EMPTY},
      {"514_unselected_planes", {0, 0, 2, 1, 0, 0, 2, 1, 3, 0, 0}, Plain(S_OK), VT_EMPTY, 4, 2}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    const auto aoi = Make();
    ASSERT_EQ(aoi->CreateImage(2, 2), S_OK);
    aoi->put_Tag(Int4(9));
    EXPECT_EQ(Ask([&] { return LoadFrom(aoi, Sample(std::string("byte_") + row.file)); }),
              row.said);
    EXPECT_EQ(GeometryOf(*aoi), row.geometry);
    CComVariant tag;
    aoi->get_Tag(&tag);
    EXPECT_EQ(tag.vt, row.tag);
    std::vector<double> expected(row.pixels);
    std::iota(expected.begin(), expected.end(), 1);
    expected.resize(row.pixels + row.missing);
    if (row.pixels > 0) {
      EXPECT_EQ(PixelsIn(aoi), expected);
    }
  }
}

TEST_F(AoiStreams, Load_UnknownVersion_IsReportedBehindIt) {
  const Said said = {platform::ResultCode(0x80040460u),
                     "Rasteldata:  AOI kann nicht geladen werden"};
  for (const char* hex : {"0302 FFFF", "0401 FFFF", "0082 FFFF"}) {
    const auto stream = NewStream(hex);
    EXPECT_EQ(Ask([&] { return Persist(Make())->Load(stream.Get()); }), said) << hex;
    EXPECT_EQ(PositionOf(stream.Get()), 2u);
  }
}

TEST_F(AoiStreams, Names_CarryTheirLengthTwice) {
  const std::tuple<const char*, HRESULT, const OLECHAR*> rows[] = {
      {"03000000 03000000 610000006300", S_OK, OLESTR("a")},
      {"FFFFFF00 01000000 6100", S_OK, OLESTR("a")},
      {"02000000 03000000 610062006300", E_FAIL, OLESTR("None")},
      {"00000000 FFFFFFFF", E_FAIL, OLESTR("None")},
      {"FFFFFFFF FFFFFFFF", kMemory, OLESTR("None")}};
  for (const auto& [lengthsAndText, result, name] : rows) {
    const auto aoi = Make();
    EXPECT_EQ(LoadFrom(aoi, kHead512 + lengthsAndText + kPixels), result) << lengthsAndText;
    EXPECT_TRUE(NameOf(*aoi) == name) << lengthsAndText;
    EXPECT_EQ(Get(*aoi, &IAoiKLP::get_PlaneCount), SUCCEEDED(result) ? 1 : 0);
  }
}

TEST_F(AoiStreams, Save_StreamFailsAtEveryWrite) {
  for (const MarshalFlagsKLP flags : {MarshalRectangle, MarshalBuffer}) {
    const auto aoi = NewWords(flags);
    const ULONG all = flags == MarshalBuffer ? 24 : 25;
    for (ULONG call = 1; call <= all + 1; ++call) {
      SCOPED_TRACE(testing::Message() << flags << " " << call);
      FaultStream stream(NewStream().Get());
      stream.FailAt(StreamCall::kWrite, call, kFull);
      DebugCapture debug;
      // 15 for header and name, 3 for the tag, 1 for the map, 3 for the buffer's sizes.
      const bool isOwnField = call <= 15 || (flags == MarshalBuffer && call > 19 && call <= 22);
      EXPECT_EQ(Ask([&] { return Persist(aoi)->Save(&stream, FALSE); }),
                Plain(isOwnField ? kFull : S_OK));
      EXPECT_EQ(debug.Texts(), call == 19 ? kNotSaved : std::vector<std::string>());
      // One call for a row or a plane, whether it fails or not.
      EXPECT_EQ(stream.Calls(StreamCall::kWrite), isOwnField ? call
                                                             : all - (call == 16   ? 2
                                                                      : call == 17 ? 1
                                                                                   : 0));
      EXPECT_EQ(stream.References(), 0u);
    }
  }
}

// A whole stream with 15 bytes of 5A as pixels in either form, with tag and map.
std::string Picture(bool isBuffer) {
  return std::string(
             "0202 05000000 03000000 00000000 00000000 05000000 03000000 00000000 00000000 ") +
         "01000000 " + (isBuffer ? "01" : "00") +
         "00 00000000 01000000 01000000 6100 0300 0300 05000000 01 " + kTestClassHex + " ABCD " +
         (isBuffer ? "01000000 05000000 03000000 " : "") + "5A5A5A5A5A 5A5A5A5A5A 5A5A5A5A5A";
}

TEST_F(AoiStreams, Load_StreamFailsAtEveryRead) {
  Register();
  for (const bool isBuffer : {false, true}) {
    const ULONG all = isBuffer ? 25 : 22;
    for (ULONG call = 1; call <= all + 1; ++call) {
      SCOPED_TRACE(testing::Message() << isBuffer << " " << call);
      MapDouble before;
      const auto aoi = Make();
      aoi->put_AttributeMap(&before);
      FaultStream stream(NewStream(Picture(isBuffer)).Get());
      stream.FailAt(StreamCall::kRead, call, kFull);
      DebugCapture debug;
      const Said said = Ask([&] { return Persist(aoi)->Load(&stream); });
      // 15 for header and name, 3 for the tag, 3 for the map, 3 for the buffer's sizes, 1 for the
      // plane. A fault in tag or map puts what follows out of step, and no more.
      if (call > 15 && call <= 21) {
        EXPECT_THAT(said.result, AnyOf(S_OK, kMemory, E_FAIL));
      } else if (call < all) {
        EXPECT_EQ(said, Plain(kFull));
      } else {
        EXPECT_EQ(said, Plain(S_OK));
        EXPECT_THAT(PixelsIn(aoi), Each(call > all ? 0x5A : 0));
      }
      if (call == 19 || call == 20) {
        EXPECT_EQ(debug.Texts(), kNotRead);
      }
      EXPECT_EQ(stream.References(), 0u);
      EXPECT_EQ(script_.objects, 0) << "no map is let go";
      // The client's map goes when its mark is read, and is never asked.
      const bool isKept = call <= 15 || call == 19;
      if (isKept || call > 18) {
        EXPECT_EQ(before.references, isKept ? 2 : 1);
      }
      EXPECT_EQ(before.queries, 0);
    }
  }
}

TEST_F(AoiStreams, Load_IntoABlockOfAnotherShape_StaysInStep) {
  const auto load = [](const ComPtr<IAoiKLP>& aoi, LONG margin, std::string hex) {
    aoi->put_BufferMargin(margin);
    const auto stream = NewStream(hex);
    EXPECT_EQ(Persist(aoi)->Load(stream.Get()), S_OK);
    return PositionOf(stream.Get());
  };
  // Into rows of 7, in a row from the first image pixel on.
  const auto aoi = Make();
  EXPECT_EQ(load(aoi, 1, kPlain512 + "EE"), 67u);
  std::vector<double> expected(35, 0);
  const BYTE pixels[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 17, 18, 19, 20, 21};
  std::copy(std::begin(pixels), std::end(pixels), expected.begin() + 8);
  EXPECT_EQ(PixelsOf(*aoi, -1, -1, 7, 5), expected);
  // The image begins outside the block of 3 by 1, and nothing is read.
  EXPECT_EQ(load(aoi, -1, kPlain512), 52u);
  // 3 planes of 0x55555556 are 2 pixels; what a plane says beyond is taken out of the stream.
  std::string wrapped = kPlain512;
  wrapped.replace(5, 17, "56555555 01000000").replace(77, 8, "03000000");
  EXPECT_EQ(load(aoi, 0, wrapped), 67u);
  EXPECT_EQ(PixelOf(*aoi, 1, 0), 2);
}

TEST_F(AoiStreams, TagsAndMapsThatRaise_ArePassedOver) {
  const auto aoi = NewWords();
  script_.query = E_ACCESSDENIED;
  CComVariant tag(NewValue());
  EXPECT_EQ(aoi->put_Tag(tag), S_OK);
  DebugCapture debug;
  // The tag's type has been written, then the pixels follow.
  EXPECT_EQ(SavedBy(aoi), std::string(kWordsHead) + "00" + std::string(kWordsText).substr(0, 46) +
                              "0D 00 " + kFirstPlane + " " + kSecondPlane);
  EXPECT_EQ(debug.Texts(), kNotSaved);
  debug.Clear();
  EXPECT_EQ(EstimateOf(aoi), 54u + 8);
  EXPECT_THAT(debug.Texts(), ElementsAre("Aoi::GetMaxSize()->exception occured [(null)]\r\n"));
  script_.query = S_OK;
  tag = CComVariant();
  aoi->put_Tag(tag);
  // A class that nobody knows in the map's place ends the map, not the load.
  debug.Clear();
  EXPECT_EQ(LoadFrom(aoi, Picture(false)), S_OK);
  EXPECT_EQ(debug.Texts(), kNotRead);
  debug.Clear();
  // A plain record of 513 that cannot be read.
  EXPECT_EQ(
      LoadFrom(aoi, std::string("0102 ").append(kHead512, 5) + "00000000 00000000 0800 01000000"),
      S_OK);
  EXPECT_EQ(debug.Texts(), kNotRead);
}

TEST_F(AoiStreams, Map_TravelsAndIsKeptIfItIsOne) {
  constexpr CLSID kMap = CLSID_AttributeBstrMapKLP;
  ComPtr<IUnknown> factory;
  ASSERT_EQ(ModuleClient::Get().GetClassObject(kMap, IID_IUnknown, factory.PutVoid()), S_OK);
  DWORD cookie = 0;
  ASSERT_EQ(
      CoRegisterClassObject(kMap, factory.Get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie),
      S_OK);
  const auto aoi = Make();
  // The vector in the map is of a class that is not there, and keeps its bytes.
  ASSERT_EQ(LoadFrom(aoi, Sample("byte_514_nested")), S_OK);
  EXPECT_EQ(SavedBy(aoi), Sample("byte_514_nested"));
  ComPtr<IAttributeMapKLP> loaded;
  EXPECT_EQ(aoi->get_AttributeMap(loaded.Put()), S_OK);
  ASSERT_TRUE(loaded);
  const ULONGLONG with = EstimateOf(aoi);
  aoi->put_AttributeMap(nullptr);
  ULARGE_INTEGER size{};
  EXPECT_EQ(loaded.As<IPersistStream>()->GetSizeMax(&size), S_OK);
  EXPECT_EQ(with, EstimateOf(aoi) + 16 + size.QuadPart);
  loaded.Reset();
  // An object of another class takes its bytes, and leaves no map.
  Register();
  ASSERT_EQ(LoadFrom(aoi, Picture(false)), S_OK);
  EXPECT_EQ(aoi->get_AttributeMap(loaded.Put()), S_OK);
  EXPECT_FALSE(loaded);
  EXPECT_EQ(script_.calls, "L");
  CoRevokeClassObject(cookie);
  // Floats keep their bits.
  const auto floats = Make(CLSID_FloatAOIKLP);
  ASSERT_EQ(LoadFrom(floats, Sample("float_514_nan")), S_OK);
  EXPECT_EQ(SavedBy(floats), Sample("float_514_nan"));
}

TEST_F(AoiStreams, Load_LetsGoOfTagAndMapAtItsEnd) {
  const std::string saved = SavedBy(NewWords());
  auto aoi = Make(CLSID_WordAOIKLP);
  IAoiKLP* const uncounted = aoi.Get();
  MapDouble map, tagged;
  CComVariant tag;
  tag.vt = VT_DISPATCH;
  tag.pdispVal = &tagged;
  aoi->put_Tag(tag);
  tag.Detach();
  aoi->put_AttributeMap(&map);
  Text seen;
  // The first one that goes takes the AOI with it.
  map.onRelease = tagged.onRelease = [&] {
    if (map.references > 1 && tagged.references > 1) return;
    if (aoi) seen += NameOf(*uncounted) + OLESTR("/");
    aoi.Reset();
  };
  IPersistStream* const persist = Persist(aoi).Get();
  EXPECT_EQ(persist->Load(NewStream(saved).Get()), S_OK);
  EXPECT_TRUE(seen == OLESTR("w/"));
  EXPECT_TRUE(map.references == 1 && tagged.references == 1) << "a mark of 0 is no map";
}

TEST_F(AoiStreams, PixelsMoveWithoutACopy) {
  const auto aoi = Make(CLSID_LongAOIKLP);
  const auto memory = NewStream();
  FaultStream stream(memory.Get());
  for (const auto& [flags, writes] :
       {std::pair{MarshalRectangle, 19u + 3 * 200}, std::pair{MarshalBuffer, 22u + 3}}) {
    ASSERT_EQ(aoi->CreatePlanes(3, 300, 200), S_OK);
    aoi->put_MarshalFlags(flags);
    aoi->put_Tag(Int4(5));
    SeekTo(memory.Get(), 0);
    stream.Reset();
    const ULONG firstOfPixels = flags == MarshalBuffer ? 23 : 20;
    // What changes right before its Write is written.
    stream.onCall = [&] {
      if (stream.Calls(StreamCall::kEvery) + 1 == firstOfPixels) aoi->Fill(77);
    };
    ASSERT_EQ(Persist(aoi)->Save(&stream, FALSE), S_OK);
    EXPECT_EQ(stream.Calls(StreamCall::kEvery), writes);
    // What a Read delivers is in the buffer before the next one.
    const auto copy = Make(CLSID_LongAOIKLP);
    SeekTo(memory.Get(), 0);
    stream.Reset();
    bool isThere = false;
    stream.onCall = [&] {
      double value = 0;
      isThere |= stream.Calls(StreamCall::kEvery) == firstOfPixels &&
                 copy->GetPixel(299, 199, &value) == S_OK && value == 77;
    };
    ASSERT_EQ(Persist(copy)->Load(&stream), S_OK);
    EXPECT_TRUE(isThere);
    EXPECT_EQ(stream.Calls(StreamCall::kEvery), firstOfPixels - 1 + 3) << "one for each plane";
  }
}

TEST_F(AoiStreams, StreamsMayTakeThePixelsAwayMeanwhile) {
  for (const bool isBuffer : {false, true}) {
    for (ULONG call = 1; call <= 25; ++call) {
      SCOPED_TRACE(call);
      const auto aoi = NewWords(isBuffer ? MarshalBuffer : MarshalRectangle);
      for (const bool isLoad : {false, true}) {
        FaultStream stream(NewStream(isLoad ? Picture(isBuffer) : "").Get());
        stream.onCall = [&] {
          if (stream.Calls(StreamCall::kEvery) + 1 == call) aoi->CreatePlanes(call % 3, 200, 1);
        };
        const auto persist = Persist(aoi);
        EXPECT_EQ(isLoad ? persist->Load(&stream) : persist->Save(&stream, FALSE), S_OK);
      }
    }
  }
}

TEST_F(AoiStreams, Load_LongRunOfPlanes_EndsWithTheStream) {
  const std::string many =
      "0201 01000000 01000000 00000000 00000000 01000000 01000000 0000 0000 FF7F";
  for (const bool fails : {false, true}) {
    const auto aoi = Make();
    const auto memory = NewStream(many + "01");
    FaultStream stream(memory.Get());
    if (fails) stream.FailFrom(StreamCall::kRead, 12, kFull);
    EXPECT_EQ(Persist(aoi)->Load(&stream), S_OK);
    EXPECT_LE(stream.Calls(StreamCall::kRead), fails ? 80u : 14u);
    EXPECT_EQ(GeometryOf(*aoi)[8], 0x7FFF);
  }
}

TEST_F(AoiStreams, PrivateSlots_StandBehindTheTypedInterface) {
  const auto typed = NewWords().As<IWordAOIKLP>();
  LONG n[4] = {};
  EXPECT_EQ(CallSlot(typed.Get(), 70, &n[0], &n[1], &n[2], &n[3]), S_OK);
  EXPECT_THAT(n, ElementsAre(1, 1, 2, 1));
  int slot = 71;
  for (const char* version : {"256", "257", "258", "259", "512", "513", "514"}) {
    const auto stream = NewStream(Sample(std::string("word_") + version + "_rect"));
    SeekTo(stream.Get(), 2);
    EXPECT_EQ(CallSlot(typed.Get(), slot++, stream.Get()), S_OK);
    EXPECT_TRUE(IsAtEnd(stream));
  }
}

}  // namespace
}  // namespace tests
