// AOIs that are made from AOIs: halves, tiles and duplicates.
#include <algorithm>

#include "tests/image/aoi_types.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/host_kind.h"

namespace tests {
namespace {

using DerivedAois = AoiTest;
using testing::ElementsAre;
using Rectangle = std::vector<LONG>;

template <class I>
Rectangle RectOf(I& aoi) {
  Rectangle rect = GeometryOf(aoi);
  rect.resize(4);
  return rect;
}

// A picture, with a margin around it, whose stored pixels are 10 * row + column.
template <class Type>
ComPtr<typename Type::I> NewPicture(LONG width, LONG height, LONG margin, LONG planes = 1) {
  const auto aoi = NewAoi<Type>();
  aoi->put_BufferMargin(margin);
  EXPECT_EQ(aoi->CreatePlanes(planes, width, height), S_OK);
  aoi->put_ActivePlane(planes - 1);
  const LONG stride = width + 2 * margin;
  for (LONG i = 0; i < stride * (height + 2 * margin); ++i) {
    aoi->PutPixel(i % stride - margin, i / stride - margin, i / stride * 10 + i % stride);
  }
  return aoi;
}

// The whole buffer, which has no margin.
template <class I>
std::vector<double> StoredPixels(I& aoi) {
  const std::vector<LONG> g = GeometryOf(aoi);
  return PixelsOf(aoi, -g[0], -g[1], g[6], g[7]);
}

TEST_F(DerivedAois, Split_GivesTheRightOrTheUpperHalf) {
  const Said ok = Plain(S_OK), negative = Reported(1113);
  const struct {
    bool isWidth;
    Rectangle before;
    Said said;
    Rectangle part, rest;  // no part: it could not take its half
  } kRows[] = {
      {true, {2, 1, 5, 3}, ok, {4, 1, 3, 3}, {2, 1, 2, 3}},
      {false, {1, 2, 3, 5}, ok, {1, 2, 3, 2}, {1, 4, 3, 3}},
      {true, {0, 2, 1, 4}, negative, {0, 2, 1, 4}, {0, 2, 1, 4}},
      {true, {3, 2, 1, 4}, ok, {3, 2, 1, 4}, {2, 2, 2, 4}},
      {false, {2, 0, 4, 1}, negative, {}, {2, 0, 4, 1}},
      {false, {2, 3, 4, 1}, ok, {2, 2, 4, 2}, {2, 3, 4, 1}},
  };
  const auto aoi = NewPicture<ByteAoi>(8, 8, 0);
  const auto generic = aoi.As<IAoiKLP>();
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::PrintToString(row.before));
    const auto split = [&](auto& from, auto** out) {
      aoi->SetRect(row.before[0], row.before[1], row.before[0] + row.before[2] - 1,
                   row.before[1] + row.before[3] - 1);
      EXPECT_EQ(Ask([&] { return row.isWidth ? from.SplitWidth(out) : from.SplitHeight(out); }),
                row.said);
      EXPECT_EQ(RectOf(*aoi), row.rest);
    };
    IByteAOIKLP* part = nullptr;
    split(*aoi, &part);
    ASSERT_TRUE(part);
    if (!row.part.empty()) {
      EXPECT_EQ(RectOf(*part), row.part);
      EXPECT_EQ(PixelOf(*part, 0, 0), 10 * row.part[1] + row.part[0]);
      part->Release();
    }
    ComPtr<IAoiKLP> genericPart;
    split(*generic, genericPart.Put());
    EXPECT_EQ(static_cast<bool>(genericPart), row.said == ok);
    EXPECT_EQ(Ask([&] { return generic->SplitWidth(nullptr); }), Plain(E_POINTER));
  }
}

