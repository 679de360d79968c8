// SPDX-License-Identifier: MIT
// Metadata by text keys, "attribute 1234": put, found, saved, loaded, copied.
#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <random>
#include <unordered_map>
#include <utility>
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

using Scalar = std::variant<int, double, std::string>;

// So many attributes: numbers, reals and texts in turn, or numbers only.
struct Content {
  int count;
  bool mixed;

  bool operator==(const Content&) const = default;
  std::string KeyOf(int i) const { return "attribute " + std::to_string(i); }
  Scalar ScalarOf(int i) const {
    if (!mixed || i % 3 == 0) return i;
    if (i % 3 == 1) return i * 0.5;
    return "value of attribute " + std::to_string(i);
  }
  std::string Row(const std::string& work) const {
    return "map/" + work + (mixed ? "/" : "_numbers/") + std::to_string(count);
  }
};

std::vector<int> InOrder(int count) {
  std::vector<int> numbers(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) numbers[static_cast<std::size_t>(i)] = i;
  return numbers;
}
std::vector<int> InNoOrder(int count) {
  auto numbers = InOrder(count);
  std::shuffle(numbers.begin(), numbers.end(), std::mt19937(7));
  return numbers;
}

struct OwnedVariant : VARIANT {
  OwnedVariant() : VARIANT{} {}
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
  OwnedVariant(const OwnedVariant& other) : VARIANT{} { *this = other; }
  OwnedVariant(OwnedVariant&& other) noexcept : VARIANT(other) { other.vt = VT_EMPTY; }
  OwnedVariant& operator=(const OwnedVariant& other) {
    Check(VariantCopy(this, const_cast<OwnedVariant*>(&other)));
    return *this;
  }
  ~OwnedVariant() { VariantClear(this); }
};

using Map = Ref<IAttributeBstrMapKLP>;

// Stores: keys and values in the form that a client has them in, and what it does with them.

struct OurStore {
  static constexpr const char* kName = "ours";
  using Key = rastelklp::Text;
  using Value = OwnedVariant;

  static IClassFactory& Class() {
    static const auto factory = Factory(CLSID_AttributeBstrMapKLP);
    return *factory;
  }
  void Put(const Key& key, const Value& value) { Check(map->put_Value(key.get(), value)); }
  void Get(const Key& key) {
    VARIANT out{};
    Check(map->get_Value(key.get(), &out));
    benchmark::DoNotOptimize(out);
    VariantClear(&out);
  }
  bool Has(const Key& key) {
    VARIANT_BOOL has = VARIANT_FALSE;
    Check(map->Exists(key.get(), &has));
    return has != VARIANT_FALSE;
  }

  Map map = NewBy<IAttributeBstrMapKLP>(Class());
};

// A container of the standard library under a lock, since a map of ours has one.
template <class Plain>
struct PlainStore {
  using Key = typename Plain::key_type;
  using Value = typename Plain::mapped_type;

  void Put(const Key& key, const Value& value) {
    const std::scoped_lock locked(lock);
    map.insert_or_assign(key, value);
  }
  void Get(const Key& key) {
    const std::scoped_lock locked(lock);
    const Value out = map.find(key)->second;
    benchmark::DoNotOptimize(out);
  }
  bool Has(const Key& key) {
    const std::scoped_lock locked(lock);
    return map.find(key) != map.end();
  }

  std::mutex lock;
  Plain map;
};
using Wide = std::basic_string<OLECHAR>;
// With the keys and values that we are handed, and with those of a program that knows no others.
struct TreeStore : PlainStore<std::map<Wide, OwnedVariant>> {
  static constexpr const char* kName = "std_map";
};
struct HashStore : PlainStore<std::unordered_map<Wide, OwnedVariant>> {
  static constexpr const char* kName = "std_unordered_map";
};
using Tree = std::map<std::string, Scalar>;
struct NarrowTreeStore : PlainStore<Tree> {
  static constexpr const char* kName = "std_map_utf8";
};
struct NarrowHashStore : PlainStore<std::unordered_map<std::string, Scalar>> {
  static constexpr const char* kName = "std_unordered_map_utf8";
};

#ifdef PEER_GLIB
struct GlibStore {
  static constexpr const char* kName = "glib";
  using Key = std::string;
  using Value = Scalar;

