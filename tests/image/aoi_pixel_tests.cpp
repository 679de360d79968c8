// Pixels: conversions, coordinates, pointers, fills and copies.
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

#include "tests/image/aoi_types.h"

namespace tests {

// A typed AOI of another maker, as a table of functions written by hand: the slots that AOIs ask
// one another are there, every other one counts as a mistake. It lives on the stack.
template <class Type>
struct ForeignAoi {
  using U = typename Type::U;

  ForeignAoi() {
    for (void*& slot : slots) slot = Address(&Unexpected);
    slots[1] = slots[2] = Address(&Count);
    slots[7] = Address(&Width);
    slots[9] = Address(&Height);
    slots[34] = Address(&Access);
    slots[46] = Address(&Rect);
  }
  typename Type::I* Interface() { return reinterpret_cast<typename Type::I*>(this); }

  void** table = slots.data();  // an object begins with this
  LONG x = 0, y = 0, width = 0, height = 0, lineSkip = 0;
  U* pixels = nullptr;
  HRESULT result = S_OK;
  std::function<void()> onAccess;
  int calls = 0;
  int mistakes = 0;

 private:
  template <class Function>
  static void* Address(Function* function) {
    return reinterpret_cast<void*>(function);
  }
  static HRESULT STDMETHODCALLTYPE Unexpected(ForeignAoi* self) {
    ++self->mistakes;
    return E_UNEXPECTED;
  }
  static ULONG STDMETHODCALLTYPE Count(ForeignAoi*) { return 1; }
  static HRESULT STDMETHODCALLTYPE Width(ForeignAoi* self, LONG* out) {
    *out = self->width;
    return self->result;
  }
  static HRESULT STDMETHODCALLTYPE Height(ForeignAoi* self, LONG* out) {
    *out = self->height;
    return self->result;
  }
  static HRESULT STDMETHODCALLTYPE Access(ForeignAoi* self, LONG* w, LONG* h, LONG* skip, U** p) {
    ++self->calls;
    if (self->onAccess) self->onAccess();
    *w = self->width;
    *h = self->height;
    *skip = self->lineSkip;
    *p = self->pixels;
    return self->result;
  }
  static HRESULT STDMETHODCALLTYPE Rect(ForeignAoi* self, LONG* x, LONG* y, LONG* w, LONG* h) {
    *x = self->x;
    *y = self->y;
    *w = self->width;
    *h = self->height;
    return self->result;
  }

