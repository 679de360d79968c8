// SPDX-License-Identifier: MIT
#include "host/registry/tree.h"

#include <algorithm>
#include <atomic>

#include "host/base/unicode.h"

namespace host {

bool RegistryNameOrder::operator()(RegistryTextView a, RegistryTextView b) const noexcept {
  return std::lexicographical_compare(
      a.begin(), a.end(), b.begin(), b.end(),
      [](OLECHAR one, OLECHAR other) { return FoldCase(one) < FoldCase(other); });
}

RegistryValue RegistryValueOf(RegistryTextView text, DWORD type) {
  RegistryValue value{type, std::vector<BYTE>((text.size() + 1) * sizeof(OLECHAR))};
  std::memcpy(value.data.data(), text.data(), text.size() * sizeof(OLECHAR));
  return value;
}

RegistryText RegistryTextOf(const RegistryKey& key, RegistryTextView valueName) {
  const auto found = key.values.find(valueName);
  if (found == key.values.end()) return {};
  const auto& [type, data] = found->second;
  if (type != REG_SZ && type != REG_EXPAND_SZ) return {};
  RegistryText text(data.size() / sizeof(OLECHAR), OLECHAR{});
  std::memcpy(text.data(), data.data(), text.size() * sizeof(OLECHAR));
  return text.c_str();
}

const RegistryKey* FindRegistryKey(const RegistryKey& root, RegistryPath path) noexcept {
  const RegistryKey* key = &root;
  for (const RegistryText& name : path) {
    const auto found = key->keys.find(name);
    if (found == key->keys.end()) return nullptr;
    key = found->second.get();
  }
  return key;
}

std::shared_ptr<RegistryKey> EditableRegistryKey(const RegistryKeyPointer& key) {
  static std::atomic<std::uint64_t> lastSerial{0};
  if (key != nullptr) return std::make_shared<RegistryKey>(*key);
  return std::make_shared<RegistryKey>(RegistryKey{++lastSerial, {}, {}});
}

RegistryKeyPointer WithoutRegistryKey(const RegistryKeyPointer& root, RegistryPath path) {
  return EditRegistry(root, path.first(path.size() - 1),
                      [&](RegistryKey& parent) { parent.keys.erase(path.back()); });
}

}  // namespace host
