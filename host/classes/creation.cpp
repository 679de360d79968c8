#include "host/classes/creation.h"

#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>
#include <vector>

#include "host/base/counted_object.h"
#include "host/base/guarded.h"
#include "host/base/never_destroyed.h"
#include "host/classes/identifiers.h"
#include "host/classes/loaded_modules.h"
#include "host/classes/own_classes.h"
#include "host/classes/registered_classes.h"
#include "host/services/task_memory.h"

namespace host {

// The factory of a class of the host.
class HostClassFactory final
    : public CountedObject<HostClassFactory, Serves<IClassFactory, IID_IClassFactory>> {
 public:
  explicit HostClassFactory(REFCLSID classId) noexcept : classId_(classId) {}

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return CreateHostClass(classId_, outer, iid, out);
  }
  // The host does not unload.
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

 private:
  const CLSID classId_;
};

namespace {

constexpr DWORD kApartmentFlag = COINIT_APARTMENTTHREADED;
constexpr DWORD kIgnoredApartmentFlags = 0x4 | 0x8;

struct Apartment {
  std::size_t entries = 0;
  DWORD kind = 0;
};
constinit thread_local Apartment apartment;

template <class Body>
HRESULT ClassCall(Body&& body) noexcept {
  return Guarded<HRESULT>(E_OUTOFMEMORY, E_UNEXPECTED, std::forward<Body>(body));
}

// A factory that the process registered. Whoever uses it holds it, so that it can be revoked
// meanwhile; the last holder releases it.
struct Registration {
  Registration(IUnknown* object, DWORD itsContext) noexcept : factory(object), context(itsContext) {
    factory->AddRef();
  }
  ~Registration() { factory->Release(); }
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;

  IUnknown* const factory;
  const DWORD context;
  DWORD cookie = 0;
};
using RegistrationPointer = std::shared_ptr<Registration>;

// Never destroyed, as the factories' modules may be gone by then.
class Registrations {
 public:
  RegistrationPointer Find(REFCLSID classId) noexcept {
    std::lock_guard lock(mutex_);
    const auto found = classes_.find(classId);
    if (found == classes_.end()) return nullptr;
    for (const RegistrationPointer& registration : found->second) {
      if ((registration->context & CLSCTX_INPROC_SERVER) != 0) return registration;
    }
    return nullptr;
  }

  // Gives the registration a cookie and keeps it.
  DWORD Add(REFCLSID classId, RegistrationPointer registration) {
    std::lock_guard lock(mutex_);
    std::vector<RegistrationPointer>& list = classes_[classId];
    list.reserve(list.size() + 1);
    while (lastCookie_ == 0 || !cookies_.emplace(lastCookie_, classId).second) ++lastCookie_;
    const DWORD cookie = lastCookie_++;
    registration->cookie = cookie;
    list.push_back(std::move(registration));
    return cookie;
  }

  // Gives what was registered to the caller, who lets go of it without the lock.
  RegistrationPointer Remove(DWORD cookie) noexcept {
    std::lock_guard lock(mutex_);
    const auto known = cookies_.find(cookie);
    if (known == cookies_.end()) return nullptr;
    const auto list = classes_.find(known->second);
    cookies_.erase(known);
    RegistrationPointer removed;
    std::erase_if(list->second, [&](RegistrationPointer& registration) {
      if (registration->cookie != cookie) return false;
      removed = std::move(registration);
      return true;
    });
    if (list->second.empty()) classes_.erase(list);
    return removed;
  }

 private:
  std::mutex mutex_;
  // Per class, the oldest registration first.
  std::unordered_map<CLSID, std::vector<RegistrationPointer>, GuidHash> classes_;
  std::unordered_map<DWORD, CLSID> cookies_;
  DWORD lastCookie_ = 1;
};

// The factory of a class, and what has to stay while it is used.
struct FoundClass {
  ModuleCall module;
  RegistrationPointer registration;
};

HRESULT FindFactory(REFCLSID classId, FoundClass& found, REFIID iid, void** factory) {
  found.registration = TheOnly<Registrations>().Find(classId);
  if (found.registration != nullptr) {
    return found.registration->factory->QueryInterface(iid, factory);
  }
  if (IsHostClass(classId)) {
    Reference<IClassFactory> hostFactory;
    hostFactory.Adopt(new HostClassFactory(classId));
    return hostFactory->QueryInterface(iid, factory);
  }
  const HRESULT hr = TheOnly<ClassModules>().BeginCall(classId, found.module);
  return FAILED(hr) ? hr : found.module.module().getClassObject(classId, iid, factory);
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

HRESULT CoInitialize(LPVOID reserved) noexcept {
  return CoInitializeEx(reserved, COINIT_APARTMENTTHREADED);
}

HRESULT CoInitializeEx(LPVOID reserved, DWORD flags) noexcept {
  if (reserved != nullptr || (flags & ~(kApartmentFlag | kIgnoredApartmentFlags)) != 0) {
    return E_INVALIDARG;
  }
  const DWORD kind = flags & kApartmentFlag;
  if (apartment.entries > 0 && apartment.kind != kind) return RPC_E_CHANGED_MODE;
  apartment.kind = kind;
  return ++apartment.entries == 1 ? S_OK : S_FALSE;
}

void CoUninitialize() noexcept {
  if (apartment.entries > 0) --apartment.entries;
}

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
    *cookie =
        TheOnly<Registrations>().Add(classId, std::make_shared<Registration>(factory, context));
    return S_OK;
  });
}

HRESULT CoRevokeClassObject(DWORD cookie) noexcept {
  const RegistrationPointer removed = TheOnly<Registrations>().Remove(cookie);
  return removed != nullptr ? S_OK : E_INVALIDARG;
}

void CoFreeUnusedLibraries() noexcept {
  ClassCall([]() -> HRESULT {
    TheOnly<ClassModules>().FreeUnused();
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
