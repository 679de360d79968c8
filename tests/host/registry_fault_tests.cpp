// The registry, its registrar and the registration of type libraries with each of their allocations
// refused in turn: the result says so, the file and the tree stay the old ones, nothing leaks.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "platform/com_ptr.h"
#include "platform/registrar.h"
#include "tests/host/class_registration.h"
#include "tests/host/type_probe.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/temp_file.h"

RASTEL_INTERFACE_ID(ITypeLib);

namespace tests {
namespace {

using platform::ComPtr;
using Text = std::basic_string<OLECHAR>;

class RegistryFaults : public testing::Test {
 protected:
  RegistryFaults() { UseFile(); }
  ~RegistryFaults() override { HostUseRegistryFile(nullptr); }
  void UseFile() { ASSERT_EQ(HostUseRegistryFile(file_.path().c_str()), S_OK); }

  // Makes a call until it has all its memory and succeeds.
  void Expect(const char* what, LONG noMemory, const std::function<LONG()>& call) {
    SCOPED_TRACE(what);
    const std::string before = file_.Content();
    LONG last = noMemory;
    const int refused = FailEachAllocation([&] { return last = call(); },
                                           [&](LONG result, long long leaked) {
                                             EXPECT_EQ(result, noMemory);
                                             EXPECT_EQ(leaked, 0);
                                             EXPECT_EQ(file_.Content(), before);
                                           });
    EXPECT_GT(refused, 0);
    EXPECT_EQ(last, S_OK);
  }

  const TempFile file_{"registry"};
};

TEST_F(RegistryFaults, KeysAndValues_StayAsTheyWere) {
  constexpr LSTATUS kNoMemory = ERROR_NOT_ENOUGH_MEMORY;
  constexpr LPCOLESTR kPath = OLESTR("A key\\below another one");
  HKEY key = nullptr;
  // The tables of the host have their room afterwards.
  ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, OLESTR("Kept"), 0, nullptr, 0, KEY_READ, nullptr,
                            &key, nullptr),
            ERROR_SUCCESS);
  RegCloseKey(key);
  Expect("create", kNoMemory, [&] {
    return RegCreateKeyExW(HKEY_CLASSES_ROOT, kPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                           nullptr);
  });
  for (const DWORD bytes : {4u, 2u}) {
    Expect("set", kNoMemory, [&] {
      return RegSetValueExW(key, OLESTR("A value"), 0, REG_BINARY,
                            reinterpret_cast<const BYTE*>(kPath), bytes);
    });
  }
  BYTE data[8];
  DWORD room = sizeof(data);
  Expect("query", kNoMemory,
         [&] { return RegQueryValueExW(key, OLESTR("A value"), nullptr, nullptr, data, &room); });
  OLECHAR name[16];
  DWORD units = 16;
  Expect("name of a value", kNoMemory,
         [&] { return RegEnumValueW(key, 0, name, &units, nullptr, nullptr, nullptr, nullptr); });
  Expect("delete value", kNoMemory, [&] { return RegDeleteValueW(key, OLESTR("A value")); });
  RegCloseKey(key);
  HostUseRegistryFile(nullptr);
  Expect("open and read the file", kNoMemory, [&] {
    if (HostUseRegistryFile(file_.path().c_str()) != S_OK) return kNoMemory;
    const LSTATUS status = RegOpenKeyExW(HKEY_CLASSES_ROOT, kPath, 0, KEY_READ, &key);
    if (status == ERROR_SUCCESS) RegCloseKey(key);
    HostUseRegistryFile(nullptr);
    return status;
  });
  UseFile();
  EXPECT_EQ(RegFlushKey(HKEY_CLASSES_ROOT), ERROR_SUCCESS);
  Expect("delete key", kNoMemory, [&] { return RegDeleteKeyW(HKEY_CLASSES_ROOT, kPath); });
  Expect("delete tree", kNoMemory,
         [&] { return RegDeleteTreeW(HKEY_CLASSES_ROOT, OLESTR("A key")); });
}

TEST_F(RegistryFaults, Scripts_HappenAsAWholeOrNotAtAll) {
  ComPtr<IRegistrar> registrar;
  const auto create = [&] {
    return CoCreateInstance(CLSID_Registrar, nullptr, CLSCTX_INPROC_SERVER, IID_IRegistrar,
                            registrar.PutVoid());
  };
  Expect("create", E_OUTOFMEMORY, create);
  Expect("replacement", E_OUTOFMEMORY, [&] {
    return registrar->AddReplacement(OLESTR("Module"), OLESTR("a path of some length"));
  });
  constexpr LPCOLESTR kScript =
      OLESTR("HKCR { 'A key of some length' = s '%MODULE%' { ForceRemove Other { val N = d '7' }\n")
          OLESTR("NoRemove Third = b '00ff' { val 'Many' = m 'a\\0b' } Delete Gone } Second }");
  ASSERT_EQ(registrar->StringRegister(kScript), S_OK);
  ASSERT_EQ(registrar->StringUnregister(kScript), S_OK);
  Expect("register", E_OUTOFMEMORY, [&] { return registrar->StringRegister(kScript); });
  Expect("register again", E_OUTOFMEMORY, [&] { return registrar->StringRegister(kScript); });
  Expect("unregister", E_OUTOFMEMORY, [&] { return registrar->StringUnregister(kScript); });
  const TempFile script("script.rgs");
  script.Write("HKCR { Third }");
  const Text path(script.path().begin(), script.path().end());
  Expect("register file", E_OUTOFMEMORY, [&] { return registrar->FileRegister(path.c_str()); });
}

TEST_F(RegistryFaults, TypeLibraries_AreEnteredAndRemovedAsAWhole) {
  Text file = BesideProgram("host_test_types.module");
  ComPtr<ITypeLib> library;
  ASSERT_EQ(LoadTypeLibEx(file.c_str(), REGKIND_NONE, library.Put()), S_OK);
  const auto enter = [&] { return RegisterTypeLib(library.Get(), file.data(), nullptr); };
  const auto remove = [&] { return UnRegisterTypeLib(LIBID_TypeProbeLib, 1, 2, 0, SYS_WIN64); };
  ASSERT_EQ(enter(), S_OK);
  ASSERT_EQ(remove(), S_OK);
  Expect("enter", E_OUTOFMEMORY, enter);
  Expect("find", E_OUTOFMEMORY, [&] {
    ITypeLib* found = nullptr;
    const HRESULT result = LoadRegTypeLib(LIBID_TypeProbeLib, 1, 2, 0, &found);
    if (found) found->Release();
    return result;
  });
  Expect("remove", E_OUTOFMEMORY, remove);
}

}  // namespace
}  // namespace tests