TEST_F(DerivedAois, States_WithoutPixelsAreToldApart) {
  using I = IWordAOIKLP;
  const struct {
    State state;
    Said split, tiles, duplicate;
    Rectangle copied;  // of the duplicate
  } kRows[] = {
      {State::kUnbound, Reported(1114), Reported(1114), Swallowed(1114), {-99, -99, -99, -99}},
      {State::kEmpty, Reported(1113), Reported(1119), Swallowed(1114), {-99, -99, -99, -99}},
      {State::kStale, Plain(S_OK), Plain(S_OK), Plain(S_OK), {0, 0, 10, 8}},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(kStateNames[static_cast<int>(row.state)]);
    const auto aoi = NewAoiIn<WordAoi>(row.state);
    ComPtr<I> out;
    EXPECT_EQ(Ask([&] { return aoi->Duplicate(out.Put()); }), row.duplicate);
    EXPECT_EQ(RectOf(*out), row.copied);
    I* tiles[2] = {};
    EXPECT_EQ(Ask([&] { return aoi->SplitTiles(2, 1, tiles); }), row.tiles);
    for (I* tile : tiles) {
      EXPECT_EQ(tile != nullptr, row.state != State::kUnbound);
      if (tile) tile->Release();
    }
    I* part = nullptr;
    EXPECT_EQ(Ask([&] { return aoi->SplitWidth(&part); }), row.split);
    if (row.state == State::kStale) part->Release();
  }
}

TEST_F(DerivedAois, SplitTiles_CountsInWrappedArithmetic) {
  std::uint8_t pixel = 0;
  const struct {
    LONG width, height, columns, rows;
    Said said;
    int left;  // tiles in the array behind the call
  } kRows[] = {
      {3, 3, 0, 5, Reported(1118), 0},
      {3, 3, -1, -1, Reported(1118), 0},
      {200, 200, 11, 10, Reported(1118), 0},
      {3, 3, 4, 1, Reported(1119), 4},
      {3, 3, 65536, 65536, Reported(1119), 0},
      {100, 3, 100, 42949673, Reported(1119), 4},
      {65536, 65536, 65536, 65536, Plain(S_OK), 0},
      {100, 42949673, 100, 42949673, Plain(S_OK), 4},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::Message() << row.columns << " by " << row.rows);
    const auto aoi = NewAoi<ByteAoi>();
    ASSERT_EQ(aoi->AttachImage(row.width, row.height, &pixel), S_OK);
    IByteAOIKLP* tiles[101] = {};
    EXPECT_EQ(Ask([&] { return aoi->SplitTiles(row.columns, row.rows, tiles); }), row.said);
    int left = 0;
    for (; tiles[left]; ++left) {
      const Rectangle place =
          row.said == Plain(S_OK) ? Rectangle{left, 0, 1, 1} : RectOf(*aoi.Get());
      EXPECT_EQ(RectOf(*tiles[left]), place);
      tiles[left]->Release();
    }
    EXPECT_EQ(left, row.left);
    IAoiKLP* generic[101] = {};
    const auto ask = [&] { return aoi.As<IAoiKLP>()->SplitTiles(row.columns, row.rows, generic); };
    EXPECT_EQ(Ask(ask), row.said);
    for (left = 0; generic[left]; ++left) generic[left]->Release();
    // The client has none of a failing call's tiles here, so none may live.
    EXPECT_EQ(left, row.said == Plain(S_OK) ? row.left : 0);
  }
}

TEST_F(DerivedAois, SplitTiles_CoverTheRectangleAndShareItsPixels) {
  const auto aoi = NewPicture<WordAoi>(20, 12, 2);
  aoi->SetRect(5, 5, 14, 11);
  IAoiKLP* tiles[6] = {};
  AllocationFaults none;
  const HRESULT result = aoi.As<IAoiKLP>()->SplitTiles(3, 2, tiles);
  const long long allocations = none.Stop();
  ASSERT_EQ(result, S_OK);
  EXPECT_EQ(allocations, kEmbeddedHost ? 12 : allocations) << "an object and its marshaler each";
  const Rectangle places[] = {{5, 5, 3, 3}, {8, 5, 3, 3}, {11, 5, 4, 3},
                              {5, 8, 3, 4}, {8, 8, 3, 4}, {11, 8, 4, 4}};
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(RectOf(*tiles[i]), places[i]);
    EXPECT_EQ(tiles[i]->PutPixel(0, 0, 60 + i), S_OK);
    EXPECT_EQ(PixelOf(*aoi, places[i][0] - 5, places[i][1] - 5), 60 + i);
    EXPECT_EQ(tiles[i]->Release(), 0u);
  }
  EXPECT_THAT(RectOf(*aoi), ElementsAre(5, 5, 10, 7));

  const auto square = NewPicture<WordAoi>(100, 100, 0);
  std::uint16_t* first = nullptr;
  square->GetPointer(&first);
  IWordAOIKLP* hundred[100] = {};
  ASSERT_EQ(square->SplitTiles(10, 10, hundred), S_OK);
  for (int i = 0; i < 100; ++i) {
    std::uint16_t* pixels = nullptr;
    EXPECT_EQ(hundred[i]->GetPointer(&pixels), S_OK);
    EXPECT_EQ(pixels - first, i / 10 * 1000 + i % 10 * 10) << "the same pixels, not moved";
    EXPECT_EQ(hundred[i]->Release(), 0u);
  }
}

