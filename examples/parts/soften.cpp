// SPDX-License-Identifier: MIT
// By g++ with libstdc++ and the client library: softens the picture by 3 x 3 pixels, tile by tile
// in threads of its own.
#include <rastelklp/client.h>

#include <thread>

#include "examples/parts/part.h"

const Part kPart{CLSID_Soften, OLESTR("Parts.Soften")};

namespace {

using Picture = rastelklp::Aoi<std::uint8_t>;

void Soften(const Picture& from, const Picture& to) {
  for (int n = 0; n < from.plane_count(); ++n) {
    const auto in = from.plane(n, 1);
    const auto out = to.plane(n);
    for (int y = 0; y < out.height(); ++y) {
      const std::span<std::uint8_t> rows[] = {in[y], in[y + 1], in[y + 2]};
      const auto row = out[y];
      for (std::size_t x = 0; x < row.size(); ++x) {
        int sum = 0;
        for (const auto& around : rows) sum += around[x] + 2 * around[x + 1] + around[x + 2];
        row[x] = static_cast<std::uint8_t>(
            (sum + rows[1][x] + 2 * rows[1][x + 1] + rows[1][x + 2]) / 16);
      }
    }
  }
}

}  // namespace

HRESULT ApplyPart(IDispatch& dispatch) noexcept try {
  const auto picture = rastelklp::com_ptr<IDispatch>(&dispatch).as<Picture>();
  Picture copy(picture.size(), picture.plane_count(), 1);
  for (int n = 0; n < picture.plane_count(); ++n) {
    const auto from = picture.plane(n);
    const auto to = copy.plane(n);
    for (int y = 0; y < from.height(); ++y)
      std::copy(from[y].begin(), from[y].end(), to[y].begin());
  }
  copy.fill_margins(MarginReplicate);
  const auto sources = copy.tiles(1, 2);
  const auto targets = picture.tiles(1, 2);
  std::vector<std::jthread> threads;
  for (std::size_t i = 0; i < targets.size(); ++i)
    threads.emplace_back(Soften, sources[i], targets[i]);
  return S_OK;
} catch (const rastelklp::Error& error) {
  return error.code();
} catch (const std::exception&) {
  return E_FAIL;
}