  GlibStore() = default;
  GlibStore(const GlibStore&) = delete;
  GlibStore& operator=(const GlibStore&) = delete;
  ~GlibStore() { g_hash_table_destroy(table); }
  void Put(const Key& key, const Value& scalar) {
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
  // Values never change, so that holding one is as good as a copy.
  void Get(const Key& key) {
    auto* value = g_variant_ref(static_cast<GVariant*>(g_hash_table_lookup(table, key.c_str())));
    benchmark::DoNotOptimize(value);
    g_variant_unref(value);
  }
  // What the value is, or a copy of its text.
  void Read(const Key& key) {
    auto* value = static_cast<GVariant*>(g_hash_table_lookup(table, key.c_str()));
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
  }
  bool Has(const Key& key) { return g_hash_table_contains(table, key.c_str()); }

  GHashTable* table = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, [](gpointer value) {
    g_variant_unref(static_cast<GVariant*>(value));
  });
};
#endif

template <class To>
To As(const std::string& text) {
  if constexpr (std::is_same_v<To, Wide>) {
    return Wide(text.begin(), text.end());
  } else {
    return To(text);
  }
}

// What the client hands over, one after the other in the order of use, and again from the first.
template <class Store>
struct Given {
  std::vector<typename Store::Key> keys;
  std::vector<typename Store::Value> values;
  std::size_t at = 0;

  Given(const Content& content, const std::vector<int>& numbers) {
    for (const int i : numbers) {
      keys.push_back(As<typename Store::Key>(content.KeyOf(i)));
      values.emplace_back(content.ScalarOf(i));
    }
  }
  std::size_t Next() {
    const std::size_t now = at;
    if (++at == keys.size()) at = 0;
    return now;
  }
  void PutAllInto(Store& store) const {
    for (std::size_t i = 0; i < keys.size(); ++i) store.Put(keys[i], values[i]);
  }
};

// A filled store and what is asked of it. A large one takes long to make, so that it is kept for
// the next work on the same content.
template <class Store>
struct Filled {
  explicit Filled(const Content& content) : given(content, InNoOrder(content.count)) {
    Given<Store>(content, InOrder(content.count)).PutAllInto(store);
  }
  Store store;
  Given<Store> given;

  static std::shared_ptr<Filled> Of(const Content& content) {
    static std::pair<Content, std::shared_ptr<Filled>> kept;
    if (!kept.second || kept.first != content) {
      kept.second.reset();
      kept = {content, std::make_shared<Filled>(content)};
    }
    return kept.second;
  }
};

template <class Store>
void AddStore(const Content& content) {
  const auto filled = [=] { return Filled<Store>::Of(content); };
  Contend(content.Row("get"), Store::kName,
          [=] { return [all = filled()] { all->store.Get(all->given.keys[all->given.Next()]); }; });
  Contend(content.Row("exists"), Store::kName, [=] {
    return [all = filled()] {
      benchmark::DoNotOptimize(all->store.Has(all->given.keys[all->given.Next()]));
    };
  });
  Contend(content.Row("put_over"), Store::kName, [=] {
    return [all = filled()] {
      const std::size_t i = all->given.Next();
      all->store.Put(all->given.keys[i], all->given.values[i]);
    };
  });
  Contend(
      content.Row("put_new"), Store::kName,
      [=] {
        return [all = filled()] {
          Store store;
          all->given.PutAllInto(store);
        };
      },
      content.count);
}

void AddOurStreams(const Content& content) {
  const auto persist = [=] {
    return Filled<OurStore>::Of(content)->store.map.template As<IPersistStream>();
  };
  Contend(
      content.Row("save"), "ours", [=] { return SaveAgain(persist()); }, content.count);
  Contend(
      content.Row("load"), "ours",
      [=] {
        return [stream = Saved(persist())] {
          Rewind(stream);
          Check(NewBy<IPersistStream>(OurStore::Class())->Load(stream.Get()));
        };
      },
      content.count);
}

#ifdef PEER_MSGPACK
Tree TreeOf(const Content& content) {
  Tree tree;
  for (int i = 0; i < content.count; ++i) tree.emplace(content.KeyOf(i), content.ScalarOf(i));
  return tree;
}

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
std::string Unpacked(const msgpack::object& object) {
  return std::string(object.via.str.ptr, object.via.str.size);
}
Tree UnpackedTree(const msgpack::object& object) {
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
        scalar = Unpacked(value);
    }
    tree.emplace(Unpacked(key), std::move(scalar));
  }
  return tree;
}

