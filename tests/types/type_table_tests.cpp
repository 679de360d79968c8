// What the embedded host does with a type library that nobody needs any more.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "interfaces/identifiers.h"
#include "platform/com_ptr.h"
#include "tests/support/registered_module.h"
#include "tests/support/temp_file.h"

namespace tests {
namespace {

// A copy, as the module that other tests have loaded keeps the types it has used.
TEST(TypeLibraryFile, IsLetGoWithTheLastReference) {
  const TempFile copy("types");
  std::filesystem::copy_file(TypeLibraryFile(), copy.path(),
                             std::filesystem::copy_options::overwrite_existing);
  const auto isLoaded = [&] {
    void* module = dlopen(copy.path().c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (module) dlclose(module);
    return module != nullptr;
  };
  platform::ComPtr<ITypeLib> library;
  platform::ComPtr<ITypeInfo> info;
  ASSERT_EQ(LoadTypeLibEx(std::filesystem::path(copy.path()).string<OLECHAR>().c_str(),
                          REGKIND_NONE, library.Put()),
            S_OK);
  ASSERT_EQ(library->GetTypeInfoOfGuid(IID_IVectorKLP, info.Put()), S_OK);
  library = nullptr;
  EXPECT_TRUE(isLoaded());
  info = nullptr;
  EXPECT_FALSE(isLoaded());
}

}  // namespace
}  // namespace tests
