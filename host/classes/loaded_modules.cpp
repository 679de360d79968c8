// SPDX-License-Identifier: MIT
#include "host/classes/loaded_modules.h"

#include <vector>

#include "host/base/unicode.h"
#include "host/classes/class_entries.h"

namespace host {
namespace {

// The time that threads have to leave a module after its last object.
constexpr std::chrono::minutes kWayOut{10};

// The path that a registry text names, which may stand between quotation marks.
std::string ModulePath(RegistryTextView text) {
  if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
    text = text.substr(1, text.size() - 2);
  }
  return ToUtf8(text);
}

}  // namespace

void KnownClasses::Enter(REFCLSID classId, std::uint64_t generation, ClassModule& module) noexcept {
  const Halves key(classId);
  Set& set = sets_[key.Hash() % kSets];
  Row* place = nullptr;
  for (Row& row : set) {
    const bool isSame = row.classId[0] == key.of[0] && row.classId[1] == key.of[1];
    const bool isFree = !row.module || row.generation != generation;
    if (isSame || (!place && isFree)) place = &row;
    if (isSame) break;
  }
  if (!place) place = &set[nextGivenUp_++ % set.size()];
  const std::uint64_t version = place->version.load(std::memory_order_relaxed);
  place->version.store(version + 1, std::memory_order_relaxed);
  place->classId[0].store(key.of[0], std::memory_order_release);
  place->classId[1].store(key.of[1], std::memory_order_release);
  place->generation.store(generation, std::memory_order_release);
  place->module.store(&module, std::memory_order_release);
  place->version.store(version + 2, std::memory_order_release);
}

HRESULT ClassModules::BeginCall(REFCLSID classId, ModuleCall& call) {
  if (BeginKnownCall(classId, call)) return S_OK;
  const std::uint64_t generation = TheOnly<RegistryStore>().generation();
  RegistryText text;
  HRESULT hr = ReadClassText(classId, OLESTR("InprocServer32"), text);
  if (FAILED(hr)) return hr;
  hr = BeginCallOfFile(ModulePath(text), call);
  if (FAILED(hr)) return hr;
  // A path read while the registry changed is used once and not kept.
  std::lock_guard lock(mutex_);
  if (TheOnly<RegistryStore>().generation() == generation) {
    known_.Enter(classId, generation, *call.module_);
  }
  return S_OK;
}

HRESULT ClassModules::BeginCallOfFile(const std::string& path, ModuleCall& call) {
  {
    std::lock_guard lock(mutex_);
    const auto row = modules_.find(path);
    if (row != modules_.end() && row->second.Begin()) {
      call.module_ = &row->second;
      return S_OK;
    }
  }
  // An empty path would be the program itself.
  LoadedLibrary library = path.empty() ? nullptr : LoadLibraryFile(path.c_str());
  if (!library) return CO_E_DLLNOTFOUND;
  auto* const getClassObject =
      ExportOf<ClassModule::GetClassObjectFunction>(library, "DllGetClassObject");
  if (!getClassObject) return CO_E_ERRORINDLL;
  std::lock_guard lock(mutex_);
  ClassModule& module = modules_[path];
  // Another thread may have loaded it meanwhile.
  if (!module.Begin()) {
    module.getClassObject_ = getClassObject;
    module.canUnloadNow_ = ExportOf<ClassModule::CanUnloadNowFunction>(library, "DllCanUnloadNow");
    module.library_ = std::move(library);
    module.apartment_.store(OwnApartment(), std::memory_order_relaxed);
    module.Add(0 - ClassModule::kUnloaded);
    module.Begin();
  }
  call.module_ = &module;
  return S_OK;
}

void ClassModules::FreeUnused(const std::chrono::steady_clock::time_point now) {
  struct Candidate {
    ClassModule* module;
    std::uint64_t calls;
  };
  std::vector<Candidate> candidates;
  std::vector<LoadedLibrary> unused;
  {
    std::lock_guard lock(mutex_);
    candidates.reserve(modules_.size());
    unused.reserve(modules_.size());
    for (auto& [path, module] : modules_) {
      if (module.BeginQuestion()) candidates.push_back({&module, module.calls_});
    }
  }
  for (const auto& [module, calls] : candidates) {
    const bool isUnused = module->canUnloadNow_ && module->canUnloadNow_() == S_OK;
    std::lock_guard lock(mutex_);
    if (!isUnused) module->unusedAfter_ = 0;
    LoadedLibrary library = isUnused ? TakeUnused(*module, calls, now) : nullptr;
    if (library) {
      unused.push_back(std::move(library));
    } else {
      module->Forget();
    }
  }
}

// The library of a module that said after so many calls that it can be unloaded; null when it has
// to stay. Under the lock; what is taken ends the question.
LoadedLibrary ClassModules::TakeUnused(ClassModule& module, std::uint64_t calls,
                                       std::chrono::steady_clock::time_point now) noexcept {
  const void* const apartment = module.apartment_.load(std::memory_order_relaxed);
  if (!apartment || apartment != OwnApartment()) {
    if (module.unusedAfter_ != calls) {
      module.unusedAfter_ = calls;
      module.unusedSince_ = now;
    }
    if (now - module.unusedSince_ < kWayOut) return nullptr;
  }
  // A call that began meanwhile may have left an object behind, whatever the module said before.
  const std::uint64_t before = calls - ClassModule::kBegan - ClassModule::kUnderWay;
  const bool isAlone = (before & (ClassModule::kBegan - ClassModule::kUnderWay)) == 0;
  if (!isAlone || !module.calls_.compare_exchange_strong(calls, before | ClassModule::kUnloaded)) {
    return nullptr;
  }
  return std::move(module.library_);
}

}  // namespace host
