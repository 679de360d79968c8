// What FillMargins writes around the planes of a buffer.
#include <algorithm>

#include "tests/image/aoi_types.h"

namespace tests {
namespace {

using AoiMargins = AoiTest;

TEST_F(AoiMargins, ThreeByTwoPixels_GiveTheKnownPictures) {
  const struct {
    MarginModeKLP mode;
    double stored[42];
  } kRows[] = {{MarginZero, {0, 0, 0,  0,  0,  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 11, 12, 13, 0, 0,
                             0, 0, 21, 22, 23, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  0,  0,  0, 0}},
               {MarginPeriodic, {12, 13, 11, 12, 13, 11, 12, 22, 23, 21, 22, 23, 21, 22,
                                 12, 13, 11, 12, 13, 11, 12, 22, 23, 21, 22, 23, 21, 22,
                                 12, 13, 11, 12, 13, 11, 12, 22, 23, 21, 22, 23, 21, 22}},
               {MarginMirror, {22, 21, 21, 22, 23, 23, 22, 12, 11, 11, 12, 13, 13, 12,
                               12, 11, 11, 12, 13, 13, 12, 22, 21, 21, 22, 23, 23, 22,
                               22, 21, 21, 22, 23, 23, 22, 12, 11, 11, 12, 13, 13, 12}},
               {MarginReplicate, {11, 11, 11, 12, 13, 13, 13, 11, 11, 11, 12, 13, 13, 13,
                                  11, 11, 11, 12, 13, 13, 13, 21, 21, 21, 22, 23, 23, 23,
                                  21, 21, 21, 22, 23, 23, 23, 21, 21, 21, 22, 23, 23, 23}}};
  std::uint8_t pixels[] = {11, 12, 13, 21, 22, 23};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.mode);
    const auto aoi = NewAoi<ByteAoi>();
    aoi->put_BufferMargin(2);
    ASSERT_EQ(aoi->CreateFromData(1, 3, 2, pixels), S_OK);
    aoi->put_MarginMode(row.mode);
    aoi->SetRect(1, 1, 2, 1);
    ASSERT_EQ(aoi->FillMargins(), S_OK);
    EXPECT_THAT(GeometryOf(*aoi), testing::ElementsAre(1, 1, 2, 1, 0, 0, 7, 6, 1, 0, 0));
    EXPECT_THAT(PixelsOf(*aoi, -3, -3, 7, 6), testing::ElementsAreArray(row.stored));
  }
}

// The interior coordinate that coordinate k of the continued image shows; -1 for zero.
LONG Continued(MarginModeKLP mode, LONG k, LONG size) {
  if (k >= 0 && k < size) return k;
  if (mode == MarginZero) return -1;
  if (mode == MarginPeriodic) return (k + size) % size;
  if (mode == MarginMirror) return k < 0 ? -1 - k : 2 * size - 1 - k;
  return k < 0 ? 0 : size - 1;
}

TEST_F(AoiMargins, EverySizeAndMargin_ContinuesEachPlaneByItself) {
  const struct {
    LONG planes, width, height;
  } kSizes[] = {{1, 1, 1}, {3, 3, 2}, {2, 20, 17}, {1, 70, 67}};
  ForAllAoiTypes([&](auto type) {
    using U = typename decltype(type)::U;
    for (const auto& [planes, width, height] : kSizes) {
      for (LONG margin = 1; margin <= std::min(width, height); margin += 1 + margin / 4) {
        SCOPED_TRACE(testing::Message() << width << " x " << height << ", margin " << margin);
        const auto aoi = NewAoi<decltype(type)>();
        aoi->put_BufferMargin(margin);
        ASSERT_EQ(aoi->CreatePlanes(planes, width, height), S_OK);
        const LONG stride = width + 2 * margin, rows = height + 2 * margin;
        U* stored = nullptr;
        ASSERT_EQ(aoi->GetPointer(&stored), S_OK);
        stored -= margin * stride + margin;
        for (const auto mode : {MarginZero, MarginPeriodic, MarginMirror, MarginReplicate}) {
          std::vector<U> expected;
          for (LONG i = 0; i < planes * rows * stride; ++i) {
            const LONG column = i % stride - margin, row = i / stride % rows - margin;
            const LONG x = Continued(mode, column, width), y = Continued(mode, row, height);
            // Values that differ between neighbours and use the bytes of their type.
            const ULONG number = static_cast<ULONG>(1 + i / stride / rows * 9 + y * width + x);
            const bool isZero = x < 0 || y < 0;
            expected.push_back(isZero ? U{0} : static_cast<U>(number * 0x01030507u));
            stored[i] = x == column && y == row ? expected.back() : U{99};
          }
          aoi->put_MarginMode(mode);
          ASSERT_EQ(aoi->FillMargins(), S_OK);
          ASSERT_TRUE(std::equal(expected.begin(), expected.end(), stored)) << "mode " << mode;
        }
      }
    }
  });
}

}  // namespace
}  // namespace tests
