// SPDX-License-Identifier: MIT
#include "python/core/module_beside.h"

#include <rastelklp/client.h>

#include "interfaces/identifiers.h"
#include "platform/module_file.h"
#include "platform/module_loader.h"

namespace rastel_python {
namespace {

using rastelklp::check_hresult;

// Never unloaded: objects may be alive until the process ends.
const platform::LoadedModule* module = nullptr;

// The folder of the file that holds a function.
std::filesystem::path FolderOf(const void* function) {
  return std::filesystem::path(platform::ModuleFileName(platform::ModuleOf(function)))
      .parent_path();
}

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
#endif

}  // namespace

void AddModule() {
#ifdef _WIN32
  const auto file = FolderOf(reinterpret_cast<const void*>(&AddModule)) / "RastelKLP.dll";
#else
  // The loader has found the host, and the module lies beside that wherever both are installed.
  const auto file = FolderOf(reinterpret_cast<const void*>(&HostAddModule)) / "libRastelKLP.so";
  check_hresult(HostAddModule(file.c_str()));
#endif
  module = new platform::LoadedModule(file);
  if (!module->IsLoaded()) throw rastelklp::Error(CO_E_DLLNOTFOUND);
#ifdef _WIN32
  auto* const getClassObject =
      module->Export<HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**)>("DllGetClassObject");
  for (const CLSID* classId : kClasses) {
    rastelklp::com_ptr<IUnknown> factory;
    check_hresult(getClassObject(*classId, IID_IUnknown, factory.put_void()));
    DWORD cookie = 0;
    check_hresult(CoRegisterClassObject(*classId, factory.get(), CLSCTX_INPROC_SERVER,
                                        REGCLS_MULTIPLEUSE, &cookie));
  }
#endif
}

bool IsModuleIdle() {
  auto* const canUnloadNow = module->Export<HRESULT STDAPICALLTYPE()>("DllCanUnloadNow");
  return canUnloadNow && canUnloadNow() == S_OK;
}

}  // namespace rastel_python
