// Enters a module's classes with the host, or removes them: what an installer does.
//   register_module MODULE            enter
//   register_module --remove MODULE   remove
#include <cstdio>
#include <cstring>

#include "platform/module_loader.h"

int main(int argc, char** argv) {
  const bool remove = argc > 1 && std::strcmp(argv[1], "--remove") == 0;
  if (argc != (remove ? 3 : 2)) {
    std::fprintf(stderr, "usage: register_module [--remove] MODULE\n");
    return 2;
  }
  const char* path = argv[argc - 1];
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  HRESULT result = E_FAIL;
  {
    const platform::LoadedModule module(path);
    const char* name = remove ? "DllUnregisterServer" : "DllRegisterServer";
    auto* operation = module.Export<HRESULT STDAPICALLTYPE()>(name);
    if (!operation) {
      std::fprintf(stderr, "register_module: %s %s\n", path,
                   module.IsLoaded() ? "is not a component module" : "cannot be loaded");
      return 1;
    }
    result = operation();
  }
  CoUninitialize();
  if (FAILED(result)) {
    std::fprintf(stderr, "register_module: %s: result 0x%08X\n", path,
                 static_cast<unsigned>(result));
    return 1;
  }
  std::printf("%s: classes %s\n", path, remove ? "removed" : "registered");
  return 0;
}
