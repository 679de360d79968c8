// SPDX-License-Identifier: MIT
// The entry of a module: what the system runs when the module comes and goes. Included once, by the
// file that exports the module's operations; that file defines the two functions below.
#pragma once

#include "platform/module_file.h"
#include "platform/type_info_holder.h"

namespace platform {

// Run on attach and detach. The handle stands for the module until the detach.
void ModuleAttached(HINSTANCE module) noexcept;
void ModuleDetached() noexcept;

}  // namespace platform

#ifdef _WIN32

#define RASTEL_MODULE_EXPORT extern "C"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    platform::ModuleAttached(module);
    DisableThreadLibraryCalls(module);
  } else if (reason == DLL_PROCESS_DETACH) {
    platform::ModuleDetached();
    platform::TypeInfoHolder::ReleaseAll();
  }
  return TRUE;
}

#else

#define RASTEL_MODULE_EXPORT extern "C" __attribute__((visibility("default")))

namespace platform::module_entry {

// No thread calls exist here that could be disabled.
[[gnu::constructor]] static void Attach() { ModuleAttached(ThisModule()); }
[[gnu::destructor]] static void Detach() {
  ModuleDetached();
  TypeInfoHolder::ReleaseAll();
}

}  // namespace platform::module_entry

#endif
