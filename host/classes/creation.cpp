// SPDX-License-Identifier: MIT
#include "host/classes/creation.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <new>

#include "host/base/counted_object.h"
#include "host/base/guarded.h"
#include "host/base/never_destroyed.h"
#include "host/classes/class_entries.h"
#include "host/classes/identifiers.h"
#include "host/classes/loaded_modules.h"
#include "host/classes/own_classes.h"
#include "host/services/large_blocks.h"
#include "host/services/task_memory.h"

namespace host {

// The factory of a class of the host.
class HostClassFactory final
    : public CountedObject<HostClassFactory, Serves<IClassFactory, IID_IClassFactory>> {
 public:
  explicit HostClassFactory(CreateObject& create) noexcept : create_(create) {}

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return outer == nullptr ? create_(iid, out) : CLASS_E_NOAGGREGATION;
  }
  // The host does not unload.
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

 private:
  CreateObject& create_;
};

namespace {

template <class Body>
HRESULT ClassCall(Body&& body) noexcept {
  return Guarded<HRESULT>(E_OUTOFMEMORY, E_UNEXPECTED, std::forward<Body>(body));
}

// A factory that the process registered. Whoever uses it holds it, so that it can be revoked
// meanwhile; the last holder releases it.
struct OfferedFactory {
  OfferedFactory(REFCLSID itsClass, IUnknown* object, DWORD itsContext) noexcept
      : classId(itsClass), factory(object), context(itsContext) {
    factory->AddRef();
  }
  ~OfferedFactory() { factory->Release(); }
  OfferedFactory(const OfferedFactory&) = delete;
  OfferedFactory& operator=(const OfferedFactory&) = delete;

  const CLSID classId;
  IUnknown* const factory;
  const DWORD context;
};
using OfferedFactoryPointer = std::shared_ptr<OfferedFactory>;

// Never destroyed, as the factories' modules may be gone by then.
class OfferedFactories {
 public:
  bool AreNone() const noexcept { return count_.load(std::memory_order_acquire) == 0; }

  OfferedFactoryPointer Find(REFCLSID classId) noexcept {
    if (AreNone()) return nullptr;
    std::lock_guard lock(mutex_);
    for (const auto& [cookie, offered] : factories_) {
      const bool isInProcess = (offered->context & CLSCTX_INPROC_SERVER) != 0;
      if (isInProcess && offered->classId == classId) return offered;
    }
    return nullptr;
  }

  // Gives the cookie that the factory is kept under.
  DWORD Add(OfferedFactoryPointer offered) {
    std::lock_guard lock(mutex_);
    while (lastCookie_ == 0 || !factories_.try_emplace(lastCookie_, offered).second) ++lastCookie_;
    count_.store(factories_.size(), std::memory_order_release);
    return lastCookie_++;
  }

  // Gives what was registered to the caller, who lets go of it without the lock.
  OfferedFactoryPointer Remove(DWORD cookie) noexcept {
    std::lock_guard lock(mutex_);
    auto removed = factories_.extract(cookie);
    count_.store(factories_.size(), std::memory_order_release);
    return removed ? std::move(removed.mapped()) : nullptr;
  }

 private:
  std::mutex mutex_;
  // The oldest first.
  std::map<DWORD, OfferedFactoryPointer> factories_;
  // Mostly 0, and then looking needs no lock.
  std::atomic<std::size_t> count_{0};
  DWORD lastCookie_ = 1;
};

// The factory of a class, and what has to stay while it is used.
struct FoundClass {
  ModuleCall module;
  OfferedFactoryPointer offered;
};

// One that does not come from a module at all or from one that is still to be found or loaded.
[[gnu::noinline]] HRESULT LookForFactory(REFCLSID classId, FoundClass& found, REFIID iid,
                                         void** factory) {
  found.offered = TheOnly<OfferedFactories>().Find(classId);
  if (found.offered != nullptr) return found.offered->factory->QueryInterface(iid, factory);
  if (CreateObject* create = FindHostClass(classId)) {
    Reference<IClassFactory> hostFactory(new HostClassFactory(*create));
    return hostFactory->QueryInterface(iid, factory);
  }
  const HRESULT hr = TheOnly<ClassModules>().BeginCall(classId, found.module);
  return FAILED(hr) ? hr : found.module.module().GetClassObject(classId, iid, factory);
}

HRESULT FindFactory(REFCLSID classId, FoundClass& found, REFIID iid, void** factory) {
  const bool isKnown = TheOnly<OfferedFactories>().AreNone() &&
                       TheOnly<ClassModules>().BeginKnownCall(classId, found.module);
  return isKnown ? found.module.module().GetClassObject(classId, iid, factory)
                 : LookForFactory(classId, found, iid, factory);
}

HRESULT CreateByFactory(REFCLSID classId, IUnknown* outer, REFIID iid, void** out) {
  FoundClass found;
  Reference<IClassFactory> factory;
  void* pointer = nullptr;
  HRESULT hr = FindFactory(classId, found, IID_IClassFactory, &pointer);
  if (FAILED(hr)) return hr;
  if (pointer == nullptr) return E_NOINTERFACE;
  factory.Adopt(static_cast<IClassFactory*>(pointer));
  return factory->CreateInstance(outer, iid, out);
}

}  // namespace
}  // namespace host

