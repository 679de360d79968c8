// Resources of a loaded module, wherever its host keeps them.
#pragma once

#include <string>

#include "platform/platform.h"

namespace tests {

// The bytes of a resource in a language; empty when there is none. The type is a text, or a number
// if that is null.
inline std::string ResourceBytes(HINSTANCE module, LPCOLESTR type, WORD typeNumber, WORD number,
                                 WORD language) {
#ifdef _WIN32
  const HRSRC found = FindResourceExW(module, type ? type : MAKEINTRESOURCEW(typeNumber),
                                      MAKEINTRESOURCEW(number), language);
  const HGLOBAL loaded = found ? LoadResource(module, found) : nullptr;
  if (!loaded) return {};
  return std::string(static_cast<const char*>(LockResource(loaded)), SizeofResource(module, found));
#else
  HostResource row;
  if (FAILED(HostFindResource(module, type, typeNumber, number, &row))) return {};
  if (row.language != language) return {};
  return std::string(static_cast<const char*>(row.bytes), row.size);
#endif
}

}  // namespace tests