  std::array<void*, 70> slots;
};

namespace {

using AoiPixels = AoiTest;
using testing::Each;
using testing::ElementsAre;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kFloatMax = 3.4028234663852886e+38;
constexpr double kDoubleMax = 1.7976931348623157e+308;

// The value put, and what is stored in Byte, Char, Word, Short, DWord, Long, Float and Double.
const struct {
  double value;
  double stored[8];
} kConversions[] = {
    {1.9, {1, 1, 1, 1, 1, 1, 1.899999976158142, 1.9}},
    {-1.9, {0, -1, 0, -1, 0, -1, -1.899999976158142, -1.9}},
    {-0.5, {0, 0, 0, 0, 0, 0, -0.5, -0.5}},
    {-0.9, {0, 0, 0, 0, 0, 0, -0.8999999761581421, -0.9}},
    {-1.0, {0, -1, 0, -1, 0, -1, -1, -1}},
    {127.5, {127, 127, 127, 127, 127, 127, 127.5, 127.5}},
    {-128.5, {0, -128, 0, -128, 0, -128, -128.5, -128.5}},
    {255.9, {255, 127, 255, 255, 255, 255, 255.89999389648438, 255.9}},
    {300, {255, 127, 300, 300, 300, 300, 300, 300}},
    {-32768.75, {0, -128, 0, -32768, 0, -32768, -32768.75, -32768.75}},
    {40000, {255, 127, 40000, 32767, 40000, 40000, 40000, 40000}},
    {65535.5, {255, 127, 65535, 32767, 65535, 65535, 65535.5, 65535.5}},
    {2147483648, {255, 127, 65535, 32767, 2147483648, 2147483647, 2147483648, 2147483648}},
    {-2147483649, {0, -128, 0, -32768, 0, -2147483648.0, -2147483648.0, -2147483649.0}},
    {4294967295, {255, 127, 65535, 32767, 4294967295, 2147483647, 4294967296, 4294967295}},
    {4294967295.5, {255, 127, 65535, 32767, 4294967295, 2147483647, 4294967296, 4294967295.5}},
    {1e10, {255, 127, 65535, 32767, 4294967295, 2147483647, 1e10, 1e10}},
    {1e300, {255, 127, 65535, 32767, 4294967295, 2147483647, kFloatMax, 1e300}},
    {-1e300, {0, -128, 0, -32768, 0, -2147483648.0, -kFloatMax, -1e300}},
    {kInf, {255, 127, 65535, 32767, 4294967295, 2147483647, kFloatMax, kDoubleMax}},
    {-kInf, {0, -128, 0, -32768, 0, -2147483648.0, -kFloatMax, -kDoubleMax}},
    {kNan, {0, 0, 0, 0, 0, -2147483648.0, kNan, kNan}},
    {1e-300, {0, 0, 0, 0, 0, 0, 0, 1e-300}}};

bool IsSame(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

TEST_F(AoiPixels, DoublesAreClampedTruncatedAndComeBack) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    using T = typename Type::T;
    const auto aoi = NewAoi<Type>();
    ASSERT_EQ(aoi->CreateImage(5, 1), S_OK);
    const auto generic = aoi.template As<IAoiKLP>();
    typename Type::U* raw = nullptr;
    ASSERT_EQ(aoi->GetPointer(&raw), S_OK);
    for (const auto& row : kConversions) {
      SCOPED_TRACE(row.value);
      const double expected = row.stored[Type::kCode];
      ASSERT_EQ(aoi->Fill(row.value), S_OK);
      EXPECT_TRUE(IsSame(PixelOf<Type>(*aoi, 4, 0), expected));
      aoi->Clear();
      ASSERT_EQ(generic->PutPixel(2, 0, row.value), S_OK);
      double back = -99;
      EXPECT_EQ(generic->GetPixel(2, 0, &back), S_OK);
      EXPECT_TRUE(IsSame(back, expected)) << back;
      T stored{};
      std::memcpy(&stored, raw + 2, sizeof stored);
      EXPECT_TRUE(IsSame(static_cast<double>(stored), expected));
      EXPECT_EQ(PixelOf<Type>(*aoi, 1, 0), 0);
      EXPECT_EQ(PixelOf<Type>(*aoi, 3, 0), 0);
    }
  });
}

TEST_F(AoiPixels, Coordinates_CountFromTheRectangleAndEndAtTheStoredPlane) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    const auto aoi = NewAoi<Type>();
    aoi->put_BufferMargin(2);
    ASSERT_EQ(aoi->CreatePlanes(2, 4, 3), S_OK);  // stored rows of 8 pixels, 7 of them
    for (const LONG plane : {0, 1}) {
      aoi->put_ActivePlane(plane);
      for (LONG y = -2; y < 5; ++y) {
        for (LONG x = -2; x < 6; ++x) {
          ASSERT_EQ(aoi->PutPixel(x, y, (y + 2) * 8 + (x + 2) + plane * 60), S_OK);
        }
      }
    }
    ASSERT_EQ(aoi->SetRect(1, 2, 2, 2), S_OK);
    const struct {
      LONG x, y;
      double value;  // in plane 1; -1: E_INVALIDARG
    } kRows[] = {{0, 0, 95}, {1, 0, 96},  {2, 0, 97}, {-3, -4, 60}, {4, 2, 115}, {-4, 0, -1},
                 {5, 0, -1}, {0, -5, -1}, {0, 3, -1}, {4, -4, 67},  {-3, 2, 108}};
    for (const auto& row : kRows) {
      SCOPED_TRACE(testing::Message() << row.x << ", " << row.y);
      double value = -1;
      EXPECT_EQ(aoi->GetPixel(row.x, row.y, &value), row.value < 0 ? E_INVALIDARG : S_OK);
      EXPECT_EQ(value, row.value);
      EXPECT_EQ(aoi->PutPixel(row.x, row.y, value), row.value < 0 ? E_INVALIDARG : S_OK);
    }

    // The pointer stands at the rectangle and steps over what is left of the row.
    LONG width = -1, height = -1, lineSkip = -1;
    typename Type::U* checked = nullptr;
    typename Type::U* pixels = nullptr;
    typename Type::U* pointer = nullptr;
    EXPECT_EQ(aoi->GetAccessChecked(&width, &height, &lineSkip, &checked), S_OK);
    EXPECT_THAT((std::array{width, height, lineSkip}), ElementsAre(2, 1, 6));
    width = height = lineSkip = -1;
    EXPECT_EQ(aoi->GetAccess(&width, &height, &lineSkip, &pixels), S_OK);
    EXPECT_THAT((std::array{width, height, lineSkip}), ElementsAre(2, 1, 6));
    EXPECT_EQ(aoi->GetPointer(&pointer), S_OK);
    EXPECT_TRUE(pointer == pixels && pointer == checked);
    EXPECT_EQ(pointer[0], 95);
    EXPECT_EQ(pointer[8], 103);
    EXPECT_EQ(pointer[-35 - 56], 0) << "the first element of plane 0";
    LONG bound = 7;
    EXPECT_EQ(aoi->get_IsBound(&bound), S_OK);
    EXPECT_EQ(bound, 1);
  });
}

