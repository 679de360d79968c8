// SPDX-License-Identifier: MIT
#include "python/core/module_beside.h"

#include <rastelklp/client.h>

#include <string>

#include "interfaces/identifiers.h"

#ifndef _WIN32
#include <dlfcn.h>
#endif

namespace rastel_python {
namespace {

using rastelklp::check_hresult;
using CanUnloadNow = HRESULT STDAPICALLTYPE();

CanUnloadNow* canUnloadNow = nullptr;

#ifdef _WIN32
constexpr const CLSID* kClasses[] = {&CLSID_ByteAOIKLP,          &CLSID_WordAOIKLP,
                                     &CLSID_DWordAOIKLP,         &CLSID_FloatAOIKLP,
                                     &CLSID_DoubleAOIKLP,        &CLSID_CharAOIKLP,
                                     &CLSID_ShortAOIKLP,         &CLSID_LongAOIKLP,
                                     &CLSID_ByteVectorKLP,       &CLSID_ShortVectorKLP,
                                     &CLSID_LongVectorKLP,       &CLSID_FloatVectorKLP,
                                     &CLSID_DoubleVectorKLP,     &CLSID_CharVectorKLP,
                                     &CLSID_WordVectorKLP,       &CLSID_DWordVectorKLP,
                                     &CLSID_VariantVectorKLP,    &CLSID_AttributeBstrMapKLP,
                                     &CLSID_AttributeLongMapKLP, &CLSID_AttributeDoubleMapKLP,
                                     &CLSID_AttributeEntryKLP};

template <class Function>
Function* ExportOf(HMODULE library, const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(GetProcAddress(library, name)));
}

std::wstring ModuleFile() {
  HMODULE self = nullptr;
  wchar_t path[32768];
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&AddModule), &self);
  const std::wstring own(path, GetModuleFileNameW(self, path, std::size(path)));
  return own.substr(0, own.rfind(L'\\') + 1) + L"RastelKLP.dll";
}
#endif

}  // namespace

#ifdef _WIN32

void AddModule() {
  const HMODULE library = LoadLibraryW(ModuleFile().c_str());
  if (!library) check_hresult(HRESULT_FROM_WIN32(GetLastError()));
  canUnloadNow = ExportOf<CanUnloadNow>(library, "DllCanUnloadNow");
  auto* const getClassObject =
      ExportOf<HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**)>(library, "DllGetClassObject");
  for (const CLSID* classId : kClasses) {
    rastelklp::com_ptr<IUnknown> factory;
    check_hresult(getClassObject(*classId, IID_IUnknown, factory.put_void()));
    DWORD cookie = 0;
    check_hresult(CoRegisterClassObject(*classId, factory.get(), CLSCTX_INPROC_SERVER,
                                        REGCLS_MULTIPLEUSE, &cookie));
  }
}

#else

void AddModule() {
  // The host was found by the loader, and the module lies beside it wherever both are installed.
  Dl_info host{};
  dladdr(reinterpret_cast<const void*>(&HostAddModule), &host);
  const std::string hostFile = host.dli_fname;
  const std::string file = hostFile.substr(0, hostFile.rfind('/') + 1) + "libRastelKLP.so";
  check_hresult(HostAddModule(file.c_str()));
  // Never closed: objects may be alive until the process ends.
  if (void* const library = dlopen(file.c_str(), RTLD_NOW)) {
    canUnloadNow = reinterpret_cast<CanUnloadNow*>(dlsym(library, "DllCanUnloadNow"));
  }
}

#endif

bool IsModuleIdle() { return canUnloadNow && canUnloadNow() == S_OK; }

}  // namespace rastel_python
