// SPDX-License-Identifier: MIT
// Works that grow: pictures, tiles, nesting, threads. Maps grow in maps.cpp.
#include <map>
#include <mutex>
#include <vector>

#include "bench/peers/peers.h"

#ifdef PEER_OPENCV
#include <opencv2/core.hpp>
#endif

namespace peers {
namespace {

// Pictures of bytes, told for 1000 pixels.

struct Area {
  LONG width, height;

  double Thousands() const { return static_cast<double>(width) * height / 1'000; }
  std::string Row(const std::string& work) const {
    return "picture/" + work + "/" + std::to_string(static_cast<long long>(width) * height);
  }
};

Ref<IByteAOIKLP> Picture(const Area& area) {
  auto picture = New<IByteAOIKLP>(CLSID_ByteAOIKLP);
  Check(picture->CreateImage(area.width, area.height));
  Check(picture->Fill(3));
  return picture;
}

void AddArea(const Area& area) {
  const double units = area.Thousands();
  Contend(
      area.Row("fill"), "ours",
      [=] {
        return [picture = Picture(area)] {
          Check(picture->Fill(7));
          benchmark::ClobberMemory();
        };
      },
      units);
  Contend(
      area.Row("copy"), "ours",
      [=] {
        return [from = Picture(area), to = Picture(area)] {
          Check(from->CopyTo(to.Get()));
          benchmark::ClobberMemory();
        };
      },
      units);
  Contend(
      area.Row("duplicate"), "ours",
      [=] {
        return [picture = Picture(area)] {
          Check(picture->Duplicate(Ref<IByteAOIKLP>().Put()));
          benchmark::ClobberMemory();
        };
      },
      units);
  Contend(
      area.Row("save"), "ours", [=] { return SaveAgain(Picture(area).As<IPersistStream>()); },
      units);
  Contend(
      area.Row("load"), "ours",
      [=] {
        return LoadAgain(New<IPersistStream>(CLSID_ByteAOIKLP),
                         Saved(Picture(area).As<IPersistStream>()));
      },
      units);
#ifdef PEER_OPENCV
  const auto mat = [=] { return cv::Mat(area.height, area.width, CV_8U, cv::Scalar(3)); };
  Contend(
      area.Row("fill"), "opencv",
      [=] {
        return [picture = mat()]() mutable {
          picture.setTo(7);
          benchmark::ClobberMemory();
        };
      },
      units);
  Contend(
      area.Row("copy"), "opencv",
      [=] {
        return [from = mat(), to = mat()]() mutable {
          from.copyTo(to);
          benchmark::ClobberMemory();
        };
      },
      units);
  Contend(
      area.Row("duplicate"), "opencv",
      [=] {
        return [picture = mat()] {
          benchmark::DoNotOptimize(picture.clone().data);
          benchmark::ClobberMemory();
        };
      },
      units);
#endif
}

// Tiles of one picture, all alive at a time.

constexpr LONG kTiledSide = 4'096;
using Tiles = std::vector<Ref<IByteAOIKLP>>;

// Splits each until there are so many; a power of ten.
Tiles Split(const Ref<IByteAOIKLP>& picture, std::size_t count) {
  Tiles tiles{picture};
  bool done = false;
  while (!done) {
    const std::size_t each = (std::min)(count / tiles.size(), std::size_t{100});
    const LONG across = each >= 10 ? 10 : 1, down = each == 100 ? 10 : 1;
    Tiles smaller;
    smaller.reserve(tiles.size() * each);
    for (const auto& tile : tiles) {
      IByteAOIKLP* made[100] = {};
      Check(tile->SplitTiles(across, down, made));
      for (std::size_t i = 0; i < each; ++i) smaller.emplace_back().Attach(made[i]);
    }
    tiles = std::move(smaller);
    done = tiles.size() == count;
  }
  return tiles;
}

void AddTiles(std::size_t count) {
  const std::string size = std::to_string(count);
  const auto units = static_cast<double>(count);
  const Area area{kTiledSide, kTiledSide};
  Contend(
      "tiles/make/" + size, "ours",
      [=] {
        return
            [count, picture = Picture(area)] { benchmark::DoNotOptimize(Split(picture, count)); };
      },
      units);
  Contend(
      "tiles/visit/" + size, "ours",
      [=] {
        return [tiles = Split(Picture(area), count)] {
          for (const auto& tile : tiles) {
            LONG width = 0, height = 0, skip = 0;
            std::uint8_t* pixels = nullptr;
            Check(tile->GetAccess(&width, &height, &skip, &pixels));
            benchmark::DoNotOptimize(pixels);
          }
        };
      },
      units);
#ifdef PEER_OPENCV
  const auto split = [=](const cv::Mat& picture) {
    int across = 1;
    while (static_cast<std::size_t>(across * across) < count) across *= 10;
    const int down = static_cast<int>(count) / across;
    const int width = kTiledSide / across, height = kTiledSide / down;
    std::vector<std::unique_ptr<cv::Mat>> tiles;
    tiles.reserve(count);
    for (int i = 0; i < across * down; ++i) {
      tiles.push_back(std::make_unique<cv::Mat>(
          picture, cv::Rect(i % across * width, i / across * height, width, height)));
    }
    return tiles;
  };
  Contend(
      "tiles/make/" + size, "opencv",
      [=] {
        return [split, picture = cv::Mat(kTiledSide, kTiledSide, CV_8U)] {
          benchmark::DoNotOptimize(split(picture));
        };
      },
      units);
#endif
}

// Maps in maps, told for one level.
void AddNesting(int depth) {
  const auto chain = [depth] {
    const rastelklp::Text key("inner");
    auto map = New<IAttributeBstrMapKLP>(CLSID_AttributeBstrMapKLP);
    for (int level = 1; level < depth; ++level) {
      const auto outer = New<IAttributeBstrMapKLP>(CLSID_AttributeBstrMapKLP);
      VARIANT value{};
      value.vt = VT_UNKNOWN;
      value.punkVal = map.Get();
      Check(outer->put_Value(key.get(), value));
      map = outer;
    }
    return map;
  };
  const auto row = [depth](const std::string& work) {
    return "nesting/" + work + "/" + std::to_string(depth);
  };
  Contend(
      row("save"), "ours", [=] { return SaveAgain(chain().As<IPersistStream>()); }, depth);
  Contend(
      row("load"), "ours",
      [=] {
        return LoadAgain(New<IPersistStream>(CLSID_AttributeBstrMapKLP),
                         Saved(chain().As<IPersistStream>()));
      },
      depth);
  Contend(
      row("clone"), "ours",
      [=] { return [map = chain()] { Check(map->Clone(Ref<IAttributeBstrMapKLP>().Put())); }; },
      depth);
}

// Threads, told for one work of any of them by the clock.

template <class Make>
void ContendInThreads(const std::string& row, const std::string& who, int threads, Make make) {
  NoteRow(row);
  using Shared = decltype(make());
  const auto shared = std::make_shared<std::unique_ptr<Shared>>();
  benchmark::RegisterBenchmark((row + "/" + who).c_str(),
                               [=](benchmark::State& state) {
                                 // The others wait where the loop begins.
                                 if (state.thread_index() == 0)
                                   *shared = std::make_unique<Shared>(make());
                                 int turn = state.thread_index();
                                 for (auto _ : state) (**shared)(state.thread_index(), turn++);
                                 state.counters["units"] =
                                     benchmark::Counter(1, benchmark::Counter::kAvgThreads);
                               })
      ->Threads(threads)
      ->UseRealTime();
}

void AddThreads(int threads) {
  constexpr int kAttributes = 100;
  const std::string size = std::to_string(threads);
  std::vector<std::string> names;
  for (int i = 0; i < kAttributes; ++i) names.push_back("attribute " + std::to_string(i));

  ContendInThreads("threads/get/" + size, "ours", threads, [=] {
    const auto map = New<IAttributeBstrMapKLP>(CLSID_AttributeBstrMapKLP);
    std::vector<rastelklp::Text> keys(names.begin(), names.end());
    VARIANT number{};
    number.vt = VT_I4;
    for (const auto& key : keys) Check(map->put_Value(key.get(), number));
    return [map, keys](int, int turn) {
      VARIANT out{};
      Check(map->get_Value(keys[static_cast<std::size_t>(turn % kAttributes)].get(), &out));
      benchmark::DoNotOptimize(out);
    };
  });
  ContendInThreads("threads/get/" + size, "std_map_utf8", threads, [=] {
    struct Locked {
      std::mutex lock;
      std::map<std::string, int> map;
    };
    const auto locked = std::make_shared<Locked>();
    for (const auto& name : names) locked->map[name] = 1;
    return [locked, names](int, int turn) {
      const std::scoped_lock lock(locked->lock);
      benchmark::DoNotOptimize(
          locked->map.find(names[static_cast<std::size_t>(turn % kAttributes)])->second);
    };
  });

  // A tile each, which fits into a cache.
  constexpr LONG kAcross = 10;
  ContendInThreads("threads/tiles/" + size, "ours", threads, [=] {
    return [tiles = Split(Picture({kTiledSide, 64}), kAcross)](int thread, int) {
      Check(tiles[static_cast<std::size_t>(thread)]->Fill(7));
      benchmark::ClobberMemory();
    };
  });
#ifdef PEER_OPENCV
  ContendInThreads("threads/tiles/" + size, "opencv", threads, [=] {
    const cv::Mat picture(64, kTiledSide, CV_8U);
    std::vector<cv::Mat> tiles;
    constexpr int kWidth = kTiledSide / kAcross;
    for (int i = 0; i < kAcross; ++i) tiles.push_back(picture(cv::Rect(i * kWidth, 0, kWidth, 64)));
    return [tiles](int thread, int) mutable {
      tiles[static_cast<std::size_t>(thread)].setTo(7);
      benchmark::ClobberMemory();
    };
  });
#endif
}

}  // namespace

void AddCurves() {
  for (const Area& area : {Area{16, 16}, Area{64, 64}, Area{256, 256}, Area{1'024, 1'024},
                           Area{4'096, 4'096}, Area{16'384, 8'192}, Area{32'768, 16'384}}) {
    AddArea(area);
  }
  for (const std::size_t count : {1, 10, 100, 1'000, 10'000, 100'000}) AddTiles(count);
  for (const int depth : {1, 2, 4, 8, 16, 32, 64, 128, 256}) AddNesting(depth);
  for (const int threads : {1, 2, 4, 8}) AddThreads(threads);
}

}  // namespace peers
