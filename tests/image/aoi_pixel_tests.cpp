// Pixels: conversions, coordinates, pointers, fills and copies.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

#include "tests/image/aoi_types.h"

namespace tests {

// An AOI of bytes of another maker, as a table of functions written by hand: the slots that AOIs
// ask one another are there, every other one counts as a mistake. It lives on the stack.
struct ForeignAoi {
  ForeignAoi() {
    slots.fill(Address([](ForeignAoi* self) { return ++self->mistakes, E_UNEXPECTED; }));
    slots[1] = slots[2] = Address([](ForeignAoi*) { return S_FALSE; });
    slots[7] =
        Address([](ForeignAoi* self, LONG* out) { return *out = self->width, self->result; });
    slots[9] =
        Address([](ForeignAoi* self, LONG* out) { return *out = self->height, self->result; });
    slots[34] = Address([](ForeignAoi* self, LONG* w, LONG* h, LONG* skip, std::uint8_t** p) {
      ++self->calls;
      if (self->onAccess) self->onAccess();
      *w = self->width;
      *h = self->height;
      *skip = 1;
      *p = self->pixels;
      return self->result;
    });
    slots[46] = Address([](ForeignAoi* self, LONG* x, LONG* y, LONG* w, LONG* h) {
      *x = 5;
      *y = 6;
      *w = self->width;
      *h = self->height;
      return self->result;
    });
  }
  IByteAOIKLP* Interface() { return reinterpret_cast<IByteAOIKLP*>(this); }

  void** table = slots.data();  // an object begins with this
  LONG width = 4, height = 2;
  std::uint8_t* pixels = nullptr;
  HRESULT result = S_OK;
  std::function<void()> onAccess;
  int calls = 0;
  int mistakes = 0;

 private:
  template <class Lambda>
  static void* Address(Lambda lambda) {
    return Function(+lambda);
  }
  template <class... Arguments>
  static void* Function(HRESULT (*function)(Arguments...)) {
    return reinterpret_cast<void*>(function);
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
    {-128.5, {0, -128, 0, -128, 0, -128, -128.5, -128.5}},
    {255.9, {255, 127, 255, 255, 255, 255, 255.89999389648438, 255.9}},
    {-32768.75, {0, -128, 0, -32768, 0, -32768, -32768.75, -32768.75}},
    {2147483648, {255, 127, 65535, 32767, 2147483648, 2147483647, 2147483648, 2147483648}},
    {-2147483649, {0, -128, 0, -32768, 0, -2147483648.0, -2147483648.0, -2147483649.0}},
    {4294967295, {255, 127, 65535, 32767, 4294967295, 2147483647, 4294967296, 4294967295}},
    {1e300, {255, 127, 65535, 32767, 4294967295, 2147483647, kFloatMax, 1e300}},
    {kInf, {255, 127, 65535, 32767, 4294967295, 2147483647, kFloatMax, kDoubleMax}},
    {-kInf, {0, -128, 0, -32768, 0, -2147483648.0, -kFloatMax, -kDoubleMax}},
    {kNan, {0, 0, 0, 0, 0, -2147483648.0, kNan, kNan}},
    {1e-300, {0, 0, 0, 0, 0, 0, 0, 1e-300}}};

bool IsSame(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

TEST_F(AoiPixels, DoublesAreClampedTruncatedAndComeBack) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    const auto aoi = NewAoi<Type>();
    ASSERT_EQ(aoi->CreateImage(5, 1), S_OK);
    typename Type::U* raw = nullptr;
    ASSERT_EQ(aoi->GetPointer(&raw), S_OK);
    for (const auto& row : kConversions) {
      SCOPED_TRACE(row.value);
      const double expected = row.stored[Type::kCode];
      ASSERT_EQ(aoi->Fill(row.value), S_OK);
      EXPECT_TRUE(IsSame(PixelOf(*aoi, 4, 0), expected));
      aoi->Clear();
      ASSERT_EQ(aoi.template As<IAoiKLP>()->PutPixel(2, 0, row.value), S_OK);
      EXPECT_TRUE(IsSame(PixelOf(*aoi, 2, 0), expected));
      typename Type::T stored{};
      std::memcpy(&stored, raw + 2, sizeof stored);
      EXPECT_TRUE(IsSame(static_cast<double>(stored), expected));
      EXPECT_EQ(PixelOf(*aoi, 1, 0), 0);
      EXPECT_EQ(PixelOf(*aoi, 3, 0), 0);
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
      for (LONG i = 0; i < 56; ++i) aoi->PutPixel(i % 8 - 2, i / 8 - 2, i + plane * 60);
    }
    ASSERT_EQ(aoi->SetRect(1, 2, 2, 2), S_OK);
    const struct {
      LONG x, y;
      double value;  // in plane 1; -1: E_INVALIDARG
    } kRows[] = {{0, 0, 95},  {-3, -4, 60}, {4, 2, 115}, {-4, 0, -1}, {5, 0, -1},
                 {0, -5, -1}, {0, 3, -1},   {4, -4, 67}, {-3, 2, 108}};
    for (const auto& row : kRows) {
      SCOPED_TRACE(testing::Message() << row.x << ", " << row.y);
      double value = -1;
      EXPECT_EQ(aoi->GetPixel(row.x, row.y, &value), row.value < 0 ? E_INVALIDARG : S_OK);
      EXPECT_EQ(value, row.value);
      EXPECT_EQ(aoi->PutPixel(row.x, row.y, value), row.value < 0 ? E_INVALIDARG : S_OK);
    }
    // The pointer stands at the rectangle and steps over what is left of the row.
    LONG n[6] = {};
    typename Type::U *checked = nullptr, *pixels = nullptr, *pointer = nullptr;
    EXPECT_EQ(aoi->GetAccessChecked(&n[0], &n[1], &n[2], &checked), S_OK);
    EXPECT_EQ(aoi->GetAccess(&n[3], &n[4], &n[5], &pixels), S_OK);
    EXPECT_THAT(n, ElementsAre(2, 1, 6, 2, 1, 6));
    EXPECT_EQ(aoi->GetPointer(&pointer), S_OK);
    EXPECT_TRUE(pointer == pixels && pointer == checked);
    EXPECT_EQ(pointer[0], 95);
    EXPECT_EQ(pointer[-35 - 56], 0) << "the first element of plane 0";
    EXPECT_EQ(Get(*aoi, &Type::I::get_IsBound), 1);
  });
}

