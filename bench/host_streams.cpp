// SPDX-License-Identifier: MIT
// Appending to a memory stream, next to memcpy of the same chunks into a block grown by doubling.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/com_ptr.h"
#include "platform/platform.h"

namespace bench {
namespace {

constexpr std::size_t kTotalBytes = 64 << 20;

void AppendToStream(benchmark::State& state) {
  const std::vector<BYTE> chunk(static_cast<std::size_t>(state.range(0)), 0x5A);
  const ULONG chunkBytes = static_cast<ULONG>(chunk.size());
  for (auto _ : state) {
    platform::ComPtr<IStream> stream;
    if (FAILED(CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()))) std::abort();
    for (std::size_t done = 0; done < kTotalBytes; done += chunk.size()) {
      if (FAILED(stream->Write(chunk.data(), chunkBytes, nullptr))) std::abort();
    }
    benchmark::DoNotOptimize(stream.Get());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kTotalBytes));
}

void AppendByMemcpy(benchmark::State& state) {
  const std::vector<BYTE> chunk(static_cast<std::size_t>(state.range(0)), 0x5A);
  for (auto _ : state) {
    BYTE* block = nullptr;
    std::size_t capacity = 0;
    for (std::size_t done = 0; done < kTotalBytes; done += chunk.size()) {
      if (done + chunk.size() > capacity) {
        capacity = capacity == 0 ? chunk.size() : capacity * 2;
        void* grown = std::realloc(block, capacity);
        if (!grown) std::abort();
        block = static_cast<BYTE*>(grown);
      }
      std::memcpy(block + done, chunk.data(), chunk.size());
      benchmark::ClobberMemory();
    }
    benchmark::DoNotOptimize(block);
    std::free(block);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kTotalBytes));
}

BENCHMARK(AppendToStream)->Arg(64)->Arg(4 << 10)->Arg(1 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(AppendByMemcpy)->Arg(64)->Arg(4 << 10)->Arg(1 << 20)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace bench
