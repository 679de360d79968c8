// The rectangle, the margins and the order of checks of every operation that has any.
#include <array>
#include <functional>

#include "tests/image/aoi_types.h"

namespace tests {
namespace {

using AoiGeometry = AoiTest;
using testing::ElementsAre;

// By State. Always: the same in each. Bound: of operations that need a buffer.
using SaidByState = std::array<Said, 4>;
SaidByState Always(const Said& said) { return {said, said, said, said}; }
SaidByState Bound(const Said& empty, const Said& stale, const Said& bound) {
  return {Reported(1114), empty, stale, bound};
}
SaidByState Bound(const Said& said) { return Bound(said, said, said); }

template <class I>
struct CheckRow {
  const char* name;
  std::function<HRESULT(I&)> call;
  SaidByState said;
};

// What a failing call leaves is what was there before.
template <class I>
void ExpectChecks(const std::vector<CheckRow<I>>& rows) {
  for (const CheckRow<I>& row : rows) {
    for (const State state : kStates) {
      const auto index = static_cast<std::size_t>(state);
      SCOPED_TRACE(testing::Message() << row.name << ", " << kStateNames[index]);
      const auto aoi = NewAoiIn<ByteAoi>(state).template As<I>();
      const std::vector<LONG> before = GeometryOf(*aoi);
      const Said said = Ask([&] { return row.call(*aoi); });
      EXPECT_EQ(said, row.said[index]);
      if (FAILED(said.result) || said.words != kBefore) {
        EXPECT_EQ(GeometryOf(*aoi), before);
      }
    }
  }
}

const Said kOk = Plain(S_OK);
const Said kFail = Plain(E_FAIL);
const Said kInvalid = Plain(E_INVALIDARG);
const Said kPointer = Plain(E_POINTER);
const Said kNegative = Reported(1113);
const Said kNegativeMargin = Reported(1106);
const Said kNoPlane = Reported(1129);
const Said kBadFlags{platform::ResultCode(0x80020009u), "Unsupported Marshalflags"};

const SaidByState kWithPlanes = {kNoPlane, kNoPlane, kOk, kOk};

LONG number = 0;

// The slots that stand in both tables.
template <class I>
std::vector<CheckRow<I>> CommonRows() {
  std::vector<CheckRow<I>> rows = {
      {"get_MarginX null", [](I& a) { return a.get_MarginX(nullptr); }, Bound(kOk)},
      {"GetRect nulls", [](I& a) { return a.GetRect(nullptr, nullptr, nullptr, nullptr); },
       Bound(kOk)},
      // An empty buffer's rectangle has no height, so its lower corner lies above row 0.
      {"put_Width 5", [](I& a) { return a.put_Width(5); }, Bound(kNegative, kOk, kOk)},
      {"put_Width 15", [](I& a) { return a.put_Width(15); }, Bound(kNegative, kInvalid, kInvalid)},
      {"put_X 5", [](I& a) { return a.put_X(5); }, Bound(kNegative, kInvalid, kInvalid)},
      {"SetRect negative", [](I& a) { return a.SetRect(0, -1, 99, 0); }, Bound(kNegative)},
      {"SetRect beyond", [](I& a) { return a.SetRect(14, 0, 0, 0); }, Bound(kInvalid)},
      {"SetRect below", [](I& a) { return a.SetRect(0, 0, 0, 12); }, Bound(kInvalid)},
      {"SetRect all", [](I& a) { return a.SetRect(0, 0, 13, 11); }, Bound(kInvalid, kOk, kOk)},
      {"SelectAll", [](I& a) { return a.SelectAll(); }, Bound(kNegative, kOk, kOk)},
      // What SetRect says is dropped here, its report stays on the thread.
      {"MoveTo -1", [](I& a) { return a.MoveTo(-1, 0); }, Bound(Swallowed(1113))},
      {"MoveTo 99", [](I& a) { return a.MoveTo(99, 0); }, Bound(Swallowed(1113), kOk, kOk)},
      {"ResizeTo 0", [](I& a) { return a.ResizeTo(0, 1); }, Bound(Swallowed(1113))},
      {"ResizeBy", [](I& a) { return a.ResizeBy(INT32_MAX, 0); }, Bound(Swallowed(1113))},
      {"SetMargins -1", [](I& a) { return a.SetMargins(99, -1); }, Bound(kNegativeMargin)},
      {"SetMargins 0", [](I& a) { return a.SetMargins(0, 0); }, Bound(kFail, kOk, kOk)},
      {"SetMargins half of rows", [](I& a) { return a.SetMargins(0, 6); }, Bound(kFail)},
      {"SetMargins below half", [](I& a) { return a.SetMargins(6, 5); }, Bound(kFail, kOk, kOk)},
      {"put_MarginX -1", [](I& a) { return a.put_MarginX(-1); }, Bound(kNegativeMargin)},
      {"put_MarginY 6", [](I& a) { return a.put_MarginY(6); }, Bound(kFail)},
      {"FillMargins", [](I& a) { return a.FillMargins(); }, Bound(kFail, kOk, kOk)},
      {"FillMargins zero", [](I& a) { return a.put_MarginMode(MarginZero), a.FillMargins(); },
       Bound(kFail, kFail, kOk)},
      {"FillMargins 9", [](I& a) { return a.put_MarginMode(MarginModeKLP{9}), a.FillMargins(); },
       Bound(kFail, kFail, kInvalid)},
      {"get_PlaneSelected -1", [](I& a) { return a.get_PlaneSelected(-1, &number); },
       Always(kNoPlane)},
      {"get_PlaneSelected 1", [](I& a) { return a.get_PlaneSelected(1, &number); }, kWithPlanes},
      {"put_PlaneSelected 1", [](I& a) { return a.put_PlaneSelected(1, 0); }, kWithPlanes},
      {"put_PlaneSelected 2", [](I& a) { return a.put_PlaneSelected(2, 0); }, Always(kNoPlane)},
      {"put_ActivePlane -1", [](I& a) { return a.put_ActivePlane(-1); }, Always(kNoPlane)},
      {"put_ActivePlane 0", [](I& a) { return a.put_ActivePlane(0); }, kWithPlanes},
      {"flags", [](I& a) { return a.put_MarshalFlags(MarshalFlagsKLP{2}); }, Always(kBadFlags)},
      {"get_PlaneCount", [](I& a) { return a.get_PlaneCount(&number); }, Always(kOk)},
      {"Unite itself", [](I& a) { return a.Unite(&a); }, {Plain(S_FALSE), kNegative, kOk, kOk}},
      {"CopyRect null", [](I& a) { return a.CopyRect(nullptr); }, Always(kInvalid)},
      {"CopyRect itself", [](I& a) { return a.CopyRect(&a); }, Bound(kNegative, kOk, kOk)},
      {"IsSameSize", [](I& a) { return a.IsSameSize(nullptr, &number); }, Always(kInvalid)}};
  for (const auto getter : {&I::get_Width, &I::get_Height, &I::get_X, &I::get_Y, &I::get_LineSkip,
                            &I::get_BufferWidth, &I::get_BufferHeight}) {
    rows.push_back({"getter", [getter](I& a) { return (a.*getter)(&number); }, Bound(kOk)});
  }
  for (const auto put : {&I::put_Width, &I::put_Height, &I::put_X, &I::put_Y}) {
    rows.push_back({"put -1", [put](I& a) { return (a.*put)(-1); }, Always(kNegative)});
  }
  return rows;
}

template <class I>
std::vector<CheckRow<I>> PixelRows() {
  static DOUBLE value;
  const SaidByState outside = Bound(kPointer, kPointer, kInvalid);
  return {
      {"GetPixel", [](I& a) { return a.GetPixel(0, 0, &value); }, Bound(kPointer, kPointer, kOk)},
      {"GetPixel outside", [](I& a) { return a.GetPixel(-3, 0, &value); }, outside},
      {"PutPixel", [](I& a) { return a.PutPixel(11, 9, 1); }, Bound(kPointer, kPointer, kOk)},
      {"PutPixel outside", [](I& a) { return a.PutPixel(INT32_MAX, INT32_MIN, 1); }, outside},
      // Unlike Fill, Clear tells nobody.
      {"Clear", [](I& a) { return a.Clear(); }, {Swallowed(1114), kOk, kOk, kOk}},
      {"Fill", [](I& a) { return a.Fill(1); }, Bound(kInvalid, kFail, kOk)},
      {"CopyTo null", [](I& a) { return a.CopyTo(nullptr); }, Always(kInvalid)},
      {"CopyTo itself", [](I& a) { return a.CopyTo(&a); }, Bound(kInvalid, kFail, kOk)},
      {"get_IsBound", [](I& a) { return a.get_IsBound(&number); }, Always(kOk)},
      {"get_IsBound null", [](I& a) { return a.get_IsBound(nullptr); }, Always(kPointer)}};
}

TEST_F(AoiGeometry, EveryOperation_TestsInItsOrderAndChangesNothingOnFailure) {
  ExpectChecks(CommonRows<IByteAOIKLP>());
  ExpectChecks(CommonRows<IAoiKLP>());
  ExpectChecks(PixelRows<IByteAOIKLP>());
  ExpectChecks(PixelRows<IAoiKLP>());
  using I = IByteAOIKLP;
  static LONG n[3];
  static std::uint8_t* p;
  const SaidByState pixels = Bound(kInvalid, kFail, kOk);
  std::vector<CheckRow<I>> rows = {
      {"GetPointer", [](I& a) { return a.GetPointer(&p); }, pixels},
      {"GetAccess", [](I& a) { return a.GetAccess(&n[0], &n[1], &n[2], &p); }, pixels}};
  for (const int null : {-1, 0, 1, 2, 3}) {
    const auto at = [null](int i) { return i == null ? nullptr : &n[i]; };
    const auto call = [=](I& a) {
      return a.GetAccessChecked(at(0), at(1), at(2), null == 3 ? nullptr : &p);
    };
    rows.push_back({"GetAccessChecked", call, Always(null < 0 ? kOk : kPointer)});
  }
  ExpectChecks(rows);
}

TEST_F(AoiGeometry, FreshAoi_TellsItsDefaults) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    const auto aoi = NewAoi<Type>();
    ASSERT_TRUE(aoi);
    EXPECT_THAT(GeometryOf(*aoi), ElementsAre(-99, -99, -99, -99, -99, -99, -99, -99, 0, 0, 0));
    const auto generic = aoi.template As<IAoiKLP>();
    EXPECT_EQ(Get(*generic, &IAoiKLP::get_MarginMode), MarginNone);
    EXPECT_EQ(Get(*generic, &IAoiKLP::get_MarshalFlags), MarshalRectangle);
    EXPECT_EQ(Get(*generic, &IAoiKLP::get_ElementType), Type::kCode);
    EXPECT_EQ(Get(*generic, &IAoiKLP::get_IsBound), 0);
    // These two take whatever comes.
    EXPECT_EQ(generic->put_MarginMode(static_cast<MarginModeKLP>(9)), S_OK);
    EXPECT_EQ(Get(*aoi, &Type::I::get_MarginMode), 9);
    EXPECT_EQ(generic->put_BufferMargin(-7), S_OK);
    EXPECT_EQ(Get(*aoi, &Type::I::get_BufferMargin), -7);
  });
}

