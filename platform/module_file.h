// The handle and the file of the module that this code is linked into.
#pragma once

#include <string>

#include "platform/platform.h"

#ifndef _WIN32
#include <dlfcn.h>

#include <climits>
#include <cstdlib>
#endif

namespace platform {

#ifdef _WIN32

// The handle of the module that holds this function.
inline HINSTANCE ThisModule() noexcept {
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&ThisModule), &module);
  return module;
}

// The full path of a module's file; empty when it cannot be told.
inline std::basic_string<OLECHAR> ModuleFileName(HINSTANCE module) {
  std::basic_string<OLECHAR> path(32768, OLECHAR{});
  path.resize(GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

#else

// The handle of the module that holds this function: the address it is loaded at.
inline HINSTANCE ThisModule() noexcept {
  Dl_info info{};
  dladdr(reinterpret_cast<void*>(&ThisModule), &info);
  return static_cast<HINSTANCE>(info.dli_fbase);
}

// The full path of a module's file; empty when it cannot be told.
inline std::basic_string<OLECHAR> ModuleFileName(HINSTANCE module) {
  Dl_info info{};
  if (!dladdr(module, &info) || !info.dli_fname) return {};
  char full[PATH_MAX];
  const char* path = realpath(info.dli_fname, full) ? full : info.dli_fname;
  const int units = MultiByteToWideChar(CP_ACP, 0, path, -1, nullptr, 0);
  if (units <= 0) return {};
  std::basic_string<OLECHAR> wide(static_cast<std::size_t>(units), OLECHAR{});
  MultiByteToWideChar(CP_ACP, 0, path, -1, wide.data(), units);
  wide.pop_back();
  return wide;
}

#endif

}  // namespace platform
