// SPDX-License-Identifier: MIT
// Shared libraries that are loaded as long as someone holds them.
#pragma once

#include <dlfcn.h>

#include <memory>

namespace host {

struct UnloadLibrary {
  void operator()(void* library) const noexcept { dlclose(library); }
};
using LoadedLibrary = std::unique_ptr<void, UnloadLibrary>;

// Null when the file cannot be loaded. Without a folder in the path the system looks for it.
inline LoadedLibrary LoadLibraryFile(const char* path) noexcept {
  return LoadedLibrary(dlopen(path, RTLD_NOW | RTLD_LOCAL));
}

// A function that a library exports, null when there is none.
template <class Function>
Function* ExportOf(const LoadedLibrary& library, const char* name) noexcept {
  return reinterpret_cast<Function*>(dlsym(library.get(), name));
}

}  // namespace host
