#include "host/classes/registered_classes.h"

#include "host/classes/identifiers.h"
#include "host/registry/keys.h"

namespace host {
namespace {

struct OpenedKey {
  HKEY handle = nullptr;
  ~OpenedKey() {
    if (handle != nullptr) RegCloseKey(handle);
  }
};

HRESULT ResultOf(LSTATUS status) {
  switch (status) {
    case ERROR_SUCCESS:
      return S_OK;
    case ERROR_BADDB:
    case ERROR_CANTREAD:
      return REGDB_E_READREGDB;
    case ERROR_NOT_ENOUGH_MEMORY:
      return E_OUTOFMEMORY;
    default:
      return REGDB_E_CLASSNOTREG;
  }
}

}  // namespace

HRESULT ReadClassText(const RegistryText& path, RegistryText& text) {
  OpenedKey key;
  LSTATUS status = RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key.handle);
  if (status != ERROR_SUCCESS) return ResultOf(status);
  DWORD type = REG_NONE;
  do {
    // The value may grow between the question for its size and the one for its text.
    DWORD bytes = 0;
    status = RegQueryValueExW(key.handle, nullptr, nullptr, &type, nullptr, &bytes);
    if (status != ERROR_SUCCESS) return ResultOf(status);
    text.assign(bytes / sizeof(OLECHAR), 0);
    status = RegQueryValueExW(key.handle, nullptr, nullptr, &type,
                              reinterpret_cast<BYTE*>(text.data()), &bytes);
  } while (status == ERROR_MORE_DATA && text.size() * sizeof(OLECHAR) < kMostValueBytes);
  if (status != ERROR_SUCCESS) return ResultOf(status);
  text.resize(std::char_traits<OLECHAR>::length(text.c_str()));
  const bool isText = type == REG_SZ || type == REG_EXPAND_SZ;
  return isText && !text.empty() ? S_OK : REGDB_E_CLASSNOTREG;
}

RegistryText ClassKeyPath(REFCLSID classId, RegistryTextView below) {
  OLECHAR text[39];
  StringFromGUID2(classId, text, 39);
  RegistryText path = OLESTR("CLSID\\");
  path += text;
  path += '\\';
  path += below;
  return path;
}

}  // namespace host
