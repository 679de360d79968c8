// Registration into the registry file of the embedded host, whole and broken.
#include <gtest/gtest.h>

#include <filesystem>

#include "interfaces/identifiers.h"
#include "tests/support/module_client.h"
#include "tests/support/temp_file.h"

namespace tests {
namespace {

class ModuleRegistryFile : public testing::Test {
 protected:
  ~ModuleRegistryFile() override { HostUseRegistryFile(nullptr); }

  HRESULT CreateByClass() {
    platform::ComPtr<IUnknown> object;
    return CoCreateInstance(CLSID_ByteAOIKLP, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                            object.PutVoid());
  }

  const ModuleClient& module_ = ModuleClient::Get();
  const TempFile file_{"registry"};
};

TEST_F(ModuleRegistryFile, Whole_KeepsWhatWasRegistered) {
  ASSERT_EQ(HostUseRegistryFile(file_.path().c_str()), S_OK);
  EXPECT_EQ(module_.RegisterServer(), S_OK);
  HostUseRegistryFile(nullptr);
  EXPECT_EQ(CreateByClass(), REGDB_E_CLASSNOTREG);
  ASSERT_EQ(HostUseRegistryFile(file_.path().c_str()), S_OK);
  EXPECT_EQ(CreateByClass(), S_OK);
  EXPECT_EQ(module_.UnregisterServer(), S_OK);
  EXPECT_EQ(CreateByClass(), REGDB_E_CLASSNOTREG);
}

TEST_F(ModuleRegistryFile, Damaged_FailsToRegisterAndUnregistersAllTheSame) {
  file_.Write("no registry at all");
  ASSERT_EQ(HostUseRegistryFile(file_.path().c_str()), S_OK);
  EXPECT_EQ(module_.RegisterServer(), platform::ResultCode(0x800703F1u));  // damaged registry
  EXPECT_EQ(module_.UnregisterServer(), S_OK);
  EXPECT_EQ(file_.Content(), "no registry at all");
}

TEST_F(ModuleRegistryFile, ThatCannotBeWritten_FailsToRegisterAndKeepsTheRest) {
  ASSERT_EQ(HostUseRegistryFile(file_.path().c_str()), S_OK);
  ASSERT_EQ(module_.RegisterServer(), S_OK);
  const std::string content = file_.Content();
  EXPECT_EQ(module_.UnregisterServer(), S_OK);
  // The file itself lies where a folder is needed.
  const std::string below = file_.path() + "/registry";
  ASSERT_EQ(HostUseRegistryFile(below.c_str()), S_OK);
  EXPECT_EQ(module_.RegisterServer(), platform::ResultCode(0x800703F5u));  // cannot be written
  EXPECT_EQ(CreateByClass(), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(module_.UnregisterServer(), S_OK);
  EXPECT_FALSE(content.empty());
  EXPECT_FALSE(std::filesystem::exists(below));
}

}  // namespace
}  // namespace tests
