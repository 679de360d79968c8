// SPDX-License-Identifier: MIT
// Copies of the module as their clients have them: libraries that come and go.
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/module_file.h"
#include "platform/module_loader.h"
#include "tests/support/class_table.h"
#include "tests/support/host_kind.h"
#include "tests/support/module_client.h"
#include "tests/support/temp_file.h"

namespace tests {
namespace {

using platform::ComPtr;

// A copy of the module is another one, which nobody else keeps loaded.
TEST(Module, Copy_IsUnloadedWithItsClassObjectsAndLoadedAgain) {
  const ModuleClient& original = ModuleClient::Get();
  const TempFile copy("CopyOfTheModule.dll");
  std::filesystem::copy_file(platform::ModuleFileName(original.Handle()), copy.path());
  for (int round = 0; round < 2; ++round) {
    HINSTANCE handle = nullptr;
    const void* address = nullptr;
    char text[64];
    {
      const platform::LoadedModule module(copy.path().c_str());
      auto* getClassObject =
          module.Export<HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**)>("DllGetClassObject");
      ASSERT_TRUE(getClassObject);
      address = reinterpret_cast<const void*>(getClassObject);
      handle = platform::ModuleOf(address);
      EXPECT_NE(handle, original.Handle());
      for (const ClassRow& row : kClasses) {
        ComPtr<IUnknown> factory, known;
        ASSERT_EQ(getClassObject(row.classId, IID_IUnknown, factory.PutVoid()), S_OK);
        ASSERT_EQ(original.GetClassObject(row.classId, IID_IUnknown, known.PutVoid()), S_OK);
        EXPECT_NE(factory.Get(), known.Get());
      }
      EXPECT_EQ(LoadStringA(handle, 100, text, 64), 10);
    }
    EXPECT_EQ(platform::ModuleOf(address), nullptr);
    if (kEmbeddedHost) {
      EXPECT_EQ(LoadStringA(handle, 100, text, 64), 0) << "its resources went with it";
    }
  }
}

}  // namespace
}  // namespace tests