// What a duplicate with a margin of 1 in a stored picture of 8 by 6 pixels holds. The margins of a
// row count as bytes, so the third pixel is whole, two bytes of it, or less.
template <class Type>
std::vector<double> MarginCopy() {
  if constexpr (sizeof(typename Type::T) == 1) {
    return {0, 0, 0, 0, 0, 21, 22, 23, 24, 31, 32, 33, 34, 41, 42, 43};
  } else if constexpr (std::is_integral_v<typename Type::T>) {
    return {0, 0, 0, 0, 0, 21, 22, 23, 0, 31, 32, 33, 0, 41, 42, 43};
  } else {
    return {0, 0, 0, 0, 0, 21, 22, 0, 0, 31, 32, 0, 0, 41, 42, 0};
  }
}

TEST_F(DerivedAois, Duplicate_CopiesTheActivePlane) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    const std::vector<double> margins = MarginCopy<Type>();
    // The negative margins that SelectAll leaves move the rows to the left.
    const std::vector<double> whole = {12, 13, 14, 15, 16, 17, 22, 23, 24, 25, 26, 27,
                                       32, 33, 34, 35, 36, 37, 42, 43, 44, 45, 46, 47};
    const struct {
      LONG bufferMargin, planes, margin;
      Rectangle corners;  // empty: everything
      MarshalFlagsKLP flags;
      std::vector<LONG> geometry;
      std::vector<double> pixels;
    } kRows[] = {
        {0,
         3,
         0,
         {1, 1, 3, 2},
         MarshalRectangle,
         {0, 0, 3, 2, 0, 0, 3, 2, 1, 0, 0},
         {11, 12, 13, 21, 22, 23}},
        {1, 1, 1, {1, 1, 2, 2}, MarshalRectangle, {1, 1, 2, 2, 1, 1, 4, 4, 1, 0, 0}, margins},
        {1, 1, 0, {}, MarshalRectangle, {0, 0, 6, 4, 0, 0, 6, 4, 1, 0, 0}, whole},
        {1, 2, 1, {1, 1, 3, 2}, MarshalBuffer, {1, 1, 3, 2, 0, 0, 6, 4, 1, 0, 0}, whole},
    };
    for (const auto& row : kRows) {
      SCOPED_TRACE(&row - kRows);
      const auto aoi = NewPicture<Type>(6, 4, row.bufferMargin, row.planes);
      if (row.corners.empty()) {
        aoi->SelectAll();
      } else {
        aoi->SetRect(row.corners[0], row.corners[1], row.corners[2], row.corners[3]);
        aoi->SetMargins(row.margin, row.margin);
      }
      aoi->put_MarginMode(MarginMirror);
      aoi->put_MarshalFlags(row.flags);
      const std::vector<LONG> before = GeometryOf(*aoi);
      ComPtr<typename Type::I> typed;
      EXPECT_EQ(aoi->Duplicate(typed.Put()), S_OK);
      ComPtr<IAoiKLP> generic;
      EXPECT_EQ(aoi.template As<IAoiKLP>()->Duplicate(generic.Put()), S_OK);
      for (const auto& copy : {typed, generic.As<typename Type::I>()}) {
        EXPECT_EQ(GeometryOf(*copy), row.geometry);
        EXPECT_EQ(StoredPixels(*copy), row.pixels);
        EXPECT_EQ(Get(*copy, &Type::I::get_MarshalFlags), row.flags);
        EXPECT_EQ(Get(*copy, &Type::I::get_MarginMode), MarginNone);
        copy->Fill(99);
      }
      EXPECT_EQ(GeometryOf(*aoi), before);
      EXPECT_NE(PixelOf(*aoi, 0, 0), 99);
    }
  });
}

