// SPDX-License-Identifier: MIT
// The module in the hands of the system's script host, which knows nothing but ProgIDs and names,
// and of programs that find it by its own file alone.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "platform/com_ptr.h"
#include "tests/rows/rows.h"
#include "tests/support/child_process.h"
#include "tests/support/class_table.h"
#include "tests/support/registered_module.h"

namespace tests {
namespace {

using facts::Print;
using platform::ComPtr;

std::string RunScript(const char* script) {
  ChildResult result = RunProgram("C:\\windows\\system32\\cscript.exe",
                                  {"//nologo", std::string(SCRIPTS "/") + script});
  std::erase(result.output, '\r');
  return result.output + "exit " + std::to_string(result.exitCode);
}

constexpr char kSaidByJScript[] =
    "80040459 Rasteldata: Die uebergebenen Koordinaten sind kleiner null.\nexit 0";

TEST(ScriptHost, DrivesObjectsByName) {
  const RegisteredModule registered;
  ASSERT_EQ(registered.Result(), S_OK);
  EXPECT_EQ(
      RunScript("objects.vbs"),
      "AOIKLP.ByteKLP.2: 80040459 Rasteldata: Die uebergebenen Koordinaten sind kleiner null.\n"
      "a number as a key: 80020009 invalid key type\n"
      "an integer as a key: 80020009 invalid key type. expected VT_INT\n"
      "no picture: 80070057 Invalid parameter.\n"
      "not a map: 1AE Class doesn't support Automation\n"
      "exit 0");
  EXPECT_EQ(RunScript("objects.js"), kSaidByJScript);
}

bool IsThere(HKEY root, const std::string& key) {
  HKEY opened = nullptr;
  if (RegOpenKeyExA(root, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) return false;
  RegCloseKey(opened);
  return true;
}

// Wine does not look among the user's classes: only that they are entered and removed can be seen.
TEST(ModuleFile, ServesScriptsAlone) {
  namespace fs = std::filesystem;
  const fs::path programs = fs::path(ThisProgram()).parent_path();
  const TempFile copy("alone.dll");
  fs::copy_file(programs / "RastelKLP.dll", copy.path());
  const auto run = [&](std::vector<std::string> words) {
    words.push_back(copy.path());
    return RunProgram((programs / "rastel.exe").string(), words).exitCode;
  };
  const std::string user = "Software\\Classes\\";
  const std::string keys[] = {"CLSID\\" + Print(CLSID_ByteAOIKLP),
                              "TypeLib\\" + Print(LIBID_RASTEL_KLP_Lib) + "\\1.0",
                              "Interface\\" + Print(IID_IByteAOIKLP), "AOIKLP.ByteKLP"};
  const auto expectKeys = [&](bool inMachine, bool inUser) {
    for (const std::string& key : keys) {
      EXPECT_EQ(IsThere(HKEY_LOCAL_MACHINE, user + key), inMachine) << key;
      EXPECT_EQ(IsThere(HKEY_CURRENT_USER, user + key), inUser) << key;
    }
  };
  EXPECT_EQ(run({"register"}), 0);
  expectKeys(true, false);
  EXPECT_EQ(RunScript("objects.js"), kSaidByJScript);
  EXPECT_EQ(run({"unregister"}), 0);
  EXPECT_EQ(run({"register", "--user"}), 0);
  expectKeys(false, true);
  EXPECT_EQ(run({"unregister", "--user"}), 0);
  expectKeys(false, false);
}

TEST(Manifest, ServesClassesAndMembersWithoutARegistry) {
  const std::wstring file =
      std::filesystem::path(ThisProgram()).replace_filename("RastelKLP.Classes.manifest");
  ACTCTXW description{};
  description.cbSize = sizeof(description);
  description.lpSource = file.c_str();
  const HANDLE context = CreateActCtxW(&description);
  ASSERT_NE(context, INVALID_HANDLE_VALUE) << GetLastError();
  for (const bool isActive : {true, false}) {
    SCOPED_TRACE(isActive);
    ULONG_PTR cookie = 0;
    ASSERT_TRUE(!isActive || ActivateActCtx(context, &cookie));
    for (const ClassRow& row : kClasses) {
      SCOPED_TRACE(row.progId);
      CLSID named{};  // Of the platform's making, for the class that is meant.
      const std::wstring progId(row.progId, row.progId + std::strlen(row.progId));
      EXPECT_EQ(SUCCEEDED(CLSIDFromProgID(progId.c_str(), &named)), isActive);
      for (const CLSID& classId : {row.classId, named}) {
        ComPtr<IUnknown> object;
        EXPECT_EQ(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                   object.PutVoid()),
                  isActive ? S_OK : REGDB_E_CLASSNOTREG);
        wchar_t clone[] = L"Clone";
        LPOLESTR name = clone;
        DISPID member = DISPID_UNKNOWN;
        const ComPtr<IDispatch> dispatch = object.As<IDispatch>();
        EXPECT_TRUE(!dispatch || dispatch->GetIDsOfNames(IID_NULL, &name, 1, 0, &member) == S_OK);
      }
    }
    if (isActive) DeactivateActCtx(0, cookie);
  }
  ReleaseActCtx(context);
}

}  // namespace
}  // namespace tests
