#include "host/registry/tree.h"

#include <atomic>

#include "host/base/unicode.h"

namespace host {

std::uint64_t NewRegistrySerial() noexcept {
  static std::atomic<std::uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

int CompareRegistryNames(RegistryTextView a, RegistryTextView b) noexcept {
  const std::size_t shared = a.size() < b.size() ? a.size() : b.size();
  for (std::size_t i = 0; i < shared; ++i) {
    const int difference = FoldCase(a[i]) - FoldCase(b[i]);
    if (difference != 0) return difference;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

RegistryKeyPointer EmptyRegistry() {
  return std::make_shared<RegistryKey>(RegistryKey{{}, NewRegistrySerial(), {}, {}});
}

const RegistryKey* FindRegistryKey(const RegistryKey& root, RegistryPath path) noexcept {
  const RegistryKey* key = &root;
  for (const RegistryText& name : path) {
    const std::size_t place = RegistryPlace(key->keys, name);
    if (!RegistryHolds(key->keys, place, name)) return nullptr;
    key = key->keys[place].get();
  }
  return key;
}

const RegistryValue* FindRegistryValue(const RegistryKey& key, RegistryTextView name) noexcept {
  const std::size_t place = RegistryPlace(key.values, name);
  return RegistryHolds(key.values, place, name) ? key.values[place].get() : nullptr;
}

RegistryKeyPointer AddRegistryKey(const RegistryKeyPointer& root, RegistryPath path) {
  std::size_t existing = 0;
  while (existing < path.size() && FindRegistryKey(*root, path.first(existing + 1)) != nullptr) {
    ++existing;
  }
  if (existing == path.size()) return root;
  RegistryKeyPointer added;
  for (std::size_t level = path.size(); level > existing; --level) {
    RegistryKey key{path[level - 1], NewRegistrySerial(), {}, {}};
    if (added != nullptr) key.keys.push_back(std::move(added));
    added = std::make_shared<RegistryKey>(std::move(key));
  }
  return EditRegistry(root, path.first(existing), [&](RegistryKey& key) {
    const auto place = static_cast<std::ptrdiff_t>(RegistryPlace(key.keys, path[existing]));
    key.keys.insert(key.keys.begin() + place, std::move(added));
  });
}

void KeepRegistrySerials(RegistryKey& key, const RegistryKey& older) noexcept {
  key.serial = older.serial;
  for (const RegistryKeyPointer& below : key.keys) {
    const std::size_t place = RegistryPlace(older.keys, below->name);
    if (!RegistryHolds(older.keys, place, below->name)) continue;
    // The tree is still its reader's own: nobody else has seen it.
    KeepRegistrySerials(const_cast<RegistryKey&>(*below), *older.keys[place]);
  }
}

}  // namespace host
