// SPDX-License-Identifier: MIT
#include "tests/support/module_client.h"

#include <cstdio>
#include <cstdlib>

#include "platform/module_file.h"
#include "tests/support/class_table.h"

namespace tests {

const ModuleClient& ModuleClient::Get() {
  // Never unloaded, as objects may be left when the program ends.
  static const ModuleClient& client = *new ModuleClient;
  return client;
}

ModuleClient::ModuleClient()
    : module_(RASTEL_MODULE_FILE),
      getClassObject_(module_.Export<Factories>("DllGetClassObject")),
      canUnloadNow_(module_.Export<Operation>("DllCanUnloadNow")),
      registerServer_(module_.Export<Operation>("DllRegisterServer")),
      unregisterServer_(module_.Export<Operation>("DllUnregisterServer")) {
  if (!getClassObject_ || !canUnloadNow_ || !registerServer_ || !unregisterServer_) {
    std::fprintf(stderr, "The module cannot be used: %s\n", RASTEL_MODULE_FILE);
    std::abort();
  }
  handle_ = platform::ModuleOf(reinterpret_cast<const void*>(getClassObject_));
}

HRESULT ModuleClient::CreateInside(IUnknown* outer, REFCLSID classId, REFIID iid,
                                   void** out) const {
  *out = nullptr;
  platform::ComPtr<IClassFactory> factory;
  const HRESULT result = GetClassObject(classId, IID_IClassFactory, factory.PutVoid());
  return FAILED(result) ? result : factory->CreateInstance(outer, iid, out);
}

PublishedClasses::PublishedClasses() {
  for (const ClassRow& row : kClasses) {
    platform::ComPtr<IUnknown> factory;
    ModuleClient::Get().GetClassObject(row.classId, IID_IUnknown, factory.PutVoid());
    CoRegisterClassObject(row.classId, factory.Get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                          &cookies_.emplace_back());
  }
}

PublishedClasses::~PublishedClasses() {
  for (const DWORD cookie : cookies_) CoRevokeClassObject(cookie);
}

}  // namespace tests