TEST_F(AoiPixels, GetAccessChecked_GivesZerosWherePixelsCannotBeReached) {
  for (const State state : {State::kUnbound, State::kEmpty, State::kStale}) {
    SCOPED_TRACE(kStateNames[static_cast<int>(state)]);
    const auto aoi = NewAoiIn<ByteAoi>(state);
    LONG width = 7, height = 7, lineSkip = 7, bound = 7;
    std::uint8_t byte = 0;
    std::uint8_t* pixels = &byte;
    EXPECT_EQ(aoi->GetAccessChecked(&width, &height, &lineSkip, &pixels), S_OK);
    EXPECT_TRUE(width == 0 && height == 0 && lineSkip == 0 && !pixels);
    EXPECT_EQ(aoi->get_IsBound(&bound), S_OK);
    EXPECT_EQ(bound, 0);
  }
}

TEST_F(AoiPixels, FillAndClear_StayInsideTheRectangle) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    const auto aoi = NewAoi<Type>();
    aoi->put_BufferMargin(1);
    ASSERT_EQ(aoi->CreatePlanes(2, 3, 3), S_OK);
    for (const LONG plane : {0, 1}) {
      aoi->put_ActivePlane(plane);
      for (LONG i = 0; i < 25; ++i) aoi->PutPixel(i % 5 - 1, i / 5 - 1, 9);
    }
    ASSERT_EQ(aoi->SetRect(1, 0, 2, 1), S_OK);
    ASSERT_EQ(aoi->Fill(101.75), S_OK);
    const double full = std::is_integral_v<typename Type::T> ? 101 : 101.75;
    EXPECT_THAT(PixelsOf<Type>(*aoi, -2, -1, 5, 5), ElementsAre(9, 9, 9, 9, 9,        //
                                                                9, 9, full, full, 9,  //
                                                                9, 9, full, full, 9,  //
                                                                9, 9, 9, 9, 9,        //
                                                                9, 9, 9, 9, 9));
    ASSERT_EQ(aoi->SetRect(2, 1, 2, 2), S_OK);
    ASSERT_EQ(aoi->Clear(), S_OK);
    EXPECT_THAT(PixelsOf<Type>(*aoi, -3, -2, 5, 5), ElementsAre(9, 9, 9, 9, 9,        //
                                                                9, 9, full, full, 9,  //
                                                                9, 9, full, 0, 9,     //
                                                                9, 9, 9, 0, 9,        //
                                                                9, 9, 9, 9, 9));
    aoi->put_ActivePlane(0);
    EXPECT_THAT(PixelsOf<Type>(*aoi, -3, -2, 5, 5), Each(9.0));
  });
}

