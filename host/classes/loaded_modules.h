// SPDX-License-Identifier: MIT
// The modules that serve registered classes: found through the registry, loaded once, counted while
// calls into them are under way, unloaded when they say that they can be.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "host/base/interfaces.h"
#include "host/services/loaded_library.h"

namespace host {

struct GuidHash {
  std::size_t operator()(const GUID& guid) const noexcept {
    std::uint64_t halves[2];
    std::memcpy(halves, &guid, sizeof(halves));
    return (halves[0] ^ (halves[1] * 0x9E3779B97F4A7C15u)) * 0xD6E8FEB86659FD93u >> 16;
  }
};

// One loaded module. The counts belong to the table's lock; the last owner unloads.
struct ClassModule {
  using GetClassObjectFunction = HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**);
  using CanUnloadNowFunction = HRESULT STDAPICALLTYPE();

  explicit ClassModule(LoadedLibrary loaded) noexcept
      : library(std::move(loaded)),
        getClassObject(ExportOf<GetClassObjectFunction>(library, "DllGetClassObject")),
        canUnloadNow(ExportOf<CanUnloadNowFunction>(library, "DllCanUnloadNow")) {}

  const LoadedLibrary library;
  GetClassObjectFunction* const getClassObject;
  CanUnloadNowFunction* const canUnloadNow;
  std::uint64_t callsStarted = 0;
  std::uint64_t callsUnderWay = 0;
};

// A call into a module; as long as it lives, the module stays.
class ModuleCall final {
 public:
  ModuleCall() noexcept = default;
  ~ModuleCall();
  ModuleCall(const ModuleCall&) = delete;
  ModuleCall& operator=(const ModuleCall&) = delete;

  const ClassModule& module() const noexcept { return *module_; }

 private:
  friend class ClassModules;
  std::shared_ptr<ClassModule> module_;
};

// The one of the process is never destroyed: modules that are still loaded when it ends stay so.
// All members may be called from any thread; modules are loaded, called and unloaded without a
// lock.
class ClassModules final {
 public:
  // Begins a call into the module of a class: REGDB_E_CLASSNOTREG, REGDB_E_READREGDB,
  // CO_E_DLLNOTFOUND, CO_E_ERRORINDLL. Throws std::bad_alloc.
  HRESULT BeginCall(REFCLSID classId, ModuleCall& call);

  // See CoFreeUnusedLibraries. Throws std::bad_alloc.
  void FreeUnused();

 private:
  friend class ModuleCall;
  HRESULT Load(const std::string& path, std::shared_ptr<ClassModule>& module);
  static void Start(const std::shared_ptr<ClassModule>& module, ModuleCall& call) noexcept;
  void EndCall(ClassModule& module) noexcept;

  std::mutex mutex_;
  std::unordered_map<std::string, std::shared_ptr<ClassModule>> modules_;
  // What the registry said when its generation was this one.
  std::uint64_t generation_ = 0;
  std::unordered_map<CLSID, std::shared_ptr<ClassModule>, GuidHash> known_;
};

}  // namespace host
