// Registration into the registry file of the embedded host, whole and broken.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include "interfaces/identifiers.h"
#include "platform/module_file.h"
#include "platform/registrar.h"
#include "tests/support/allocation_faults.h"
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
  HostUseRegistryFile(nullptr);
  EXPECT_EQ(CreateByClass(), REGDB_E_CLASSNOTREG);
  ASSERT_EQ(HostUseRegistryFile(file_.path().c_str()), S_OK);
  EXPECT_EQ(CreateByClass(), S_OK);
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

// Whatever allocation is refused, whole rows are entered or removed, in order.
TEST_F(ModuleRegistryFile, WithoutMemory_HoldsWholeRows) {
  using Text = std::basic_string<OLECHAR>;
  constexpr UINT kScripts[] = {101, 102, 119, 120, 121, 117, 118, 123, 110, 109, 111,
                               107, 104, 124, 125, 126, 106, 127, 128, 129, 130};
  const Text module = platform::ModuleFileName(module_.Handle());
  platform::ComPtr<IRegistrar> registrar;
  ASSERT_EQ(CoCreateInstance(CLSID_Registrar, nullptr, CLSCTX_INPROC_SERVER, IID_IRegistrar,
                             registrar.PutVoid()),
            S_OK);
  registrar->AddReplacement(OLESTR("Module"), module.c_str());
  for (const bool enters : {true, false}) {
    SCOPED_TRACE(enters ? "register" : "unregister");
    // The file before, and behind each row.
    const std::string before = file_.Content();
    std::set<std::string> states{before};
    ASSERT_EQ(HostUseRegistryFile(file_.path().c_str()), S_OK);
    for (const UINT script : kScripts) {
      const auto run = enters ? &IRegistrar::ResourceRegister : &IRegistrar::ResourceUnregister;
      ASSERT_EQ((registrar.Get()->*run)(module.c_str(), script, OLESTR("REGISTRY")), S_OK);
      states.insert(file_.Content());
    }
    EXPECT_EQ(states.size(), std::size(kScripts) + 1);
    bool isRefused = true;
    // Each one of the first row; the others are like it.
    for (long long granted = 0; isRefused; granted += granted < 500 ? 1 : 499) {
      HostUseRegistryFile(nullptr);
      std::filesystem::remove(file_.path());
      if (!before.empty()) file_.Write(before);
      const long long blocks = LiveBlocks();
      ASSERT_EQ(HostUseRegistryFile(file_.path().c_str()), S_OK);
      AllocationFaults faults(granted);
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
