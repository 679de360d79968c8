// SPDX-License-Identifier: MIT
// Loads a module by its path and finds its exports, for programs that install or inspect one.
// Clients make objects with CoCreateInstance instead.
#pragma once

#include <filesystem>

#include "platform/platform.h"

#ifndef _WIN32
#include <dlfcn.h>
#endif

namespace platform {

class LoadedModule {
 public:
  // Path with its folder. See IsLoaded.
  explicit LoadedModule(const std::filesystem::path& path) noexcept {
#ifdef _WIN32
    handle_ = reinterpret_cast<void*>(LoadLibraryW(path.c_str()));
#else
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
#endif
  }
  ~LoadedModule() {
    if (!handle_) return;
#ifdef _WIN32
    FreeLibrary(static_cast<HMODULE>(handle_));
#else
    dlclose(handle_);
#endif
  }
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  bool IsLoaded() const noexcept { return handle_ != nullptr; }

  // The export as a function of the type; null when there is none.
  template <class Function>
  Function* Export(const char* name) const noexcept {
    if (!handle_) return nullptr;
#ifdef _WIN32
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name)));
#else
    return reinterpret_cast<Function*>(dlsym(handle_, name));
#endif
  }

 private:
  void* handle_ = nullptr;
};

}  // namespace platform
