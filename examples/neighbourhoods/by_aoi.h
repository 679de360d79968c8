// SPDX-License-Identifier: MIT
// The filter over the tiles of an AOI, whose buffer has a margin: a tile's neighbours are there,
// those of the picture's edge are filled.
#pragma once

#include <rastelklp/client.h>

#include <thread>

#include "examples/neighbourhoods/kernel.h"

using Picture = rastelklp::Aoi<std::uint8_t>;

inline void FilterTile(const Picture& from, const Picture& to) {
  const auto in = from.plane(0, 2);
  const auto out = to.plane(0);
  for (int y = 0; y < out.height(); ++y) {
    FilterRow(
        {in[y].data(), in[y + 1].data(), in[y + 2].data(), in[y + 3].data(), in[y + 4].data()},
        out[y].data(), out[y].size());
  }
}

inline void FilterByAoi(Picture& from, const Picture& to, int threads) {
  from.fill_margins(MarginMirror);
  const auto sources = from.tiles(1, threads), targets = to.tiles(1, threads);
  std::vector<std::jthread> running;
  for (std::size_t i = 1; i < sources.size(); ++i) {
    running.emplace_back(FilterTile, sources[i], targets[i]);
  }
  FilterTile(sources[0], targets[0]);
}
