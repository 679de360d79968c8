// SPDX-License-Identifier: MIT
#include "host/types/added_modules.h"

#include <algorithm>
#include <filesystem>
#include <string>

#include "host/base/guarded.h"
#include "host/registry/store.h"
#include "host/services/loaded_library.h"
#include "host/types/loading.h"

HRESULT HostAddModule(const char* path) noexcept {
  return host::Guarded<HRESULT>(E_OUTOFMEMORY, E_UNEXPECTED, [&]() -> HRESULT {
    if (path == nullptr || *path == 0) return E_INVALIDARG;
    const std::filesystem::path file = std::filesystem::absolute(path);
    const host::LoadedLibrary library = host::LoadLibraryFile(file.c_str());
    if (library == nullptr) return CO_E_DLLNOTFOUND;
    auto* const registerServer =
        host::ExportOf<HRESULT STDAPICALLTYPE()>(library, "DllRegisterServer");
    if (registerServer == nullptr) return CO_E_ERRORINDLL;
    const host::RegistryStore::ForThisProcess onlyHere;
    std::string name = file.filename().string();
    name.insert(std::min(name.find(".so"), name.size()), "Types");
    const std::filesystem::path types = file.parent_path() / name;
    if (std::filesystem::exists(types)) {
      ITypeLib* typeLibrary = nullptr;
      const HRESULT result =
          LoadTypeLibEx(types.u16string().c_str(), REGKIND_REGISTER, &typeLibrary);
      if (FAILED(result)) return result;
      typeLibrary->Release();
    }
    return registerServer();
  });
}
