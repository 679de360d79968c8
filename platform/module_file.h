// SPDX-License-Identifier: MIT
// The handle and the file of the module that this code is linked into.
#pragma once

#include <string>

#include "platform/platform.h"

namespace platform {

// The module that holds an address of code or static data; null when there is none.
inline HINSTANCE ModuleOf(const void* address) noexcept {
#ifdef _WIN32
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      static_cast<LPCWSTR>(address), &module);
  return module;
#else
  return HostModuleOf(address);
#endif
}

// The handle of the module that holds this function.
inline HINSTANCE ThisModule() noexcept {
  return ModuleOf(reinterpret_cast<const void*>(&ThisModule));
}

// The full path of a module's file; empty when it cannot be told.
inline std::basic_string<OLECHAR> ModuleFileName(HINSTANCE module) {
  std::basic_string<OLECHAR> path(32768, OLECHAR{});
  path.resize(GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

}  // namespace platform
