// SPDX-License-Identifier: MIT
#include "host/registry/keys.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <unordered_map>

#include "host/base/guarded.h"
#include "host/base/never_destroyed.h"
#include "host/registry/store.h"

namespace host {
namespace {

// A key that a handle stands for; the predefined one is the root.
struct OpenKey {
  std::vector<RegistryText> path;
  std::uint64_t serial = 0;
  REGSAM rights = KEY_ALL_ACCESS;
};

// Handles are numbers that are never used again, so one that was closed cannot mean another key.
class HandleTable {
 public:
  HKEY Add(OpenKey key) {
    std::lock_guard lock(mutex_);
    const ULONG_PTR handle = 4 * ++count_;
    keys_.emplace(handle, std::move(key));
    return reinterpret_cast<HKEY>(handle);
  }

  // The key of a handle that was opened with a right.
  LSTATUS Find(HKEY handle, REGSAM right, OpenKey& key) {
    if (handle == HKEY_CLASSES_ROOT) return ERROR_SUCCESS;
    std::lock_guard lock(mutex_);
    const auto found = keys_.find(reinterpret_cast<ULONG_PTR>(handle));
    if (found == keys_.end()) return ERROR_INVALID_HANDLE;
    key = found->second;
    return (key.rights & right) == right ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
  }

  LSTATUS Remove(HKEY handle) {
    if (handle == HKEY_CLASSES_ROOT) return ERROR_SUCCESS;
    std::lock_guard lock(mutex_);
    return keys_.erase(reinterpret_cast<ULONG_PTR>(handle)) != 0 ? ERROR_SUCCESS
                                                                 : ERROR_INVALID_HANDLE;
  }

 private:
  std::mutex mutex_;
  ULONG_PTR count_ = 0;
  std::unordered_map<ULONG_PTR, OpenKey> keys_;
};

template <class Body>
LSTATUS RegistryCall(Body&& body) noexcept {
  return Guarded<LSTATUS>(ERROR_NOT_ENOUGH_MEMORY, ERROR_CANTREAD, std::forward<Body>(body));
}

REGSAM GrantedRights(REGSAM asked) noexcept {
  constexpr REGSAM kGenericRead = 0x80000000;
  constexpr REGSAM kGenericWrite = 0x40000000;
  constexpr REGSAM kGenericAllOrMaximum = 0x12000000;
  if ((asked & kGenericRead) != 0) asked |= KEY_READ;
  if ((asked & kGenericWrite) != 0) asked |= KEY_WRITE;
  if ((asked & kGenericAllOrMaximum) != 0) asked |= KEY_ALL_ACCESS;
  return asked;
}

RegistryTextView View(LPCWSTR text) noexcept {
  return text != nullptr ? RegistryTextView(text) : RegistryTextView();
}

// Appends the names of a path to those of its key.
LSTATUS AppendPath(LPCWSTR path, std::vector<RegistryText>& names) {
  RegistryTextView rest = View(path);
  if (rest.starts_with(OLECHAR{'\\'})) return ERROR_BAD_PATHNAME;
  while (!rest.empty()) {
    const std::size_t units = std::min(rest.find(OLECHAR{'\\'}), rest.size());
    if (units > kMostKeyNameUnits) return ERROR_INVALID_PARAMETER;
    if (units > 0) {
      if (names.size() == kMostRegistryLevels) return ERROR_INVALID_PARAMETER;
      names.emplace_back(rest.substr(0, units));
    }
    rest.remove_prefix(std::min(units + 1, rest.size()));
  }
  return ERROR_SUCCESS;
}

// The key that a handle stands for, null when it is gone.
const RegistryKey* KeyOf(const RegistryKey& root, const OpenKey& key) noexcept {
  const RegistryKey* found = FindRegistryKey(root, key.path);
  return found != nullptr && (found->serial == 0 || found->serial == key.serial) ? found : nullptr;
}

// Finds the handle's key in the tree as it stands now and calls read(key, openKey).
template <class Read>
LSTATUS ReadKey(HKEY handle, REGSAM right, Read&& read) noexcept {
  return RegistryCall([&]() -> LSTATUS {
    OpenKey key;
    LSTATUS status = TheOnly<HandleTable>().Find(handle, right, key);
    if (status != ERROR_SUCCESS) return status;
    RegistryKeyPointer root;
    status = TheOnly<RegistryStore>().Snapshot(root);
    if (status != ERROR_SUCCESS) return status;
    const RegistryKey* found = KeyOf(*root, key);
    return found != nullptr ? read(*found, std::move(key)) : ERROR_KEY_DELETED;
  });
}

// The same for a change at or below the handle's key: change(root, path) may put a new root.
template <class Change>
LSTATUS ChangeKey(HKEY handle, REGSAM right, LPCWSTR below, Change&& change) noexcept {
  return RegistryCall([&] {
    OpenKey key;
    const LSTATUS found = TheOnly<HandleTable>().Find(handle, right, key);
    if (found != ERROR_SUCCESS) return found;
    return TheOnly<RegistryStore>().Modify([&](RegistryKeyPointer& root) -> LSTATUS {
      if (KeyOf(*root, key) == nullptr) return ERROR_KEY_DELETED;
      const LSTATUS status = AppendPath(below, key.path);
      return status == ERROR_SUCCESS ? change(root, key.path) : status;
    });
  });
}

// Gives a value out as RegQueryValueExW does.
LSTATUS CopyValue(const RegistryValue& value, LPDWORD type, LPBYTE data, LPDWORD bytes) noexcept {
  if (type != nullptr) *type = value.type;
  if (bytes == nullptr) return ERROR_SUCCESS;
  const DWORD room = *bytes;
  const auto size = static_cast<DWORD>(value.data.size());
  *bytes = size;
  if (data == nullptr) return ERROR_SUCCESS;
  if (room < size) return ERROR_MORE_DATA;
  if (size != 0) std::memcpy(data, value.data.data(), size);
  const bool isText =
      value.type == REG_SZ || value.type == REG_EXPAND_SZ || value.type == REG_MULTI_SZ;
  constexpr BYTE kTerminator[sizeof(OLECHAR)] = {};
  if (isText && size % sizeof(OLECHAR) == 0 && room - size >= sizeof(kTerminator) &&
      (size == 0 ||
       std::memcmp(data + size - sizeof(kTerminator), kTerminator, sizeof(kTerminator)) != 0)) {
    std::memcpy(data + size, kTerminator, sizeof(kTerminator));
  }
  return ERROR_SUCCESS;
}

LSTATUS CopyName(RegistryTextView name, LPWSTR target, LPDWORD units) noexcept {
  if (*units <= name.size()) return ERROR_MORE_DATA;
  std::memcpy(target, name.data(), name.size() * sizeof(OLECHAR));
  target[name.size()] = 0;
  *units = static_cast<DWORD>(name.size());
  return ERROR_SUCCESS;
}

}  // namespace
}  // namespace host

