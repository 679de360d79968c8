// SPDX-License-Identifier: MIT
// The proxy and stub code of a module's interfaces, which carries calls between processes. On
// Windows it is generated from the interface definitions and linked into the module; the embedded
// host has no calls between processes and therefore none. For the file that exports the module's
// operations: nothing else is linked with the generated code.
#pragma once

#include "platform/platform.h"

#ifdef _WIN32
extern "C" {
BOOL WINAPI ProxyDllMain(HINSTANCE module, DWORD reason, LPVOID reserved);
HRESULT STDAPICALLTYPE ProxyDllGetClassObject(REFCLSID classId, REFIID iid, void** out);
HRESULT STDAPICALLTYPE ProxyDllCanUnloadNow();
HRESULT STDAPICALLTYPE ProxyDllRegisterServer();
HRESULT STDAPICALLTYPE ProxyDllUnregisterServer();
}
#endif

namespace platform {

// Tells the proxies which file to enter when they are registered; for the module's attach.
inline void AttachProxies([[maybe_unused]] HINSTANCE module) noexcept {
#ifdef _WIN32
  ProxyDllMain(module, DLL_PROCESS_ATTACH, nullptr);
#endif
}

// The class object of the proxies. S_OK for their own class and for the interfaces that they
// serve; CLASS_E_CLASSNOTAVAILABLE, or another failure, for everything else. Null out: E_POINTER.
inline HRESULT GetProxyClassObject([[maybe_unused]] REFCLSID classId, [[maybe_unused]] REFIID iid,
                                   void** out) noexcept {
  if (!out) return E_POINTER;
#ifdef _WIN32
  return ProxyDllGetClassObject(classId, iid, out);
#else
  *out = nullptr;
  return CLASS_E_CLASSNOTAVAILABLE;
#endif
}

// S_OK when no proxy and no stub is alive; anything else keeps the module loaded.
inline HRESULT CanUnloadProxies() noexcept {
#ifdef _WIN32
  return ProxyDllCanUnloadNow();
#else
  return S_OK;
#endif
}

// Enter the proxies of every interface with the host, and take them out again.
inline HRESULT RegisterProxies() noexcept {
#ifdef _WIN32
  return ProxyDllRegisterServer();
#else
  return S_OK;
#endif
}
inline HRESULT UnregisterProxies() noexcept {
#ifdef _WIN32
  return ProxyDllUnregisterServer();
#else
  return S_OK;
#endif
}

}  // namespace platform
