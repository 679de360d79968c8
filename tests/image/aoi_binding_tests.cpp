// Binding to buffers, and what no access may do when sizes are not what they seem.
#include <algorithm>
#include <functional>
#include <random>

#include "module/image/aoi.h"
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
      {"data, height 0", 9, [](I& a) { return a.CreateFromData(1, 4, 0, pixels); }, kZero, kEmpty},
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

// How many planes of an odd number of elements make a block of so many in 32 bits, so that a block
// may end anywhere in a plane. 0 where none do.
LONG PlanesThatWrapTo(LONG block, LONG plane) {
  if (plane % 2 == 0) return 0;
  ULONG inverse = 1;
  for (int bits = 1; bits < 32; bits *= 2) inverse *= 2 - static_cast<ULONG>(plane) * inverse;
  return std::max(LONG{0}, static_cast<LONG>(static_cast<ULONG>(block) * inverse));
}

// The interior coordinate that coordinate k of the continued image shows.
LONG Continued(MarginModeKLP mode, LONG k, LONG size) {
  if (k >= 0 && k < size) return k;
  if (mode == MarginPeriodic) return (k + size) % size;
  if (mode == MarginMirror) return k < 0 ? -1 - k : 2 * size - 1 - k;
  return k < 0 ? 0 : size - 1;
}

// Against a model of the memory: block, and behind it as much as the way to the first pixel.
TEST_F(AoiBinding, PixelsAndMargins_StandWhereTheGeometrySays) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    std::minstd_rand random(7);
    const auto upTo = [&](LONG most) { return static_cast<LONG>(random() % ULONG(most + 1)); };
    for (int round = 0; round < 1200; ++round) {
      const LONG most = round % 120 == 0 ? 70 : 5;
      const LONG width = 1 + upTo(most), height = 1 + upTo(most);
      const LONG margin = upTo(std::min(width, height) + 3) - 3;
      const LONG stride = width + 2 * margin, rows = height + 2 * margin, plane = stride * rows;
      if (stride < 1 || rows < 1) continue;
      const bool isCut = upTo(1) == 1;
      const LONG block = isCut ? 1 + upTo(3 * plane) : (1 + upTo(1)) * plane;
      const LONG planes = isCut ? PlanesThatWrapTo(block, plane) : block / plane;
      if (planes < 1) continue;
      SCOPED_TRACE(testing::Message()
                   << planes << " planes of " << width << " x " << height << ", margin " << margin);
      const LONG first = margin * stride + margin;
      const LONG held = margin > 0 && isCut && first < block ? block + first : block;
      std::vector<typename Type::U> source(static_cast<std::size_t>(width * height * 50));
      std::vector<double> model(static_cast<std::size_t>(held), 0);
      for (LONG i = 0; i < width * height * 50; ++i) {
        // Values that differ between neighbours and use the bytes of their type.
        const auto value = static_cast<typename Type::T>(ULONG(i % 251 + 1) * 0x01030507u);
        source[std::size_t(i)] = static_cast<typename Type::U>(value);
        const LONG p = i / width / height, row = i / width % height;
        const LONG at = p * plane + first + row * stride + i % width;
        if (p < planes && at >= 0 && at < held) model[std::size_t(at)] = double(value);
      }
      const auto aoi = NewAoi<Type>();
      aoi->put_BufferMargin(margin);
      ASSERT_EQ(aoi->CreateFromData(planes, width, height, source.data()), S_OK);
      ASSERT_EQ(aoi->SetRect(0, 0, 0, 0), S_OK);
      for (const auto mode :
           {MarginNone, MarginPeriodic, MarginMirror, MarginZero, MarginReplicate}) {
        auto next = model;
        for (LONG i = 0; i < held && margin > 0 && mode != MarginNone; ++i) {
          const LONG column = i % stride - margin, row = i / stride % rows - margin;
          const LONG x = Continued(mode, column, width), y = Continued(mode, row, height);
          if (x == column && y == row) continue;
          // A corner repeats what the margin's row got.
          const LONG inRow = i - column + x, inside = inRow + (y - row) * stride;
          if (mode == MarginZero) {
            next[std::size_t(i)] = 0;
          } else if (inRow < held) {
            next[std::size_t(i)] = model[std::size_t(inside < held ? inside : inRow)];
          }
        }
        model = next;
        aoi->put_MarginMode(mode);
        if (margin >= 0) {
          ASSERT_EQ(aoi->FillMargins(), S_OK);
        }
        std::vector<double> stored;
        for (LONG i = 0; i < block; ++i) {
          aoi->put_ActivePlane(i / plane);
          stored.push_back(PixelOf(*aoi, i % stride - margin, i / stride % rows - margin));
        }
        model.resize(std::size_t(block));
        ASSERT_EQ(stored, model) << "mode " << mode;
        model = next;
      }
      if (margin >= 0) {
        EXPECT_THAT(GeometryOf(*aoi),
                    ElementsAre(0, 0, 1, 1, 0, 0, stride, rows, planes, (block - 1) / plane, 0));
      }
    }
  });
}

struct WatchedImage final : rastel::ComImageBase {
  static rastel::ComImageBase* Make() {
    aliveAtMaking = alive;
    return new WatchedImage;
  }
  WatchedImage() : ComImageBase(2) { ++alive; }
  ~WatchedImage() override { --alive; }
  static inline int alive = 0, aliveAtMaking = 0;
};

TEST_F(AoiBinding, CreateFromData_KeepsTheOldBufferForItsOwnPixelsOnly) {
  static std::int16_t memory[32] = {1, 2, 3, 4, 5, 6};
  const struct {
    bool isAttached;
    LONG offset;  // in bytes from the first element
    bool isOwn;
  } kRows[] = {{false, 0, true},  {false, 41, true}, {false, 42, false}, {false, -1, false},
               {true, -1, false}, {true, 0, true},   {true, 31, true},   {true, 32, false}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::Message() << row.isAttached << " " << row.offset);
    rastel::AoiState state(CLSID_ShortAOIKLP, ElementShort, &WatchedImage::Make);
    state.bufferMargin = 1;
    // 16 elements; 5 more of an own block, up to the first pixel.
    ASSERT_EQ(
        row.isAttached ? state.AttachPlanes(1, 4, 4, memory + 8) : state.CreatePlanes(1, 2, 2),
        S_OK);
    // A width of 0 ends the operation behind the change of buffers.
    state.CreateFromData(1, 0, 1, state.image->Address(0) + row.offset);
    EXPECT_EQ(WatchedImage::aliveAtMaking, row.isOwn ? 1 : 0);
  }
  const auto aoi = NewAoi<ShortAoi>();
  std::int16_t* own = nullptr;
  ASSERT_EQ(aoi->CreateFromData(1, 3, 2, memory), S_OK);
  ASSERT_EQ(aoi->GetPointer(&own), S_OK);
  ASSERT_EQ(aoi->CreateFromData(1, 4, 1, own + 1), S_OK);
  EXPECT_THAT(PixelsOf(*aoi, 0, 0, 4, 1), ElementsAre(2, 3, 4, 5));
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
               {65536, 1, 65536, 65536},  // a margin as wide as the image
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
