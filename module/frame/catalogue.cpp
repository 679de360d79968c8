// SPDX-License-Identifier: MIT
#include "module/frame/catalogue.h"

#include "module/frame/pixel_memory.h"
#include "module/frame/reports.h"
#include "platform/threading.h"

namespace rastel {
namespace {

// Guards the first creation of a class object and nothing else.
struct ModuleState {
  std::atomic<HINSTANCE> handle{nullptr};
  std::atomic<bool> attached{false};
  platform::CComCriticalSection lock;
  bool lockFailed = false;
};

// Has no destructor of its own: programs that are ending still ask for classes, and the detach ends
// the lock.
union LastingState {
  constexpr LastingState() noexcept : module() {}
  ~LastingState() {}
  ModuleState module;
};
constinit LastingState state;
ModuleState& module = state.module;

HRESULT MakeClassObject(CatalogueRow& row) noexcept {
  if (module.lockFailed) return E_UNEXPECTED;
  const platform::ScopedLock locked(module.lock);
  if (row.classObject.load(std::memory_order_relaxed)) return S_OK;
  void* made = nullptr;
  const HRESULT result = row.classObjectCreator(row.instanceCreator, IID_IUnknown, &made);
  if (SUCCEEDED(result)) {
    row.classObject.store(static_cast<IUnknown*>(made), std::memory_order_release);
  }
  return result;
}

// Enters or removes the categories that a row's map names. No row has a map, since the scripts say
// which category the classes are of.
HRESULT UpdateCategories(const CatalogueRow& row) noexcept {
  return row.categories() ? E_NOTIMPL : S_OK;
}

}  // namespace

void AttachModule(HINSTANCE handle) noexcept {
  module.handle = handle;
  SetReportModule(handle);
  module.lockFailed = FAILED(module.lock.Init());
  for (CatalogueRow* row = Catalogue(); row->classId; ++row) row->objectMain(true);
  module.attached = true;
}

void DetachModule() noexcept {
  module.attached = false;
  for (CatalogueRow* row = Catalogue(); row->classId; ++row) {
    if (IUnknown* classObject = row->classObject.exchange(nullptr)) classObject->Release();
    row->objectMain(false);
  }
  module.lock.Term();
  SetReportModule(nullptr);
  module.handle = nullptr;
}

HINSTANCE ModuleHandle() noexcept { return module.handle; }

HRESULT GetClassObject(REFCLSID classId, REFIID iid, void** out) noexcept {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!module.attached) return E_UNEXPECTED;
  CatalogueRow* const row = FindRow(classId);
  if (!row || !row->classObjectCreator) return CLASS_E_CLASSNOTAVAILABLE;
  if (!row->classObject.load(std::memory_order_acquire)) {
    const HRESULT result = MakeClassObject(*row);
    if (FAILED(result)) return result;
  }
  return row->classObject.load(std::memory_order_acquire)->QueryInterface(iid, out);
}

HRESULT CanUnloadNow() noexcept {
  FreeKeptBlocks();
  return platform::moduleCount.Sum() == 0 ? S_OK : S_FALSE;
}

HRESULT RegisterServer() noexcept {
  for (const CatalogueRow* row = Catalogue(); row->classId; ++row) {
    HRESULT result = row->registration(*row, true);
    if (SUCCEEDED(result)) result = UpdateCategories(*row);
    if (FAILED(result)) return result;
  }
  return S_OK;
}

HRESULT UnregisterServer() noexcept {
  for (const CatalogueRow* row = Catalogue(); row->classId; ++row) {
    if (FAILED(UpdateCategories(*row)) || FAILED(row->registration(*row, false))) break;
  }
  return S_OK;
}

}  // namespace rastel