using namespace host;

LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR path, DWORD reserved, LPWSTR, DWORD, REGSAM rights,
                        const LPSECURITY_ATTRIBUTES, PHKEY out, LPDWORD disposition) noexcept {
  if (reserved != 0 || out == nullptr) return ERROR_INVALID_PARAMETER;
  // A key that is there already is opened without writing anything.
  LSTATUS status = RegOpenKeyExW(key, path, 0, rights, out);
  DWORD result = REG_OPENED_EXISTING_KEY;
  if (status == ERROR_FILE_NOT_FOUND) {
    const auto make = [&](RegistryKeyPointer& root, std::vector<RegistryText>& names) {
      if (FindRegistryKey(*root, names) == nullptr) {
        root = EditRegistry(root, names, [](RegistryKey&) {});
        result = REG_CREATED_NEW_KEY;
      }
      const std::uint64_t serial = FindRegistryKey(*root, names)->serial;
      // Before the key is there for all: without a handle it is not made.
      *out = TheOnly<HandleTable>().Add({std::move(names), serial, GrantedRights(rights)});
      return ERROR_SUCCESS;
    };
    status = ChangeKey(key, 0, path, make);
    if (status != ERROR_SUCCESS) {
      RegCloseKey(*out);
      *out = nullptr;
    }
  }
  if (status == ERROR_SUCCESS && disposition != nullptr) *disposition = result;
  return status;
}

LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR path, DWORD, REGSAM rights, PHKEY out) noexcept {
  if (out == nullptr) return ERROR_INVALID_PARAMETER;
  *out = nullptr;
  return ReadKey(key, 0, [&](const RegistryKey& parent, OpenKey opened) -> LSTATUS {
    const std::size_t level = opened.path.size();
    const LSTATUS status = AppendPath(path, opened.path);
    if (status != ERROR_SUCCESS) return status;
    const RegistryKey* found = FindRegistryKey(parent, RegistryPath(opened.path).subspan(level));
    if (found == nullptr) return ERROR_FILE_NOT_FOUND;
    opened.serial = found->serial;
    opened.rights = GrantedRights(rights);
    *out = TheOnly<HandleTable>().Add(std::move(opened));
    return ERROR_SUCCESS;
  });
}

LSTATUS RegCloseKey(HKEY key) noexcept {
  return RegistryCall([&] { return TheOnly<HandleTable>().Remove(key); });
}

LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                       DWORD bytes) noexcept {
  if (reserved != 0 || (data == nullptr && bytes != 0)) return ERROR_INVALID_PARAMETER;
  const auto set = [&](RegistryKeyPointer& root, RegistryPath path) -> LSTATUS {
    RegistryText valueName(View(name));
    if (valueName.size() > kMostValueNameUnits || bytes > kMostValueBytes) {
      return ERROR_INVALID_PARAMETER;
    }
    root = EditRegistry(root, path, [&](RegistryKey& edited) {
      edited.values.insert_or_assign(std::move(valueName),
                                     RegistryValue{type, std::vector<BYTE>(data, data + bytes)});
    });
    return ERROR_SUCCESS;
  };
  return ChangeKey(key, KEY_SET_VALUE, nullptr, set);
}

LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                         LPDWORD bytes) noexcept {
  if (reserved != nullptr || (data != nullptr && bytes == nullptr)) return ERROR_INVALID_PARAMETER;
  return ReadKey(key, KEY_QUERY_VALUE, [&](const RegistryKey& found, const OpenKey&) -> LSTATUS {
    if (View(name).size() > kMostValueNameUnits) return ERROR_INVALID_PARAMETER;
    const auto value = found.values.find(View(name));
    if (value == found.values.end()) return ERROR_FILE_NOT_FOUND;
    return CopyValue(value->second, type, data, bytes);
  });
}

LSTATUS RegDeleteValueW(HKEY key, LPCWSTR name) noexcept {
  const auto remove = [&](RegistryKeyPointer& root, RegistryPath path) -> LSTATUS {
    if (View(name).size() > kMostValueNameUnits) return ERROR_INVALID_PARAMETER;
    const auto& values = FindRegistryKey(*root, path)->values;
    if (!values.contains(View(name))) return ERROR_FILE_NOT_FOUND;
    root = EditRegistry(root, path, [&](RegistryKey& edited) {
      edited.values.erase(edited.values.find(View(name)));
    });
    return ERROR_SUCCESS;
  };
  return ChangeKey(key, KEY_SET_VALUE, nullptr, remove);
}

LSTATUS RegDeleteKeyW(HKEY key, LPCWSTR path) noexcept {
  if (path == nullptr) return ERROR_INVALID_PARAMETER;
  return ChangeKey(key, 0, path, [](RegistryKeyPointer& root, RegistryPath names) -> LSTATUS {
    const RegistryKey* doomed = FindRegistryKey(*root, names);
    if (doomed == nullptr) return ERROR_FILE_NOT_FOUND;
    if (names.empty() || !doomed->keys.empty()) return ERROR_ACCESS_DENIED;
    root = WithoutRegistryKey(root, names);
    return ERROR_SUCCESS;
  });
}

LSTATUS RegDeleteTreeW(HKEY key, LPCWSTR path) noexcept {
  return ChangeKey(key, 0, path, [&](RegistryKeyPointer& root, RegistryPath names) -> LSTATUS {
    if (FindRegistryKey(*root, names) == nullptr) return ERROR_FILE_NOT_FOUND;
    if (View(path).empty()) {
      root = EditRegistry(root, names, [](RegistryKey& edited) {
        edited.keys.clear();
        edited.values.clear();
      });
    } else {
      root = WithoutRegistryKey(root, names);
    }
    return ERROR_SUCCESS;
  });
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameUnits, LPDWORD reserved,
                      LPWSTR className, LPDWORD classUnits, PFILETIME lastWrite) noexcept {
  if (name == nullptr || nameUnits == nullptr || reserved != nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  const auto read = [&](const RegistryKey& found, const OpenKey&) -> LSTATUS {
    if (index >= found.keys.size()) return ERROR_NO_MORE_ITEMS;
    const LSTATUS status = CopyName(std::next(found.keys.begin(), index)->first, name, nameUnits);
    if (status != ERROR_SUCCESS) return status;
    if (className != nullptr && classUnits != nullptr && *classUnits > 0) *className = 0;
    if (classUnits != nullptr) *classUnits = 0;
    if (lastWrite != nullptr) *lastWrite = {};
    return ERROR_SUCCESS;
  };
  return ReadKey(key, KEY_ENUMERATE_SUB_KEYS, read);
}

LSTATUS RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameUnits, LPDWORD reserved,
                      LPDWORD type, LPBYTE data, LPDWORD bytes) noexcept {
  if (name == nullptr || nameUnits == nullptr || reserved != nullptr ||
      (data != nullptr && bytes == nullptr)) {
    return ERROR_INVALID_PARAMETER;
  }
  const auto read = [&](const RegistryKey& found, const OpenKey&) -> LSTATUS {
    if (index >= found.values.size()) return ERROR_NO_MORE_ITEMS;
    const auto& [valueName, value] = *std::next(found.values.begin(), index);
    const LSTATUS status = CopyName(valueName, name, nameUnits);
    return status == ERROR_SUCCESS ? CopyValue(value, type, data, bytes) : status;
  };
  return ReadKey(key, KEY_QUERY_VALUE, read);
}

LSTATUS RegFlushKey(HKEY key) noexcept {
  return ReadKey(key, 0, [](const RegistryKey&, const OpenKey&) { return ERROR_SUCCESS; });
}

HRESULT HostUseRegistryFile(const char* path) noexcept {
  return Guarded<HRESULT>(E_OUTOFMEMORY, E_INVALIDARG, [&] {
    TheOnly<RegistryStore>().UseFile(path != nullptr ? FullRegistryPath(path) : std::string());
    return S_OK;
  });
}

ULONG HostRegistryFile(char* path, ULONG room) noexcept {
  return Guarded<ULONG>(0u, 0u, [&] {
    const std::string file = TheOnly<RegistryStore>().File();
    if (path != nullptr && file.size() < room) std::memcpy(path, file.c_str(), file.size() + 1);
    return static_cast<ULONG>(file.size());
  });
}
