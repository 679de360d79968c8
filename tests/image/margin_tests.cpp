#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "image/com_image.h"
#include "tests/image/pixel_types.h"

namespace tests {
namespace {

using rastel::BufferGeometry;
using testing::ElementsAreArray;

struct ModeRow {
  const char* name;
  MarginModeKLP mode;
};
constexpr ModeRow kModes[] = {{"zero", MarginZero},
                              {"periodic", MarginPeriodic},
                              {"mirror", MarginMirror},
                              {"replicate", MarginReplicate}};

constexpr std::int64_t kNothing = -1;

// The interior coordinate that coordinate k of the continued image shows; kNothing for zero.
std::int64_t Continued(MarginModeKLP mode, std::int64_t k, std::int64_t size) {
  const auto modulo = [](std::int64_t a, std::int64_t b) { return (a % b + b) % b; };
  if (k >= 0 && k < size) return k;
  switch (mode) {
    case MarginPeriodic:
      return modulo(k, size);
    case MarginMirror:
      return std::min(modulo(k, 2 * size), 2 * size - 1 - modulo(k, 2 * size));
    case MarginReplicate:
      return k < 0 ? 0 : size - 1;
    default:
      return kNothing;
  }
}

// What a plane holds after a fill, if it held `before` and only its first before.size() elements
// are there: what is not there is not repeated.
template <class T>
std::vector<T> FilledPlane(const std::vector<T>& before, const BufferGeometry& g,
                           MarginModeKLP mode) {
  const auto at = [&](std::int64_t column, std::int64_t row) { return row * g.stride + column; };
  const auto isThere = [&](std::int64_t index) {
    return index < static_cast<std::int64_t>(before.size());
  };
  const auto element = [&](std::int64_t index) { return before[static_cast<std::size_t>(index)]; };
  std::vector<T> after(before);
  for (std::int64_t i = 0; isThere(i); ++i) {
    const std::int64_t column = i % g.stride;
    const std::int64_t row = i / g.stride;
    const std::int64_t x = Continued(mode, column - g.margin, g.width);
    const std::int64_t y = Continued(mode, row - g.margin, g.height);
    T& out = after[static_cast<std::size_t>(i)];
    if (x == kNothing || y == kNothing) {
      out = 0;
    } else if (isThere(at(x + g.margin, row))) {
      const std::int64_t pixel = at(x + g.margin, y + g.margin);
      out = isThere(pixel) ? element(pixel) : element(at(x + g.margin, row));
    }
  }
  return after;
}

template <class T>
std::vector<T> Elements(const Image<T>& image, std::int64_t first, std::int64_t count) {
  return {image.At(first), image.At(first + count)};
}

// Allocates and gives every stored element, margins too, a value of its own.
template <class T>
void AllocateNumbered(Image<T>& image, LONG planes, LONG width, LONG height, LONG margin) {
  ASSERT_EQ(image.Allocate(planes, width, height, margin), S_OK);
  for (std::int64_t i = 0; i < image.blockElements(); ++i) *image.At(i) = PixelValue<T>(i);
}

// Walks all planes, the one that the end of the memory cuts and the tail included.
template <class T>
void ExpectFilled(Image<T>& image, MarginModeKLP mode) {
  const BufferGeometry g = image.geometry();
  const std::int64_t planeElements = static_cast<std::int64_t>(g.rows) * g.stride;
  const std::vector<T> before = Elements(image, 0, image.reachableElements());
  ASSERT_EQ(image.FillMargins(mode), S_OK);
  std::int64_t first = 0;
  for (LONG plane = 0; plane < g.planes && first < image.reachableElements(); ++plane) {
    SCOPED_TRACE(testing::Message() << "plane " << plane);
    const std::int64_t count = std::min(planeElements, image.reachableElements() - first);
    const std::vector<T> plainBefore(before.begin() + first, before.begin() + first + count);
    ASSERT_TRUE(Elements(image, first, count) == FilledPlane(plainBefore, g, mode));
    first += count;
  }
  ASSERT_TRUE(Elements(image, first, image.reachableElements() - first) ==
              std::vector<T>(before.begin() + first, before.end()));
}

TEST(FillMargins, ThreeByTwoPixels_GiveTheKnownPictures) {
  const std::uint8_t kPixels[] = {11, 12, 13, 21, 22, 23};
  const struct {
    MarginModeKLP mode;
    std::vector<std::uint8_t> stored;
  } kRows[] = {{MarginZero, {0, 0, 0,  0,  0,  0, 0,  //
                             0, 0, 0,  0,  0,  0, 0,  //
                             0, 0, 11, 12, 13, 0, 0,  //
                             0, 0, 21, 22, 23, 0, 0,  //
                             0, 0, 0,  0,  0,  0, 0,  //
                             0, 0, 0,  0,  0,  0, 0}},
               {MarginPeriodic, {12, 13, 11, 12, 13, 11, 12,  //
                                 22, 23, 21, 22, 23, 21, 22,  //
                                 12, 13, 11, 12, 13, 11, 12,  //
                                 22, 23, 21, 22, 23, 21, 22,  //
                                 12, 13, 11, 12, 13, 11, 12,  //
                                 22, 23, 21, 22, 23, 21, 22}},
               {MarginMirror, {22, 21, 21, 22, 23, 23, 22,  //
                               12, 11, 11, 12, 13, 13, 12,  //
                               12, 11, 11, 12, 13, 13, 12,  //
                               22, 21, 21, 22, 23, 23, 22,  //
                               22, 21, 21, 22, 23, 23, 22,  //
                               12, 11, 11, 12, 13, 13, 12}},
               {MarginReplicate, {11, 11, 11, 12, 13, 13, 13,  //
                                  11, 11, 11, 12, 13, 13, 13,  //
                                  11, 11, 11, 12, 13, 13, 13,  //
                                  21, 21, 21, 22, 23, 23, 23,  //
                                  21, 21, 21, 22, 23, 23, 23,  //
                                  21, 21, 21, 22, 23, 23, 23}}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.mode);
    Image<std::uint8_t> image;
    ASSERT_EQ(image.InitFromData(kPixels, 1, 3, 2, 2), S_OK);
    ASSERT_EQ(image.FillMargins(row.mode), S_OK);
    EXPECT_THAT(Elements(image, 0, 42), ElementsAreArray(row.stored));
  }
}

TEST(FillMargins, EverySizeAndMargin_ContinuesEachPlaneByItself) {
  const struct {
    LONG planes, width, height;
  } kSizes[] = {{1, 1, 1}, {3, 3, 2}, {2, 5, 7}, {1, 9, 21}, {2, 20, 17}, {1, 41, 37}};
  ForAllPixelTypes([&](auto type) {
    using T = typename decltype(type)::Type;
    for (const auto& size : kSizes) {
      for (LONG margin = 0; margin <= std::min(size.width, size.height); ++margin) {
        SCOPED_TRACE(testing::Message()
                     << size.width << " x " << size.height << ", margin " << margin);
        Image<T> image;
        AllocateNumbered(image, size.planes, size.width, size.height, margin);
        for (const ModeRow& row : kModes) {
          SCOPED_TRACE(row.name);
          if (margin == 0) {
            const std::vector<T> before = Elements(image, 0, image.blockElements());
            ASSERT_EQ(image.FillMargins(row.mode), S_OK);
            ASSERT_TRUE(Elements(image, 0, image.blockElements()) == before);
          } else {
            ExpectFilled(image, row.mode);
          }
          const std::int64_t tail = image.reachableElements() - image.blockElements();
          ASSERT_EQ(tail, static_cast<std::int64_t>(margin) * image.stride() + margin);
          ASSERT_TRUE(Elements(image, image.blockElements(), tail) ==
                      std::vector<T>(static_cast<std::size_t>(tail)));
          if (testing::Test::HasFatalFailure()) return;
        }
      }
    }
  });
}

TEST(FillMargins, ChecksInOrder) {
  constexpr auto kUnknown = static_cast<MarginModeKLP>(99);
  constexpr auto kNegative = static_cast<MarginModeKLP>(-1);
  Image<std::uint16_t> empty, bare, margined;
  ASSERT_EQ(bare.Allocate(1, 4, 4, 0), S_OK);
  AllocateNumbered(margined, 1, 4, 4, 2);
  const struct {
    MarginModeKLP mode;
    HRESULT onEmpty, onBare, onMargined;
  } kRows[] = {{MarginNone, S_OK, S_OK, S_OK},         {MarginZero, E_FAIL, S_OK, S_OK},
               {MarginPeriodic, E_FAIL, S_OK, S_OK},   {MarginMirror, E_FAIL, S_OK, S_OK},
               {MarginReplicate, E_FAIL, S_OK, S_OK},  {kUnknown, E_FAIL, S_OK, E_INVALIDARG},
               {kNegative, E_FAIL, S_OK, E_INVALIDARG}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.mode);
    const auto before = Elements(margined, 0, 64);
    EXPECT_EQ(empty.FillMargins(row.mode), row.onEmpty);
    EXPECT_EQ(bare.FillMargins(row.mode), row.onBare);
    EXPECT_EQ(margined.FillMargins(row.mode), row.onMargined);
    if (row.mode == MarginNone || row.onMargined != S_OK) {
      EXPECT_EQ(Elements(margined, 0, 64), before);
    }
  }
}