using namespace host;

HRESULT CoCreateInstance(REFCLSID classId, LPUNKNOWN outer, DWORD context, REFIID iid,
                         LPVOID* out) noexcept {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if ((context & CLSCTX_INPROC_SERVER) == 0) return REGDB_E_CLASSNOTREG;
  const HRESULT hr = ClassCall([&] { return CreateByFactory(classId, outer, iid, out); });
  if (FAILED(hr)) *out = nullptr;
  return hr;
}

HRESULT CoGetClassObject(REFCLSID classId, DWORD context, LPVOID, REFIID iid,
                         LPVOID* out) noexcept {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  if ((context & CLSCTX_INPROC_SERVER) == 0) return REGDB_E_CLASSNOTREG;
  const HRESULT hr = ClassCall([&] {
    FoundClass found;
    return FindFactory(classId, found, iid, out);
  });
  if (FAILED(hr)) *out = nullptr;
  return hr;
}

HRESULT CoRegisterClassObject(REFCLSID classId, LPUNKNOWN factory, DWORD context, DWORD flags,
                              LPDWORD cookie) noexcept {
  if (cookie == nullptr) return E_INVALIDARG;
  *cookie = 0;
  if (factory == nullptr) return E_INVALIDARG;
  if ((context & CLSCTX_LOCAL_SERVER) != 0 && (flags & REGCLS_MULTIPLEUSE) != 0) {
    context |= CLSCTX_INPROC_SERVER;
  }
  return ClassCall([&]() -> HRESULT {
    *cookie = TheOnly<OfferedFactories>().Add(
        std::make_shared<OfferedFactory>(classId, factory, context));
    return S_OK;
  });
}

HRESULT CoRevokeClassObject(DWORD cookie) noexcept {
  const OfferedFactoryPointer removed = TheOnly<OfferedFactories>().Remove(cookie);
  return removed != nullptr ? S_OK : E_INVALIDARG;
}

void CoFreeUnusedLibraries() noexcept {
  host::FreeSpareBlocks();
  ClassCall([]() -> HRESULT {
    TheOnly<ClassModules>().FreeUnused(std::chrono::steady_clock::now());
    return S_OK;
  });
}

HRESULT CLSIDFromProgID(LPCOLESTR progId, CLSID* classId) noexcept {
  if (classId == nullptr) return E_INVALIDARG;
  *classId = CLSID_NULL;
  if (progId == nullptr) return E_INVALIDARG;
  return ClassCall([&]() -> HRESULT {
    RegistryText text;
    const RegistryText path[] = {progId, OLESTR("CLSID")};
    const HRESULT hr = ReadClassText(path, text);
    if (hr == REGDB_E_CLASSNOTREG) return CO_E_CLASSSTRING;
    if (FAILED(hr)) return hr;
    CLSID found{};
    // Not CLSIDFromString, which would take any other text for a ProgID again.
    if (FAILED(IIDFromString(text.c_str(), &found))) return CO_E_CLASSSTRING;
    *classId = found;
    return S_OK;
  });
}

HRESULT ProgIDFromCLSID(REFCLSID classId, LPOLESTR* progId) noexcept {
  if (progId == nullptr) return E_INVALIDARG;
  *progId = nullptr;
  return ClassCall([&]() -> HRESULT {
    RegistryText text;
    const HRESULT hr = ReadClassText(classId, OLESTR("ProgID"), text);
    if (FAILED(hr)) return hr;
    const std::size_t bytes = (text.size() + 1) * sizeof(OLECHAR);
    auto* copy = static_cast<LPOLESTR>(CoTaskMemAlloc(bytes));
    if (copy == nullptr) return E_OUTOFMEMORY;
    std::memcpy(copy, text.c_str(), bytes);
    *progId = copy;
    return S_OK;
  });
}