using I = IByteAOIKLP;

// What is called on a buffer of a width, a height and a margin, the last result counting, and
// where that leads.
struct StepRow {
  const char* name;
  std::array<LONG, 3> buffer;
  std::function<HRESULT(I&)> call;
  std::array<LONG, 6> rect;  // x, y, width, height, margin request x and y
  HRESULT result = S_OK;
};
std::array<LONG, 3> Buffer(LONG width, LONG height, LONG margin = 0) {
  return {width, height, margin};
}
std::array<LONG, 6> Rect(LONG x, LONG y, LONG width, LONG height, LONG marginX = 0,
                         LONG marginY = 0) {
  return {x, y, width, height, marginX, marginY};
}

HRESULT OtherRect(I& aoi, LONG left, LONG top, LONG right, LONG bottom,
                  HRESULT (STDMETHODCALLTYPE I::*use)(I*)) {
  const auto other = NewAoi<ByteAoi>();
  other->CreateImage(50, 50);
  other->SetRect(left, top, right, bottom);
  return (aoi.*use)(other.Get());
}

TEST_F(AoiGeometry, RectanglesAndMargins_FollowTheirRules) {
  constexpr HRESULT kNegativeCode = platform::ResultCode(0x80040459u);
  constexpr HRESULT kMarginCode = platform::ResultCode(0x80040452u);
  const StepRow rows[] = {
      {"corners in any order", Buffer(10, 10), [](I& a) { return a.SetRect(9, 9, 2, 3); },
       Rect(2, 3, 8, 7)},
      {"size 0 goes left and up", Buffer(10, 10),
       [](I& a) { return a.SetRect(5, 5, 7, 7), a.put_Width(0), a.put_Height(0); },
       Rect(4, 4, 2, 2)},
      {"width 0 at the border", Buffer(10, 10), [](I& a) { return a.put_Width(0); },
       Rect(0, 0, 10, 10), kNegativeCode},
      {"past the row", Buffer(100, 80, 4), [](I& a) { return a.SetRect(0, 0, 107, 10); },
       Rect(0, 0, 108, 11, -4, 0)},
      {"all", Buffer(100, 80, 4), [](I& a) { return a.SelectAll(); }, Rect(0, 0, 108, 88, -4, -4)},
      {"put keeps the rest", Buffer(20, 20),
       [](I& a) {
         return a.SetRect(2, 3, 6, 9), a.put_X(4), a.put_Y(5), a.put_Width(3), a.put_Height(2);
       },
       Rect(4, 5, 3, 2)},
      {"move and resize", Buffer(20, 20),
       [](I& a) { return a.ResizeTo(9, 4), a.MoveTo(7, 8), a.MoveBy(-2, 3); }, Rect(5, 11, 9, 4)},
      {"unite", Buffer(20, 20),
       [](I& a) { return a.SetRect(2, 9, 4, 11), OtherRect(a, 6, 5, 7, 6, &I::Unite); },
       Rect(2, 5, 6, 7)},
      {"copy", Buffer(20, 20), [](I& a) { return OtherRect(a, 6, 5, 7, 9, &I::CopyRect); },
       Rect(6, 5, 2, 5)},
      {"margins in the buffer's and beyond it", Buffer(10, 8, 2),
       [](I& a) { return a.SetMargins(2, 4); }, Rect(0, 2, 10, 4, 2, 4)},
      {"a cut on the right keeps the left", Buffer(20, 20),
       [](I& a) { return a.SetRect(9, 4, 19, 9), a.SetMargins(3, 0); }, Rect(9, 4, 8, 6, 3, 0)},
      {"no room left", Buffer(9, 9), [](I& a) { return a.SetRect(8, 0, 8, 8), a.SetMargins(4, 0); },
       Rect(8, 0, 1, 9), E_FAIL},
      {"half of an even size", Buffer(8, 8), [](I& a) { return a.SetMargins(4, 4); },
       Rect(0, 0, 8, 8), E_FAIL},
      {"half of an odd size", Buffer(9, 9), [](I& a) { return a.SetMargins(4, 4); },
       Rect(4, 4, 1, 1, 4, 4)},
      {"one margin", Buffer(20, 20),
       [](I& a) { return a.SetMargins(3, 2), a.put_MarginX(1), a.put_MarginY(5); },
       Rect(3, 5, 14, 10, 1, 5)},
      {"requests do not come back", Buffer(20, 20),
       [](I& a) { return a.SetMargins(3, 2), a.SetRect(2, 1, 17, 5), a.SetRect(5, 5, 9, 9); },
       Rect(5, 5, 5, 5, 2, 1)},
      {"behind counts too", Buffer(20, 20, 1),
       [](I& a) { return a.SetMargins(3, 3), a.SetRect(5, 5, 18, 19); }, Rect(5, 5, 14, 15, 2, 1)},
      // Below a margin of less than 0 the corners lie outside; that SetRect refuses them is
      // dropped.
      {"margins without a place", Buffer(20, 20, -5), [](I& a) { return a.SetMargins(2, 2); },
       Rect(0, 0, 20, 20, 2, 2)},
      // The margin is filled, then the request that SelectAll left is refused.
      {"fill past the row", Buffer(10, 8, 2),
       [](I& a) { return a.put_MarginMode(MarginZero), a.SelectAll(), a.FillMargins(); },
       Rect(0, 0, 14, 12, -2, -2), kMarginCode}};
  for (const auto& [name, buffer, call, rect, result] : rows) {
    SCOPED_TRACE(name);
    const auto aoi = NewAoi<ByteAoi>();
    aoi->put_BufferMargin(buffer[2]);
    ASSERT_EQ(aoi->CreateImage(buffer[0], buffer[1]), S_OK);
    EXPECT_EQ(call(*aoi), result);
    const auto& [x, y, width, height, marginX, marginY] = rect;
    const LONG row = buffer[0] + 2 * buffer[2];
    EXPECT_THAT(GeometryOf(*aoi), ElementsAre(x, y, width, height, marginX, marginY, row,
                                              buffer[1] + 2 * buffer[2], 1, 0, 0));
    EXPECT_EQ(Get(*aoi, &I::get_X), x);
    EXPECT_EQ(Get(*aoi, &I::get_Y), y);
    EXPECT_EQ(Get(*aoi, &I::get_Width), width);
    EXPECT_EQ(Get(*aoi, &I::get_Height), height);
    EXPECT_EQ(Get(*aoi, &I::get_LineSkip), row - width);
  }
}

