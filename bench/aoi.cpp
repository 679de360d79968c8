// SPDX-License-Identifier: MIT
// AOIs through their interfaces, as clients call them: single pixels, rectangles of a picture of
// 2048 by 2048 pixels next to memset and memcpy of the same rows, pictures that are saved and
// loaded next to memcpy, and objects next to the blocks of memory that they cost.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "interfaces/aoi.h"
#include "interfaces/identifiers.h"
#include "module/frame/catalogue.h"
#include "platform/com_ptr.h"

namespace {

using platform::ComPtr;

constexpr LONG kSize = 2048;

struct Byte {
  using U = std::uint8_t;
  using I = IByteAOIKLP;
  static constexpr const CLSID& kClass = CLSID_ByteAOIKLP;
};
struct Float {
  using U = float;
  using I = IFloatAOIKLP;
  static constexpr const CLSID& kClass = CLSID_FloatAOIKLP;
};
struct Double {
  using U = double;
  using I = IDoubleAOIKLP;
  static constexpr const CLSID& kClass = CLSID_DoubleAOIKLP;
};

template <class Type>
ComPtr<IClassFactory> Factory() {
  [[maybe_unused]] static const bool attached = (rastel::AttachModule(nullptr), true);
  ComPtr<IClassFactory> factory;
  rastel::GetClassObject(Type::kClass, IID_IClassFactory, factory.PutVoid());
  return factory;
}

template <class Type>
ComPtr<typename Type::I> NewAoi() {
  ComPtr<typename Type::I> aoi;
  Factory<Type>()->CreateInstance(nullptr, platform::kIidOf<typename Type::I>, aoi.PutVoid());
  return aoi;
}

// A filled picture; Arg(1) takes half of its columns and rows, Arg(0) the whole.
template <class Type>
ComPtr<typename Type::I> NewPicture(benchmark::State& state) {
  const auto aoi = NewAoi<Type>();
  aoi->CreateImage(kSize, kSize);
  aoi->Fill(3);
  if (state.range(0) == 1) aoi->SetRect(kSize / 4, kSize / 4, kSize * 3 / 4 - 1, kSize * 3 / 4 - 1);
  return aoi;
}

LONG Side(benchmark::State& state) { return state.range(0) == 1 ? kSize / 2 : kSize; }

template <class Type>
void CountBytes(benchmark::State& state) {
  const std::int64_t side = Side(state);
  state.SetBytesProcessed(state.iterations() * side * side *
                          static_cast<std::int64_t>(sizeof(typename Type::U)));
}

template <class Type>
void BM_GetPixel(benchmark::State& state) {
  const auto aoi = NewAoi<Type>();
  aoi->CreateImage(64, 64);
  aoi->Fill(3);
  LONG i = 0;
  double value = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(aoi->GetPixel(i & 63, i >> 6 & 63, &value));
    benchmark::DoNotOptimize(value);
    ++i;
  }
}

template <class Type>
void BM_PutPixel(benchmark::State& state) {
  const auto aoi = NewAoi<Type>();
  aoi->CreateImage(64, 64);
  LONG i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(aoi->PutPixel(i & 63, i >> 6 & 63, 100.5));
    ++i;
  }
}

// What any call through an interface costs.
void BM_VirtualCall(benchmark::State& state) {
  const auto aoi = NewAoi<Byte>();
  LONG margin = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(aoi->get_BufferMargin(&margin));
    benchmark::DoNotOptimize(margin);
  }
}

template <class Type>
void BM_Fill(benchmark::State& state) {
  const auto aoi = NewPicture<Type>(state);
  for (auto _ : state) {
    aoi->Fill(7.3);
    benchmark::ClobberMemory();
  }
  CountBytes<Type>(state);
}

template <class Type>
void BM_Clear(benchmark::State& state) {
  const auto aoi = NewPicture<Type>(state);
  for (auto _ : state) {
    aoi->Clear();
    benchmark::ClobberMemory();
  }
  CountBytes<Type>(state);
}

