// Binding to buffers, and what no access may do when sizes are not what they seem.
#include <algorithm>
#include <functional>
#include <limits>

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
      {"image, width 0", 9, [](I& a) { return a.CreateImage(0, 4); }, kZero, kUnbound},
      {"image, height 0", 9, [](I& a) { return a.CreateImage(4, 0); }, kZero, kUnbound},
      {"image, margin above height", 4, [](I& a) { return a.CreateImage(4, 3); }, kInvalid, kEmpty},
      {"image, margin above width", 4, [](I& a) { return a.CreateImage(3, 4); }, kInvalid, kEmpty},
      {"image, width below 0", 0, [](I& a) { return a.CreateImage(-3, 4); }, kInvalid, kEmpty},
      {"image, negative product", 0, [](I& a) { return a.CreateImage(65536, 32768); }, kNoMemory,
       kEmpty},
      {"image", 4, [](I& a) { return a.CreateImage(4, 4); }, kOk, kBound},
      {"planes, all 0", 9, [](I& a) { return a.CreatePlanes(0, 0, 4); }, kZero, kEmpty},
      {"planes, height 0", 9, [](I& a) { return a.CreatePlanes(1, 4, 0); }, kZero, kEmpty},
      {"planes 0", 0, [](I& a) { return a.CreatePlanes(0, 4, 4); }, kInvalid, kEmpty},
      {"planes, margin above width", 5, [](I& a) { return a.CreatePlanes(1, 4, 5); }, kInvalid,
       kEmpty},
      {"planes below 0", 0, [](I& a) { return a.CreatePlanes(-1, 4, 4); }, kNoMemory, kEmpty},
      {"planes", 4, [](I& a) { return a.CreatePlanes(1, 4, 4); }, kOk, kBound},
      {"data, width 0", 9, [](I& a) { return a.CreateFromData(0, 0, 4, nullptr); }, kZero, kEmpty},
      {"data, null", 9, [](I& a) { return a.CreateFromData(0, 4, 4, nullptr); }, kPointer, kEmpty},
      {"data, planes 0", 0, [](I& a) { return a.CreateFromData(0, 4, 4, pixels); }, kInvalid,
       kEmpty},
      {"data, margin above height", 4, [](I& a) { return a.CreateFromData(1, 4, 3, pixels); },
       kInvalid, kEmpty},
      {"data, planes below 0", 0, [](I& a) { return a.CreateFromData(-1, 4, 4, pixels); },
       kNoMemory, kEmpty},
      {"data", 4, [](I& a) { return a.CreateFromData(1, 4, 4, pixels); }, kOk, kBound},
      {"attach, width 0", 0, [](I& a) { return a.AttachPlanes(0, 0, -4, nullptr); }, kZero, kEmpty},
      {"attach, null", 0, [](I& a) { return a.AttachPlanes(0, -4, 4, nullptr); }, kPointer, kEmpty},
      {"attach, 0", 0, [](I& a) { return a.AttachPlanes(0, 4, 4, pixels); }, kInvalid, kEmpty},
      {"attach, width below 0", 0, [](I& a) { return a.AttachPlanes(1, -4, 4, pixels); }, kInvalid,
       kEmpty},
      {"attach, height below 0", 0, [](I& a) { return a.AttachPlanes(1, 4, -4, pixels); }, kInvalid,
       kEmpty},
      {"attach", 0, [](I& a) { return a.AttachPlanes(1, 4, 4, pixels); }, kOk, kBound},
      {"attach image, width 0", 0, [](I& a) { return a.AttachImage(0, -4, nullptr); }, kZero,
       kUnbound, true},
      {"attach image, null", 0, [](I& a) { return a.AttachImage(4, -4, nullptr); }, kPointer,
       kEmpty, true},
      {"attach image, height below 0", 0, [](I& a) { return a.AttachImage(4, -4, pixels); },
       kInvalid, kEmpty, true},
      {"attach image, width below 0", 0, [](I& a) { return a.AttachImage(-4, 4, pixels); },
       kInvalid, kEmpty, true},
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
  using Bind = std::function<HRESULT(I&)>;
  const Bind binds[] = {[](I& a) { return a.CreateImage(4, 4); },
                        [](I& a) { return a.CreatePlanes(1, 4, 4); },
                        [](I& a) { return a.CreateFromData(1, 4, 4, pixels); },
                        [](I& a) { return a.AttachPlanes(1, 4, 4, pixels); },
                        [](I& a) { return a.AttachImage(4, 4, pixels); }};
  for (const Bind& bind : binds) {
    SCOPED_TRACE(&bind - binds);
    const auto aoi = NewAoi<ByteAoi>();
    ASSERT_EQ(aoi->CreatePlanes(40, 10, 8), S_OK);
    for (const LONG plane : {0, 31, 32, 39}) EXPECT_EQ(IsSelected(*aoi, plane), 1);
    aoi->put_PlaneSelected(0, 0);
    aoi->put_PlaneSelected(33, 0);
    aoi->put_PlaneSelected(33, -5);
    aoi->put_PlaneSelected(34, 0);
    for (LONG plane = 0; plane < 40; ++plane) {
      EXPECT_EQ(IsSelected(*aoi, plane), plane == 0 || plane == 34 ? 0 : 1) << plane;
    }
    aoi->put_ActivePlane(39);
    aoi->SetMargins(1, 1);
    aoi->put_MarginMode(MarginMirror);
    aoi->put_MarshalFlags(MarshalBuffer);
    PutName(*aoi, OLESTR("given"));
    aoi->put_Tag(Int4(42));
    if (&bind == std::end(binds) - 1) {
      // This one wants a buffer without pixels.
      ASSERT_EQ(aoi->CreatePlanes(1, 0, 0), platform::ResultCode(0x8004045Bu));
    }
    ASSERT_EQ(bind(*aoi), S_OK);
    EXPECT_THAT(GeometryOf(*aoi), ElementsAre(0, 0, 4, 4, 0, 0, 4, 4, 1, 0, 0));
    EXPECT_EQ(IsSelected(*aoi, 0), 1);
    EXPECT_EQ(Get(*aoi, &I::get_MarginMode), MarginMirror);
    EXPECT_EQ(Get(*aoi, &I::get_MarshalFlags), MarshalBuffer);
    EXPECT_TRUE(NameOf(*aoi) == OLESTR("None"));
    VARIANT out{};
    aoi->get_Tag(&out);
    EXPECT_TRUE(out.vt == VT_I4 && out.lVal == 42);
  }
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
    std::fill(std::begin(data), std::end(data), U{0});
    EXPECT_THAT(PixelsOf<Type>(*aoi, -1, -1, 5, 4),
                ElementsAre(0, 0, 0, 0, 0, 0, 11, 12, 13, 0, 0, 21, 22, 23, 0, 0, 0, 0, 0, 0));
    aoi->put_ActivePlane(1);
    EXPECT_THAT(PixelsOf<Type>(*aoi, -1, 0, 5, 2), ElementsAre(0, 31, 32, 33, 0, 0, 41, 42, 43, 0));

    // Its own pixels may be the source: the old buffer goes last.
    U* own = nullptr;
    ASSERT_EQ(aoi->GetPointer(&own), S_OK);
    ASSERT_EQ(aoi->CreateFromData(1, 3, 1, own), S_OK);
    EXPECT_THAT(PixelsOf<Type>(*aoi, 0, 0, 3, 1), ElementsAre(31, 32, 33));
  });
}