TEST_F(AoiGeometry, StaleGeometry_GoesOnToMoveAgainstTheOldSizes) {
  const auto aoi = NewAoiIn<ByteAoi>(State::kStale);
  EXPECT_THAT(GeometryOf(*aoi), ElementsAre(0, 0, 10, 8, 0, 0, 14, 12, 2, 1, 0));
  EXPECT_EQ(aoi->SetMargins(1, 1), S_OK);
  EXPECT_THAT(GeometryOf(*aoi), ElementsAre(1, 1, 9, 7, 1, 1, 14, 12, 2, 1, 0));
  EXPECT_EQ(aoi->SetRect(0, 0, 13, 11), S_OK);
  EXPECT_THAT(GeometryOf(*aoi), ElementsAre(0, 0, 14, 12, -14, -12, 14, 12, 2, 1, 0));
  EXPECT_EQ(aoi->CreateImage(0, 5), platform::ResultCode(0x8004045Bu));
  EXPECT_THAT(GeometryOf(*aoi), ElementsAre(-99, -99, -99, -99, -99, -99, -99, -99, 2, 1, 0));
}

TEST_F(AoiGeometry, IsSameSize_ComparesAcrossPixelTypes) {
  const auto byte = NewAoi<ByteAoi>().As<IAoiKLP>();
  const auto other = NewAoi<DoubleAoi>().As<IAoiKLP>();
  byte->CreateImage(4, 3);
  other->CreateImage(9, 9);
  for (const auto& [width, height, expected] : {std::array{4, 3, 1}, {4, 2, 0}, {5, 3, 0}}) {
    other->ResizeTo(width, height);
    LONG same = 7, back = 7;
    EXPECT_EQ(byte->IsSameSize(other.Get(), &same), expected ? S_OK : S_FALSE);
    EXPECT_EQ(other->IsSameSize(byte.Get(), &back), expected ? S_OK : S_FALSE);
    EXPECT_TRUE(same == expected && back == expected);
  }
}

TEST_F(AoiGeometry, GenericSlots_RefuseAnotherPixelType) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    const bool isSame = Type::kCode == ElementShort;
    const auto target = NewAoi<Type>();
    target->CreateImage(4, 3);
    target->Fill(9);
    const auto source = NewAoi<ShortAoi>();
    source->CreateImage(4, 3);
    source->Fill(5);
    const auto from = source.template As<IAoiKLP>();
    const auto to = target.template As<IAoiKLP>();
    EXPECT_EQ(Ask([&] { return from->CopyTo(to.Get()); }), isSame ? kOk : kInvalid);
    EXPECT_EQ(PixelOf(*target, 3, 2), isSame ? 5 : 9);
    target->SetRect(1, 1, 2, 2);
    EXPECT_EQ(Ask([&] { return from->CopyRect(to.Get()); }), isSame ? kOk : kInvalid);
    EXPECT_EQ(Ask([&] { return to->Unite(from.Get()); }), isSame ? kOk : kInvalid);
  });
}

}  // namespace
}  // namespace tests
