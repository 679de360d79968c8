#include "tests/support/module_client.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#ifndef _WIN32
#include <dlfcn.h>
#endif

namespace tests {
namespace {

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "The module cannot be used: %s\n", what);
  std::abort();
}

#ifdef _WIN32

void* Load() { return LoadLibraryA(RASTEL_MODULE_FILE); }
void* Find(void* module, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}
HINSTANCE HandleOf(void* module, const void*) { return static_cast<HINSTANCE>(module); }

#else

void* Load() { return dlopen(RASTEL_MODULE_FILE, RTLD_NOW | RTLD_LOCAL); }
void* Find(void* module, const char* name) { return dlsym(module, name); }
HINSTANCE HandleOf(void*, const void* address) { return HostModuleOf(address); }

#endif

template <class Function>
void Bind(void* module, const char* name, Function& function) {
  void* const address = Find(module, name);
  if (!address) Fail(name);
  std::memcpy(&function, &address, sizeof function);
}

}  // namespace

const ModuleClient& ModuleClient::Get() {
  static const ModuleClient client;
  return client;
}

ModuleClient::ModuleClient() {
  void* const module = Load();
  if (!module) Fail(RASTEL_MODULE_FILE);
  Bind(module, "DllGetClassObject", getClassObject_);
  Bind(module, "DllCanUnloadNow", canUnloadNow_);
  Bind(module, "DllRegisterServer", registerServer_);
  Bind(module, "DllUnregisterServer", unregisterServer_);
  handle_ = HandleOf(module, reinterpret_cast<const void*>(getClassObject_));
}

HRESULT ModuleClient::CreateInside(IUnknown* outer, REFCLSID classId, REFIID iid,
                                   void** out) const {
  *out = nullptr;
  platform::ComPtr<IClassFactory> factory;
  const HRESULT result = GetClassObject(classId, IID_IClassFactory, factory.PutVoid());
  return FAILED(result) ? result : factory->CreateInstance(outer, iid, out);
}

}  // namespace tests
