// SPDX-License-Identifier: MIT
// Attribute maps of 10, 100 and 10,000 attributes through their interfaces, next to a std::map of
// the standard library with the same keys and VARIANTs, used as a program would that locks around
// it.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "interfaces/attribute.h"
#include "module/attribute/attribute_classes.h"
#include "module/frame/bstr.h"
#include "platform/com_ptr.h"

namespace bench {
namespace {

using platform::ComPtr;
using Text = std::basic_string<OLECHAR>;

constexpr LONG kMostAttributes = 10'000;
// Coprime to the numbers of keys, so that all are visited without an order.
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
  VARIANT Generic(LONG i) const {
    VARIANT key = Number(i);
    key.vt = VT_INT;
    return key;
  }
  LONG PlainKey(LONG i) const { return i; }
};
struct Texts {
  using I = IAttributeBstrMapKLP;
  using Plain = std::map<Text, VARIANT>;
  static constexpr KeyKindKLP kKind = KeyKindBstr;
  static constexpr const IID& kIid = IID_IAttributeBstrMapKLP;
  Texts() {
    for (LONG i = 0; i < kMostAttributes; ++i) {
      keys.emplace_back(("attribute " + std::to_string(i)).c_str());
      plainKeys.emplace_back(keys.back().Wide());
    }
  }
  BSTR Key(LONG i) const { return keys[static_cast<std::size_t>(i)].Wide(); }
  VARIANT Generic(LONG i) const {
    VARIANT key{};
    key.vt = VT_BSTR;
    key.bstrVal = Key(i);
    return key;
  }
  const Text& PlainKey(LONG i) const { return plainKeys[static_cast<std::size_t>(i)]; }
  std::vector<rastel::_bstr_t> keys;
  std::vector<Text> plainKeys;
};

template <class Kind>
ComPtr<typename Kind::I> NewMap() {
  ComPtr<typename Kind::I> map;
  if (FAILED(rastel::CreateAttributeMap<Kind::kKind>(nullptr, Kind::kIid, map.PutVoid()))) {
    std::abort();
  }
  return map;
}
template <class Kind>
ComPtr<typename Kind::I> FilledMap(const Kind& kind, LONG attributes) {
  const auto map = NewMap<Kind>();
  for (LONG i = 0; i < attributes; ++i) map->put_Value(kind.Key(i), Number(i));
  return map;
}
template <class Kind>
typename Kind::Plain FilledPlain(const Kind& kind, LONG attributes) {
  typename Kind::Plain plain;
  for (LONG i = 0; i < attributes; ++i) plain[kind.PlainKey(i)] = Number(i);
  return plain;
}

LONG Attributes(const benchmark::State& state) { return static_cast<LONG>(state.range(0)); }
void CountAttributes(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

// act(number) for one attribute after the other, in no order.
template <class Act>
void VisitAll(benchmark::State& state, Act act) {
  const LONG attributes = Attributes(state);
  LONG i = 0;
  for (auto _ : state) {
    act(i);
    i = (i + kStride) % attributes;
  }
}

template <class Kind>
void BM_Get(benchmark::State& state) {
  const Kind kind;
  const auto map = FilledMap(kind, Attributes(state));
  VARIANT out{};
  VisitAll(state, [&](LONG i) { map->get_Value(kind.Key(i), &out); });
  benchmark::DoNotOptimize(out);
}
template <class Kind>
void BM_PlainGet(benchmark::State& state) {
  const Kind kind;
  const auto plain = FilledPlain(kind, Attributes(state));
  std::recursive_mutex lock;
  VARIANT out{};
  VisitAll(state, [&](LONG i) {
    const std::scoped_lock locked(lock);
    const auto place = plain.find(kind.PlainKey(i));
    if (place != plain.end()) VariantCopy(&out, const_cast<VARIANT*>(&place->second));
  });
}

template <class Kind>
void BM_Exists(benchmark::State& state) {
  const Kind kind;
  const auto map = FilledMap(kind, Attributes(state));
  VARIANT_BOOL exists = 0;
  VisitAll(state, [&](LONG i) { map->Exists(kind.Key(i), &exists); });
  benchmark::DoNotOptimize(exists);
}

template <class Kind>
void BM_Replace(benchmark::State& state) {
  const Kind kind;
  const auto map = FilledMap(kind, Attributes(state));
  VisitAll(state, [&](LONG i) { map->put_Value(kind.Key(i), Number(i)); });
}
template <class Kind>
void BM_PlainReplace(benchmark::State& state) {
  const Kind kind;
  auto plain = FilledPlain(kind, Attributes(state));
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
  for (auto _ : state) benchmark::DoNotOptimize(FilledMap(kind, Attributes(state)).Get());
  CountAttributes(state);
}
template <class Kind>
void BM_PlainFill(benchmark::State& state) {
  const Kind kind;
  for (auto _ : state) benchmark::DoNotOptimize(FilledPlain(kind, Attributes(state)).size());
  CountAttributes(state);
}

template <class Kind>
void BM_Keys(benchmark::State& state) {
  const auto map = FilledMap(Kind(), Attributes(state));
  for (auto _ : state) {
    SAFEARRAY* keys = nullptr;
    map->get_Keys(&keys);
    SafeArrayDestroy(keys);
  }
  CountAttributes(state);
}

// A new key before each walk, and one less.
template <class Kind>
void BM_ChangeAndKeys(benchmark::State& state) {
  const Kind kind;
  const auto map = FilledMap(kind, Attributes(state));
  const auto generic = map.template As<IAttributeMapKLP>();
  LONG i = 0;
  for (auto _ : state) {
    SAFEARRAY* keys = nullptr;
    generic->Remove(kind.Generic(i));
    map->get_Keys(&keys);
    SafeArrayDestroy(keys);
    map->put_Value(kind.Key(i), Number(i));
    map->get_Keys(&keys);
    SafeArrayDestroy(keys);
    i = (i + kStride) % Attributes(state);
  }
  CountAttributes(state);
}

template <class Kind>
void BM_Enumerate(benchmark::State& state) {
  const auto map = FilledMap(Kind(), Attributes(state));
  for (auto _ : state) {
    ComPtr<IEnumAttributeEntryKLP> enumerator;
    map->GetEnumerator(enumerator.Put());
    ComPtr<IAttributeEntryKLP> entry;
    while (enumerator->Next(1, entry.Put(), nullptr) == S_OK) benchmark::DoNotOptimize(entry.Get());
  }
  CountAttributes(state);
}

template <class Kind>
void BM_Save(benchmark::State& state) {
  const auto persist = FilledMap(Kind(), Attributes(state)).template As<IPersistStream>();
  ComPtr<IStream> stream;
  if (FAILED(CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()))) std::abort();
  for (auto _ : state) {
    stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
    persist->Save(stream.Get(), FALSE);
  }
  CountAttributes(state);
}

template <class Kind>
void BM_Load(benchmark::State& state) {
  ComPtr<IStream> stream;
  if (FAILED(CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()))) std::abort();
  FilledMap(Kind(), Attributes(state)).template As<IPersistStream>()->Save(stream.Get(), FALSE);
  const auto persist = NewMap<Kind>().template As<IPersistStream>();
  for (auto _ : state) {
    stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
    persist->Load(stream.Get());
  }
  CountAttributes(state);
}

