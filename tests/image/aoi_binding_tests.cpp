// Binding to buffers, and what no access may do when sizes are not what they seem.
#include <algorithm>
#include <functional>

#include "tests/image/aoi_types.h"

namespace tests {
namespace {

using AoiBinding = AoiTest;
using testing::Each;
using testing::ElementsAre;
using I = IByteAOIKLP;

constexpr LONG kMax = INT32_MAX;

std::uint8_t pixels[64];

template <class AnyI>
State StateOf(AnyI& aoi) {
  LONG width = 0;
  double value = 0;
  if (FAILED(aoi.get_Width(&width))) return State::kUnbound;
  return aoi.GetPixel(0, 0, &value) == E_POINTER ? State::kEmpty : State::kBound;
}

struct BindRow {
  const char* name;
  LONG margin;
  std::function<HRESULT(I&)> bind;
  Said said;
  State after;               // where the bind fails
  bool keepsBuffer = false;  // that of before
};

TEST_F(AoiBinding, Binds_TestInTheirOrderAndLeaveTheToldState) {
  constexpr State kUnbound = State::kUnbound, kEmpty = State::kEmpty, kBound = State::kBound;
  const Said kZero = Reported(1115);
  const Said kInvalid = Plain(E_INVALIDARG);
  const Said kPointer = Plain(E_POINTER);
  const Said kNoMemory = Plain(E_OUTOFMEMORY);
  const Said kOk = Plain(S_OK);
  const BindRow rows[] = {
      {"image, height 0", 9, [](I& a) { return a.CreateImage(4, 0); }, kZero, kUnbound},
      {"image, margin above height", 4, [](I& a) { return a.CreateImage(4, 3); }, kInvalid, kEmpty},
      {"image, width below 0", 0, [](I& a) { return a.CreateImage(-3, 4); }, kInvalid, kEmpty},
      {"image, product", 0, [](I& a) { return a.CreateImage(65536, 32768); }, kNoMemory, kEmpty},
      {"image", 4, [](I& a) { return a.CreateImage(4, 4); }, kOk, kBound},
      {"planes, width 0", 9, [](I& a) { return a.CreatePlanes(0, 0, 4); }, kZero, kEmpty},
      {"planes 0", 0, [](I& a) { return a.CreatePlanes(0, 4, 4); }, kInvalid, kEmpty},
      {"planes, margin", 5, [](I& a) { return a.CreatePlanes(1, 4, 5); }, kInvalid, kEmpty},
      {"planes below 0", 0, [](I& a) { return a.CreatePlanes(-1, 4, 4); }, kNoMemory, kEmpty},
      {"planes", 4, [](I& a) { return a.CreatePlanes(1, 4, 4); }, kOk, kBound},
      {"data, width 0", 9, [](I& a) { return a.CreateFromData(0, 0, 4, nullptr); }, kZero, kEmpty},
      {"data, null", 9, [](I& a) { return a.CreateFromData(0, 4, 4, nullptr); }, kPointer, kEmpty},
      {"data, 0", 0, [](I& a) { return a.CreateFromData(0, 4, 4, pixels); }, kInvalid, kEmpty},
      {"data, margin", 4, [](I& a) { return a.CreateFromData(1, 4, 3, pixels); }, kInvalid, kEmpty},
      {"data, -1", 0, [](I& a) { return a.CreateFromData(-1, 4, 4, pixels); }, kNoMemory, kEmpty},
      {"data", 4, [](I& a) { return a.CreateFromData(1, 4, 4, pixels); }, kOk, kBound},
      {"attach, width 0", 0, [](I& a) { return a.AttachPlanes(0, 0, -4, nullptr); }, kZero, kEmpty},
      {"attach, null", 0, [](I& a) { return a.AttachPlanes(0, -4, 4, nullptr); }, kPointer, kEmpty},
      {"attach, 0", 0, [](I& a) { return a.AttachPlanes(0, 4, 4, pixels); }, kInvalid, kEmpty},
      {"attach, -4", 0, [](I& a) { return a.AttachPlanes(1, 4, -4, pixels); }, kInvalid, kEmpty},
      {"attach", 0, [](I& a) { return a.AttachPlanes(1, 4, 4, pixels); }, kOk, kBound},
      {"image of 0", 0, [](I& a) { return a.AttachImage(0, -4, nullptr); }, kZero, kUnbound, true},
      {"no image", 0, [](I& a) { return a.AttachImage(4, -4, nullptr); }, kPointer, kEmpty, true},
      {"image of -4", 0, [](I& a) { return a.AttachImage(-4, 4, pixels); }, kInvalid, kEmpty, true},
      {"attach image", 0, [](I& a) { return a.AttachImage(4, 4, pixels); }, kOk, kBound, true}};
  for (const BindRow& row : rows) {
    for (const State state : kStates) {
      SCOPED_TRACE(testing::Message() << row.name << ", from " << kStateNames[int(state)]);
      const auto aoi = NewAoiIn<ByteAoi>(state);
      aoi->put_BufferMargin(row.margin);
      std::vector<LONG> before = GeometryOf(*aoi);
      const bool refused = row.keepsBuffer && state == State::kBound && row.said == kOk;
      const Said said = Ask([&] { return row.bind(*aoi); });
      EXPECT_EQ(said, refused ? Plain(E_ABORT) : row.said);
      if (SUCCEEDED(said.result)) {
        const LONG stored = 4 + 2 * row.margin;
        EXPECT_THAT(GeometryOf(*aoi), ElementsAre(0, 0, 4, 4, 0, 0, stored, stored, 1, 0, 0));
        EXPECT_EQ(StateOf(*aoi), State::kBound);
        continue;
      }
      // A failure leaves the geometry, over whatever buffer there is now.
      std::vector<LONG> after = GeometryOf(*aoi);
      const bool kept = row.keepsBuffer && state != State::kUnbound;
      const State expected = !kept ? row.after : state == State::kBound ? kBound : kEmpty;
      EXPECT_EQ(StateOf(*aoi), expected);
      if ((state == kUnbound) != (expected == kUnbound)) {
        // Only one side could tell its rectangle.
        before.erase(before.begin(), before.begin() + 8);
        after.erase(after.begin(), after.begin() + 8);
      }
      EXPECT_EQ(after, before);
    }
  }
}

TEST_F(AoiBinding, Reset_RestartsGeometryPlanesAndNameAndKeepsTheRest) {
  const auto aoi = NewAoi<ByteAoi>();
  ASSERT_EQ(aoi->CreatePlanes(40, 10, 8), S_OK);
  for (const LONG plane : {0, 33, 34}) aoi->put_PlaneSelected(plane, 0);
  aoi->put_PlaneSelected(33, -5);
  for (LONG plane = 0; plane < 40; ++plane) {
    EXPECT_EQ(IsSelected(*aoi, plane), plane == 0 || plane == 34 ? 0 : 1) << plane;
  }
  aoi->put_ActivePlane(39);
  aoi->SetMargins(1, 1);
  aoi->put_MarginMode(MarginMirror);
  aoi->put_MarshalFlags(MarshalBuffer);
  PutName(*aoi, OLESTR("given"));
  aoi->put_Tag(Int4(42));
  ASSERT_EQ(aoi->CreateImage(4, 4), S_OK);
  EXPECT_THAT(GeometryOf(*aoi), ElementsAre(0, 0, 4, 4, 0, 0, 4, 4, 1, 0, 0));
  EXPECT_EQ(IsSelected(*aoi, 0), 1);
  EXPECT_EQ(Get(*aoi, &I::get_MarginMode), MarginMirror);
  EXPECT_EQ(Get(*aoi, &I::get_MarshalFlags), MarshalBuffer);
  EXPECT_TRUE(NameOf(*aoi) == OLESTR("None"));
  VARIANT out{};
  aoi->get_Tag(&out);
  EXPECT_TRUE(out.vt == VT_I4 && out.lVal == 42);
}

TEST_F(AoiBinding, NegativePlanesOfTheClient_EndInsideTheReset) {
  const auto aoi = NewAoiIn<ByteAoi>(State::kBound);
  EXPECT_EQ(Ask([&] { return aoi->AttachPlanes(-1, 4, 4, pixels); }), Plain(E_OUTOFMEMORY));
  EXPECT_THAT(GeometryOf(*aoi), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, -1, 0, 0));
  double value = 0;
  EXPECT_EQ(aoi->GetPixel(0, 0, &value), E_POINTER);
  EXPECT_EQ(aoi->Fill(1), E_INVALIDARG);
  EXPECT_EQ(aoi->CreateImage(4, 4), S_OK);
}

TEST_F(AoiBinding, CreateFromData_CopiesPlanesAndZeroesMargins) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    using U = typename Type::U;
    U data[] = {11, 12, 13, 21, 22, 23, 31, 32, 33, 41, 42, 43};
    const auto aoi = NewAoi<Type>();
    aoi->put_BufferMargin(1);
    ASSERT_EQ(aoi->CreateFromData(2, 3, 2, data), S_OK);
    EXPECT_THAT(PixelsOf(*aoi, -1, -1, 5, 4),
                ElementsAre(0, 0, 0, 0, 0, 0, 11, 12, 13, 0, 0, 21, 22, 23, 0, 0, 0, 0, 0, 0));
    aoi->put_ActivePlane(1);
    EXPECT_THAT(PixelsOf(*aoi, -1, 0, 5, 2), ElementsAre(0, 31, 32, 33, 0, 0, 41, 42, 43, 0));
    // Its own pixels may be the source: the old buffer goes last.
    U* own = nullptr;
    ASSERT_EQ(aoi->GetPointer(&own), S_OK);
    ASSERT_EQ(aoi->CreateFromData(1, 3, 1, own), S_OK);
    EXPECT_THAT(PixelsOf(*aoi, 0, 0, 3, 1), ElementsAre(31, 32, 33));
  });
}

