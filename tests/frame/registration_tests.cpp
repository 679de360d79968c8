// SPDX-License-Identifier: MIT
// Where the walk through the classes ends when a row's script is broken, and the module's
// resources. What is entered is compared by the tests of the registry file; sessions enter and
// remove it.
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/module_file.h"
#include "platform/module_loader.h"
#include "tests/rows/rows.h"
#include "tests/support/class_table.h"
#include "tests/support/expected_text.h"
#include "tests/support/module_client.h"
#include "tests/support/streams.h"
#include "tests/support/temp_file.h"

namespace tests {
namespace {

constexpr char kAll[] = "+++++++++++++++++++++", kNone[] = "---------------------";

// One sign for each class: whether it is entered.
std::string Entered() {
  std::string signs;
  for (const ClassRow& row : kClasses) {
    LPOLESTR progId = nullptr;
    signs += ProgIDFromCLSID(row.classId, &progId) == S_OK ? '+' : '-';
    CoTaskMemFree(progId);
  }
  return signs;
}

// Copies of the module in folders of their own, with a quote in the name, in which the script of
// one row names a root that no registry has.
TEST(Registration, BrokenScript_StopsTheWalkAtItsRow) {
  for (const std::size_t broken : {0u, 2u}) {
    SCOPED_TRACE(broken);
    const TempFile copy("it's a copy.dll");
    std::filesystem::copy_file(platform::ModuleFileName(ModuleClient::Get().Handle()), copy.path());
    std::string content = copy.Content();
    const std::string start = std::string("HKCR\n{\n  ") + kClasses[broken].progId + '.';
    ASSERT_NE(content.find(start), content.npos);
    for (std::size_t at = 0; (at = content.find(start, at)) != content.npos; ++at) {
      content.replace(at, 4, "HKXX");
    }
    copy.Write(content);
    const platform::LoadedModule module(copy.path().c_str());
    auto* enter = module.Export<HRESULT STDAPICALLTYPE()>("DllRegisterServer");
    auto* remove = module.Export<HRESULT STDAPICALLTYPE()>("DllUnregisterServer");
    ASSERT_TRUE(enter && remove);

    EXPECT_EQ(enter(), platform::ResultCode(0x80020009u));
    EXPECT_EQ(Entered(), std::string(kAll, broken) + (kNone + broken));
    EXPECT_EQ(ModuleClient::Get().RegisterServer(), S_OK);
    EXPECT_EQ(remove(), S_OK) << "installers rely on it";
    EXPECT_EQ(Entered(), std::string(kNone, broken) + (kAll + broken));
    EXPECT_EQ(ModuleClient::Get().UnregisterServer(), S_OK);
  }
}

// The bytes of a resource; empty when there is none. The type is a text, or a number if that is
// null.
std::string ResourceBytes(HINSTANCE module, LPCOLESTR type, WORD typeNumber, WORD number) {
  constexpr WORD kGerman = 0x0407;
#ifdef _WIN32
  const HRSRC found = FindResourceExW(module, type ? type : MAKEINTRESOURCEW(typeNumber),
                                      MAKEINTRESOURCEW(number), kGerman);
  const HGLOBAL loaded = found ? LoadResource(module, found) : nullptr;
  if (!loaded) return {};
  return std::string(static_cast<const char*>(LockResource(loaded)), SizeofResource(module, found));
#else
  HostResource row;
  if (FAILED(HostFindResource(module, type, typeNumber, number, &row))) return {};
  if (row.language != kGerman) return {};
  return std::string(static_cast<const char*>(row.bytes), row.size);
#endif
}

// The scripts by their first class, the picture by its head (16 x 16 pixels of 4 bits, 16 colours),
// and all strings as a client reads them.
TEST(Resources, AreTheKnownOnes) {
  const HINSTANCE module = ModuleClient::Get().Handle();
  std::string text;
  for (WORD number = 0; number < 200; ++number) {
    const std::string script = ResourceBytes(module, OLESTR("REGISTRY"), 0, number);
    const std::string picture = ResourceBytes(module, nullptr, 2, number);
    const std::string name = std::to_string(number);
    if (!script.empty()) text += "script " + name + script.substr(8, script.find(" = ") - 8) + '\n';
    if (picture.empty()) continue;
    text += "picture " + name + ' ' + HexOf(picture.data(), 40) + " ... ";
    text += std::to_string(picture.size()) + " bytes\n";
  }
  for (UINT number = 0; number < 0x10000; ++number) {
    char narrow[1024];
    OLECHAR wide[1024];
    const int bytes = LoadStringA(module, number, narrow, 1024);
    if (bytes == 0) continue;
    const int units = MultiByteToWideChar(CP_THREAD_ACP, 0, narrow, bytes, wide, 1024);
    text += std::to_string(number) + ' ';
    text += facts::Quoted(OleText(wide, static_cast<std::size_t>(units))) + '\n';
  }
  ExpectText("resources.txt", text);
}

}  // namespace
}  // namespace tests
