// SPDX-License-Identifier: MIT
// The client library, which has no code but its headers: what it adds to the slots, on the module
// as programs find it.
#include <gmock/gmock.h>
#include <rastelklp/client.h>

#include <fstream>
#include <functional>
#include <numeric>
#include <sstream>
#include <thread>

#include "tests/support/host_kind.h"
#include "tests/support/module_client.h"
#include "tests/support/registered_module.h"
#include "tests/support/temp_file.h"
#include "tests/support/test_object.h"

namespace tests {
namespace {

using namespace rastelklp;
using testing::ElementsAre;
using testing::HasSubstr;

// What an operation raises; null if nothing.
std::unique_ptr<Error> Raised(const std::function<void()>& operation) {
  try {
    operation();
  } catch (const Error& error) {
    return std::make_unique<Error>(error);
  }
  return nullptr;
}

HRESULT CodeOf(const std::function<void()>& operation) {
  const auto error = Raised(operation);
  return error ? error->code() : S_OK;
}

class Client : public testing::Test {
 protected:
  static void SetUpTestSuite() { module_.emplace(); }
  static void TearDownTestSuite() { module_.reset(); }
  // Nothing of what a test made may be left, whatever failed on the way.
  ~Client() override { EXPECT_EQ(ModuleClient::Get().CanUnloadNow(), S_OK); }