TEST_F(AoiBinding, AttachedMemory_IsTheClientsOwn) {
  std::int16_t data[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  const auto aoi = NewAoi<ShortAoi>();
  aoi->put_BufferMargin(5);
  ASSERT_EQ(aoi->AttachPlanes(2, 3, 2, data), S_OK);
  aoi->put_ActivePlane(1);
  EXPECT_THAT(PixelsOf(*aoi, 0, 0, 3, 2), ElementsAre(7, 8, 9, 10, 11, 12));
  EXPECT_EQ(aoi->Fill(100), S_OK);
  EXPECT_THAT(data, ElementsAre(1, 2, 3, 4, 5, 6, 100, 100, 100, 100, 100, 100));
}

// No access leaves the memory; the sanitizer watches.
TEST_F(AoiBinding, SizesThatWrap_ExistAndNoAccessLeavesTheBlock) {
  static std::vector<double> source(131072, 9);
  const struct {
    LONG margin, planes, width, height;
    HRESULT result = S_OK;
  } kRows[] = {{0, 1, 65536, 65536},      // no elements
               {0, 1, 65536, 65537},      // 65536 elements
               {0, 1, kMax, kMax},        // one element
               {1, 65537, 254, 254},      // a block that cuts a plane
               {65536, 1, 65536, 65536},  // a margin as wide as the image
               {-5, 1, 20, 30},           // rows that overlap
               {-2, 1, 4, 30},            // no row length
               {-5, 1, 4, 4},             // rows that go backwards
               {-5, -1, 20, -3, E_OUTOFMEMORY},
               {kMax, 1, kMax, kMax},
               {INT32_MIN, 1, 4, 4}};
  for (const auto& row : kRows) {
    for (const bool isCopied : {false, true}) {
      if (isCopied && row.width > 65536) continue;
      SCOPED_TRACE(testing::Message() << row.margin << " " << row.width << " " << isCopied);
      const auto aoi = NewAoi<DoubleAoi>();
      aoi->put_BufferMargin(row.margin);
      EXPECT_EQ(isCopied ? aoi->CreateFromData(row.planes, row.width, row.height, source.data())
                         : aoi->CreatePlanes(row.planes, row.width, row.height),
                row.result);
      for (const LONG corner : {0, 1, 65535, 131071, INT32_MAX - 1}) {
        aoi->SetRect(corner / 2, 0, corner, corner);
        aoi->Clear();
        aoi->Fill(7.25);
        aoi->CopyTo(aoi.Get());
        for (const LONG x : {INT32_MIN, -65536, -1, 0, 65535, INT32_MAX})
          aoi->PutPixel(x, x / 2, 1);
      }
      for (const auto mode : {MarginZero, MarginPeriodic, MarginMirror, MarginReplicate}) {
        aoi->put_MarginMode(mode);
        aoi->FillMargins();
      }
    }
  }
}

TEST_F(AoiBinding, StaleGeometryOverSixteenElements_ReachesOnlyThose) {
  // Sixteen elements of a client, and elements around them that nobody may touch.
  std::vector<std::uint8_t> memory(512 + 16 + 512, 77);
  std::uint8_t* const own = memory.data() + 512;
  const auto elements = [&] { return std::vector<int>(own, own + 16); };
  const auto stale = NewAoi<ByteAoi>();
  ASSERT_EQ(stale->CreateImage(100, 100), S_OK);
  ASSERT_EQ(stale->CreatePlanes(1, 0, 0), platform::ResultCode(0x8004045Bu));
  ComPtr<I> other;
  ASSERT_EQ(stale->Clone(other.Put()), S_OK);
  ASSERT_EQ(other->AttachImage(4, 4, own), S_OK);

  EXPECT_EQ(GeometryOf(*stale)[2], 100);
  EXPECT_EQ(stale->Fill(5), S_OK);
  EXPECT_THAT(elements(), Each(5));
  EXPECT_EQ(stale->PutPixel(15, 0, 6), S_OK);
  EXPECT_EQ(stale->PutPixel(16, 0, 6), E_INVALIDARG);
  EXPECT_EQ(stale->PutPixel(0, 1, 6), E_INVALIDARG);
  EXPECT_EQ(stale->SetRect(3, 0, 99, 99), S_OK);
  EXPECT_EQ(stale->Clear(), S_OK);
  EXPECT_THAT(elements(), ElementsAre(5, 5, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
  const auto large = NewAoi<ByteAoi>();
  ASSERT_EQ(large->CreateImage(100, 100), S_OK);
  large->Fill(8);
  EXPECT_EQ(large->CopyTo(stale.Get()), S_OK);
  EXPECT_THAT(elements(), ElementsAre(5, 5, 5, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8));
  large->Clear();
  EXPECT_EQ(stale->CopyTo(large.Get()), S_OK);
  EXPECT_THAT(PixelsOf(*large, 12, 0, 2, 1), ElementsAre(8, 0));
  EXPECT_EQ(stale->SetRect(50, 0, 99, 99), S_OK);
  EXPECT_EQ(stale->Fill(1), E_INVALIDARG);
  stale->put_MarginMode(MarginMirror);
  EXPECT_EQ(stale->FillMargins(), platform::ResultCode(0x80040452u));
  EXPECT_EQ(std::count(memory.begin(), memory.end(), 77), 1024);
}

}  // namespace
}  // namespace tests