TEST_F(AoiPixels, GetAccessChecked_GivesZerosWherePixelsCannotBeReached) {
  for (const State state : {State::kUnbound, State::kEmpty, State::kStale}) {
    LONG n[3] = {7, 7, 7};
    std::uint8_t byte = 0, *pixels = &byte;
    EXPECT_EQ(NewAoiIn<ByteAoi>(state)->GetAccessChecked(&n[0], &n[1], &n[2], &pixels), S_OK);
    EXPECT_THAT(n, Each(0));
    EXPECT_EQ(pixels, nullptr);
    EXPECT_EQ(Get(*NewAoiIn<ByteAoi>(state), &IByteAOIKLP::get_IsBound), 0);
  }
}

TEST_F(AoiPixels, RectanglePastTheStoredRows_IsWalkedIntoTheNextOnes) {
  using Type = ShortAoi;
  const auto aoi = NewAoi<Type>();
  aoi->put_BufferMargin(2);
  ASSERT_EQ(aoi->CreateImage(4, 3), S_OK);
  for (LONG i = 0; i < 56; ++i) aoi->PutPixel(i % 8 - 2, i / 8 - 2, 9);
  ASSERT_EQ(aoi->SelectAll(), S_OK);
  ASSERT_EQ(aoi->Fill(3), S_OK);
  // 56 elements from the 19th on: those that the block holds are 3, the others lie behind it.
  std::vector<double> expected(56, 3);
  std::fill_n(expected.begin(), 18, 9);
  EXPECT_EQ(PixelsOf(*aoi, -2, -2, 8, 7), expected);
  // A narrower one wraps row by row.
  ASSERT_EQ(aoi->SetRect(3, 0, 7, 1), S_OK);
  ASSERT_EQ(aoi->Clear(), S_OK);
  std::fill_n(expected.begin() + 21, 5, 0);
  std::fill_n(expected.begin() + 29, 5, 0);
  EXPECT_EQ(PixelsOf(*aoi, -5, -2, 8, 7), expected);
}

template <class Type>
ComPtr<typename Type::I> Numbered(LONG width, LONG height) {
  const auto aoi = NewAoi<Type>();
  EXPECT_EQ(aoi->CreateImage(width, height), S_OK);
  for (LONG i = 0; i < width * height; ++i) {
    aoi->PutPixel(i % width, i / width, i / width * 10 + i % width);
  }
  return aoi;
}

