// SPDX-License-Identifier: MIT
#include "module/frame/catalogue.h"
#include "module/frame/module_resources.h"
#include "platform/module_entry.h"
#include "platform/proxies.h"

void platform::ModuleAttached(HINSTANCE module) noexcept {
  platform::AttachProxies(module);
  rastel::AttachModule(module);
  rastel::OfferModuleResources(module);
}

void platform::ModuleDetached() noexcept {
  rastel::WithdrawModuleResources(rastel::ModuleHandle());
  rastel::DetachModule();
}

RASTEL_MODULE_EXPORT HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID classId, REFIID iid,
                                                              LPVOID* out) {
  if (platform::GetProxyClassObject(classId, iid, out) == S_OK) return S_OK;
  return rastel::GetClassObject(classId, iid, out);
}

RASTEL_MODULE_EXPORT HRESULT STDAPICALLTYPE DllCanUnloadNow() {
  if (platform::CanUnloadProxies() != S_OK) return S_FALSE;
  return rastel::CanUnloadNow();
}

RASTEL_MODULE_EXPORT HRESULT STDAPICALLTYPE DllRegisterServer() {
  const HRESULT result = platform::RegisterProxies();
  return FAILED(result) ? result : rastel::RegisterServer();
}

RASTEL_MODULE_EXPORT HRESULT STDAPICALLTYPE DllUnregisterServer() {
  // Installers rely on S_OK, so what this gives is not looked at.
  platform::UnregisterProxies();
  return rastel::UnregisterServer();
}
