// SPDX-License-Identifier: MIT
// Registration into the registry file of the embedded host, whole and broken.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "platform/module_file.h"
#include "platform/registrar.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/class_table.h"
#include "tests/support/expected_text.h"
#include "tests/support/module_client.h"
#include "tests/support/temp_file.h"

namespace tests {
namespace {

class ModuleRegistryFile : public testing::Test {
 protected:
  ~ModuleRegistryFile() override { HostUseRegistryFile(nullptr); }

  const ModuleClient& module_ = ModuleClient::Get();
  const std::u16string moduleFile_ = platform::ModuleFileName(module_.Handle());
  const TempFile file_{"registry"};
};

TEST_F(ModuleRegistryFile, HoldsWhatIsEntered) {
  ASSERT_EQ(HostUseRegistryFile(file_.path().c_str()), S_OK);
  EXPECT_EQ(module_.RegisterServer(), S_OK);
  std::string content = file_.Content();
  const std::string module(moduleFile_.begin(), moduleFile_.end());
  for (std::size_t at = 0; (at = content.find(module, at)) != content.npos;) {
    content.replace(at, module.size(), "MODULE");
  }
  // The last line is a sum over what depends on the machine.
  ExpectText("registration.txt", content.substr(0, content.find("end ")));
  EXPECT_EQ(module_.UnregisterServer(), S_OK);
  content = file_.Content();
  ExpectText("registration_removed.txt", content.substr(0, content.find("end ")));
}

// Whatever allocation is refused, whole rows are entered or removed, in order.
TEST_F(ModuleRegistryFile, WithoutMemory_HoldsWholeRows) {
  platform::ComPtr<IRegistrar> registrar;
  ASSERT_EQ(CoCreateInstance(CLSID_Registrar, nullptr, CLSCTX_INPROC_SERVER, IID_IRegistrar,
                             registrar.PutVoid()),
            S_OK);
  registrar->AddReplacement(OLESTR("Module"), moduleFile_.c_str());
  for (const bool enters : {true, false}) {
    SCOPED_TRACE(enters ? "register" : "unregister");
    // The file before, and behind each row.
    const std::string before = file_.Content();
    std::set<std::string> states{before};
    ASSERT_EQ(HostUseRegistryFile(file_.path().c_str()), S_OK);
    for (const ClassRow& row : kClasses) {
      const auto run = enters ? &IRegistrar::ResourceRegister : &IRegistrar::ResourceUnregister;
      ASSERT_EQ((registrar.Get()->*run)(moduleFile_.c_str(), row.script, OLESTR("REGISTRY")), S_OK);
      states.insert(file_.Content());
    }
    EXPECT_EQ(states.size(), 22u);
    bool isRefused = true;
    // Each one of the first row; the others are like it.
    bool forGood = false;
    for (long long granted = 0; isRefused; granted += granted < 500 ? 1 : 499) {
      forGood = !forGood;
      HostUseRegistryFile(nullptr);
      std::filesystem::remove(file_.path());
      if (!before.empty()) file_.Write(before);
      const long long blocks = LiveBlocks();
      ASSERT_EQ(HostUseRegistryFile(file_.path().c_str()), S_OK);
      AllocationFaults faults(granted, forGood);
      const HRESULT result = enters ? module_.RegisterServer() : module_.UnregisterServer();
      isRefused = faults.Stop() > granted;
      EXPECT_EQ(result, enters && isRefused ? E_OUTOFMEMORY : S_OK) << granted;
      HostUseRegistryFile(nullptr);
      EXPECT_EQ(LiveBlocks(), blocks) << granted;
      EXPECT_TRUE(states.contains(file_.Content())) << granted;
    }
  }
}

}  // namespace
}  // namespace tests
