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
  const char *name, *progId, *version;
} kRows[] = {
    {CLSID_ByteAOIKLP, 101, "ByteAOIKLP", "AOIKLP.ByteKLP", ".2"},
    {CLSID_WordAOIKLP, 102, "WordAOIKLP", "AOIKLP.WordKLP", ".2"},
    {CLSID_DWordAOIKLP, 119, "DWordAOIKLP", "AOIKLP.DWordKLP", ".2"},
    {CLSID_FloatAOIKLP, 120, "FloatAOIKLP", "AOIKLP.FloatKLP", ".2"},
    {CLSID_DoubleAOIKLP, 121, "DoubleAOIKLP", "AOIKLP.DoubleKLP", ".2"},
    {CLSID_CharAOIKLP, 117, "CharAOIKLP", "AOIKLP.CharKLP", ".2"},
    {CLSID_ShortAOIKLP, 118, "ShortAOIKLP", "AOIKLP.ShortKLP", ".2"},
    {CLSID_LongAOIKLP, 123, "LongAOIKLP", "AOIKLP.LongKLP", ".2"},
    {CLSID_ByteVectorKLP, 110, "ByteVectorKLP", "VectorKLP.ByteKLP", ".2"},
    {CLSID_ShortVectorKLP, 109, "ShortVectorKLP", "VectorKLP.ShortKLP", ".2"},
    {CLSID_LongVectorKLP, 111, "LongVectorKLP", "VectorKLP.LongKLP", ".2"},
    {CLSID_FloatVectorKLP, 107, "FloatVectorKLP", "VectorKLP.FloatKLP", ".2"},
    {CLSID_DoubleVectorKLP, 104, "DoubleVectorKLP", "VectorKLP.DoubleKLP", ".2"},
    {CLSID_CharVectorKLP, 124, "CharVectorKLP", "VectorKLP.CharVectorKLP", ".2"},
    {CLSID_WordVectorKLP, 125, "WordVectorKLP", "VectorKLP.WordVectorKLP", ".2"},
    {CLSID_DWordVectorKLP, 126, "DWordVectorKLP", "VectorKLP.DWordVectorKLP", ".2"},
    {CLSID_VariantVectorKLP, 106, "VariantVectorKLP", "VectorKLP.VariantVectorKLP", ".2"},
    {CLSID_AttributeBstrMapKLP, 127, "AttributeBstrMapKLP", "RastelKLP.AttributeBstrMapKLP", ".1"},
    {CLSID_AttributeLongMapKLP, 128, "AttributeLongMapKLP", "RastelKLP.AttributeLongMapKLP", ".1"},
    {CLSID_AttributeDoubleMapKLP, 129, "AttributeDoubleMapKLP", "RastelKLP.AttributeDoubleMapKLP",
     ".1"},
    {CLSID_AttributeEntryKLP, 130, "AttributeEntryKLP", "RastelKLP.AttributeEntryKLP", ".1"},
};
constexpr std::size_t kDWordAoi = 2;

const Text kCategory = OLESTR("Component Categories\\{CAD7992B-8675-4881-9959-9C29E8CE4139}");

Text Wide(const std::string& text) { return Text(text.begin(), text.end()); }
Text VersionedProgId(const Row& row) { return Wide(std::string(row.progId) + row.version); }
Text ClassText(const Row& row) {
  OLECHAR text[39];
  StringFromGUID2(row.classId, text, 39);
  return text;
}
Text ClassKey(const Row& row) { return OLESTR("CLSID\\") + ClassText(row); }

void ExpectEntered(const Row& row, const Text& file) {
  SCOPED_TRACE(row.name);
  const bool isAttribute = std::string(row.version) == ".1";
  const Text description =
      Wide(std::string("ORVA.") + row.name + (isAttribute ? " Class (Rastel)" : " Class"));
  const Text key = ClassKey(row), progId = Wide(row.progId), versioned = VersionedProgId(row);
  const struct {
    Text key;
    LPCOLESTR name;
    Text value;
  } values[] = {
      {versioned, nullptr, description},
      {versioned + OLESTR("\\CLSID"), nullptr, ClassText(row)},
      {progId, nullptr, description},
      {progId + OLESTR("\\CLSID"), nullptr, ClassText(row)},
      {progId + OLESTR("\\CurVer"), nullptr, versioned},
      {key, nullptr, description},
      {key + OLESTR("\\ProgID"), nullptr, versioned},
      {key + OLESTR("\\VersionIndependentProgID"), nullptr, progId},
      {key + OLESTR("\\InprocServer32"), nullptr, file},
      {key + OLESTR("\\InprocServer32"), OLESTR("ThreadingModel"), OLESTR("Both")},
      {key + OLESTR("\\TypeLib"), nullptr, OLESTR("{2EA5FA3E-FBCE-4673-9F39-0EBF04385254}")},
      {key + OLESTR("\\ToolboxBitmap32"), nullptr, file + OLESTR(" , 100")},
  };
  for (const auto& value : values) EXPECT_EQ(RegisteredText(value.key, value.name), value.value);
  EXPECT_TRUE(HasKey(key + OLESTR("\\Programmable")));
  EXPECT_TRUE(
      HasKey(key + OLESTR("\\Implemented Categories\\{CAD7992B-8675-4881-9959-9C29E8CE4139}")));
  LPOLESTR found = nullptr;
  EXPECT_EQ(ProgIDFromCLSID(row.classId, &found), S_OK);
  EXPECT_EQ(found ? Text(found) : Text(), versioned);
  CoTaskMemFree(found);
  for (const Text& text : {progId, versioned}) {
    CLSID classId{};
    EXPECT_EQ(CLSIDFromProgID(text.c_str(), &classId), S_OK);
    EXPECT_TRUE(IsEqualCLSID(classId, row.classId));
  }
}

bool IsGone(const Row& row) {
  return !HasKey(ClassKey(row)) && !HasKey(Wide(row.progId)) && !HasKey(VersionedProgId(row));
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
      SCOPED_TRACE(row.name);
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
      SCOPED_TRACE(row.name);
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
  ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, VersionedProgId(kRows[kDWordAoi]).c_str(), 0,
                            nullptr, kVolatile, KEY_ALL_ACCESS, nullptr, &key, nullptr),
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
