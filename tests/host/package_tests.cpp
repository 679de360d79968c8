// What lies around the user's registry file: what packages bring, and what a program adds.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <unistd.h>

#include "interfaces/identifiers.h"
#include "platform/com_ptr.h"
#include "tests/support/module_client.h"
#include "tests/support/registered_module.h"

namespace tests {
namespace {

namespace fs = std::filesystem;
using platform::ComPtr;

constexpr LPCOLESTR kProgId = OLESTR("AOIKLP.ByteKLP.2");
constexpr LPCOLESTR kServer =
    OLESTR("CLSID\\{486B1585-D4BF-42FE-A833-619076A4530C}\\InprocServer32");

HRESULT Find() {
  CLSID id;
  return CLSIDFromProgID(kProgId, &id);
}
HRESULT Make() {
  ComPtr<IDispatch> object;
  const HRESULT result = CoCreateInstance(CLSID_ByteAOIKLP, nullptr, CLSCTX_INPROC_SERVER,
                                          IID_IDispatch, object.PutVoid());
  if (FAILED(result)) return result;
  LPOLESTR name = const_cast<LPOLESTR>(OLESTR("Width"));
  DISPID member = 0;
  return object->GetIDsOfNames(IID_NULL, &name, 1, 0, &member);
}
LSTATUS PutServer(LPCOLESTR text) {
  HKEY key = nullptr;
  const LSTATUS result =
      RegCreateKeyExW(HKEY_CLASSES_ROOT, kServer, 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
  if (result != ERROR_SUCCESS) return result;
  const auto bytes = static_cast<DWORD>((std::char_traits<OLECHAR>::length(text) + 1) * 2);
  const LSTATUS put =
      RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), bytes);
  RegCloseKey(key);
  return put;
}

class Packages : public testing::Test {
 protected:
  Packages() {
    fs::create_directories(folder_ / "rastelhost/registry.d");
    setenv("XDG_DATA_DIRS", folder_.c_str(), 1);
  }
  ~Packages() override {
    HostUseRegistryFile(nullptr);
    unsetenv("XDG_DATA_DIRS");
    fs::remove_all(folder_);
  }
  fs::path InPackages(const char* name) const { return folder_ / "rastelhost/registry.d" / name; }
  // A user's file that is not there yet.
  void StartAnew() {
    fs::remove(folder_ / "user");
    HostUseRegistryFile((folder_ / "user").c_str());
  }

  const fs::path folder_ = fs::temp_directory_path() / ("rastel " + std::to_string(getpid()));
};

TEST_F(Packages, LieBeneathTheUsersFile) {
  HostUseRegistryFile(InPackages("module.registry").c_str());
  ITypeLib* library = nullptr;
  ASSERT_EQ(LoadTypeLibEx(TypeLibraryFile().c_str(), REGKIND_REGISTER, &library), S_OK);
  library->Release();
  ASSERT_EQ(ModuleClient::Get().RegisterServer(), S_OK);
  std::ofstream(InPackages("damaged.registry")) << "no registry";
  std::ofstream(InPackages("module.txt")) << "of another kind";

  StartAnew();
  EXPECT_EQ(Make(), S_OK);
  EXPECT_FALSE(fs::exists(folder_ / "user")) << "looking writes nothing";
  EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, kProgId), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Find(), S_OK);
  // The user's entry wins, alone of all there are, and taking it back shows the package's again.
  ASSERT_EQ(PutServer(OLESTR("/nowhere/at/all.so")), ERROR_SUCCESS);
  EXPECT_LT(fs::file_size(folder_ / "user"), 1000u);
  EXPECT_EQ(Make(), CO_E_DLLNOTFOUND);
  StartAnew();
  EXPECT_EQ(Make(), S_OK);
  // Relative to the package's file.
  fs::create_symlink(RASTEL_MODULE_FILE, folder_ / "rastelhost/link.so");
  HostUseRegistryFile(InPackages("module.registry").c_str());
  ASSERT_EQ(PutServer(OLESTR("../link.so")), ERROR_SUCCESS);
  StartAnew();
  EXPECT_EQ(Make(), S_OK);
}

TEST_F(Packages, AProgramAddsAModuleByItsPath) {
  HostUseRegistryFile(nullptr);
  EXPECT_LT(Find(), 0);
  EXPECT_EQ(HostAddModule(nullptr), E_INVALIDARG);
  EXPECT_EQ(HostAddModule("/nowhere/at/all.so"), CO_E_DLLNOTFOUND);
  EXPECT_EQ(HostAddModule(RASTEL_EMPTY_MODULE_FILE), CO_E_ERRORINDLL);
  ASSERT_EQ(HostAddModule(RASTEL_MODULE_FILE), S_OK);
  EXPECT_EQ(Find(), S_OK);
  EXPECT_EQ(Make(), S_OK);
  // In front of what the file says.
  StartAnew();
  ASSERT_EQ(PutServer(OLESTR("/nowhere/at/all.so")), ERROR_SUCCESS);
  EXPECT_EQ(Make(), CO_E_DLLNOTFOUND);
  const auto written = fs::last_write_time(folder_ / "user");
  ASSERT_EQ(HostAddModule(RASTEL_MODULE_FILE), S_OK);
  EXPECT_EQ(Make(), S_OK);
  EXPECT_EQ(fs::last_write_time(folder_ / "user"), written) << "for this process alone";
  HostUseRegistryFile(nullptr);
  EXPECT_LT(Find(), 0);
}

}  // namespace
}  // namespace tests
