// Attribute maps of 10,000 attributes through their interfaces, next to a std::map of the standard
// library with the same keys and VARIANTs, used as a program would that locks around it.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "attribute/attribute_classes.h"
#include "frame/bstr.h"
#include "interfaces/attribute.h"
#include "platform/com_ptr.h"

namespace bench {
namespace {

using platform::ComPtr;
using Text = std::basic_string<OLECHAR>;

constexpr LONG kAttributes = 10'000;
// Coprime to the number of keys, so that all are visited without an order.
constexpr LONG kStride = 7'919;

VARIANT Number(LONG number) {
  VARIANT value{};
  value.vt = VT_I4;
  value.lVal = number;
  return value;
}

// Keys and the plain map of a kind.
struct Longs {
  using I = IAttributeLongMapKLP;
  using Plain = std::map<LONG, VARIANT>;
  static constexpr KeyKindKLP kKind = KeyKindLong;
  static constexpr const IID& kIid = IID_IAttributeLongMapKLP;
  LONG Key(LONG i) const { return i; }
  LONG PlainKey(LONG i) const { return i; }
};
struct Texts {
  using I = IAttributeBstrMapKLP;
  using Plain = std::map<Text, VARIANT>;
  static constexpr KeyKindKLP kKind = KeyKindBstr;
  static constexpr const IID& kIid = IID_IAttributeBstrMapKLP;
  Texts() {
    for (LONG i = 0; i < kAttributes; ++i) {
      keys.emplace_back(("attribute " + std::to_string(i)).c_str());
      plainKeys.emplace_back(keys.back().Wide());
    }
  }
  BSTR Key(LONG i) const { return keys[static_cast<std::size_t>(i)].Wide(); }
  const Text& PlainKey(LONG i) const { return plainKeys[static_cast<std::size_t>(i)]; }
  std::vector<rastel::_bstr_t> keys;
  std::vector<Text> plainKeys;
};

template <class Kind>
ComPtr<typename Kind::I> FilledMap(const Kind& kind) {
  ComPtr<typename Kind::I> map;
  if (FAILED(rastel::CreateAttributeMap<Kind::kKind>(nullptr, Kind::kIid, map.PutVoid()))) {
    std::abort();
  }
  for (LONG i = 0; i < kAttributes; ++i) map->put_Value(kind.Key(i), Number(i));
  return map;
}
template <class Kind>
typename Kind::Plain FilledPlain(const Kind& kind) {
  typename Kind::Plain plain;
  for (LONG i = 0; i < kAttributes; ++i) plain[kind.PlainKey(i)] = Number(i);
  return plain;
}

// act(number) for one attribute after the other, in no order.
template <class Act>
void VisitAll(benchmark::State& state, Act act) {
  LONG i = 0;
  for (auto _ : state) {
    act(i);
    i = (i + kStride) % kAttributes;
  }
}

template <class Kind>
void BM_Get(benchmark::State& state) {
  const Kind kind;
  const auto map = FilledMap(kind);
  VARIANT out{};
  VisitAll(state, [&](LONG i) { map->get_Value(kind.Key(i), &out); });
  benchmark::DoNotOptimize(out);
}
template <class Kind>
void BM_PlainGet(benchmark::State& state) {
  const Kind kind;
  const auto plain = FilledPlain(kind);
  std::recursive_mutex lock;
  VARIANT out{};
  VisitAll(state, [&](LONG i) {
    const std::scoped_lock locked(lock);
    const auto place = plain.find(kind.PlainKey(i));
    if (place != plain.end()) VariantCopy(&out, const_cast<VARIANT*>(&place->second));
  });
}

template <class Kind>
void BM_Replace(benchmark::State& state) {
  const Kind kind;
  const auto map = FilledMap(kind);
  VisitAll(state, [&](LONG i) { map->put_Value(kind.Key(i), Number(i)); });
}
template <class Kind>
void BM_PlainReplace(benchmark::State& state) {
  const Kind kind;
  auto plain = FilledPlain(kind);
  std::recursive_mutex lock;
  VisitAll(state, [&](LONG i) {
    const std::scoped_lock locked(lock);
    VARIANT value = Number(i);
    VariantCopy(&plain[kind.PlainKey(i)], &value);
  });
}

template <class Kind>
void BM_Fill(benchmark::State& state) {
  const Kind kind;
  for (auto _ : state) benchmark::DoNotOptimize(FilledMap(kind).Get());
  state.SetItemsProcessed(state.iterations() * kAttributes);
}
template <class Kind>
void BM_PlainFill(benchmark::State& state) {
  const Kind kind;
  for (auto _ : state) benchmark::DoNotOptimize(FilledPlain(kind).size());
  state.SetItemsProcessed(state.iterations() * kAttributes);
}

template <class Kind>
void BM_Keys(benchmark::State& state) {
  const auto map = FilledMap(Kind());
  for (auto _ : state) {
    SAFEARRAY* keys = nullptr;
    map->get_Keys(&keys);
    SafeArrayDestroy(keys);
  }
  state.SetItemsProcessed(state.iterations() * kAttributes);
}

template <class Kind>
void BM_Enumerate(benchmark::State& state) {
  const auto map = FilledMap(Kind());
  for (auto _ : state) {
    ComPtr<IEnumAttributeEntryKLP> enumerator;
    map->GetEnumerator(enumerator.Put());
    ComPtr<IAttributeEntryKLP> entry;
    while (enumerator->Next(1, entry.Put(), nullptr) == S_OK) benchmark::DoNotOptimize(entry.Get());
  }
  state.SetItemsProcessed(state.iterations() * kAttributes);
}

template <class Kind>
void BM_Save(benchmark::State& state) {
  const auto persist = FilledMap(Kind()).template As<IPersistStream>();
  ComPtr<IStream> stream;
  if (FAILED(CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()))) std::abort();
  for (auto _ : state) {
    stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
    persist->Save(stream.Get(), FALSE);
  }
  state.SetItemsProcessed(state.iterations() * kAttributes);
}

void BM_CreateMap(benchmark::State& state) {
  for (auto _ : state) {
    ComPtr<IAttributeMapKLP> map;
    rastel::CreateAttributeMap<KeyKindLong>(nullptr, IID_IAttributeMapKLP, map.PutVoid());
  }
}
BENCHMARK(BM_CreateMap);

BENCHMARK(BM_Get<Longs>);
BENCHMARK(BM_PlainGet<Longs>);
BENCHMARK(BM_Get<Texts>);
BENCHMARK(BM_PlainGet<Texts>);
BENCHMARK(BM_Replace<Longs>);
BENCHMARK(BM_PlainReplace<Longs>);
BENCHMARK(BM_Replace<Texts>);
BENCHMARK(BM_PlainReplace<Texts>);
BENCHMARK(BM_Fill<Longs>);
BENCHMARK(BM_PlainFill<Longs>);
BENCHMARK(BM_Fill<Texts>);
BENCHMARK(BM_PlainFill<Texts>);
BENCHMARK(BM_Keys<Longs>);
BENCHMARK(BM_Keys<Texts>);
BENCHMARK(BM_Enumerate<Longs>);
BENCHMARK(BM_Save<Longs>);
BENCHMARK(BM_Save<Texts>);

}  // namespace
}  // namespace bench
