// SPDX-License-Identifier: MIT
// Vectors through their interfaces: single values, and ten million doubles to and from a memory
// stream next to memcpy of the same bytes.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "interfaces/vector.h"
#include "module/vector/vector_classes.h"
#include "platform/com_ptr.h"

namespace bench {
namespace {

using platform::ComPtr;

constexpr LONG kDoubles = 10'000'000;
constexpr std::size_t kBytes = kDoubles * sizeof(double);

template <ElementTypeKLP Code>
ComPtr<IVectorKLP> NewVector(LONG count) {
  ComPtr<IVectorKLP> vector;
  if (FAILED(rastel::CreateVector<Code>(nullptr, IID_IVectorKLP, vector.PutVoid()))) std::abort();
  vector->put_Count(count);
  return vector;
}

void Rewind(IStream* stream) { stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr); }

// A memory stream that has room for the vector already.
ComPtr<IStream> NewStream(IPersistStream* vector) {
  ComPtr<IStream> stream;
  if (FAILED(CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()))) std::abort();
  vector->Save(stream.Get(), FALSE);
  Rewind(stream.Get());
  return stream;
}

template <ElementTypeKLP Code>
void BM_PutValue(benchmark::State& state) {
  const auto vector = NewVector<Code>(1024);
  LONG index = 0;
  for (auto _ : state) {
    vector->put_Value(index, 7);
    index = (index + 1) & 1023;
  }
}

template <ElementTypeKLP Code>
void BM_GetValue(benchmark::State& state) {
  const auto vector = NewVector<Code>(1024);
  LONG index = 0;
  double sum = 0;
  for (auto _ : state) {
    double value = 0;
    vector->get_Value(index, &value);
    sum += value;
    index = (index + 1) & 1023;
  }
  benchmark::DoNotOptimize(sum);
}

void BM_VirtualCall(benchmark::State& state) {
  const auto vector = NewVector<ElementByte>(1024);
  LONG sum = 0;
  for (auto _ : state) {
    LONG count = 0;
    vector->get_Count(&count);
    sum += count;
  }
  benchmark::DoNotOptimize(sum);
}

void BM_CreateAndRelease(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(NewVector<ElementDouble>(0).Get());
}

void BM_Save(benchmark::State& state) {
  const auto vector = NewVector<ElementDouble>(kDoubles);
  vector->Fill(1.5);
  const auto persist = vector.As<IPersistStream>();
  const auto stream = NewStream(persist.Get());
  for (auto _ : state) {
    Rewind(stream.Get());
    persist->Save(stream.Get(), FALSE);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kBytes));
}

void BM_Load(benchmark::State& state) {
  const auto vector = NewVector<ElementDouble>(kDoubles);
  vector->Fill(1.5);
  const auto persist = vector.As<IPersistStream>();
  const auto stream = NewStream(persist.Get());
  for (auto _ : state) {
    Rewind(stream.Get());
    persist->Load(stream.Get());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kBytes));
}

void BM_Memcpy(benchmark::State& state) {
  const auto source = std::make_unique<double[]>(kDoubles);
  const auto target = std::make_unique<double[]>(kDoubles);
  for (LONG i = 0; i < kDoubles; ++i) source[static_cast<std::size_t>(i)] = 1.5;
  for (auto _ : state) {
    std::memcpy(target.get(), source.get(), kBytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kBytes));
}

BENCHMARK_TEMPLATE(BM_PutValue, ElementByte);
BENCHMARK_TEMPLATE(BM_PutValue, ElementDouble);
BENCHMARK_TEMPLATE(BM_GetValue, ElementByte);
BENCHMARK_TEMPLATE(BM_GetValue, ElementDouble);
BENCHMARK(BM_VirtualCall);
BENCHMARK(BM_CreateAndRelease);
BENCHMARK(BM_Save)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Load)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace bench
