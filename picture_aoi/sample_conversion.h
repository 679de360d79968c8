// SPDX-License-Identifier: MIT
// Samples of one type as those of another.
#pragma once

#include <cstddef>
#include <cstdint>

#include "picture_aoi/picture_aoi.h"

namespace picture_aoi {

class SampleConversion {
 public:
  SampleConversion(pictures::PixelType from, pictures::PixelType to, Narrowing narrowing)
      : from_(from), to_(to), narrowing_(narrowing) {}

  // Whether all samples have to be seen by Survey before the first is converted.
  bool NeedsSurvey() const {
    return narrowing_ == Narrowing::kScale || (narrowing_ == Narrowing::kRefuse && from_ != to_);
  }
  bool IsNone() const { return from_ == to_ && narrowing_ != Narrowing::kScale; }

  void Survey(const std::byte* samples, std::size_t count);
  void Convert(const std::byte* samples, std::size_t count, std::byte* converted);

  // Of those surveyed or converted last, how many change; the finite ones lie between the two.
  std::uint64_t changed() const { return changed_; }
  double lowest() const { return lowest_; }
  double highest() const { return highest_; }
  void StartOver() { changed_ = 0; }

 private:
  pictures::PixelType from_;
  pictures::PixelType to_;
  Narrowing narrowing_;
  std::uint64_t changed_ = 0;
  double lowest_ = 0;
  double highest_ = 0;
  bool hasFinite_ = false;
};

// What whole numbers, or numbers, of a type are.
double LowestOf(pictures::PixelType type);
double HighestOf(pictures::PixelType type);

}  // namespace picture_aoi