TEST_F(AoiPixels, RectanglePastTheStoredRows_IsWalkedIntoTheNextOnes) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    const auto aoi = NewAoi<Type>();
    aoi->put_BufferMargin(2);
    ASSERT_EQ(aoi->CreateImage(4, 3), S_OK);
    for (LONG i = 0; i < 56; ++i) aoi->PutPixel(i % 8 - 2, i / 8 - 2, 9);
    ASSERT_EQ(aoi->SelectAll(), S_OK);
    ASSERT_EQ(aoi->Fill(3), S_OK);
    // 56 elements from the 19th on: those that the block holds are 3, the others lie behind it.
    std::vector<double> expected(56, 3);
    std::fill_n(expected.begin(), 18, 9);
    EXPECT_EQ(PixelsOf<Type>(*aoi, -2, -2, 8, 7), expected);

    // A narrower one wraps row by row.
    ASSERT_EQ(aoi->SetRect(3, 0, 7, 1), S_OK);
    ASSERT_EQ(aoi->Clear(), S_OK);
    std::fill_n(expected.begin() + 21, 5, 0);
    std::fill_n(expected.begin() + 29, 5, 0);
    EXPECT_EQ(PixelsOf<Type>(*aoi, -5, -2, 8, 7), expected);

    const auto target = NewAoi<Type>();
    ASSERT_EQ(target->CreateImage(8, 7), S_OK);
    target->Fill(7);
    ASSERT_EQ(aoi->SelectAll(), S_OK);
    ASSERT_EQ(aoi->CopyTo(target.Get()), S_OK);
    EXPECT_THAT(PixelsOf<Type>(*target, 0, 0, 8, 1), ElementsAre(3, 3, 3, 0, 0, 0, 0, 0));
    EXPECT_EQ(target->CopyTo(aoi.Get()), S_OK);
  });
}

template <class Type>
ComPtr<typename Type::I> Numbered(LONG width, LONG height) {
  const auto aoi = NewAoi<Type>();
  EXPECT_EQ(aoi->CreateImage(width, height), S_OK);
  for (LONG y = 0; y < height; ++y) {
    for (LONG x = 0; x < width; ++x) aoi->PutPixel(x, y, y * 10 + x);
  }
  return aoi;
}

TEST_F(AoiPixels, CopyTo_TakesTheOverlapOfBothRectangles) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    const auto source = Numbered<Type>(10, 10);
    const auto target = NewAoi<Type>();
    target->put_BufferMargin(1);
    ASSERT_EQ(target->CreatePlanes(2, 6, 22), S_OK);
    target->put_ActivePlane(1);
    target->Fill(111);
    ASSERT_EQ(target->SetRect(1, 1, 4, 20), S_OK);  // 4 by 20
    ASSERT_EQ(source->CopyTo(target.Get()), S_OK);
    for (LONG y = -1; y < 21; ++y) {
      const double row = y * 10;
      if (y >= 0 && y < 10) {
        EXPECT_THAT(PixelsOf<Type>(*target, -1, y, 6, 1),
                    ElementsAre(111, row, row + 1, row + 2, row + 3, 111));
      } else {
        EXPECT_THAT(PixelsOf<Type>(*target, -1, y, 6, 1), Each(111.0));
      }
    }
    target->put_ActivePlane(0);
    target->Clear();
    ASSERT_EQ(source->SetRect(8, 9, 9, 9), S_OK);  // 2 by 1
    ASSERT_EQ(source.template As<IAoiKLP>()->CopyTo(target.template As<IAoiKLP>().Get()), S_OK);
    EXPECT_THAT(PixelsOf<Type>(*target, 0, 0, 4, 2), ElementsAre(98, 99, 0, 0, 0, 0, 0, 0));
  });
}