TEST_F(AoiBinding, AttachedMemory_IsTheClientsOwn) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    using U = typename Type::U;
    U data[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    const auto aoi = NewAoi<Type>();
    aoi->put_BufferMargin(5);
    ASSERT_EQ(aoi->AttachPlanes(2, 3, 2, data), S_OK);
    aoi->put_ActivePlane(1);
    EXPECT_THAT(PixelsOf<Type>(*aoi, 0, 0, 3, 2), ElementsAre(7, 8, 9, 10, 11, 12));
    aoi->put_MarginMode(MarginZero);
    EXPECT_EQ(aoi->FillMargins(), S_OK);
    EXPECT_EQ(aoi->Fill(100), S_OK);
    EXPECT_THAT(data, ElementsAre(1, 2, 3, 4, 5, 6, 100, 100, 100, 100, 100, 100));
    U* pointer = nullptr;
    EXPECT_EQ(aoi->GetPointer(&pointer), S_OK);
    EXPECT_EQ(pointer, data + 6);
    // A second AOI on the buffer keeps it while the first goes elsewhere.
    ComPtr<typename Type::I> clone;
    ASSERT_EQ(aoi->Clone(clone.Put()), S_OK);
    ASSERT_EQ(aoi->CreateImage(2, 2), S_OK);
    EXPECT_EQ(clone->PutPixel(2, 1, 55), S_OK);
    EXPECT_EQ(data[11], U{55});
  });
}

