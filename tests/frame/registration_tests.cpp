// What the module enters about its 21 classes, and how entering and removing end when it fails.
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <thread>

#include "interfaces/aoi.h"
#include "interfaces/identifiers.h"
#include "platform/module_file.h"
#include "platform/module_loader.h"
#include "tests/support/host_kind.h"
#include "tests/support/module_client.h"
#include "tests/support/module_resources.h"
#include "tests/support/registered_text.h"
#include "tests/support/temp_file.h"
#include "tests/support/thread_error.h"

namespace tests {
namespace {

using Text = std::basic_string<OLECHAR>;

constexpr WORD kGerman = 0x0407;

// In the order of registration.
constexpr struct Row {
  const CLSID& classId;
  WORD script;
  LPCOLESTR classText, progId, versionedProgId, description;
} kRows[] = {
    {CLSID_ByteAOIKLP, 101, OLESTR("{486B1585-D4BF-42FE-A833-619076A4530C}"),
     OLESTR("AOIKLP.ByteKLP"), OLESTR("AOIKLP.ByteKLP.2"), OLESTR("ORVA.ByteAOIKLP Class")},
    {CLSID_WordAOIKLP, 102, OLESTR("{2FFC175B-5EAF-48D6-A5A8-1DA777105F68}"),
     OLESTR("AOIKLP.WordKLP"), OLESTR("AOIKLP.WordKLP.2"), OLESTR("ORVA.WordAOIKLP Class")},
    {CLSID_DWordAOIKLP, 119, OLESTR("{BCC680BB-6B4D-43C6-8AC5-345BA4291667}"),
     OLESTR("AOIKLP.DWordKLP"), OLESTR("AOIKLP.DWordKLP.2"), OLESTR("ORVA.DWordAOIKLP Class")},
    {CLSID_FloatAOIKLP, 120, OLESTR("{FA41CBAA-1CC1-45E2-8557-C720C60A92AB}"),
     OLESTR("AOIKLP.FloatKLP"), OLESTR("AOIKLP.FloatKLP.2"), OLESTR("ORVA.FloatAOIKLP Class")},
    {CLSID_DoubleAOIKLP, 121, OLESTR("{ECF64E17-A82D-4EBB-A855-D66A37382DAF}"),
     OLESTR("AOIKLP.DoubleKLP"), OLESTR("AOIKLP.DoubleKLP.2"), OLESTR("ORVA.DoubleAOIKLP Class")},
    {CLSID_CharAOIKLP, 117, OLESTR("{AE9AAE9D-9CB2-4F85-8A1B-26FFF4557C2D}"),
     OLESTR("AOIKLP.CharKLP"), OLESTR("AOIKLP.CharKLP.2"), OLESTR("ORVA.CharAOIKLP Class")},
    {CLSID_ShortAOIKLP, 118, OLESTR("{D6BCB9E8-18E7-4106-A993-C9073CEF95BA}"),
     OLESTR("AOIKLP.ShortKLP"), OLESTR("AOIKLP.ShortKLP.2"), OLESTR("ORVA.ShortAOIKLP Class")},
    {CLSID_LongAOIKLP, 123, OLESTR("{5130E382-05A3-4D14-A41F-885B89937FE2}"),
     OLESTR("AOIKLP.LongKLP"), OLESTR("AOIKLP.LongKLP.2"), OLESTR("ORVA.LongAOIKLP Class")},
    {CLSID_ByteVectorKLP, 110, OLESTR("{BDE67303-832C-49FF-855C-2B01FFA7925A}"),
     OLESTR("VectorKLP.ByteKLP"), OLESTR("VectorKLP.ByteKLP.2"),
     OLESTR("ORVA.ByteVectorKLP Class")},
    {CLSID_ShortVectorKLP, 109, OLESTR("{4DA8E079-E873-47A3-AC76-250983AB4435}"),
     OLESTR("VectorKLP.ShortKLP"), OLESTR("VectorKLP.ShortKLP.2"),
     OLESTR("ORVA.ShortVectorKLP Class")},
    {CLSID_LongVectorKLP, 111, OLESTR("{5B745AAB-6C4D-4204-B864-75797054488A}"),
     OLESTR("VectorKLP.LongKLP"), OLESTR("VectorKLP.LongKLP.2"),
     OLESTR("ORVA.LongVectorKLP Class")},
    {CLSID_FloatVectorKLP, 107, OLESTR("{C33BACD2-3E52-4A14-909D-08F480E03043}"),
     OLESTR("VectorKLP.FloatKLP"), OLESTR("VectorKLP.FloatKLP.2"),
     OLESTR("ORVA.FloatVectorKLP Class")},
    {CLSID_DoubleVectorKLP, 104, OLESTR("{BEBAB289-535D-49B0-B198-AAE7134AAE0C}"),
     OLESTR("VectorKLP.DoubleKLP"), OLESTR("VectorKLP.DoubleKLP.2"),
     OLESTR("ORVA.DoubleVectorKLP Class")},
    {CLSID_CharVectorKLP, 124, OLESTR("{2F8381A3-A9EA-49DA-AD8C-1829A8218D43}"),
     OLESTR("VectorKLP.CharVectorKLP"), OLESTR("VectorKLP.CharVectorKLP.2"),
     OLESTR("ORVA.CharVectorKLP Class")},
    {CLSID_WordVectorKLP, 125, OLESTR("{0F6E87CF-D563-45A1-B7F0-8A8E93D8E7E8}"),
     OLESTR("VectorKLP.WordVectorKLP"), OLESTR("VectorKLP.WordVectorKLP.2"),
     OLESTR("ORVA.WordVectorKLP Class")},
    {CLSID_DWordVectorKLP, 126, OLESTR("{E8D4EB5E-1645-46A9-B6FE-20F8615B7B71}"),
     OLESTR("VectorKLP.DWordVectorKLP"), OLESTR("VectorKLP.DWordVectorKLP.2"),
     OLESTR("ORVA.DWordVectorKLP Class")},
    {CLSID_VariantVectorKLP, 106, OLESTR("{F13F0B8E-F159-43F5-9222-92D759E840C2}"),
     OLESTR("VectorKLP.VariantVectorKLP"), OLESTR("VectorKLP.VariantVectorKLP.2"),
     OLESTR("ORVA.VariantVectorKLP Class")},
    {CLSID_AttributeBstrMapKLP, 127, OLESTR("{9624BE21-9980-49D2-998B-95F217179324}"),
     OLESTR("RastelKLP.AttributeBstrMapKLP"), OLESTR("RastelKLP.AttributeBstrMapKLP.1"),
     OLESTR("ORVA.AttributeBstrMapKLP Class (Rastel)")},
    {CLSID_AttributeLongMapKLP, 128, OLESTR("{4E996978-B7D4-417A-BD5B-2660FB96BF6C}"),
     OLESTR("RastelKLP.AttributeLongMapKLP"), OLESTR("RastelKLP.AttributeLongMapKLP.1"),
     OLESTR("ORVA.AttributeLongMapKLP Class (Rastel)")},
    {CLSID_AttributeDoubleMapKLP, 129, OLESTR("{C3C4E418-3659-41E3-A259-CF754AFD6291}"),
     OLESTR("RastelKLP.AttributeDoubleMapKLP"), OLESTR("RastelKLP.AttributeDoubleMapKLP.1"),
     OLESTR("ORVA.AttributeDoubleMapKLP Class (Rastel)")},
    {CLSID_AttributeEntryKLP, 130, OLESTR("{228E9F45-4E18-4C20-9571-7F116C96A07A}"),
     OLESTR("RastelKLP.AttributeEntryKLP"), OLESTR("RastelKLP.AttributeEntryKLP.1"),
     OLESTR("ORVA.AttributeEntryKLP Class (Rastel)")},
};
constexpr std::size_t kDWordAoi = 2;

const Text kCategory = OLESTR("Component Categories\\{CAD7992B-8675-4881-9959-9C29E8CE4139}");

Text ClassKey(const Row& row) { return Text(OLESTR("CLSID\\")) + row.classText; }

void ExpectEntered(const Row& row, const Text& file) {
  SCOPED_TRACE(row.script);
  const Text key = ClassKey(row);
  const struct {
    Text key;
    LPCOLESTR name;
    Text value;
  } values[] = {
      {row.versionedProgId, nullptr, row.description},
      {row.versionedProgId + Text(OLESTR("\\CLSID")), nullptr, row.classText},
      {row.progId, nullptr, row.description},
      {row.progId + Text(OLESTR("\\CLSID")), nullptr, row.classText},
      {row.progId + Text(OLESTR("\\CurVer")), nullptr, row.versionedProgId},
      {key, nullptr, row.description},
      {key + OLESTR("\\ProgID"), nullptr, row.versionedProgId},
      {key + OLESTR("\\VersionIndependentProgID"), nullptr, row.progId},
      {key + OLESTR("\\InprocServer32"), nullptr, file},
      {key + OLESTR("\\InprocServer32"), OLESTR("ThreadingModel"), OLESTR("Both")},
      {key + OLESTR("\\TypeLib"), nullptr, OLESTR("{2EA5FA3E-FBCE-4673-9F39-0EBF04385254}")},
      {key + OLESTR("\\ToolboxBitmap32"), nullptr, file + OLESTR(" , 100")},
  };
  for (const auto& value : values) EXPECT_EQ(RegisteredText(value.key, value.name), value.value);
  EXPECT_TRUE(HasKey(key + OLESTR("\\Programmable")));
  EXPECT_TRUE(
      HasKey(key + OLESTR("\\Implemented Categories\\{CAD7992B-8675-4881-9959-9C29E8CE4139}")));
  LPOLESTR progId = nullptr;
  EXPECT_EQ(ProgIDFromCLSID(row.classId, &progId), S_OK);
  EXPECT_EQ(progId ? Text(progId) : Text(), row.versionedProgId);
  CoTaskMemFree(progId);
  for (const LPCOLESTR text : {row.progId, row.versionedProgId}) {
    CLSID classId{};
    EXPECT_EQ(CLSIDFromProgID(text, &classId), S_OK);
    EXPECT_TRUE(IsEqualCLSID(classId, row.classId));
  }
}

bool IsGone(const Row& row) {
  return !HasKey(ClassKey(row)) && !HasKey(row.progId) && !HasKey(row.versionedProgId);
}

class Registration : public testing::Test {
 protected:
  ~Registration() override { EXPECT_EQ(module_.UnregisterServer(), S_OK); }
  const ModuleClient& module_ = ModuleClient::Get();
  const Text file_ = platform::ModuleFileName(module_.Handle());
};

TEST_F(Registration, Entered_ServesClientsUntilItIsRemoved) {
  EXPECT_EQ(module_.UnregisterServer(), S_OK) << "never entered";
  for (int round = 0; round < 2; ++round) EXPECT_EQ(module_.RegisterServer(), S_OK);
  for (const Row& row : kRows) ExpectEntered(row, file_);
  EXPECT_EQ(RegisteredText(kCategory), OLESTR("ORVA.RastelKLP Components"));
  EXPECT_EQ(RegisteredText(kCategory, OLESTR("409")), OLESTR("ORVA.RastelKLP Components"));
  // A thread of its own ends with everything that the host keeps for it.
  std::thread([&] {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    for (const Row& row : kRows) {
      SCOPED_TRACE(row.script);
      platform::ComPtr<IUnknown> object;
      EXPECT_EQ(CoCreateInstance(row.classId, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                 object.PutVoid()),
                S_OK);
      EXPECT_EQ(module_.CanUnloadNow(), S_FALSE) << "the object is one of this very module";
    }
    const auto aoi = module_.Create<IByteAOIKLP>(CLSID_ByteAOIKLP);
    EXPECT_EQ(aoi->PutPixel(0, 0, 0), platform::ResultCode(0x8004045Au));
    const auto error = TakeThreadError();
    EXPECT_EQ(error ? error->source : std::nullopt, OLESTR("AOIKLP.ByteKLP.2"));
    CoFreeUnusedLibraries();
    CoUninitialize();
  }).join();
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(module_.UnregisterServer(), S_OK);
    for (const Row& row : kRows) {
      SCOPED_TRACE(row.script);
      EXPECT_TRUE(IsGone(row));
      void* out = &out;
      EXPECT_EQ(CoCreateInstance(row.classId, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &out),
                REGDB_E_CLASSNOTREG);
    }
    EXPECT_FALSE(HasKey(kCategory));
    EXPECT_TRUE(HasKey(OLESTR("CLSID")) && HasKey(OLESTR("Component Categories")));
  }
}

TEST_F(Registration, Resources_AreScriptsAndAPicture) {
  for (const Row& row : kRows) {
    const std::string script =
        ResourceBytes(module_.Handle(), OLESTR("REGISTRY"), 0, row.script, kGerman);
    EXPECT_NE(script.find("ForceRemove 'Programmable'"), script.npos) << row.script;
    EXPECT_EQ(script.find("Component Categories") != script.npos, row.script == 127);
  }
  // A header of 40 bytes: 16 x 16 pixels, 1 plane, 4 bits each, not compressed; 16 colours.
  const std::string picture = ResourceBytes(module_.Handle(), nullptr, 2, 100, kGerman);
  EXPECT_EQ(picture.size(), 40u + 16 * 4 + 16 * 8);
  EXPECT_EQ(picture.substr(0, 20),
            std::string("\x28\0\0\0\x10\0\0\0\x10\0\0\0\x01\0\x04\0\0\0\0\0", 20));
}

// A copy of the module in a folder of its own, with a quote in its name, whose third script names a
// root that no registry has.
TEST_F(Registration, BrokenScript_StopsTheWalkAtItsRow) {
  const TempFile copy("it's a copy.dll");
  std::filesystem::copy_file(file_, copy.path());
  std::string content = copy.Content();
  const std::string start = "HKCR\n{\n  AOIKLP.DWordKLP.2 =";
  ASSERT_NE(content.find(start), content.npos);
  for (std::size_t at = 0; (at = content.find(start, at)) != content.npos; ++at) {
    content.replace(at, 4, "HKXX");
  }
  copy.Write(content);
  const platform::LoadedModule module(copy.path().c_str());
  auto* enter = module.Export<HRESULT STDAPICALLTYPE()>("DllRegisterServer");
  auto* remove = module.Export<HRESULT STDAPICALLTYPE()>("DllUnregisterServer");
  ASSERT_TRUE(enter && remove);
  const Text copyFile =
      platform::ModuleFileName(platform::ModuleOf(reinterpret_cast<const void*>(enter)));

  EXPECT_EQ(enter(), platform::ResultCode(0x80020009u));
  for (std::size_t i = 0; i < std::size(kRows); ++i) {
    if (i < kDWordAoi) {
      ExpectEntered(kRows[i], copyFile);
    } else {
      EXPECT_TRUE(IsGone(kRows[i])) << i;
    }
  }
  EXPECT_EQ(module_.RegisterServer(), S_OK);
  EXPECT_EQ(remove(), S_OK) << "installers rely on it";
  for (std::size_t i = 0; i < std::size(kRows); ++i) EXPECT_EQ(IsGone(kRows[i]), i < kDWordAoi);
}

TEST_F(Registration, KeyThatRefuses_StopsTheWalkWithTheRegistrysError) {
  if (kEmbeddedHost) GTEST_SKIP() << "no key here refuses alone; see the tests of its file";
  // Below a key that is not kept there can be none that is.
  constexpr DWORD kVolatile = 1;
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, kRows[kDWordAoi].versionedProgId, 0, nullptr,
                            kVolatile, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            ERROR_SUCCESS);
  RegCloseKey(key);
  EXPECT_EQ(module_.RegisterServer(), platform::ResultCode(0x800703FDu));
  ExpectEntered(kRows[kDWordAoi - 1], file_);
  EXPECT_TRUE(!HasKey(ClassKey(kRows[kDWordAoi])) && IsGone(kRows[kDWordAoi + 1]));
  EXPECT_EQ(module_.UnregisterServer(), S_OK);
  EXPECT_TRUE(IsGone(kRows[kDWordAoi])) << "what refused to be entered is removed";
}

}  // namespace
}  // namespace tests
