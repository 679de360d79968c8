// SPDX-License-Identifier: MIT
#include "tests/support/registered_module.h"

#include <cstdlib>
#include <filesystem>

#include "interfaces/identifiers.h"
#include "platform/com_ptr.h"
#include "tests/support/child_process.h"
#include "tests/support/module_client.h"

RASTEL_INTERFACE_ID(ITypeLib);

namespace tests {

void UseRegistryFile([[maybe_unused]] const std::string& path) {
#ifndef _WIN32
  setenv("RASTEL_HOST_REGISTRY", path.c_str(), 1);
  HostUseRegistryFile(path.c_str());
#endif
}

std::basic_string<OLECHAR> TypeLibraryFile() {
  return (std::filesystem::path(ThisProgram()).parent_path() / RASTEL_TYPES_FILE).string<OLECHAR>();
}

// The library first: it names a general marshaler for the interfaces, which the module replaces.
RegisteredModule::RegisteredModule() {
  UseRegistryFile(registry_.path());
  std::basic_string<OLECHAR> file = TypeLibraryFile();
  platform::ComPtr<ITypeLib> library;
  result_ = LoadTypeLibEx(file.c_str(), REGKIND_NONE, library.Put());
  if (SUCCEEDED(result_)) result_ = RegisterTypeLib(library.Get(), file.data(), nullptr);
  if (SUCCEEDED(result_)) result_ = ModuleClient::Get().RegisterServer();
}

RegisteredModule::~RegisteredModule() {
  Unregister();
  UseRegistryFile("");
}

HRESULT RegisteredModule::Unregister() {
  if (!std::exchange(isRegistered_, false)) return S_OK;
  const HRESULT module = ModuleClient::Get().UnregisterServer();
  const HRESULT library = UnRegisterTypeLib(LIBID_RASTEL_KLP_Lib, 1, 0, 0, SYS_WIN64);
  return FAILED(module) ? module : library;
}

}  // namespace tests
