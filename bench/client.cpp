// SPDX-License-Identifier: MIT
// The client library next to the slots themselves: a threshold over a picture next to the same loop
// on copied locals, on the locals whose addresses GetAccess was given, and in two threads.
#include <benchmark/benchmark.h>
#include <rastelklp/client.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <thread>

std::atomic<long> allocations{0};
[[gnu::noinline]] void* operator new(std::size_t bytes) {
  ++allocations;
  if (void* block = std::malloc(bytes)) return block;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace {

using Picture = rastelklp::Aoi<std::uint8_t>;

constexpr int kSize = 1000;
constexpr LONG kBands = 2;

Picture& ThePicture() {
  static const rastelklp::Session session;
  static Picture picture = [] {
    rastelklp::check_hresult(HostAddModule(RASTEL_MODULE));
    Picture made({kSize, kSize}, 3, 12);
    for (const auto& plane : made.planes()) {
      std::uint8_t next = 0;
      for (const auto row : plane) {
        for (auto& pixel : row) pixel = next = static_cast<std::uint8_t>(next * 5 + 7);
      }
    }
    return made;
  }();
  return picture;
}

// Without a jump, so that what the pixels are makes no difference.
volatile std::uint8_t limit = 128;
std::uint8_t Black(std::uint8_t pixel, std::uint8_t level) { return pixel < level ? 0 : 255; }

void CountPixels(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * kSize * kSize);
}

[[gnu::noinline]] void ByClient(const Picture& picture) {
  const std::uint8_t level = limit;
  for (const auto row : picture.plane(1)) {
    for (auto& pixel : row) pixel = Black(pixel, level);
  }
}

[[gnu::noinline]] void OnCopiedLocals(IByteAOIKLP& aoi) {
  LONG outWidth = 0, outHeight = 0, outSkip = 0;
  std::uint8_t* outPixels = nullptr;
  aoi.put_ActivePlane(1);
  if (FAILED(aoi.GetAccess(&outWidth, &outHeight, &outSkip, &outPixels))) return;
  const LONG width = outWidth, height = outHeight, skip = outSkip;
  const std::uint8_t level = limit;
  std::uint8_t* pixels = outPixels;
  for (LONG y = 0; y < height; ++y, pixels += skip) {
    for (LONG x = 0; x < width; ++x, ++pixels) *pixels = Black(*pixels, level);
  }
}

[[gnu::noinline]] void OnOutLocals(IByteAOIKLP& aoi) {
  LONG width = 0, height = 0, skip = 0;
  std::uint8_t* pixels = nullptr;
  aoi.put_ActivePlane(1);
  if (FAILED(aoi.GetAccess(&width, &height, &skip, &pixels))) return;
  const std::uint8_t level = limit;
  for (LONG y = 0; y < height; ++y, pixels += skip) {
    for (LONG x = 0; x < width; ++x, ++pixels) *pixels = Black(*pixels, level);
  }
}

void BM_Threshold_ByClient(benchmark::State& state) {
  const Picture& picture = ThePicture();
  const long before = allocations;
  for (auto _ : state) ByClient(picture);
  state.counters["allocations"] = static_cast<double>(allocations - before);
  CountPixels(state);
}
BENCHMARK(BM_Threshold_ByClient);

void BM_Threshold_OnCopiedLocals(benchmark::State& state) {
  for (auto _ : state) OnCopiedLocals(*ThePicture().get());
  CountPixels(state);
}
BENCHMARK(BM_Threshold_OnCopiedLocals);

void BM_Threshold_OnOutLocals(benchmark::State& state) {
  for (auto _ : state) OnOutLocals(*ThePicture().get());
  CountPixels(state);
}
BENCHMARK(BM_Threshold_OnOutLocals);

// A filter that costs more than the memory that it moves, over two tiles.
void BM_Tiles(benchmark::State& state) {
  const auto tiles = ThePicture().tiles(1, kBands);
  const auto work = [](const Picture& tile) {
    for (int n = 0; n < 100; ++n) ByClient(tile);
  };
  for (auto _ : state) {
    if (state.range(0) == 1) {
      for (const auto& tile : tiles) work(tile);
    } else {
      std::vector<std::jthread> threads;
      for (const auto& tile : tiles) threads.emplace_back(work, std::cref(tile));
    }
  }
}
// Processor time of both threads: what they cost each other shows on a busy machine, too.
BENCHMARK(BM_Tiles)->ArgName("threads")->Arg(1)->Arg(2)->MeasureProcessCPUTime()->UseRealTime();

void BM_Plane(benchmark::State& state) {
  const Picture& picture = ThePicture();
  for (auto _ : state) benchmark::DoNotOptimize(picture.plane(2).data());
}
BENCHMARK(BM_Plane);

void BM_PlaneGrown(benchmark::State& state) {
  const Picture& picture = ThePicture();
  for (auto _ : state) benchmark::DoNotOptimize(picture.plane(2, 2).data());
}
BENCHMARK(BM_PlaneGrown);

}  // namespace

BENCHMARK_MAIN();