template <class Kind>
void BM_Clone(benchmark::State& state) {
  const auto map = FilledMap(Kind(), Attributes(state));
  for (auto _ : state) map->Clone(ComPtr<typename Kind::I>().Put());
  CountAttributes(state);
}

void BM_CreateMap(benchmark::State& state) {
  for (auto _ : state) {
    ComPtr<IAttributeMapKLP> map;
    rastel::CreateAttributeMap<KeyKindLong>(nullptr, IID_IAttributeMapKLP, map.PutVoid());
  }
}
BENCHMARK(BM_CreateMap);

void Sizes(benchmark::internal::Benchmark* row) { row->Arg(10)->Arg(100)->Arg(kMostAttributes); }
#define ROW(name)                       \
  BENCHMARK(name<Longs>)->Apply(Sizes); \
  BENCHMARK(name<Texts>)->Apply(Sizes)
ROW(BM_Get);
ROW(BM_PlainGet);
ROW(BM_Exists);
ROW(BM_Replace);
ROW(BM_PlainReplace);
ROW(BM_Fill);
ROW(BM_PlainFill);
ROW(BM_Keys);
ROW(BM_ChangeAndKeys);
ROW(BM_Enumerate);
ROW(BM_Save);
ROW(BM_Load);
ROW(BM_Clone);
#undef ROW

}  // namespace
}  // namespace bench
