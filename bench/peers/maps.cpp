// SPDX-License-Identifier: MIT
// Metadata by text keys: "attribute 1234" with a number, a real or a text each.
#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <random>
#include <unordered_map>
#include <variant>
#include <vector>

#include "bench/peers/peers.h"

#ifdef PEER_GLIB
#include <glib.h>
#endif
#ifdef PEER_MSGPACK
#define MSGPACK_NO_BOOST
#include <msgpack.hpp>
#endif
#ifdef PEER_PROTOBUF
#include "record.pb.h"
#endif

namespace peers {
namespace {

std::string KeyOf(int i) { return "attribute " + std::to_string(i); }

// What a program holds without us.
using Scalar = std::variant<int, double, std::string>;
Scalar ScalarOf(int i) {
  if (i % 3 == 0) return i;
  if (i % 3 == 1) return i * 0.5;
  return "value of attribute " + std::to_string(i);
}

// The numbers below count, in no order.
std::vector<int> Visits(int count) {
  std::vector<int> visits(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) visits[static_cast<std::size_t>(i)] = i;
  std::shuffle(visits.begin(), visits.end(), std::mt19937(7));
  return visits;
}
std::vector<int> InOrder(int count) {
  auto numbers = Visits(count);
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

// Keys and values as a client hands them over, in the order of use.
template <class Key, class Value>
struct Given {
  std::vector<Key> keys;
  std::vector<Value> values;
  std::size_t at = 0;

  std::size_t Next() {
    const std::size_t now = at;
    if (++at == keys.size()) at = 0;
    return now;
  }
};

struct OwnedVariant : VARIANT {
  explicit OwnedVariant(const Scalar& scalar) : VARIANT{} {
    if (const auto* number = std::get_if<int>(&scalar)) {
      vt = VT_I4;
      lVal = *number;
    } else if (const auto* real = std::get_if<double>(&scalar)) {
      vt = VT_R8;
      dblVal = *real;
    } else {
      vt = VT_BSTR;
      bstrVal = SysAllocString(rastelklp::Text(std::get<std::string>(scalar)).get());
    }
  }
  OwnedVariant(OwnedVariant&& other) noexcept : VARIANT(other) { other.vt = VT_EMPTY; }
  ~OwnedVariant() { VariantClear(this); }
};

using OurGiven = Given<rastelklp::Text, OwnedVariant>;
OurGiven GivenToUs(const std::vector<int>& numbers) {
  OurGiven given;
  for (const int i : numbers) {
    given.keys.emplace_back(KeyOf(i));
    given.values.emplace_back(ScalarOf(i));
  }
  return given;
}
using PlainGiven = Given<std::string, Scalar>;
PlainGiven GivenToOthers(const std::vector<int>& numbers) {
  PlainGiven given;
  for (const int i : numbers) {
    given.keys.push_back(KeyOf(i));
    given.values.push_back(ScalarOf(i));
  }
  return given;
}

using Map = Ref<IAttributeBstrMapKLP>;
void PutAll(const Map& map, const OurGiven& given) {
  for (std::size_t i = 0; i < given.keys.size(); ++i) {
    Check(map->put_Value(given.keys[i].get(), given.values[i]));
  }
}
Map OurMap(int count) {
  const auto map = New<IAttributeBstrMapKLP>(CLSID_AttributeBstrMapKLP);
  PutAll(map, GivenToUs(InOrder(count)));
  return map;
}

template <class Plain>
struct Locked {
  std::mutex lock;
  Plain map;
};
template <class Plain>
std::shared_ptr<Locked<Plain>> PlainMap(int count) {
  const auto made = std::make_shared<Locked<Plain>>();
  for (int i = 0; i < count; ++i) made->map.emplace(KeyOf(i), ScalarOf(i));
  return made;
}
using Tree = std::map<std::string, Scalar>;
using Hash = std::unordered_map<std::string, Scalar>;

// Contenders under a lock, since a map of ours has one.
template <class Plain>
void AddPlain(const std::string& who, int count, const std::string& size) {
  Contend("map/get/" + size, who, [=] {
    return [map = PlainMap<Plain>(count), given = GivenToOthers(Visits(count))]() mutable {
      const std::scoped_lock locked(map->lock);
      const auto place = map->map.find(given.keys[given.Next()]);
      if (place == map->map.end()) std::abort();
      Scalar out = place->second;
      benchmark::DoNotOptimize(out);
    };
  });
  Contend("map/exists/" + size, who, [=] {
    return [map = PlainMap<Plain>(count), given = GivenToOthers(Visits(count))]() mutable {
      const std::scoped_lock locked(map->lock);
      benchmark::DoNotOptimize(map->map.count(given.keys[given.Next()]));
    };
  });
  Contend("map/put_over/" + size, who, [=] {
    return [map = PlainMap<Plain>(count), given = GivenToOthers(Visits(count))]() mutable {
      const std::size_t i = given.Next();
      const std::scoped_lock locked(map->lock);
      map->map.insert_or_assign(given.keys[i], given.values[i]);
    };
  });
  Contend(
      "map/put_new/" + size, who,
      [=] {
        return [given = GivenToOthers(Visits(count))] {
          Locked<Plain> made;
          for (std::size_t i = 0; i < given.keys.size(); ++i) {
            const std::scoped_lock locked(made.lock);
            made.map.insert_or_assign(given.keys[i], given.values[i]);
          }
          benchmark::DoNotOptimize(made.map);
        };
      },
      count);
}

void AddOurs(int count, const std::string& size) {
  Contend("map/get/" + size, "ours", [=] {
    return [map = OurMap(count), given = GivenToUs(Visits(count))]() mutable {
      VARIANT out{};
      Check(map->get_Value(given.keys[given.Next()].get(), &out));
      benchmark::DoNotOptimize(out);
      VariantClear(&out);
    };
  });
  Contend("map/exists/" + size, "ours", [=] {
    return [map = OurMap(count), given = GivenToUs(Visits(count))]() mutable {
      VARIANT_BOOL exists = VARIANT_FALSE;
      map->Exists(given.keys[given.Next()].get(), &exists);
      benchmark::DoNotOptimize(exists);
    };
  });
  Contend("map/put_over/" + size, "ours", [=] {
    return [map = OurMap(count), given = GivenToUs(Visits(count))]() mutable {
      const std::size_t i = given.Next();
      Check(map->put_Value(given.keys[i].get(), given.values[i]));
    };
  });
  Contend(
      "map/put_new/" + size, "ours",
      [=] {
        return [factory = Factory(CLSID_AttributeBstrMapKLP), given = GivenToUs(Visits(count))] {
          PutAll(NewBy<IAttributeBstrMapKLP>(*factory), given);
        };
      },
      count);
  Contend(
      "map/save/" + size, "ours", [=] { return SaveAgain(OurMap(count).As<IPersistStream>()); },
      count);
  Contend(
      "map/load/" + size, "ours",
      [=] {
        return [factory = Factory(CLSID_AttributeBstrMapKLP),
                stream = Saved(OurMap(count).As<IPersistStream>())] {
          Rewind(stream);
          Check(NewBy<IPersistStream>(*factory)->Load(stream.Get()));
        };
      },
      count);
}

#ifdef PEER_GLIB
struct EndTable {
  void operator()(GHashTable* table) const { g_hash_table_destroy(table); }
};
using Table = std::shared_ptr<GHashTable>;
Table NewTable() {
  return Table(g_hash_table_new_full(g_str_hash, g_str_equal, g_free,
                                     reinterpret_cast<GDestroyNotify>(g_variant_unref)),
               EndTable());
}
void PutInto(GHashTable* table, const std::string& key, const Scalar& scalar) {
  GVariant* value = nullptr;
  if (const auto* number = std::get_if<int>(&scalar)) {
    value = g_variant_new_int32(*number);
  } else if (const auto* real = std::get_if<double>(&scalar)) {
    value = g_variant_new_double(*real);
  } else {
    value = g_variant_new_string(std::get<std::string>(scalar).c_str());
  }
  g_hash_table_replace(table, g_strdup(key.c_str()), g_variant_ref_sink(value));
}
Table FilledTable(const PlainGiven& given) {
  auto table = NewTable();
  for (std::size_t i = 0; i < given.keys.size(); ++i) {
    PutInto(table.get(), given.keys[i], given.values[i]);
  }
  return table;
}

void AddGlib(int count, const std::string& size) {
  const auto filled = [=] { return FilledTable(GivenToOthers(InOrder(count))); };
  Contend("map/get/" + size, "glib", [=] {
    return [table = filled(), given = GivenToOthers(Visits(count))]() mutable {
      auto* value = static_cast<GVariant*>(
          g_hash_table_lookup(table.get(), given.keys[given.Next()].c_str()));
      if (!value) std::abort();
      switch (g_variant_classify(value)) {
        case G_VARIANT_CLASS_INT32:
          benchmark::DoNotOptimize(g_variant_get_int32(value));
          break;
        case G_VARIANT_CLASS_DOUBLE:
          benchmark::DoNotOptimize(g_variant_get_double(value));
          break;
        default: {
          gchar* text = g_variant_dup_string(value, nullptr);
          benchmark::DoNotOptimize(text);
          g_free(text);
        }
      }
    };
  });
  Contend("map/exists/" + size, "glib", [=] {
    return [table = filled(), given = GivenToOthers(Visits(count))]() mutable {
      benchmark::DoNotOptimize(
          g_hash_table_contains(table.get(), given.keys[given.Next()].c_str()));
    };
  });
  Contend("map/put_over/" + size, "glib", [=] {
    return [table = filled(), given = GivenToOthers(Visits(count))]() mutable {
      const std::size_t i = given.Next();
      PutInto(table.get(), given.keys[i], given.values[i]);
    };
  });
  Contend(
      "map/put_new/" + size, "glib",
      [=] { return [given = GivenToOthers(Visits(count))] { FilledTable(given); }; }, count);
}
#endif

#ifdef PEER_MSGPACK
using Packer = msgpack::packer<msgpack::sbuffer>;
void Pack(Packer& packer, const std::string& text) {
  packer.pack_str(static_cast<std::uint32_t>(text.size()));
  packer.pack_str_body(text.data(), static_cast<std::uint32_t>(text.size()));
}
void Pack(Packer& packer, const Tree& tree) {
  packer.pack_map(static_cast<std::uint32_t>(tree.size()));
  for (const auto& [key, scalar] : tree) {
    Pack(packer, key);
    if (const auto* number = std::get_if<int>(&scalar)) {
      packer.pack_int(*number);
    } else if (const auto* real = std::get_if<double>(&scalar)) {
      packer.pack_double(*real);
    } else {
      Pack(packer, std::get<std::string>(scalar));
    }
  }
}
std::string TextOf(const msgpack::object& object) {
  return std::string(object.via.str.ptr, object.via.str.size);
}
Tree TreeOf(const msgpack::object& object) {
  Tree tree;
  for (std::uint32_t i = 0; i < object.via.map.size; ++i) {
    const auto& [key, value] = object.via.map.ptr[i];
    Scalar scalar;
    switch (value.type) {
      case msgpack::type::POSITIVE_INTEGER:
        scalar = static_cast<int>(value.via.i64);
        break;
      case msgpack::type::FLOAT64:
        scalar = value.via.f64;
        break;
      default:
        scalar = TextOf(value);
    }
    tree.emplace_hint(tree.end(), TextOf(key), std::move(scalar));
  }
  return tree;
}

void AddMsgpack(int count, const std::string& size) {
  Contend(
      "map/save/" + size, "msgpack",
      [=] {
        return
            [map = PlainMap<Tree>(count), buffer = std::make_shared<msgpack::sbuffer>()]() mutable {
              buffer->clear();
              Packer packer(*buffer);
              Pack(packer, map->map);
              benchmark::ClobberMemory();
            };
      },
      count);
  Contend(
      "map/load/" + size, "msgpack",
      [=] {
        auto buffer = std::make_shared<msgpack::sbuffer>();
        Packer packer(*buffer);
        Pack(packer, PlainMap<Tree>(count)->map);
        return [buffer] {
          const auto unpacked = msgpack::unpack(buffer->data(), buffer->size());
          const Tree tree = TreeOf(unpacked.get());
          benchmark::DoNotOptimize(tree);
        };
      },
      count);
}

// Scalars, a vector and a picture, there and back.
struct PlainRecord {
  Tree scalars;
  std::vector<double> vector;
  int width = 0, height = 0;
  std::vector<std::uint8_t> pixels;
};
template <class T>
void PackBlock(Packer& packer, const std::vector<T>& items) {
  const auto bytes = static_cast<std::uint32_t>(items.size() * sizeof(T));
  packer.pack_bin(bytes);
  packer.pack_bin_body(reinterpret_cast<const char*>(items.data()), bytes);
}
template <class T>
void TakeBlock(const msgpack::object& object, std::vector<T>& items) {
  items.resize(object.via.bin.size / sizeof(T));
  std::memcpy(items.data(), object.via.bin.ptr, object.via.bin.size);
}
PlainRecord ThereAndBack(const PlainRecord& record) {
  msgpack::sbuffer buffer;
  Packer packer(buffer);
  packer.pack_array(5);
  Pack(packer, record.scalars);
  PackBlock(packer, record.vector);
  packer.pack_int(record.width);
  packer.pack_int(record.height);
  PackBlock(packer, record.pixels);
  const auto unpacked = msgpack::unpack(buffer.data(), buffer.size());
  const auto* parts = unpacked.get().via.array.ptr;
  PlainRecord back;
  back.scalars = TreeOf(parts[0]);
  TakeBlock(parts[1], back.vector);
  back.width = static_cast<int>(parts[2].via.i64);
  back.height = static_cast<int>(parts[3].via.i64);
  TakeBlock(parts[4], back.pixels);
  return back;
}
#endif

#ifdef PEER_PROTOBUF
record::Map MapMessage(int count) {
  record::Map map;
  for (int i = 0; i < count; ++i) {
    record::Scalar& value = (*map.mutable_values())[KeyOf(i)];
    const Scalar scalar = ScalarOf(i);
    if (const auto* number = std::get_if<int>(&scalar)) {
      value.set_number(*number);
    } else if (const auto* real = std::get_if<double>(&scalar)) {
      value.set_real(*real);
    } else {
      value.set_text(std::get<std::string>(scalar));
    }
  }
  return map;
}
void AddProtobuf(int count, const std::string& size) {
  Contend(
      "map/save/" + size, "protobuf",
      [=] {
        return [map = MapMessage(count), out = std::string()]() mutable {
          map.SerializeToString(&out);
          benchmark::ClobberMemory();
        };
      },
      count);
  Contend(
      "map/load/" + size, "protobuf",
      [=] {
        return [in = MapMessage(count).SerializeAsString()] {
          record::Map map;
          if (!map.ParseFromString(in)) std::abort();
          benchmark::DoNotOptimize(map);
        };
      },
      count);
}
#endif

constexpr int kScalars = 10;
constexpr LONG kSide = 64;
constexpr LONG kElements = 1'000;

void AddNested() {
  Contend("map/clone_nested", "ours", [] {
    const auto map = OurMap(kScalars);
    const auto vector = New<IDoubleVectorKLP>(CLSID_DoubleVectorKLP);
    Check(vector->put_Count(kElements));
    Check(vector->Fill(1.5));
    const auto picture = New<IByteAOIKLP>(CLSID_ByteAOIKLP);
    Check(picture->CreateImage(kSide, kSide));
    Check(picture->Fill(3));
    VARIANT object{};
    object.vt = VT_UNKNOWN;
    object.punkVal = vector.Get();
    Check(map->put_Value(rastelklp::Text("vector").get(), object));
    object.punkVal = picture.Get();
    Check(map->put_Value(rastelklp::Text("picture").get(), object));
    return [map] { Check(map->Clone(Map().Put())); };
  });
#ifdef PEER_MSGPACK
  Contend("map/clone_nested", "msgpack", [] {
    PlainRecord record;
    record.scalars = PlainMap<Tree>(kScalars)->map;
    record.vector.assign(kElements, 1.5);
    record.width = record.height = kSide;
    record.pixels.assign(kSide * kSide, 3);
    return [record] {
      const PlainRecord back = ThereAndBack(record);
      benchmark::DoNotOptimize(back);
    };
  });
#endif
}

}  // namespace

void AddMaps() {
  for (const int count : {10, 100, 10'000}) {
    const std::string size = std::to_string(count);
    AddOurs(count, size);
    AddPlain<Tree>("std_map", count, size);
    AddPlain<Hash>("std_unordered_map", count, size);
#ifdef PEER_GLIB
    AddGlib(count, size);
#endif
#ifdef PEER_MSGPACK
    AddMsgpack(count, size);
#endif
#ifdef PEER_PROTOBUF
    AddProtobuf(count, size);
#endif
  }
  AddNested();
}

}  // namespace peers