TEST_F(AoiPixels, CopyTo_TakesTheOverlapOfBothRectangles) {
  ForAllAoiTypes([](auto type) {
    using Type = decltype(type);
    const auto source = Numbered<Type>(4, 2);
    const auto target = NewAoi<Type>();
    target->put_BufferMargin(1);
    ASSERT_EQ(target->CreatePlanes(2, 6, 9), S_OK);
    target->put_ActivePlane(1);
    target->Fill(111);
    ASSERT_EQ(target->SetRect(1, 1, 3, 5), S_OK);  // 3 by 5
    ASSERT_EQ(source->CopyTo(target.Get()), S_OK);
    EXPECT_THAT(PixelsOf(*target, -1, -1, 5, 4),
                ElementsAre(111, 111, 111, 111, 111, 111, 0, 1, 2, 111, 111, 10, 11, 12, 111, 111,
                            111, 111, 111, 111));
    ASSERT_EQ(source->SetRect(2, 1, 3, 1), S_OK);  // 2 by 1
    ASSERT_EQ(source.template As<IAoiKLP>()->CopyTo(target.template As<IAoiKLP>().Get()), S_OK);
    EXPECT_THAT(PixelsOf(*target, 0, 0, 3, 2), ElementsAre(12, 13, 2, 10, 11, 12));
  });
}

TEST_F(AoiPixels, CopyTo_OverlappingRows_GoTopToBottom) {
  const struct {
    LONG dx, dy;
    std::vector<double> result;
  } kRows[] = {{1, 0, {0, 0, 1, 10, 10, 11, 20, 20, 21}},
               {-1, 0, {1, 2, 2, 11, 12, 12, 21, 22, 22}},
               {0, -1, {10, 11, 12, 20, 21, 22, 20, 21, 22}},
               // A row that was written before is what is read.
               {0, 1, {0, 1, 2, 0, 1, 2, 0, 1, 2}}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::Message() << row.dx << ", " << row.dy);
    const auto whole = Numbered<FloatAoi>(3, 3);
    ComPtr<IFloatAOIKLP> part;
    ASSERT_EQ(whole->Clone(part.Put()), S_OK);
    ASSERT_EQ(part->SetRect(std::abs(row.dx), std::abs(row.dy), 2, 2), S_OK);
    const bool forwards = row.dx + row.dy > 0;
    EXPECT_EQ((forwards ? whole : part)->CopyTo((forwards ? part : whole).Get()), S_OK);
    EXPECT_EQ(PixelsOf(*whole, 0, 0, 3, 3), row.result);
  }
}

TEST_F(AoiPixels, ForeignAoi_IsAskedThroughItsInterface) {
  const auto aoi = Numbered<ByteAoi>(10, 10);
  ASSERT_EQ(aoi->SetRect(2, 1, 4, 9), S_OK);
  std::uint8_t memory[12] = {90, 90, 90, 90, 90, 90, 90, 90, 90, 90, 90, 90};
  ForeignAoi foreign;
  foreign.pixels = memory + 1;
  ASSERT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
  EXPECT_THAT(memory, ElementsAre(90, 12, 13, 14, 90, 90, 22, 23, 24, 90, 90, 90));
  for (const LONG size : {0, INT32_MIN}) {
    foreign.height = size;
    EXPECT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
  }
  foreign.height = 2;
  foreign.result = E_ABORT;
  EXPECT_EQ(Ask([&] { return aoi->CopyTo(foreign.Interface()); }), Plain(E_ABORT));
  const int calls = foreign.calls;
  EXPECT_EQ(NewAoi<ByteAoi>()->CopyTo(foreign.Interface()), platform::ResultCode(0x8004045Au));
  EXPECT_EQ(foreign.calls, calls) << "the own side comes first";

  // CopyRect heeds what the other's GetRect says, Unite does not.
  EXPECT_EQ(aoi->CopyRect(foreign.Interface()), E_ABORT);
  EXPECT_EQ(aoi->Unite(foreign.Interface()), S_OK);
  EXPECT_THAT(GeometryOf(*aoi), ElementsAre(2, 1, 7, 9, 0, 0, 10, 10, 1, 0, 0));
  foreign.result = S_OK;
  EXPECT_EQ(aoi->CopyRect(foreign.Interface()), S_OK);
  EXPECT_THAT(GeometryOf(*aoi), ElementsAre(5, 6, 4, 2, 0, 0, 10, 10, 1, 0, 0));
  LONG same = 7;
  EXPECT_EQ(aoi->IsSameSize(foreign.Interface(), &same), S_OK);
  // The other lets the source's pixels go while it is asked: they stay until they are copied.
  foreign.onAccess = [&] { EXPECT_EQ(aoi->CreateImage(1, 1), S_OK); };
  EXPECT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
  EXPECT_THAT(memory, ElementsAre(90, 65, 66, 67, 68, 90, 75, 76, 77, 78, 90, 90));
  EXPECT_EQ(foreign.mistakes, 0);
}

}  // namespace
}  // namespace tests
