// SPDX-License-Identifier: MIT
#include "host/services/module_files.h"

#include <dlfcn.h>
#include <limits.h>
#include <sys/auxv.h>

#include <cstdlib>
#include <cstring>

#include "host/base/last_error.h"
#include "host/services/code_pages.h"

HINSTANCE HostModuleOf(const void* address) noexcept {
  Dl_info info{};
  if (dladdr(address, &info) == 0) return nullptr;
  return static_cast<HINSTANCE>(info.dli_fbase);
}

DWORD GetModuleFileNameW(HMODULE module, LPWSTR path, DWORD roomUnits) noexcept {
  const char* name = "/proc/self/exe";
  Dl_info info{};
  if (module != nullptr) {
    if (dladdr(module, &info) == 0 || info.dli_fbase != module || info.dli_fname == nullptr) {
      SetLastError(static_cast<DWORD>(ERROR_INVALID_HANDLE));
      return 0;
    }
    // The loader knows the program itself only by what it was started as.
    const auto headers = reinterpret_cast<const void*>(getauxval(AT_PHDR));
    if (HostModuleOf(headers) != module) name = info.dli_fname;
  }
  char full[PATH_MAX];
  if (realpath(name, full) == nullptr) {
    SetLastError(static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    return 0;
  }
  if (path == nullptr || roomUnits == 0) {
    SetLastError(static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
    return 0;
  }
  OLECHAR wide[PATH_MAX];
  const int units = MultiByteToWideChar(CP_UTF8, 0, full, -1, wide, PATH_MAX);
  if (units == 0) return 0;
  if (static_cast<DWORD>(units) > roomUnits) {
    std::memcpy(path, wide, (roomUnits - 1) * sizeof(OLECHAR));
    path[roomUnits - 1] = 0;
    SetLastError(static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
    return roomUnits;
  }
  std::memcpy(path, wide, static_cast<std::size_t>(units) * sizeof(OLECHAR));
  return static_cast<DWORD>(units - 1);
}