TEST_F(AoiBinding, FillMargins_FillsEveryPlaneAndThenSetsTheMargins) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    typename Type::U data[] = {11, 12, 13, 21, 22, 23, 31, 32, 33, 41, 42, 43};
    const auto aoi = NewAoi<Type>();
    aoi->put_BufferMargin(2);
    ASSERT_EQ(aoi->CreateFromData(2, 3, 2, data), S_OK);
    aoi->put_MarginMode(MarginPeriodic);
    aoi->SetRect(1, 1, 2, 1);
    ASSERT_EQ(aoi->FillMargins(), S_OK);
    EXPECT_THAT(GeometryOf(*aoi), ElementsAre(1, 1, 2, 1, 0, 0, 7, 6, 2, 0, 0));
    EXPECT_THAT(PixelsOf<Type>(*aoi, -3, -3, 7, 2),
                ElementsAre(12, 13, 11, 12, 13, 11, 12, 22, 23, 21, 22, 23, 21, 22));
    aoi->put_ActivePlane(1);
    EXPECT_THAT(PixelsOf<Type>(*aoi, -3, 2, 7, 1), ElementsAre(42, 43, 41, 42, 43, 41, 42));
  });
}

// Calls everything that walks or addresses pixels, with rectangles and coordinates of all kinds.
// What is asked for is that no access leaves the memory; the sanitizer watches.
template <class Type>
void CallEverything(typename Type::I& aoi) {
  const auto other = NewAoi<Type>();
  ASSERT_EQ(other->CreateImage(70, 3), S_OK);
  other->Fill(1);
  const LONG corners[] = {0, 1, 65534, 65535, 131071, kMax - 1};
  const LONG places[] = {INT32_MIN, -65536, -1, 0, 1, 65535, 65536, kMax};
  for (const LONG left : corners) {
    for (const LONG right : corners) {
      if (FAILED(aoi.SetRect(left, 0, right, right)) && (left > 0 || right > 0)) continue;
      aoi.Clear();
      aoi.Fill(3);
      aoi.Fill(7.25);
      aoi.CopyTo(&aoi);
      aoi.CopyTo(other.Get());
      other->CopyTo(&aoi);
      for (const LONG x : places) {
        for (const LONG y : places) {
          double value = 0;
          if (SUCCEEDED(aoi.GetPixel(x, y, &value))) {
            EXPECT_EQ(aoi.PutPixel(x, y, value), S_OK);
          }
        }
      }
    }
  }
  for (const MarginModeKLP mode : {MarginZero, MarginPeriodic, MarginMirror, MarginReplicate}) {
    aoi.put_MarginMode(mode);
    aoi.FillMargins();
  }
  aoi.SelectAll();
  aoi.Fill(5);
}