// 2^32 elements and a few more leave a block of those few, which cuts a plane anywhere.
TEST(FillMargins, BlockOfWrappedSizes_IsFilledAsFarAsItGoes) {
  constexpr std::int64_t kWrap = std::int64_t{1} << 32;
  for (const LONG margin : {1, 2, 5}) {
    const LONG plane = (7 + 2 * margin) * (5 + 2 * margin);
    for (std::int64_t wraps = 1; wraps < 16; ++wraps) {
      const auto planes = static_cast<LONG>(wraps * kWrap / plane + 1 + wraps % 2);
      SCOPED_TRACE(testing::Message() << "margin " << margin << ", planes " << planes);
      for (const ModeRow& row : kModes) {
        SCOPED_TRACE(row.name);
        Image<std::uint16_t> image;
        AllocateNumbered(image, planes, 7, 5, margin);
        ASSERT_EQ(image.blockElements(), planes * std::int64_t{plane} - wraps * kWrap);
        ExpectFilled(image, row.mode);
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST(FillMargins, SizesWithoutPlaceForAMargin_ChangeNothing) {
  const struct {
    const char* name;
    LONG planes, width, height, margin;
  } kRows[] = {{"no elements", 1, 65536, 65536, 0},
               {"no elements, margin", 1, 65536, 65536, 65536},
               {"one element", 1, INT32_MAX, INT32_MAX, 0},
               {"row length wrapped to 2", 1, 1431655766, 1431655766, 1431655766},
               {"margin below 0", 2, 20, 20, -5},
               {"margin below 0, row length 0", 1, 4, 20, -2},
               {"margin below 0, row length below 0", 1, 4, 4, -5},
               {"planes below 0", -1, 20, -3, -5}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.name);
    Image<double> image;
    AllocateNumbered(image, row.planes, row.width, row.height, row.margin);
    const auto before = Elements(image, 0, image.reachableElements());
    for (const ModeRow& mode : kModes) {
      SCOPED_TRACE(mode.name);
      EXPECT_EQ(image.FillMargins(mode.mode), S_OK);
      EXPECT_EQ(Elements(image, 0, image.reachableElements()), before);
    }
  }
}

}  // namespace
}  // namespace tests