TEST_F(DerivedAois, Duplicate_KeepsNameTagAndMapOfARectangle) {
  MapDouble map;
  MapDouble clone;
  map.clone = &clone;
  const auto aoi = NewPicture<FloatAoi>(4, 4, 0);
  PutName(*aoi, OLESTR("mine"));
  aoi->put_Tag(Int4(7));
  aoi->put_AttributeMap(&map);
  const auto expectData = [&](const OLECHAR* name, VARTYPE tagType, IAttributeMapKLP* expected) {
    ComPtr<IFloatAOIKLP> copy;
    ASSERT_EQ(aoi->Duplicate(copy.Put()), S_OK);
    EXPECT_TRUE(NameOf(*copy) == name);
    VARIANT tag{};
    EXPECT_EQ(copy->get_Tag(&tag), S_OK);
    EXPECT_EQ(tag.vt, tagType);
    ComPtr<IAttributeMapKLP> held;
    EXPECT_EQ(copy->get_AttributeMap(held.Put()), S_OK);
    EXPECT_EQ(held.Get(), expected);
  };
  expectData(OLESTR("mine"), VT_I4, &clone);
  aoi->put_MarshalFlags(MarshalBuffer);
  expectData(OLESTR("None"), VT_EMPTY, nullptr);
  aoi->put_MarshalFlags(MarshalRectangle);
  // Foreign code that takes everything away meanwhile.
  ComPtr<IFloatAOIKLP> copy;
  map.clone = &clone;
  map.onClone = [&] {
    copy.Reset();
    aoi->put_AttributeMap(nullptr);
    aoi->CreateImage(1, 1);
  };
  EXPECT_EQ(aoi->Duplicate(copy.Put()), S_OK);
  EXPECT_EQ(map.references, 1);
  EXPECT_EQ(clone.references, 1);
}

TEST_F(DerivedAois, Duplicate_ThatFails_HandsOutNothing) {
  MapDouble object;
  object.persistResult = E_ACCESSDENIED;
  VARIANT tag{};
  tag.vt = VT_DISPATCH;
  tag.pdispVal = &object;
  const auto aoi = NewAoi<FloatAoi>();
  const auto generic = aoi.As<IAoiKLP>();
  // Without a buffer the whole cannot be selected; a tag that raises ends the rectangle's copy.
  for (const auto& [flags, expected] :
       {std::pair{MarshalBuffer, Reported(1114).result}, {MarshalRectangle, E_ACCESSDENIED}}) {
    aoi->put_MarshalFlags(flags);
    aoi->put_Tag(tag);
    IFloatAOIKLP* typedOut = aoi.Get();
    IAoiKLP* genericOut = generic.Get();
    EXPECT_EQ(aoi->Duplicate(&typedOut), expected);
    EXPECT_EQ(generic->Duplicate(&genericOut), expected);
    EXPECT_TRUE(!typedOut && !genericOut);
  }
  aoi->put_Tag(Int4(0));
}

TEST_F(DerivedAois, Allocations_ThatFailAreToldAndLeaveNoMoreThanTold) {
  if (!kEmbeddedHost) GTEST_SKIP();
  const auto aoi = NewPicture<ByteAoi>(6, 6, 0, 2);
  aoi->put_PlaneSelected(0, 0);
  IByteAOIKLP* out[4] = {};
  int left = 0;
  const auto refuse = [&](auto operation, HRESULT expected) {
    left = 0;
    int wrong = 0;
    const int refused = FailEachAllocation(
        [&] {
          for (IByteAOIKLP*& tile : out) {
            if (tile) tile->Release(), ++left;
            tile = nullptr;
          }
          return operation();
        },
        [&](HRESULT result, long long) { wrong += result != expected; });
    EXPECT_EQ(wrong, 0);
    return refused;
  };
  const HRESULT notCloned = platform::ResultCode(0x8004045Du);
  EXPECT_GE(refuse([&] { return aoi->SplitTiles(2, 2, out); }, notCloned), 12);
  EXPECT_GE(left, 3 * (0 + 1 + 2 + 3)) << "of each failing call the tiles before";
  EXPECT_GE(refuse([&] { return aoi->SplitWidth(out); }, notCloned), 3);
  EXPECT_EQ(left, 4) << "those of the last SplitTiles";
  EXPECT_GE(refuse([&] { return aoi->Duplicate(out); }, E_OUTOFMEMORY), 2);
  ComPtr<IAoiKLP> generic;
  const auto source = aoi.As<IAoiKLP>();
  EXPECT_GE(refuse([&] { return source->Duplicate(generic.Put()); }, E_OUTOFMEMORY), 2);
}

}  // namespace
}  // namespace tests
