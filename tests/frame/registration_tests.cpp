// How the module enters its 21 classes and removes them, and where the walk ends when a row fails.
// What is entered is compared by the tests of the registry file.
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "interfaces/aoi.h"
#include "platform/module_file.h"
#include "platform/module_loader.h"
#include "tests/rows/rows.h"
#include "tests/support/class_table.h"
#include "tests/support/expected_text.h"
#include "tests/support/module_client.h"
#include "tests/support/module_resources.h"
#include "tests/support/streams.h"
#include "tests/support/temp_file.h"
#include "tests/support/thread_error.h"

namespace tests {
namespace {

using platform::ComPtr;

constexpr char kAll[] = "+++++++++++++++++++++", kNone[] = "---------------------";

// One sign for each class: whether its identifier and both ProgIDs are entered; ? for some of them.
std::string Entered() {
  std::string signs;
  for (const ClassRow& row : kClasses) {
    LPOLESTR progId = nullptr;
    int found = ProgIDFromCLSID(row.classId, &progId) == S_OK;
    CoTaskMemFree(progId);
    const std::string versioned = std::string(row.progId) + '.' + row.version;
    for (const std::string& name : {std::string(row.progId), versioned}) {
      CLSID id{};
      found += CLSIDFromProgID(Widen(name).c_str(), &id) == S_OK && id == row.classId;
    }
    signs += "-??+"[found];
  }
  return signs;
}

class Registration : public testing::Test {
 protected:
  ~Registration() override { EXPECT_EQ(module_.UnregisterServer(), S_OK); }
  const ModuleClient& module_ = ModuleClient::Get();
};

TEST_F(Registration, Entered_ServesClientsUntilItIsRemoved) {
  EXPECT_EQ(module_.UnregisterServer(), S_OK) << "never entered";
  for (int round = 0; round < 2; ++round) EXPECT_EQ(module_.RegisterServer(), S_OK);
  EXPECT_EQ(Entered(), kAll);
  // A thread of its own ends with everything that the host keeps for it.
  std::thread([&] {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    for (const ClassRow& row : kClasses) {
      SCOPED_TRACE(row.name);
      ComPtr<IUnknown> found, own, object;
      EXPECT_EQ(CoGetClassObject(row.classId, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                                 found.PutVoid()),
                S_OK);
      EXPECT_EQ(module_.GetClassObject(row.classId, IID_IClassFactory, own.PutVoid()), S_OK);
      EXPECT_EQ(found.Get(), own.Get());
      EXPECT_EQ(
          CoCreateInstance(row.classId, nullptr, CLSCTX_INPROC_SERVER, row.typed, object.PutVoid()),
          S_OK);
    }
    const auto aoi = module_.Create<IByteAOIKLP>(CLSID_ByteAOIKLP);
    EXPECT_EQ(aoi->PutPixel(0, 0, 0), platform::ResultCode(0x8004045Au));
    const auto error = TakeThreadError();
    EXPECT_EQ(error ? error->source : std::nullopt, OLESTR("AOIKLP.ByteKLP.2"));
    CoFreeUnusedLibraries();
    CoUninitialize();
  }).join();
  for (int round = 0; round < 2; ++round) EXPECT_EQ(module_.UnregisterServer(), S_OK);
  EXPECT_EQ(Entered(), kNone);
  for (const ClassRow& row : kClasses) {
    void* out = &out;
    EXPECT_EQ(CoCreateInstance(row.classId, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &out),
              REGDB_E_CLASSNOTREG);
  }
}

// Copies of the module in folders of their own, with a quote in the name, in which the script of
// one row names a root that no registry has.
TEST_F(Registration, BrokenScript_StopsTheWalkAtItsRow) {
  for (const std::size_t broken : {0, 2}) {
    SCOPED_TRACE(broken);
    const TempFile copy("it's a copy.dll");
    std::filesystem::copy_file(platform::ModuleFileName(module_.Handle()), copy.path());
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
    EXPECT_EQ(module_.RegisterServer(), S_OK);
    EXPECT_EQ(remove(), S_OK) << "installers rely on it";
    EXPECT_EQ(Entered(), std::string(kNone, broken) + (kAll + broken));
    EXPECT_EQ(module_.UnregisterServer(), S_OK);
  }
}

// The scripts by their first class, the picture by its head (16 x 16 pixels of 4 bits, 16 colours),
// and all strings as a client reads them.
TEST(Resources, AreTheKnownOnes) {
  const HINSTANCE module = ModuleClient::Get().Handle();
  constexpr WORD kGerman = 0x0407;
  std::string text;
  for (WORD number = 0; number < 200; ++number) {
    const std::string script = ResourceBytes(module, OLESTR("REGISTRY"), 0, number, kGerman);
    const std::string picture = ResourceBytes(module, nullptr, 2, number, kGerman);
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
