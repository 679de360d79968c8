#include "host/registry/keys.h"

#include <cstring>
#include <mutex>
#include <unordered_map>

#include "host/base/guarded.h"
#include "host/base/never_destroyed.h"
#include "host/registry/store.h"

namespace host {
namespace {

struct OpenKey {
  std::vector<RegistryText> path;
  // Of the key that was opened; the predefined key is whatever the root is now.
  std::uint64_t serial = 0;
  bool isPredefined = false;
  REGSAM rights = 0;
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

  LSTATUS Find(HKEY handle, OpenKey& key) {
    if (handle == HKEY_CLASSES_ROOT) {
      key = {{}, 0, true, KEY_ALL_ACCESS};
      return ERROR_SUCCESS;
    }
    std::lock_guard lock(mutex_);
    const auto found = keys_.find(reinterpret_cast<ULONG_PTR>(handle));
    if (found == keys_.end()) return ERROR_INVALID_HANDLE;
    key = found->second;
    return ERROR_SUCCESS;
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

constinit thread_local std::size_t openBatches = 0;

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

// Appends the names of a path to those of its key.
LSTATUS AppendPath(LPCWSTR path, std::vector<RegistryText>& names) {
  if (path == nullptr) return ERROR_SUCCESS;
  if (*path == '\\') return ERROR_BAD_PATHNAME;
  while (*path != 0) {
    std::size_t units = 0;
    while (path[units] != 0 && path[units] != '\\') {
      if (++units > kMostKeyNameUnits) return ERROR_INVALID_PARAMETER;
    }
    if (units > 0) {
      if (names.size() == kMostRegistryLevels) return ERROR_INVALID_PARAMETER;
      names.emplace_back(path, units);
    }
    path += units;
    if (*path == '\\') ++path;
  }
  return ERROR_SUCCESS;
}

LSTATUS ValueName(LPCWSTR text, RegistryTextView& name) noexcept {
  name = {};
  if (text == nullptr) return ERROR_SUCCESS;
  std::size_t units = 0;
  while (text[units] != 0) {
    if (++units > kMostValueNameUnits) return ERROR_INVALID_PARAMETER;
  }
  name = {text, units};
  return ERROR_SUCCESS;
}

// The key that a handle stands for, null when it is gone.
const RegistryKey* KeyOf(const RegistryKey& root, const OpenKey& key) noexcept {
  const RegistryKey* found = FindRegistryKey(root, key.path);
  return found != nullptr && (key.isPredefined || found->serial == key.serial) ? found : nullptr;
}

// Finds the handle's key in the tree as it stands now and reads it.
template <class Read>
LSTATUS ReadKey(HKEY handle, REGSAM right, Read&& read) noexcept {
  return RegistryCall([&]() -> LSTATUS {
    OpenKey key;
    LSTATUS status = TheOnly<HandleTable>().Find(handle, key);
    if (status != ERROR_SUCCESS) return status;
    if ((key.rights & right) != right) return ERROR_ACCESS_DENIED;
    RegistryKeyPointer root;
    status = TheOnly<RegistryStore>().Snapshot(root);
    if (status != ERROR_SUCCESS) return status;
    const RegistryKey* found = KeyOf(*root, key);
    return found != nullptr ? read(*found, key) : ERROR_KEY_DELETED;
  });
}

// The same for a change: change(root, key, openKey) sees the handle's key and may put a new root.
template <class Change>
LSTATUS ChangeKey(HKEY handle, REGSAM right, Change&& change) noexcept {
  return RegistryCall([&]() -> LSTATUS {
    OpenKey key;
    LSTATUS status = TheOnly<HandleTable>().Find(handle, key);
    if (status != ERROR_SUCCESS) return status;
    if ((key.rights & right) != right) return ERROR_ACCESS_DENIED;
    return TheOnly<RegistryStore>().Modify([&](RegistryKeyPointer& root) -> LSTATUS {
      const RegistryKey* found = KeyOf(*root, key);
      return found != nullptr ? change(root, *found, key) : ERROR_KEY_DELETED;
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

// Takes the key at a path, which is not the root's, out of the key above it.
RegistryKeyPointer WithoutKey(const RegistryKeyPointer& root, RegistryPath path) {
  return EditRegistry(root, path.first(path.size() - 1), [&](RegistryKey& parent) {
    parent.keys.erase(parent.keys.begin() +
                      static_cast<std::ptrdiff_t>(RegistryPlace(parent.keys, path.back())));
  });
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
    const auto make = [&](RegistryKeyPointer& root, const RegistryKey&, const OpenKey& handle) {
      OpenKey made{handle.path, 0, false, GrantedRights(rights)};
      const LSTATUS pathStatus = AppendPath(path, made.path);
      if (pathStatus != ERROR_SUCCESS) return pathStatus;
      const RegistryKeyPointer before = root;
      root = AddRegistryKey(root, made.path);
      if (root != before) result = REG_CREATED_NEW_KEY;
      made.serial = FindRegistryKey(*root, made.path)->serial;
      // Before the key is there for all: without a handle it is not made.
      *out = TheOnly<HandleTable>().Add(std::move(made));
      return ERROR_SUCCESS;
    };
    status = ChangeKey(key, 0, make);
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
  return ReadKey(key, 0, [&](const RegistryKey& parent, const OpenKey& handle) -> LSTATUS {
    OpenKey opened{handle.path, 0, false, GrantedRights(rights)};
    const LSTATUS status = AppendPath(path, opened.path);
    if (status != ERROR_SUCCESS) return status;
    const RegistryKey* found =
        FindRegistryKey(parent, RegistryPath(opened.path).subspan(handle.path.size()));
    if (found == nullptr) return ERROR_FILE_NOT_FOUND;
    opened.serial = found->serial;
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
  const auto set = [&](RegistryKeyPointer& root, const RegistryKey&, const OpenKey& handle) {
    RegistryTextView valueName;
    const LSTATUS status = ValueName(name, valueName);
    if (status != ERROR_SUCCESS) return status;
    if (bytes > kMostValueBytes) return ERROR_INVALID_PARAMETER;
    root = EditRegistry(root, handle.path, [&](RegistryKey& edited) {
      const std::size_t place = RegistryPlace(edited.values, valueName);
      const bool exists = RegistryHolds(edited.values, place, valueName);
      const RegistryTextView keptName = exists ? edited.values[place]->name : valueName;
      auto value = std::make_shared<RegistryValue>(
          RegistryValue{RegistryText(keptName), type, std::vector<BYTE>(data, data + bytes)});
      if (exists) {
        edited.values[place] = std::move(value);
      } else {
        edited.values.insert(edited.values.begin() + static_cast<std::ptrdiff_t>(place),
                             std::move(value));
      }
    });
    return ERROR_SUCCESS;
  };
  return ChangeKey(key, KEY_SET_VALUE, set);
}

LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                         LPDWORD bytes) noexcept {
  if (reserved != nullptr || (data != nullptr && bytes == nullptr)) return ERROR_INVALID_PARAMETER;
  return ReadKey(key, KEY_QUERY_VALUE, [&](const RegistryKey& found, const OpenKey&) -> LSTATUS {
    RegistryTextView valueName;
    const LSTATUS status = ValueName(name, valueName);
    if (status != ERROR_SUCCESS) return status;
    const RegistryValue* value = FindRegistryValue(found, valueName);
    return value != nullptr ? CopyValue(*value, type, data, bytes) : ERROR_FILE_NOT_FOUND;
  });
}

LSTATUS RegDeleteValueW(HKEY key, LPCWSTR name) noexcept {
  const auto remove = [&](RegistryKeyPointer& root, const RegistryKey& found,
                          const OpenKey& handle) -> LSTATUS {
    RegistryTextView valueName;
    const LSTATUS status = ValueName(name, valueName);
    if (status != ERROR_SUCCESS) return status;
    const std::size_t place = RegistryPlace(found.values, valueName);
    if (!RegistryHolds(found.values, place, valueName)) return ERROR_FILE_NOT_FOUND;
    root = EditRegistry(root, handle.path, [place](RegistryKey& edited) {
      edited.values.erase(edited.values.begin() + static_cast<std::ptrdiff_t>(place));
    });
    return ERROR_SUCCESS;
  };
  return ChangeKey(key, KEY_SET_VALUE, remove);
}

LSTATUS RegDeleteKeyW(HKEY key, LPCWSTR path) noexcept {
  if (path == nullptr) return ERROR_INVALID_PARAMETER;
  const auto remove = [&](RegistryKeyPointer& root, const RegistryKey&,
                          const OpenKey& handle) -> LSTATUS {
    std::vector<RegistryText> names = handle.path;
    const LSTATUS status = AppendPath(path, names);
    if (status != ERROR_SUCCESS) return status;
    const RegistryKey* doomed = FindRegistryKey(*root, names);
    if (doomed == nullptr) return ERROR_FILE_NOT_FOUND;
    if (names.empty() || !doomed->keys.empty()) return ERROR_ACCESS_DENIED;
    root = WithoutKey(root, names);
    return ERROR_SUCCESS;
  };
  return ChangeKey(key, 0, remove);
}

LSTATUS RegDeleteTreeW(HKEY key, LPCWSTR path) noexcept {
  const auto remove = [&](RegistryKeyPointer& root, const RegistryKey&,
                          const OpenKey& handle) -> LSTATUS {
    std::vector<RegistryText> names = handle.path;
    const LSTATUS status = AppendPath(path, names);
    if (status != ERROR_SUCCESS) return status;
    if (FindRegistryKey(*root, names) == nullptr) return ERROR_FILE_NOT_FOUND;
    if (names.size() > handle.path.size()) {
      root = WithoutKey(root, names);
    } else {
      root = EditRegistry(root, names, [](RegistryKey& edited) {
        edited.keys.clear();
        edited.values.clear();
      });
    }
    return ERROR_SUCCESS;
  };
  return ChangeKey(key, 0, remove);
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameUnits, LPDWORD reserved,
                      LPWSTR className, LPDWORD classUnits, PFILETIME lastWrite) noexcept {
  if (name == nullptr || nameUnits == nullptr || reserved != nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  const auto read = [&](const RegistryKey& found, const OpenKey&) -> LSTATUS {
    if (index >= found.keys.size()) return ERROR_NO_MORE_ITEMS;
    const LSTATUS status = CopyName(found.keys[index]->name, name, nameUnits);
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
    const RegistryValue& value = *found.values[index];
    const LSTATUS status = CopyName(value.name, name, nameUnits);
    return status == ERROR_SUCCESS ? CopyValue(value, type, data, bytes) : status;
  };
  return ReadKey(key, KEY_QUERY_VALUE, read);
}

LSTATUS RegFlushKey(HKEY key) noexcept {
  return ReadKey(key, 0, [](const RegistryKey&, const OpenKey&) { return ERROR_SUCCESS; });
}

HRESULT HostUseRegistryFile(const char* path) noexcept {
  return Guarded<HRESULT>(E_OUTOFMEMORY, E_INVALIDARG, [&]() -> HRESULT {
    const bool used =
        TheOnly<RegistryStore>().UseFile(path != nullptr ? FullRegistryPath(path) : std::string());
    return used ? S_OK : E_UNEXPECTED;
  });
}

LSTATUS HostBeginRegistryBatch() noexcept {
  const LSTATUS status = RegistryCall([] { return TheOnly<RegistryStore>().Begin(); });
  if (status == ERROR_SUCCESS) ++openBatches;
  return status;
}

LSTATUS HostEndRegistryBatch(BOOL commit) noexcept {
  if (openBatches == 0) return ERROR_INVALID_PARAMETER;
  --openBatches;
  if (commit) return TheOnly<RegistryStore>().Commit();
  TheOnly<RegistryStore>().Abandon();
  return ERROR_SUCCESS;
}
