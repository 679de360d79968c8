// SPDX-License-Identifier: MIT
#include "host/classes/loaded_modules.h"

#include <vector>

#include "host/base/never_destroyed.h"
#include "host/base/unicode.h"
#include "host/classes/class_entries.h"
#include "host/registry/store.h"

namespace host {
namespace {

// The path that a registry text names, which may stand between quotation marks.
std::string ModulePath(RegistryTextView text) {
  if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
    text = text.substr(1, text.size() - 2);
  }
  return ToUtf8(text);
}

}  // namespace

ModuleCall::~ModuleCall() {
  if (module_ != nullptr) TheOnly<ClassModules>().EndCall(*module_);
}

HRESULT ClassModules::BeginCall(REFCLSID classId, ModuleCall& call) {
  const std::uint64_t generation = TheOnly<RegistryStore>().generation();
  {
    std::lock_guard lock(mutex_);
    if (generation_ != generation) {
      known_.clear();
      generation_ = generation;
    }
    const auto known = known_.find(classId);
    if (known != known_.end()) {
      Start(known->second, call);
      return S_OK;
    }
  }
  RegistryText text;
  HRESULT hr = ReadClassText(classId, OLESTR("InprocServer32"), text);
  if (FAILED(hr)) return hr;
  const std::string path = ModulePath(text);
  std::shared_ptr<ClassModule> loaded;
  {
    std::lock_guard lock(mutex_);
    const auto module = modules_.find(path);
    if (module != modules_.end()) loaded = module->second;
  }
  if (loaded == nullptr) {
    hr = Load(path, loaded);
    if (FAILED(hr)) return hr;
  }
  std::lock_guard lock(mutex_);
  // Another thread may have loaded it or unloaded it meanwhile: the table's module is the one.
  std::shared_ptr<ClassModule>& module = modules_.emplace(path, loaded).first->second;
  // A path read while the registry changed is used once and not kept.
  if (generation_ == generation && TheOnly<RegistryStore>().generation() == generation) {
    known_.insert_or_assign(classId, module);
  }
  Start(module, call);
  return S_OK;
}

HRESULT ClassModules::Load(const std::string& path, std::shared_ptr<ClassModule>& module) {
  // An empty path would be the program itself.
  LoadedLibrary library = path.empty() ? nullptr : LoadLibraryFile(path.c_str());
  if (library == nullptr) return CO_E_DLLNOTFOUND;
  module = std::make_shared<ClassModule>(std::move(library));
  return module->getClassObject != nullptr ? S_OK : CO_E_ERRORINDLL;
}

void ClassModules::Start(const std::shared_ptr<ClassModule>& module, ModuleCall& call) noexcept {
  ++module->callsStarted;
  ++module->callsUnderWay;
  call.module_ = module;
}

void ClassModules::EndCall(ClassModule& module) noexcept {
  std::lock_guard lock(mutex_);
  --module.callsUnderWay;
}

void ClassModules::FreeUnused() {
  struct Candidate {
    std::string path;
    std::shared_ptr<ClassModule> module;
    std::uint64_t callsStarted;
    HRESULT answer;
  };
  std::vector<Candidate> candidates;
  {
    std::lock_guard lock(mutex_);
    candidates.reserve(modules_.size());
    for (const auto& [path, module] : modules_) {
      if (module->callsUnderWay > 0 || module->canUnloadNow == nullptr) continue;
      candidates.push_back({path, module, module->callsStarted, S_FALSE});
    }
  }
  for (Candidate& candidate : candidates) candidate.answer = candidate.module->canUnloadNow();
  {
    std::lock_guard lock(mutex_);
    for (const auto& [path, module, callsStarted, answer] : candidates) {
      // A call that began meanwhile may have left an object behind, whatever the module said
      // before.
      if (answer != S_OK || module->callsUnderWay > 0 || module->callsStarted != callsStarted) {
        continue;
      }
      modules_.erase(path);
      std::erase_if(known_, [&unused = module](const auto& row) { return row.second == unused; });
    }
  }
  // The modules that nothing refers to any more are unloaded here, with the candidates.
}

}  // namespace host
