// SPDX-License-Identifier: MIT
// Margin fills of one plane of 2048 by 2048 pixels, next to memset and memcpy of as many bytes.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "module/image/com_image.h"

namespace {

constexpr LONG kSize = 2048;

struct Owner;

template <class T>
std::int64_t MarginBytes(LONG margin) {
  const std::int64_t stored = kSize + 2 * margin;
  return (stored * stored - std::int64_t{kSize} * kSize) * static_cast<std::int64_t>(sizeof(T));
}

template <class T>
void BM_FillMargins(benchmark::State& state) {
  const auto mode = static_cast<MarginModeKLP>(state.range(0));
  const auto margin = static_cast<LONG>(state.range(1));
  rastel::ComImage<Owner, T> image;
  image.Allocate(1, kSize, kSize, margin);
  for (std::int64_t i = 0; i < image.blockElements(); ++i) *image.At(i) = static_cast<T>(i & 127);
  for (auto _ : state) {
    benchmark::DoNotOptimize(image.FillMargins(mode));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * MarginBytes<T>(margin));
}

template <class T>
void BM_Memset(benchmark::State& state) {
  std::vector<char> target(
      static_cast<std::size_t>(MarginBytes<T>(static_cast<LONG>(state.range(0)))));
  for (auto _ : state) {
    std::memset(target.data(), 0, target.size());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(target.size()));
}

template <class T>
void BM_Memcpy(benchmark::State& state) {
  std::vector<char> target(
      static_cast<std::size_t>(MarginBytes<T>(static_cast<LONG>(state.range(0)))));
  const std::vector<char> source(target.size(), 1);
  for (auto _ : state) {
    std::memcpy(target.data(), source.data(), target.size());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(target.size()));
}

void ModesAndMargins(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"mode", "margin"});
  benchmark->ArgsProduct({{MarginZero, MarginPeriodic, MarginMirror, MarginReplicate}, {1, 40}});
}

BENCHMARK_TEMPLATE(BM_FillMargins, std::uint8_t)->Apply(ModesAndMargins);
BENCHMARK_TEMPLATE(BM_FillMargins, double)->Apply(ModesAndMargins);
BENCHMARK_TEMPLATE(BM_Memset, std::uint8_t)->ArgName("margin")->Arg(1)->Arg(40);
BENCHMARK_TEMPLATE(BM_Memset, double)->ArgName("margin")->Arg(1)->Arg(40);
BENCHMARK_TEMPLATE(BM_Memcpy, std::uint8_t)->ArgName("margin")->Arg(1)->Arg(40);
BENCHMARK_TEMPLATE(BM_Memcpy, double)->ArgName("margin")->Arg(1)->Arg(40);

}  // namespace
