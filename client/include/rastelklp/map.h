// SPDX-License-Identifier: MIT
// Attribute maps: keys in ascending order with values. Keys of a map are all texts, all integers or
// all floats. A map may be used by any thread; between two calls others may come in.
#pragma once

#include <initializer_list>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "interfaces/attribute.h"
#include "rastelklp/session.h"
#include "rastelklp/value.h"

namespace rastelklp {

class Map : public com_ptr<IAttributeMapKLP> {
 public:
  using Entry = std::pair<Value, Value>;  // key and value
  class Element;

  Map(std::nullptr_t) noexcept {}
  explicit Map(KeyKindKLP kind = KeyKindBstr)
      : com_ptr(create<IAttributeMapKLP>(kind == KeyKindLong     ? CLSID_AttributeLongMapKLP
                                         : kind == KeyKindDouble ? CLSID_AttributeDoubleMapKLP
                                                                 : CLSID_AttributeBstrMapKLP)) {}
  // With the kind of the first key: Map{{"lens", "f/2"}, {"gain", 3}}.
  Map(std::initializer_list<Entry> entries) : Map(KindOf(entries)) {
    for (const auto& [key, value] : entries) insert_or_assign(key, value);
  }

  KeyKindKLP key_kind() const {
    KeyKindKLP kind{};
    check_hresult(get()->get_KeyKind(&kind));
    return kind;
  }
  int size() const {
    LONG count = 0;
    check_hresult(get()->get_Count(&count));
    return static_cast<int>(count);
  }
  bool contains(const Value& key) const {
    VARIANT_BOOL exists = VARIANT_FALSE;
    check_hresult(get()->Exists(AsKey(key).get(), &exists));
    return exists != VARIANT_FALSE;
  }
  std::optional<Value> find(const Value& key) const {
    const Variant raw = AsKey(key);
    VARIANT_BOOL exists = VARIANT_FALSE;
    check_hresult(get()->Exists(raw.get(), &exists));
    if (exists == VARIANT_FALSE) return std::nullopt;
    // The slot gives S_OK and leaves the value alone where the key has gone meanwhile.
    Variant value;
    value.address()->vt = kNoType;
    const HRESULT result = get()->get_Value(raw.get(), value.address());
    if (value.get().vt == kNoType) {
      static_cast<void>(value.detach());
      check_hresult(result);
      return std::nullopt;
    }
    return Value(std::move(value));
  }
  // Raises DISP_E_BADINDEX where there is no such key.
  Value at(const Value& key) const {
    auto found = find(key);
    if (!found) detail::Raise(DISP_E_BADINDEX);
    return *std::move(found);
  }
  // Stores a copy; an object is shared. Raises the report of a map that does not override.
  void insert_or_assign(const Value& key, const Value& value) {
    check_hresult(get()->put_Value(AsKey(key).get(), value.variant_value().get()));
  }
  // Whether there was one.
  bool erase(const Value& key) {
    if (!contains(key)) return false;
    check_hresult(get()->Remove(AsKey(key).get()));
    return true;
  }
  void clear() { check_hresult(get()->Clear()); }

  // map["gain"] = 3; and map["gain"].as<int>().
  Element operator[](const Value& key) const;

  // All keys of this moment with their values, ascending.
  std::vector<Entry> entries() const;

 private:
  // No VARIANT that a map holds is of this type.
  static constexpr VARTYPE kNoType = 0xFFFF;

  static KeyKindKLP KindOf(std::initializer_list<Entry> entries) {
    if (entries.size() == 0) return KeyKindBstr;
    const Value& key = entries.begin()->first;
    return std::holds_alternative<std::int32_t>(key) ? KeyKindLong
           : std::holds_alternative<double>(key)     ? KeyKindDouble
                                                     : KeyKindBstr;
  }

  // Integer maps take VT_INT, though they hand out VT_I4; float maps take integers here as well.
  Variant AsKey(const Value& key) const {
    const auto* integer = std::get_if<std::int32_t>(&key);
    if (!integer) return key.variant_value();
    const KeyKindKLP kind = key_kind();
    Variant raw =
        kind == KeyKindDouble ? Value(double{1} * *integer).variant_value() : key.variant_value();
    if (kind == KeyKindLong) raw.address()->vt = VT_INT;
    return raw;
  }
};

// One place in a map, whether there is a value or not.
class Map::Element {
 public:
  Element(Map map, Value key) : map_(std::move(map)), key_(std::move(key)) {}
  Element(const Element&) = default;

  void operator=(const Value& value) { map_.insert_or_assign(key_, value); }
  void operator=(const Element& other) { *this = Value(other); }
  operator Value() const { return map_.at(key_); }
  template <class Wanted>
  auto as() const {
    return map_.at(key_).as<Wanted>();
  }

 private:
  Map map_;
  Value key_;
};

inline Map::Element Map::operator[](const Value& key) const { return {*this, key}; }

inline std::vector<Map::Entry> Map::entries() const {
  struct Destroy {
    void operator()(SAFEARRAY* array) const noexcept { SafeArrayDestroy(array); }
  };
  SAFEARRAY* made = nullptr;
  check_hresult(get()->get_Keys(&made));
  const std::unique_ptr<SAFEARRAY, Destroy> keys(made);
  LONG last = -1;
  check_hresult(SafeArrayGetUBound(made, 1, &last));
  std::vector<Entry> entries;
  for (LONG i = 0; i <= last; ++i) {
    Variant raw;
    check_hresult(SafeArrayGetElement(made, &i, raw.put()));
    Value key(std::move(raw));
    // A key may have gone meanwhile.
    if (auto value = find(key)) entries.emplace_back(std::move(key), *std::move(value));
  }
  return entries;
}

}  // namespace rastelklp