template <class Type>
void BM_CopyTo(benchmark::State& state) {
  const auto from = NewPicture<Type>(state);
  const auto to = NewPicture<Type>(state);
  for (auto _ : state) {
    from->CopyTo(to.Get());
    benchmark::ClobberMemory();
  }
  CountBytes<Type>(state);
}

template <class Type, class Row>
void EachRow(benchmark::State& state, const Row& row) {
  const auto from = NewPicture<Type>(state);
  const auto to = NewPicture<Type>(state);
  typename Type::U* source = nullptr;
  typename Type::U* target = nullptr;
  from->GetPointer(&source);
  to->GetPointer(&target);
  const LONG side = Side(state);
  const std::size_t bytes = static_cast<std::size_t>(side) * sizeof *source;
  for (auto _ : state) {
    for (LONG y = 0; y < side; ++y) row(target + y * kSize, source + y * kSize, bytes);
    benchmark::ClobberMemory();
  }
  CountBytes<Type>(state);
}

template <class Type>
void BM_MemsetRows(benchmark::State& state) {
  EachRow<Type>(state, [](void* target, const void*, std::size_t n) { std::memset(target, 7, n); });
}

template <class Type>
void BM_MemcpyRows(benchmark::State& state) {
  EachRow<Type>(state, [](void* target, const void* source, std::size_t n) {
    std::memcpy(target, source, n);
  });
}

// A memory stream with the picture, at its end: by rows, or as the whole buffer with Arg(0).
template <class Type>
ComPtr<IStream> SavedPicture(benchmark::State& state, ComPtr<typename Type::I>& aoi) {
  aoi = NewPicture<Type>(state);
  if (state.range(0) == 0) aoi->put_MarshalFlags(MarshalBuffer);
  ComPtr<IStream> stream;
  CreateStreamOnHGlobal(nullptr, TRUE, stream.Put());
  aoi.template As<IPersistStream>()->Save(stream.Get(), FALSE);
  return stream;
}

template <class Type>
void BM_Save(benchmark::State& state) {
  ComPtr<typename Type::I> aoi;
  const auto stream = SavedPicture<Type>(state, aoi);
  const auto persist = aoi.template As<IPersistStream>();
  for (auto _ : state) {
    stream->Seek({}, STREAM_SEEK_SET, nullptr);
    persist->Save(stream.Get(), FALSE);
    benchmark::ClobberMemory();
  }
  CountBytes<Type>(state);
}

template <class Type>
void BM_Load(benchmark::State& state) {
  ComPtr<typename Type::I> aoi;
  const auto stream = SavedPicture<Type>(state, aoi);
  const auto persist = NewAoi<Type>().template As<IPersistStream>();
  for (auto _ : state) {
    stream->Seek({}, STREAM_SEEK_SET, nullptr);
    persist->Load(stream.Get());
    benchmark::ClobberMemory();
  }
  CountBytes<Type>(state);
}

// What a load does at least: a block of zeros that is then filled.
template <class Type>
void BM_MemcpyIntoNewBlock(benchmark::State& state) {
  const std::size_t bytes = static_cast<std::size_t>(Side(state)) *
                            static_cast<std::size_t>(Side(state)) * sizeof(typename Type::U);
  const std::vector<char> source(bytes, 3);
  for (auto _ : state) {
    void* block = std::calloc(bytes, 1);
    benchmark::DoNotOptimize(block);
    std::memcpy(block, source.data(), bytes);
    benchmark::ClobberMemory();
    std::free(block);
  }
  CountBytes<Type>(state);
}

template <class Type>
void BM_CreateAndRelease(benchmark::State& state) {
  const auto factory = Factory<Type>();
  for (auto _ : state) {
    void* aoi = nullptr;
    factory->CreateInstance(nullptr, platform::kIidOf<typename Type::I>, &aoi);
    static_cast<IUnknown*>(aoi)->Release();
  }
}

template <class Type>
void BM_CloneAndRelease(benchmark::State& state) {
  const auto aoi = NewAoi<Type>();
  aoi->CreateImage(64, 64);
  for (auto _ : state) {
    typename Type::I* clone = nullptr;
    aoi->Clone(&clone);
    clone->Release();
  }
}

