// SPDX-License-Identifier: MIT
// The same over regions of a matrix: a copy of the picture with a border first, then regions of it.
#pragma once

#include <opencv2/imgproc.hpp>
#include <thread>
#include <vector>

#include "examples/neighbourhoods/kernel.h"

inline void FilterRegion(const cv::Mat& bordered, cv::Mat& to, const cv::Rect& region) {
  const cv::Mat in = bordered(cv::Rect(region.x, region.y, region.width + 4, region.height + 4));
  cv::Mat out = to(region);
  for (int y = 0; y < out.rows; ++y) {
    FilterRow({in.ptr(y), in.ptr(y + 1), in.ptr(y + 2), in.ptr(y + 3), in.ptr(y + 4)}, out.ptr(y),
              static_cast<std::size_t>(out.cols));
  }
}

inline void FilterByOpenCv(const cv::Mat& from, cv::Mat& to, int threads) {
  cv::Mat bordered;
  cv::copyMakeBorder(from, bordered, 2, 2, 2, 2, cv::BORDER_REFLECT);
  std::vector<std::jthread> running;
  for (int i = 1; i < threads; ++i) {
    const int top = from.rows / threads * i;
    const int bottom = i == threads - 1 ? from.rows : from.rows / threads * (i + 1);
    running.emplace_back([&, top, bottom] {
      FilterRegion(bordered, to, cv::Rect(0, top, from.cols, bottom - top));
    });
  }
  FilterRegion(bordered, to,
               cv::Rect(0, 0, from.cols, threads == 1 ? from.rows : from.rows / threads));
}
