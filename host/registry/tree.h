// The registry's tree. Trees are immutable: a change makes a new root that shares all that stayed
// the same, so whoever holds a root sees one state, and undoing a change is going back to the old
// root.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/constants.h"

namespace host {

using RegistryText = std::basic_string<OLECHAR>;
using RegistryTextView = std::basic_string_view<OLECHAR>;
// The names of the keys from below the root on.
using RegistryPath = std::span<const RegistryText>;

inline constexpr std::size_t kMostRegistryLevels = 64;
inline constexpr std::size_t kMostKeyNameUnits = 255;
inline constexpr std::size_t kMostValueNameUnits = 16383;
inline constexpr std::size_t kMostValueBytes = 1u << 20;

struct RegistryValue {
  RegistryText name;
  DWORD type;
  std::vector<BYTE> data;
};
using RegistryValuePointer = std::shared_ptr<const RegistryValue>;

// Keys and values are sorted by their names, regardless of case, and no name occurs twice. The
// serial tells a key from one that was made later under the same name.
struct RegistryKey;
using RegistryKeyPointer = std::shared_ptr<const RegistryKey>;
struct RegistryKey {
  RegistryText name;
  std::uint64_t serial;
  std::vector<RegistryValuePointer> values;
  std::vector<RegistryKeyPointer> keys;
};

std::uint64_t NewRegistrySerial() noexcept;

// Below 0, 0 or above 0 as the first name stands before, at or behind the second one.
int CompareRegistryNames(RegistryTextView a, RegistryTextView b) noexcept;

// Where a name is or would be in a sorted list of keys or values.
template <class Item>
std::size_t RegistryPlace(const std::vector<Item>& items, RegistryTextView name) noexcept {
  std::size_t first = 0;
  std::size_t behind = items.size();
  while (first < behind) {
    const std::size_t middle = first + (behind - first) / 2;
    if (CompareRegistryNames(items[middle]->name, name) < 0) {
      first = middle + 1;
    } else {
      behind = middle;
    }
  }
  return first;
}

template <class Item>
bool RegistryHolds(const std::vector<Item>& items, std::size_t place,
                   RegistryTextView name) noexcept {
  return place < items.size() && CompareRegistryNames(items[place]->name, name) == 0;
}

RegistryKeyPointer EmptyRegistry();

// The key at a path, null when it is missing. The pointer lives as long as the root.
const RegistryKey* FindRegistryKey(const RegistryKey& root, RegistryPath path) noexcept;

// A value of a key, null when it is missing.
const RegistryValue* FindRegistryValue(const RegistryKey& key, RegistryTextView name) noexcept;

// A tree in which the key at a path, which must exist, was passed through edit(RegistryKey&).
template <class Edit>
RegistryKeyPointer EditRegistry(const RegistryKeyPointer& key, RegistryPath path, Edit&& edit) {
  auto copy = std::make_shared<RegistryKey>(*key);
  if (path.empty()) {
    edit(*copy);
  } else {
    RegistryKeyPointer& below = copy->keys[RegistryPlace(copy->keys, path.front())];
    below = EditRegistry(below, path.subspan(1), edit);
  }
  return copy;
}

// A tree in which the key at a path exists.
RegistryKeyPointer AddRegistryKey(const RegistryKeyPointer& root, RegistryPath path);

// Gives the keys of a tree that are also in an older one the serials they have there.
void KeepRegistrySerials(RegistryKey& key, const RegistryKey& older) noexcept;

}  // namespace host