// A hundred siblings of a picture and their release; the time of one tile stands beside.
template <class Type>
void BM_SplitTilesAndRelease(benchmark::State& state) {
  const auto aoi = NewAoi<Type>();
  aoi->CreateImage(kSize, kSize);
  typename Type::I* tiles[100] = {};
  for (auto _ : state) {
    aoi->SplitTiles(10, 10, tiles);
    for (auto* tile : tiles) tile->Release();
  }
  using benchmark::Counter;
  state.counters["per_tile"] =
      Counter(100.0 * static_cast<double>(state.iterations()), Counter::kIsRate | Counter::kInvert);
}

template <class Type>
void BM_DuplicateAndRelease(benchmark::State& state) {
  const auto aoi = NewPicture<Type>(state);
  for (auto _ : state) {
    typename Type::I* duplicate = nullptr;
    aoi->Duplicate(&duplicate);
    benchmark::ClobberMemory();
    duplicate->Release();
  }
  CountBytes<Type>(state);
}

// What a duplicate costs at least: its rows, copied into a new block.
template <class Type>
void BM_RowsIntoNewBlock(benchmark::State& state) {
  const auto aoi = NewPicture<Type>(state);
  typename Type::U* source = nullptr;
  aoi->GetPointer(&source);
  const std::size_t side = static_cast<std::size_t>(Side(state));
  for (auto _ : state) {
    auto* block = static_cast<typename Type::U*>(std::malloc(side * side * sizeof *source));
    for (std::size_t y = 0; y < side; ++y) {
      std::memcpy(block + y * side, source + y * std::size_t{kSize}, side * sizeof *source);
    }
    benchmark::DoNotOptimize(block);
    benchmark::ClobberMemory();
    std::free(block);
  }
  CountBytes<Type>(state);
}

// A new object is one block, its marshaler another.
void BM_TwoBlocks(benchmark::State& state) {
  for (auto _ : state) {
    void* object = std::malloc(500);
    void* marshaler = std::malloc(48);
    benchmark::DoNotOptimize(object);
    benchmark::DoNotOptimize(marshaler);
    std::free(marshaler);
    std::free(object);
  }
}

void Rectangles(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgName("half")->Arg(0)->Arg(1);
}

BENCHMARK(BM_VirtualCall);
BENCHMARK_TEMPLATE(BM_GetPixel, Byte);
BENCHMARK_TEMPLATE(BM_GetPixel, Double);
BENCHMARK_TEMPLATE(BM_PutPixel, Byte);
BENCHMARK_TEMPLATE(BM_PutPixel, Double);
BENCHMARK_TEMPLATE(BM_MemsetRows, Byte)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_Fill, Byte)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_Clear, Byte)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_MemsetRows, Float)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_Fill, Float)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_Clear, Float)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_MemsetRows, Double)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_Fill, Double)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_Clear, Double)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_MemcpyRows, Byte)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_CopyTo, Byte)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_MemcpyRows, Float)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_CopyTo, Float)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_MemcpyRows, Double)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_CopyTo, Double)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_Save, Byte)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_Save, Double)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_MemcpyIntoNewBlock, Byte)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_Load, Byte)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_MemcpyIntoNewBlock, Double)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_Load, Double)->Apply(Rectangles);
BENCHMARK(BM_TwoBlocks);
BENCHMARK_TEMPLATE(BM_CreateAndRelease, Byte);
BENCHMARK_TEMPLATE(BM_CloneAndRelease, Byte);
BENCHMARK_TEMPLATE(BM_SplitTilesAndRelease, Byte);
BENCHMARK_TEMPLATE(BM_RowsIntoNewBlock, Byte)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_DuplicateAndRelease, Byte)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_RowsIntoNewBlock, Double)->Apply(Rectangles);
BENCHMARK_TEMPLATE(BM_DuplicateAndRelease, Double)->Apply(Rectangles);

}  // namespace
