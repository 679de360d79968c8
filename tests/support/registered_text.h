// What stands in the registry below HKEY_CLASSES_ROOT.
#pragma once

#include <optional>
#include <string>

#include "platform/platform.h"

namespace tests {

inline bool HasKey(const std::basic_string<OLECHAR>& path) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
    return false;
  }
  RegCloseKey(key);
  return true;
}

// A value that is a text, the key's own one without a name; nothing when there is none.
inline std::optional<std::basic_string<OLECHAR>> RegisteredText(
    const std::basic_string<OLECHAR>& path, LPCOLESTR name = nullptr) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  OLECHAR text[1024];
  DWORD bytes = sizeof(text), type = 0;
  const LSTATUS status =
      RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text), &bytes);
  RegCloseKey(key);
  if (status != ERROR_SUCCESS || type != REG_SZ) return std::nullopt;
  return std::basic_string<OLECHAR>(text, bytes / sizeof(OLECHAR) - 1);
}

}  // namespace tests
