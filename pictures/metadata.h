// SPDX-License-Identifier: MIT
// What a picture file says besides pixels: a tree of named values. Keys and what stands under them
// are the same for every format; docs/rastel_tool.md lists them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace pictures {

struct Entry;
using Block = std::vector<std::uint8_t>;
using Group = std::vector<Entry>;
// Texts are UTF-8.
using Value = std::variant<std::int32_t, double, std::string, Block, std::vector<double>, Group>;

struct Entry {
  std::string key;
  Value value;
  friend bool operator==(const Entry&, const Entry&) = default;
};

// Null where there is no such key.
inline const Value* Find(const Group& group, std::string_view key) {
  for (const Entry& entry : group) {
    if (entry.key == key) return &entry.value;
  }
  return nullptr;
}
// Null where there is none, or one of another type: clients write what they like.
template <class T>
const T* FindAs(const Group& group, std::string_view key) {
  const Value* value = Find(group, key);
  return value ? std::get_if<T>(value) : nullptr;
}
template <class T>
const T* FindAs(const Group& group, std::string_view outer, std::string_view key) {
  const Group* inner = FindAs<Group>(group, outer);
  return inner ? FindAs<T>(*inner, key) : nullptr;
}

// The group under a key, which is made where there is none.
inline Group& GroupAt(Group& group, std::string_view key) {
  for (Entry& entry : group) {
    if (entry.key != key) continue;
    if (Group* inner = std::get_if<Group>(&entry.value)) return *inner;
  }
  group.push_back({std::string(key), Group()});
  return std::get<Group>(group.back().value);
}
inline void Put(Group& group, std::string_view key, Value value) {
  for (Entry& entry : group) {
    if (entry.key == key) {
      entry.value = std::move(value);
      return;
    }
  }
  group.push_back({std::string(key), std::move(value)});
}
// A key that the group does not have yet: "Comment", "Comment (2)" and so on.
inline std::string FreeKey(const Group& group, const std::string& key) {
  std::string free = key;
  for (int n = 2; Find(group, free); ++n) free = key + " (" + std::to_string(n) + ")";
  return free;
}

}  // namespace pictures