TEST_F(AoiBinding, SizesThatWrap_ExistAndNoAccessLeavesTheBlock) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    using TypeI = typename Type::I;
    static std::vector<typename Type::U> source(131072, 9);
    const struct {
      const char* name;
      LONG margin, planes, width, height;
      bool fromData;
      HRESULT result;
    } kRows[] = {{"no elements", 0, 1, 65536, 65536, false, S_OK},
                 {"no elements, copied in", 0, 1, 65536, 65536, true, S_OK},
                 {"65536 elements", 0, 1, 65536, 65537, false, S_OK},
                 {"65536 elements, copied in", 0, 1, 65536, 65537, true, S_OK},
                 {"one element", 0, 1, kMax, kMax, false, S_OK},
                 {"many planes", 1, 65537, 254, 254, false, S_OK},
                 {"margin as wide as the image, wrapped", 65536, 1, 65536, 65536, false, S_OK},
                 {"margin below 0", -5, 1, 20, 30, false, S_OK},
                 {"margin below 0, copied in", -5, 1, 20, 30, true, S_OK},
                 {"margin below 0, no row length", -2, 1, 4, 30, false, S_OK},
                 {"stored sizes below 0", -5, 1, 4, 4, false, S_OK},
                 {"planes and rows below 0", -5, -1, 20, -3, false, E_OUTOFMEMORY},
                 {"largest margin", kMax, 1, kMax, kMax, false, S_OK},
                 {"smallest margin", INT32_MIN, 1, 4, 4, false, S_OK},
                 {"rectangle past the rows", 3, 2, 20, 10, false, S_OK}};
    for (const auto& row : kRows) {
      SCOPED_TRACE(row.name);
      const auto aoi = NewAoi<Type>();
      aoi->put_BufferMargin(row.margin);
      const HRESULT result =
          row.fromData ? aoi->CreateFromData(row.planes, row.width, row.height, source.data())
                       : aoi->CreatePlanes(row.planes, row.width, row.height);
      EXPECT_EQ(result, row.result);
      CallEverything<Type>(*aoi);
      ComPtr<TypeI> clone;
      ASSERT_EQ(aoi->Clone(clone.Put()), S_OK);
      aoi->CreatePlanes(1, 3, 3);
      CallEverything<Type>(*clone);
      CallEverything<Type>(*aoi);
    }
  });
}

TEST_F(AoiBinding, HugeSizes_SucceedOrEndWithoutMemory) {
  const struct {
    LONG planes, width, height;
  } kRows[] = {{1, kMax, 1}, {kMax, 1, 1}, {1, 46340, 46340}};
  for (const auto& row : kRows) {
    const auto aoi = NewAoi<DoubleAoi>();
    const HRESULT result = aoi->CreatePlanes(row.planes, row.width, row.height);
    EXPECT_TRUE(result == S_OK || result == E_OUTOFMEMORY) << result;
    LONG planes = -1;
    aoi->get_PlaneCount(&planes);
    EXPECT_EQ(planes, result == S_OK ? row.planes : 0);
    EXPECT_EQ(StateOf(*aoi), result == S_OK ? State::kBound : State::kEmpty);
  }
}

// Sixteen elements of a client with elements around them that nobody may touch.
template <class Type>
struct Guarded {
  using U = typename Type::U;
  static constexpr std::ptrdiff_t kZone = 512;
  static constexpr U kMark = 77;

  Guarded() : all(kZone + 16 + kZone, kMark) { std::fill_n(Begin(), 16, U{1}); }
  U* Begin() { return all.data() + kZone; }
  std::vector<U> Elements() { return {Begin(), Begin() + 16}; }
  void ExpectZonesUntouched() const {
    EXPECT_EQ(std::count(all.begin(), all.begin() + kZone, kMark), kZone);
    EXPECT_EQ(std::count(all.end() - kZone, all.end(), kMark), kZone);
  }
  std::vector<U> all;
};

