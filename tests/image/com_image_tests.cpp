#include "image/com_image.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <numeric>
#include <vector>

#include "tests/image/pixel_types.h"

namespace tests {
namespace {

using rastel::Contents;
using rastel::ElementRange;
using testing::ElementsAre;

constexpr LONG kMax = INT32_MAX;

TEST(ImageBuffer, Allocate_StoresGeometryAndAZeroedTail) {
  ForAllPixelTypes([](auto type) {
    using T = typename decltype(type)::Type;
    Image<T> image;
    ASSERT_EQ(image.Allocate(3, 4, 5, 4), S_OK);
    LONG margin = 0;
    EXPECT_EQ(image.GetMargin(&margin), S_OK);
    EXPECT_EQ(margin, 4);
    EXPECT_TRUE(image.ownsData());
    EXPECT_THAT((std::vector<LONG>{image.planes(), image.width(), image.height(), image.margin(),
                                   image.stride(), image.rows(), image.PlaneStart(2)}),
                ElementsAre(3, 4, 5, 4, 12, 13, 312));
    EXPECT_EQ(image.blockElements(), 468);
    EXPECT_EQ(image.reachableElements(), 468 + 52);
    EXPECT_TRUE(image.InBlock(0) && image.InBlock(467));
    EXPECT_FALSE(image.InBlock(-1) || image.InBlock(468));
    EXPECT_THAT(std::vector<T>(image.At(468), image.At(520)), testing::Each(T{0}));
    for (std::int64_t i = 0; i < 520; ++i) *image.At(i) = T{1};
  });
}

TEST(ImageBuffer, Allocate_ZeroContents_ClearsTheWholeBlock) {
  Image<std::uint32_t> image;
  ASSERT_EQ(image.Allocate(2, 30, 20, 3, Contents::Zero), S_OK);
  EXPECT_THAT(std::vector<std::uint32_t>(image.At(0), image.At(image.reachableElements())),
              testing::Each(0u));
}

TEST(ImageBuffer, WrappedSizes_GiveBlocksOfTheWrappedProduct) {
  const struct {
    const char* name;
    LONG planes, width, height, margin;
    LONG stride, rows;
    std::int64_t block, reachable;
  } kRows[] = {{"no elements", 1, 65536, 65536, 0, 65536, 65536, 0, 0},
               {"one element", 1, kMax, kMax, 0, kMax, kMax, 1, 1},
               {"fits again, tail too", 65537, 254, 254, 1, 256, 256, 65536, 65536 + 257},
               {"first pixel outside: no tail", 1, 65536, 65536, 65536, 196608, 196608, 0, 0},
               {"wrapped sums", 1, 1431655766, 1431655766, 1431655766, 2, 2, 4, 4},
               {"margin below 0", 1, 20, 30, -5, 10, 20, 200, 200},
               {"margin below 0, row length 0", 1, 4, 30, -2, 0, 26, 0, 0},
               {"both sums below 0", 1, 4, 4, -5, -6, -6, 36, 36},
               {"planes below 0", -1, 20, -3, -5, 10, -13, 130, 130}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.name);
    Image<double> image;
    ASSERT_EQ(image.Allocate(row.planes, row.width, row.height, row.margin), S_OK);
    EXPECT_TRUE(image.HasData());
    EXPECT_EQ(image.stride(), row.stride);
    EXPECT_EQ(image.rows(), row.rows);
    EXPECT_EQ(image.blockElements(), row.block);
    EXPECT_EQ(image.reachableElements(), row.reachable);
    for (std::int64_t i = 0; i < row.reachable; ++i) *image.At(i) = 1.0;
  }
}

// Rows are placed at start + row * stride wherever that lies; what is outside the block is dropped.
// Each source ends with the last element that meets the block.
TEST(ImageBuffer, InitFromData_OddSizes_CopiesWhatLiesInTheBlock) {
  const struct {
    const char* name;
    LONG planes, width, height, margin;
    LONG sourceElements;
  } kRows[] = {{"rows overlap", 2, 20, 20, -5, 800},
               {"rows go backwards", 1, 4, 4, -5, 16},
               {"row length 0", 1, 4, 20, -2, 80},
               {"cut plane", 171798693, 3, 3, 1, 12},
               {"many planes of nothing", 1 << 30, 4, 1 << 30, 0, 0},
               {"start wraps into the block", 1, 1431655766, 1431655766, 1431655766, 2},
               {"planes below 0", -1, 20, -3, -5, 0}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.name);
    std::vector<std::int32_t> source(static_cast<std::size_t>(row.sourceElements));
    std::iota(source.begin(), source.end(), 100);
    const std::int32_t none = 0;
    Image<std::int32_t> image;
    ASSERT_EQ(image.InitFromData(source.empty() ? &none : source.data(), row.planes, row.width,
                                 row.height, row.margin),
              S_OK);
    std::vector<std::int32_t> expected(static_cast<std::size_t>(image.reachableElements()));
    const std::int64_t stride = image.stride();
    const auto start = static_cast<LONG>(row.margin * stride + row.margin);
    for (LONG i = 0; i < row.sourceElements; ++i) {
      const LONG line = i / row.width;
      const std::int64_t target =
          start + line * stride + i % row.width + line / row.height * 2 * (row.margin * stride);
      if (target < 0 || target >= image.reachableElements()) continue;
      expected[static_cast<std::size_t>(target)] = 100 + i;
    }
    EXPECT_EQ(std::vector<std::int32_t>(image.At(0), image.At(image.reachableElements())),
              expected);
  }
}