TEST_F(AoiPixels, CopyTo_OverlappingRows_GoTopToBottom) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    const struct {
      LONG dx, dy;
      double result[16];
    } kRows[] = {{0, 0, {0, 1, 2, 3, 10, 11, 12, 13, 20, 21, 22, 23, 30, 31, 32, 33}},
                 {1, 0, {0, 0, 1, 2, 10, 10, 11, 12, 20, 20, 21, 22, 30, 30, 31, 32}},
                 {-1, 0, {1, 2, 3, 3, 11, 12, 13, 13, 21, 22, 23, 23, 31, 32, 33, 33}},
                 {0, -1, {10, 11, 12, 13, 20, 21, 22, 23, 30, 31, 32, 33, 30, 31, 32, 33}},
                 // A row that was written before is what is read.
                 {0, 1, {0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3}}};
    for (const auto& row : kRows) {
      SCOPED_TRACE(testing::Message() << row.dx << ", " << row.dy);
      const auto whole = Numbered<Type>(4, 4);
      ComPtr<typename Type::I> from;
      ComPtr<typename Type::I> to;
      ASSERT_EQ(whole->Clone(from.Put()), S_OK);
      ASSERT_EQ(whole->Clone(to.Put()), S_OK);
      const bool forwards = row.dx >= 0 && row.dy >= 0;
      const LONG dx = forwards ? row.dx : -row.dx;
      const LONG dy = forwards ? row.dy : -row.dy;
      ASSERT_EQ((forwards ? to : from)->SetRect(dx, dy, 3, 3), S_OK);
      EXPECT_EQ(from->CopyTo(to.Get()), S_OK);
      EXPECT_THAT(PixelsOf<Type>(*whole, 0, 0, 4, 4), testing::ElementsAreArray(row.result));
    }
  });
}

TEST_F(AoiPixels, ForeignAoi_IsAskedThroughItsInterface) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    using U = typename Type::U;
    const auto aoi = Numbered<Type>(10, 10);
    ASSERT_EQ(aoi->SetRect(2, 1, 4, 9), S_OK);
    U memory[12] = {90, 90, 90, 90, 90, 90, 90, 90, 90, 90, 90, 90};
    ForeignAoi<Type> foreign;
    foreign.width = 4;
    foreign.height = 2;
    foreign.lineSkip = 1;
    foreign.pixels = memory + 1;
    ASSERT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
    EXPECT_THAT(memory, ElementsAre(90, 12, 13, 14, 90, 90, 22, 23, 24, 90, 90, 90));
    for (const LONG size : {0, -1, INT32_MIN}) {
      foreign.height = size;
      EXPECT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
      foreign.height = 2;
      foreign.width = size;
      EXPECT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
      foreign.width = 4;
    }
    foreign.result = E_ABORT;
    EXPECT_EQ(Ask([&] { return aoi->CopyTo(foreign.Interface()); }), Plain(E_ABORT));
    const int calls = foreign.calls;
    EXPECT_EQ(NewAoi<Type>()->CopyTo(foreign.Interface()), platform::ResultCode(0x8004045Au));
    EXPECT_EQ(foreign.calls, calls) << "the own side comes first";
    EXPECT_THAT(memory, ElementsAre(90, 12, 13, 14, 90, 90, 22, 23, 24, 90, 90, 90));

    // CopyRect heeds what the other's GetRect says, Unite does not.
    foreign.x = 5;
    foreign.y = 6;
    EXPECT_EQ(aoi->CopyRect(foreign.Interface()), E_ABORT);
    EXPECT_EQ(aoi->Unite(foreign.Interface()), S_OK);
    EXPECT_THAT(GeometryOf(*aoi), ElementsAre(2, 1, 7, 9, 0, 0, 10, 10, 1, 0, 0));
    foreign.result = S_OK;
    EXPECT_EQ(aoi->CopyRect(foreign.Interface()), S_OK);
    EXPECT_THAT(GeometryOf(*aoi), ElementsAre(5, 6, 4, 2, 0, 0, 10, 10, 1, 0, 0));
    LONG same = 7;
    EXPECT_EQ(aoi->IsSameSize(foreign.Interface(), &same), S_OK);
    foreign.width = 3;
    EXPECT_EQ(aoi->IsSameSize(foreign.Interface(), &same), S_FALSE);
    EXPECT_EQ(same, 0);
    // The other lets the source's pixels go while it is asked: they stay until they are copied.
    foreign.width = 4;
    foreign.onAccess = [&] { EXPECT_EQ(aoi->CreateImage(1, 1), S_OK); };
    EXPECT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
    EXPECT_THAT(memory, ElementsAre(90, 65, 66, 67, 68, 90, 75, 76, 77, 78, 90, 90));
    EXPECT_EQ(foreign.mistakes, 0);
  });
}

}  // namespace
}  // namespace tests