 private:
  static inline std::optional<RegisteredModule> module_;
  const Session session_;
};

TEST_F(Client, EveryPixelTypeGoesRowByRowThroughItsOwnPlane) {
  const auto check = []<class T>(T) {
    const Aoi<T> picture({5, 4}, 3, 2);
    for (int n = 0; n < 3; ++n) {
      T next = static_cast<T>(n * 20 - 1);
      for (const auto row : picture.plane(n)) {
        for (T& pixel : row) pixel = next++;
      }
    }
    Aoi<T> clone = picture.clone();
    clone.fill_margins(MarginMirror);
    for (const int n : {2, 0, 1}) {
      const auto inner = picture.plane(n);
      const auto grown = clone.plane(n, 2);
      EXPECT_EQ((Size{grown.width(), grown.height()}), (Size{9, 8}));
      EXPECT_EQ(grown[1][2], inner[0][0]);
      EXPECT_EQ(grown[7][8], inner[2][3]);
      EXPECT_EQ(&grown[2][2], inner.data());
      check_hresult(clone->put_ActivePlane(n));
      // Seen by an AOI with another active plane, too.
      EXPECT_EQ(clone.plane(1)[3][4], static_cast<T>(38));
      EXPECT_EQ(clone.pixel(4, 3), static_cast<double>(static_cast<T>(n * 20 + 18)));
    }
    EXPECT_EQ(CodeOf([&] { picture.plane(0, 3); }), E_FAIL);
    EXPECT_EQ(Raised([&] { picture.plane(3); })->number(), 1129);

    const int type = AnyAoi(picture).visit(
        [](const auto& typed) { return std::is_same_v<decltype(typed), const Aoi<T>&> ? 1 : 0; });
    EXPECT_EQ(type, 1);
  };
  std::apply([&](auto... types) { (check(types), ...); },
             std::tuple<std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, std::uint32_t,
                        std::int32_t, float, double>());
}

TEST_F(Client, PlanesAreRangesAndKeepTheirPicture) {
  static_assert(std::random_access_iterator<Plane<float>::iterator>);
  std::vector<float> pixels(12);
  std::iota(pixels.begin(), pixels.end(), 0.0f);
  const auto plane = Aoi<float>({3, 2}, pixels, 2, 1).plane(1);
  EXPECT_EQ(plane.stride(), 5);
  EXPECT_THAT(plane[1], ElementsAre(9, 10, 11));
  EXPECT_EQ((*(plane.end() - 2))[0], 6);
  const auto attached = Aoi<float>::attach_to({3, 2}, pixels, 2);
  attached.plane(1)[0][0] = 100;
  EXPECT_EQ(pixels[6], 100);
}

TEST_F(Client, SizesAreSeenBeforeTheyWrap) {
  constexpr int kMost = std::numeric_limits<int>::max();
  static constexpr struct {
    Size size;
    int planes, margin;
  } kWrapping[] = {{{65536, 65536}, 1, 0},     {{65536, 32768}, 2, 0},         {{kMost, 1}, 1, 1},
                   {{40000, 40000}, 1, 10000}, {{kMost, kMost}, kMost, kMost}, {{-4, 4}, 1, 0}};
  for (const auto& row : kWrapping) {
    EXPECT_EQ(CodeOf([&] { Aoi<std::uint8_t>(row.size, row.planes, row.margin); }), E_INVALIDARG);
  }
  std::vector<std::uint8_t> few(11);
  EXPECT_EQ(CodeOf([&] { Aoi<std::uint8_t>({3, 2}, few, 2); }), E_INVALIDARG);
  EXPECT_EQ(CodeOf([&] { Aoi<std::uint8_t>::attach_to({3, 2}, few, 2); }), E_INVALIDARG);
  // Of others: their planes would begin elsewhere.
  Aoi<std::uint8_t> large({1, 1});
  check_hresult(large->AttachPlanes(3, 40000, 40000, few.data()));
  EXPECT_EQ(CodeOf([&] { large.plane(1); }), E_INVALIDARG);
  Aoi<std::uint8_t> rectangle({9, 9});
  for (const Rect& to : {Rect{5, 5, 0, 1}, {5, 5, 1, 0}, {kMost, 0, 2, 1}}) {
    EXPECT_EQ(CodeOf([&] { rectangle.rectangle(to); }), E_INVALIDARG);
  }
  rectangle.rectangle({5, 6, 2, 3});
  EXPECT_EQ(rectangle.rectangle(), (Rect{5, 6, 2, 3}));
}

TEST_F(Client, TilesShareThePixelsAndFailWithoutATrace) {
  const Aoi<std::uint16_t> picture({10, 7}, 2);
  const auto tiles = picture.tiles(3, 2);
  EXPECT_EQ(tiles.size(), 6u);
  EXPECT_EQ(tiles[5].rectangle(), (Rect{6, 3, 4, 4}));
  std::vector<std::thread> threads;
  for (const auto& tile : tiles) {
    threads.emplace_back([&picture, tile] {
      for (const auto& plane : tile.planes()) {
        for (const auto row : plane) std::fill(row.begin(), row.end(), std::uint16_t{7});
      }
      // What only reads is for all threads, on one AOI as well.
      EXPECT_EQ(picture.plane(1).size(), 7u);
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const auto& plane : picture.planes()) {
    for (const auto row : plane) EXPECT_THAT(row, testing::Each(7));
  }
  static constexpr struct {
    int across, down, number;
  } kRefused[] = {{0, 1, 1118}, {101, 1, 1118}, {641, 6700417, 1118}, {11, 1, 1119}};
  for (const auto& row : kRefused) {
    EXPECT_EQ(Raised([&] { picture.tiles(row.across, row.down); })->number(), row.number);
  }
}

TEST_F(Client, ErrorsBringTheWordsOfTheirOwnReportAlone) {
  Aoi<std::uint8_t> unbound = create<Aoi<std::uint8_t>>(CLSID_ByteAOIKLP);
  const auto report = Raised([&] { unbound.plane(0); });
  EXPECT_EQ(report->code(), platform::ResultCode(0x8004045A));
  EXPECT_EQ(report->number(), 1114);
  EXPECT_EQ(report->text(), "Rasteldata: Dem AOI ist kein Bildpuffer zugeordnet.");
  EXPECT_EQ(report->source(), "AOIKLP.ByteKLP.2");
  EXPECT_THAT(report->what(), HasSubstr(report->hint()));

  EXPECT_LT(unbound->put_Width(-1), 0);  // leaves a report on the thread
  const auto plain = Raised([&] { unbound.as<IVectorKLP>(); });
  EXPECT_EQ(plain->text(), "E_NOINTERFACE: the object is of another kind");
  EXPECT_EQ(plain->source() + plain->hint(), "");
  EXPECT_EQ(Raised([] { detail::Raise(platform::ResultCode(0x87654321)); })->what(),
            std::string("0x87654321"));

  Map map(KeyKindDouble);
  EXPECT_EQ(Raised([&] { map["text"] = 1; })->text(), "invalid key type. expected VT_R8");
}

TEST(ClientWords, AreThoseOfTheDocumentation) {
  // | 0x80040452 | 1106 | text | what it means | what to do |
  std::ifstream page(ERRORS_PAGE);
  int rows = 0;
  for (std::string line; std::getline(page, line);) {
    if (!line.starts_with("| 0x800404")) continue;
    std::vector<std::string> cells;
    std::istringstream row(line);
    for (std::string cell; std::getline(row, cell, '|');) cells.push_back(cell);
    const auto code = static_cast<HRESULT>(std::stoul(cells[1], nullptr, 16));
    EXPECT_EQ(Error(code, "").hint(), cells[4].substr(1, cells[4].size() - 2)) << line;
    EXPECT_EQ(Error(code, "").number(), std::stoi(cells[2])) << line;
    ++rows;
  }
  EXPECT_EQ(rows, std::ssize(detail::kReportHints));
}

TEST_F(Client, TextsAreTheSameInBothForms) {
  static const struct {
    std::string utf8;
    std::u16string utf16;
  } kTexts[] = {{"", u""},
                {"a\xC3\xBC\xE2\x82\xAC", u"a\u00FC\u20AC"},
                {"\xF0\x9F\x98\x80", u"\U0001F600"},
                {std::string("a\0b", 3), {u"a\0b", 3}}};
  for (const auto& [utf8, utf16] : kTexts) {
    EXPECT_EQ(Text(utf8).utf16(), utf16);
    EXPECT_EQ(Text(utf16).utf8(), utf8);
    EXPECT_EQ(Text(utf8), Text(utf16));
  }
  EXPECT_EQ(Text("\xFF").utf16(), u"\uFFFD");
  EXPECT_TRUE(Text() == "" && Text("a") != "b" && Text(Text("a")) == u"a");
}

TEST_F(Client, ValuesKeepTheirTypeInMapsTagsAndVectors) {
  Vector<float> inner(std::vector<float>{1, 2});
  const Value values[] = {{}, true, -5, std::int64_t{1} << 40, 2.5, "\xC3\xBC", inner, 3u};
  Map map;
  Aoi<double> picture({1, 1});
  Vector<VARIANT> vector(1);
  Vector<std::uint8_t> tagged(0);
  tagged.resize(1);
  EXPECT_TRUE(tagged.tag(0).empty());
  for (const Value& value : values) {
    map["key"] = value;
    picture.tag(value);
    vector.put(0, value);
    tagged.tag(0, value);
    for (const Value& back :
         {map.at("key"), picture.tag(), Value(Variant(vector.span()[0])), tagged.tag(0)}) {
      ASSERT_EQ(back.index(), value.index());
      std::visit(
          [&]<class Held>(const Held& held) {
            if constexpr (std::is_same_v<Held, Object>) {
              EXPECT_THAT(back.as<Vector<float>>().span(), ElementsAre(1, 2));
            } else if constexpr (!std::is_same_v<Held, Variant>) {
              EXPECT_EQ(std::get<Held>(back), held);
            }
          },
          value);
    }
  }
  // Types without an alternative stay what they are.
  Variant date;
  date.address()->vt = VT_DATE;
  date.address()->date = 1.5;
  picture.tag(Value(date));
  EXPECT_EQ(std::get<Variant>(picture.tag()).get().vt, VT_DATE);

  EXPECT_EQ(Value(2.0).as<std::uint8_t>(), 2);
  EXPECT_EQ(Value(std::int64_t{-1}).as<std::int8_t>(), -1);
  const std::function<void()> refused[] = {
      [] { Value(2.5).as<int>(); },       [] { Value(256).as<std::uint8_t>(); },
      [] { Value(-1).as<unsigned>(); },   [] { Value(std::nan("")).as<int>(); },
      [] { Value(1e300).as<int>(); },     [] { Value("1").as<int>(); },
      [] { Value(1).as<std::string>(); }, [&] { Value(inner).as<Map>(); }};
  std::vector<HRESULT> codes;
  for (const auto& operation : refused) codes.push_back(CodeOf(operation));
  EXPECT_THAT(
      codes, ElementsAre(DISP_E_OVERFLOW, DISP_E_OVERFLOW, DISP_E_OVERFLOW, DISP_E_OVERFLOW,
                         DISP_E_OVERFLOW, DISP_E_TYPEMISMATCH, DISP_E_TYPEMISMATCH, E_NOINTERFACE));
}

TEST_F(Client, MapsOfEveryKindAreWalkedAndChanged) {
  static const struct {
    KeyKindKLP kind;
    Value low, high, missing;
  } kKinds[] = {{KeyKindBstr, "a", "b", "c"}, {KeyKindLong, -1, 7, 8}, {KeyKindDouble, -1, 0.5, 2}};
  for (const auto& row : kKinds) {
    const auto& [kind, low, high, missing] = row;
    Map map{{low, "low"}};
    if (kind == KeyKindDouble) map = Map(kind), map[low] = "low";
    EXPECT_EQ(map.key_kind(), kind);
    map[high] = map[low];
    map[high] = 3;
    EXPECT_EQ(map[high].as<int>(), 3);
    std::string walked;
    for (const auto& [key, value] : map.entries()) {
      EXPECT_EQ(map.at(key).index(), value.index());
      walked += std::to_string(value.index());
    }
    EXPECT_EQ(walked, "52");
    EXPECT_FALSE(map.find(missing));
    EXPECT_EQ(CodeOf([&] { map.at(row.missing); }), DISP_E_BADINDEX);
    EXPECT_FALSE(map.erase(missing));
    EXPECT_TRUE(map.erase(low) && !map.contains(low) && map.size() == 1);
    check_hresult(map->put_OverrideMode(VARIANT_FALSE));
    EXPECT_EQ(Raised([&] { map[row.high] = 1; })->text(),
              "element already exist => use override mode");
  }
}

// A picture with everything that it can have.
Aoi<std::uint8_t> Picture() {
  Aoi<std::uint8_t> picture({20, 10}, 2, 3);
  for (const auto& plane : picture.planes()) {
    for (const auto row : plane) std::iota(row.begin(), row.end(), std::uint8_t{1});
  }
  picture.name("\xC3\xBC");
  picture.tag(5);
  picture.attributes(Map{{"map", Map{{1, 2}}}, {"vector", Vector<double>(3)}});
  return picture;
}

TEST_F(Client, ObjectsGoToFilesAndMemoryAndBack) {
  const TempFile place;
  const std::string file = place.folder() + "/gr\xC3\xBC\xC3\x9F.aoi";
  const auto picture = Picture();
  const std::vector<std::byte> bytes = save(picture);
  save(Map(), file);
  save(picture, file);
  save(picture, FileStream::create(file + "2"));
  for (const auto& loaded : {load<Aoi<std::uint8_t>>(bytes), load<Aoi<std::uint8_t>>(file),
                             load<AnyAoi>(FileStream::open(file + "2")).as<Aoi<std::uint8_t>>()}) {
    EXPECT_EQ(loaded.name(), "\xC3\xBC");
    EXPECT_EQ(loaded.tag().as<int>(), 5);
    EXPECT_EQ(loaded.attributes()["map"].as<Map>()[1].as<int>(), 2);
    EXPECT_EQ(loaded.plane(1)[9][19], 20);
  }
  EXPECT_FALSE(std::filesystem::exists(Path(file + ".part").get()));
  // More than one buffer of a file.
  Map many{{0, 0}};
  for (int i = 0; i < 9000; ++i) many[i] = i;
  save(many, file);
  EXPECT_EQ(std::filesystem::file_size(Path(file).get()), save(many).size());
  EXPECT_EQ(load<Map>(file)[8999].as<int>(), 8999);
  // A slot would pass over most of these.
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    EXPECT_LT(CodeOf([&] { load(std::span(bytes).first(cut)); }), 0) << cut;
  }
}

TEST_F(Client, FilesNameOnlyTheClassesThatTheProgramAllows) {
  Script script;
  const RegisteredTestClass registered(script);
  const auto bytes = save(Object(TestObject::New(script).Get()));
  const auto loads = [&] { return CodeOf([&] { load(bytes); }); };
  EXPECT_EQ(loads(), S_OK);
  allow_only();
  EXPECT_EQ(loads(), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(load<Map>(save(Map{{1, 2}})).size(), 1u);
  EXPECT_EQ(CodeOf([] { load<Map>(save(Vector<float>(3))); }), E_NOINTERFACE);
  allow_only(std::array{kTestClass});
  EXPECT_EQ(loads(), S_OK);
  allow_all();
}

TEST_F(Client, FilesFailWithTheirName) {
  const TempFile place;
  const std::string file = place.folder() + "/\xC3\xBC.aoi";
  const auto picture = Picture();
  const std::string inNone = file + "/none/x.aoi";
  const std::function<void()> refused[] = {[&] { load(file); },
                                           [&] { FileStream::open(inNone); },
                                           [&] { save(picture, inNone); },
                                           [&] { FileStream::create(inNone); },
                                           [&] { FileStream::create(file), load(file); },
                                           [&] { load<Map>((save(picture, file), file)); }};
  for (const auto& operation : refused) {
    const auto error = Raised(operation);
    ASSERT_TRUE(error);
    EXPECT_THAT(error->what(), HasSubstr("\xC3\xBC.aoi"));
  }
  EXPECT_EQ(CodeOf(refused[0]), S_OK);  // the last one has made it
  if (!kEmbeddedHost) GTEST_SKIP() << "no file here stands for a full disk";
  // Pixels that do not go are S_OK for the slot.
  EXPECT_EQ(CodeOf([&] { save(picture, "/dev/full"); }), HRESULT_FROM_WIN32(112));
  EXPECT_EQ(CodeOf([&] {
              save(Aoi<double>({1000, 1000}), FileStream::create("/dev/full"));
            }),
            HRESULT_FROM_WIN32(112));
}

}  // namespace
}  // namespace tests