void AddMsgpack(const Content& content) {
  Contend(
      content.Row("save"), "msgpack",
      [=] {
        return [tree = TreeOf(content), buffer = std::make_shared<msgpack::sbuffer>()] {
          buffer->clear();
          Packer packer(*buffer);
          Pack(packer, tree);
          benchmark::ClobberMemory();
        };
      },
      content.count);
  Contend(
      content.Row("save"), "msgpack_fresh",
      [=] {
        return [tree = TreeOf(content)] {
          msgpack::sbuffer buffer;
          Packer packer(buffer);
          Pack(packer, tree);
          benchmark::DoNotOptimize(buffer.data());
          benchmark::ClobberMemory();
        };
      },
      content.count);
  Contend(
      content.Row("load"), "msgpack",
      [=] {
        auto buffer = std::make_shared<msgpack::sbuffer>();
        Packer packer(*buffer);
        Pack(packer, TreeOf(content));
        return [buffer] {
          const auto unpacked = msgpack::unpack(buffer->data(), buffer->size());
          const Tree tree = UnpackedTree(unpacked.get());
          benchmark::DoNotOptimize(tree);
        };
      },
      content.count);
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
void UnpackBlock(const msgpack::object& object, std::vector<T>& items) {
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
  back.scalars = UnpackedTree(parts[0]);
  UnpackBlock(parts[1], back.vector);
  back.width = static_cast<int>(parts[2].via.i64);
  back.height = static_cast<int>(parts[3].via.i64);
  UnpackBlock(parts[4], back.pixels);
  return back;
}
#endif

#ifdef PEER_PROTOBUF
record::Map MapMessage(const Content& content) {
  record::Map map;
  for (int i = 0; i < content.count; ++i) {
    record::Scalar& value = (*map.mutable_values())[content.KeyOf(i)];
    const Scalar scalar = content.ScalarOf(i);
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
void AddProtobuf(const Content& content) {
  Contend(
      content.Row("save"), "protobuf",
      [=] {
        return [map = MapMessage(content), out = std::string()]() mutable {
          map.SerializeToString(&out);
          benchmark::ClobberMemory();
        };
      },
      content.count);
  Contend(
      content.Row("load"), "protobuf",
      [=] {
        return [in = MapMessage(content).SerializeAsString()] {
          record::Map map;
          if (!map.ParseFromString(in)) std::abort();
          benchmark::DoNotOptimize(map);
        };
      },
      content.count);
}
#endif

void AddNested() {
  constexpr Content kScalars{10, true};
  constexpr LONG kSide = 64;
  constexpr LONG kElements = 1'000;
  const std::string row = "map/clone_nested";
  Contend(row, "ours", [=] {
    OurStore store;
    Given<OurStore>(kScalars, InOrder(kScalars.count)).PutAllInto(store);
    const auto vector = New<IDoubleVectorKLP>(CLSID_DoubleVectorKLP);
    Check(vector->put_Count(kElements));
    Check(vector->Fill(1.5));
    const auto picture = New<IByteAOIKLP>(CLSID_ByteAOIKLP);
    Check(picture->CreateImage(kSide, kSide));
    Check(picture->Fill(3));
    VARIANT object{};
    object.vt = VT_UNKNOWN;
    object.punkVal = vector.Get();
    Check(store.map->put_Value(rastelklp::Text("vector").get(), object));
    object.punkVal = picture.Get();
    Check(store.map->put_Value(rastelklp::Text("picture").get(), object));
    return [map = store.map] { Check(map->Clone(Map().Put())); };
  });
#ifdef PEER_MSGPACK
  Contend(row, "msgpack", [=] {
    PlainRecord record;
    record.scalars = TreeOf(kScalars);
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

void AddContent(const Content& content) {
  AddStore<OurStore>(content);
  AddStore<TreeStore>(content);
  if (content.count <= 10'000) {
    AddStore<HashStore>(content);
    AddStore<NarrowTreeStore>(content);
    AddStore<NarrowHashStore>(content);
  }
#ifdef PEER_GLIB
  AddStore<GlibStore>(content);
  Contend(content.Row("get"), "glib_read", [=] {
    return [all = Filled<GlibStore>::Of(content)] {
      all->store.Read(all->given.keys[all->given.Next()]);
    };
  });
#endif
  AddOurStreams(content);
#ifdef PEER_MSGPACK
  AddMsgpack(content);
#endif
#ifdef PEER_PROTOBUF
  AddProtobuf(content);
#endif
}

}  // namespace

void AddMaps() {
  for (const int count : {10, 100, 1'000, 10'000, 100'000, 1'000'000}) AddContent({count, true});
  for (const int count : {10, 100, 10'000}) AddContent({count, false});
  AddNested();
}

}  // namespace peers