TEST_F(AoiBinding, StaleGeometryOverSixteenElements_ReachesOnlyThose) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    using TypeI = typename Type::I;
    using U = typename Type::U;
    for (const bool aggregated : {false, true}) {
      SCOPED_TRACE(aggregated);
      AoiOuter outer;
      ComPtr<TypeI> stale;
      if (aggregated) {
        ASSERT_EQ(ModuleClient::Get().CreateInside(&outer, Type::kClass, IID_IUnknown,
                                                   outer.inner.PutVoid()),
                  S_OK);
        stale = outer.inner.As<TypeI>();
      } else {
        stale = NewAoi<Type>();
      }
      ASSERT_EQ(stale->CreateImage(100, 100), S_OK);
      ASSERT_EQ(stale->CreatePlanes(1, 0, 0), platform::ResultCode(0x8004045Bu));
      ComPtr<TypeI> other;
      ASSERT_EQ(stale->Clone(other.Put()), S_OK);
      Guarded<Type> memory;
      ASSERT_EQ(other->AttachImage(4, 4, memory.Begin()), S_OK);

      EXPECT_EQ(GeometryOf(*stale)[2], 100);
      EXPECT_EQ(stale->Fill(5), S_OK);
      EXPECT_THAT(memory.Elements(), Each(U{5}));
      EXPECT_EQ(stale->PutPixel(15, 0, 6), S_OK);
      EXPECT_EQ(memory.Begin()[15], U{6});
      EXPECT_EQ(stale->PutPixel(16, 0, 6), E_INVALIDARG);
      EXPECT_EQ(stale->PutPixel(0, 1, 6), E_INVALIDARG);
      EXPECT_EQ(stale->SetRect(3, 0, 99, 99), S_OK);
      EXPECT_EQ(stale->Clear(), S_OK);
      EXPECT_THAT(memory.Elements(), ElementsAre(5, 5, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
      U* pointer = nullptr;
      EXPECT_EQ(stale->GetPointer(&pointer), S_OK);
      EXPECT_EQ(pointer, memory.Begin() + 3);

      const auto large = NewAoi<Type>();
      ASSERT_EQ(large->CreateImage(100, 100), S_OK);
      large->Fill(8);
      EXPECT_EQ(large->CopyTo(stale.Get()), S_OK);
      EXPECT_THAT(memory.Elements(), ElementsAre(5, 5, 5, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8, 8));
      large->Clear();
      EXPECT_EQ(stale->CopyTo(large.Get()), S_OK);
      EXPECT_EQ(PixelOf<Type>(*large, 12, 0), 8);
      EXPECT_EQ(PixelOf<Type>(*large, 13, 0), 0);
      // The last of several rows ends with the memory.
      const auto narrow = NewAoi<Type>();
      ASSERT_EQ(narrow->CreateImage(6, 6), S_OK);
      ASSERT_EQ(narrow->CreatePlanes(1, 0, 0), platform::ResultCode(0x8004045Bu));
      ASSERT_EQ(narrow->SetRect(1, 0, 5, 5), S_OK);
      ComPtr<TypeI> owner;
      ASSERT_EQ(narrow->Clone(owner.Put()), S_OK);
      ASSERT_EQ(owner->AttachImage(4, 4, memory.Begin()), S_OK);
      ASSERT_EQ(narrow->Fill(2), S_OK);
      EXPECT_THAT(memory.Elements(), ElementsAre(5, 2, 2, 2, 2, 2, 8, 2, 2, 2, 2, 2, 8, 2, 2, 2));
      EXPECT_EQ(stale->SetRect(50, 0, 99, 99), S_OK);
      EXPECT_EQ(stale->Fill(1), E_INVALIDARG);
      stale->put_MarginMode(MarginMirror);
      EXPECT_EQ(stale->FillMargins(), platform::ResultCode(0x80040452u));
      CallEverything<Type>(*stale);
      memory.ExpectZonesUntouched();
    }
  });
}

}  // namespace
}  // namespace tests
