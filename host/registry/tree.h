// SPDX-License-Identifier: MIT
// The registry's tree. Trees are immutable: a change makes a new root that shares all that stayed
// the same, so whoever holds a root sees one state, and a change that is given up leaves nothing.
#pragma once

#include <cstdint>
#include <map>
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

// Names are the same in any case.
struct RegistryNameOrder {
  using is_transparent = void;
  bool operator()(RegistryTextView a, RegistryTextView b) const noexcept;
};

struct RegistryValue {
  DWORD type = REG_NONE;
  std::vector<BYTE> data;
  bool operator==(const RegistryValue&) const = default;
};

struct RegistryKey;
using RegistryKeyPointer = std::shared_ptr<const RegistryKey>;
struct RegistryKey {
  // Tells a key from one that this process made later under the same name. The root and keys that
  // were read from a file have 0, which stands for any.
  std::uint64_t serial = 0;
  std::map<RegistryText, RegistryValue, RegistryNameOrder> values;
  std::map<RegistryText, RegistryKeyPointer, RegistryNameOrder> keys;
  bool operator==(const RegistryKey&) const = default;
};

// A value that holds a text with its terminator.
RegistryValue RegistryValueOf(RegistryTextView text, DWORD type = REG_SZ);

// The text of a key's value up to its terminator; empty when there is none.
RegistryText RegistryTextOf(const RegistryKey& key, RegistryTextView valueName);

// The key at a path, null when it is missing. The pointer lives as long as the root.
const RegistryKey* FindRegistryKey(const RegistryKey& root, RegistryPath path) noexcept;

// A copy of a key to be changed; of null, a new one.
std::shared_ptr<RegistryKey> EditableRegistryKey(const RegistryKeyPointer& key);

// A tree in which the key at a path, made if it was missing, was passed through edit(RegistryKey&).
template <class Edit>
RegistryKeyPointer EditRegistry(const RegistryKeyPointer& key, RegistryPath path, Edit&& edit) {
  std::shared_ptr<RegistryKey> copy = EditableRegistryKey(key);
  if (path.empty()) {
    edit(*copy);
  } else {
    RegistryKeyPointer& below = copy->keys[path.front()];
    below = EditRegistry(below, path.subspan(1), edit);
  }
  return copy;
}

// A tree without the key at a path, which is not the root's and must exist.
RegistryKeyPointer WithoutRegistryKey(const RegistryKeyPointer& root, RegistryPath path);

}  // namespace host