TEST(ImageBuffer, Attach_CountsElementsWithoutWrapping) {
  const struct {
    LONG planes, width, height;
    std::int64_t elements;
  } kRows[] = {
      {1, 65536, 65536, std::int64_t{1} << 32}, {-1, 4, 4, 0}, {kMax, kMax, kMax, INT64_MAX / 8}};
  for (const auto& row : kRows) {
    std::uint8_t pixel = 0;
    Image<std::uint8_t> image;
    ASSERT_EQ(image.Attach(&pixel, row.planes, row.width, row.height), S_OK);
    EXPECT_EQ(image.blockElements(), row.elements);
    EXPECT_EQ(image.reachableElements(), row.elements);
  }
}

TEST(ImageBuffer, ClipRun_KeepsThePartInBlockAndTail) {
  Image<std::uint8_t> image;
  ASSERT_EQ(image.Allocate(1, 4, 3, 1), S_OK);  // 30 elements and 7 behind them
  const struct {
    std::int64_t first, count;
    ElementRange kept;
  } kRows[] = {{0, 37, {0, 37}},
               {5, 10, {5, 10}},
               {30, 7, {30, 7}},
               {30, 8, {30, 7}},
               {36, 5, {36, 1}},
               {37, 1, {0, 0}},
               {-3, 5, {0, 2}},
               {-3, 3, {0, 0}},
               {-3, 100, {0, 37}},
               {4, 0, {0, 0}},
               {4, -9, {0, 0}},
               {INT64_MIN, INT64_MAX, {0, 0}},
               {INT64_MAX, INT64_MAX, {0, 0}},
               {1, INT64_MAX, {1, 36}}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::Message() << row.first << ", " << row.count);
    const ElementRange kept = image.ClipRun(row.first, row.count);
    EXPECT_EQ(kept.first, row.kept.first);
    EXPECT_EQ(kept.count, row.kept.count);
  }
}

TEST(ImageBuffer, References_QueryInterfaceTakesNone) {
  auto* const image = new Image<double>;
  EXPECT_EQ(image->Allocate(1, 8, 8, 2), S_OK);
  IUnknown* const unknown = image;
  EXPECT_EQ(unknown->AddRef(), 1u);
  EXPECT_EQ(unknown->AddRef(), 2u);
  void* out = nullptr;
  EXPECT_EQ(unknown->QueryInterface(IID_IUnknown, &out), S_OK);
  EXPECT_EQ(out, unknown);
  EXPECT_EQ(unknown->QueryInterface(IID_IPersistStream, &out), E_NOINTERFACE);
  EXPECT_EQ(unknown->Release(), 1u);
  EXPECT_EQ(unknown->Release(), 0u);
}

}  // namespace
}  // namespace tests
