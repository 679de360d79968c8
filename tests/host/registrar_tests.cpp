// The registrar: what its scripts write and remove, and its results.
#include "platform/registrar.h"

#include <gtest/gtest.h>

#include <sstream>

#include "platform/com_ptr.h"
#include "platform/module_file.h"
#include "tests/support/host_kind.h"
#include "tests/support/module_client.h"
#include "tests/support/registered_text.h"
#include "tests/support/results.h"
#include "tests/support/temp_file.h"

namespace tests {
namespace {

using Text = std::basic_string<OLECHAR>;

const Text kRoot = OLESTR("RastelTest.Registrar");
constexpr HRESULT kNoFile = platform::ResultCode(0x80070002u);
constexpr HRESULT kNoType = platform::ResultCode(0x80070715u);
constexpr HRESULT kNoNumber = platform::ResultCode(0x80070716u);

// Type and content of a value below the test's key: "1 text", "4 01000000".
std::string Value(const Text& path, LPCOLESTR name) {
  HKEY key = nullptr;
  BYTE data[256];
  DWORD bytes = sizeof(data), type = 0;
  RegOpenKeyExW(HKEY_CLASSES_ROOT, (kRoot + path).c_str(), 0, KEY_READ, &key);
  const LSTATUS status = RegQueryValueExW(key, name, nullptr, &type, data, &bytes);
  if (key) RegCloseKey(key);
  if (status != ERROR_SUCCESS) return "none";
  std::string text = std::to_string(type) + ' ';
  const bool isText = type == REG_SZ || type == REG_MULTI_SZ;
  for (DWORD i = 0; i < bytes; i += isText ? 2 : 1) {
    char hex[3];
    std::snprintf(hex, sizeof(hex), "%02X", unsigned{data[i]});
    text += !isText ? hex : data[i] ? std::string(1, static_cast<char>(data[i])) : "|";
  }
  return text;
}

class RegistrarTest : public testing::Test {
 protected:
  RegistrarTest() {
    Clear();
    EXPECT_EQ(CoCreateInstance(CLSID_Registrar, nullptr, CLSCTX_INPROC_SERVER, IID_IRegistrar,
                               registrar_.PutVoid()),
              S_OK);
  }
  ~RegistrarTest() override { Clear(); }
  static void Clear() { RegDeleteTreeW(HKEY_CLASSES_ROOT, kRoot.c_str()); }

  // Scripts for the keys below the test's own one.
  static Text Below(const Text& items) {
    return OLESTR("HKCR { NoRemove ") + kRoot + OLESTR(" { ") + items + OLESTR(" } }");
  }
  HRESULT Register(const Text& items) { return registrar_->StringRegister(Below(items).c_str()); }
  HRESULT Unregister(const Text& items) {
    return registrar_->StringUnregister(Below(items).c_str());
  }
  static bool Has(const Text& path) { return HasKey(kRoot + OLESTR("\\") + path); }

  platform::ComPtr<IRegistrar> registrar_;
};

TEST_F(RegistrarTest, Scripts_WriteEveryKindOfKeyAndValue) {
  EXPECT_EQ(registrar_->AddReplacement(OLESTR("Module"), OLESTR("C:\\it''s {here}")), S_OK);
  EXPECT_EQ(registrar_->AddReplacement(OLESTR("Name"), OLESTR("First")), S_OK);
  EXPECT_EQ(registrar_->AddReplacement(OLESTR("name"), OLESTR("Replaced")), S_OK);
  const Text items =
      OLESTR("Plain = s 'text'\r\n{\n\t'Two Words' = s word { {0D43FE01-F093-11CF} = s '' }\n")
          OLESTR("val One = s 'it''s' val 'Two 2' = d '18' val Three = b '00fF10'\n")
              OLESTR("forceremove 'Empty' }\n%NAME% = s '%MODULE% , 100' { val Rate = s '5%%' }\n")
                  OLESTR("Number = d 4294967295");
  for (int round = 0; round < 2; ++round) EXPECT_EQ(Register(items), S_OK);
  const struct {
    LPCOLESTR path, name;
    const char* value;
  } rows[] = {{OLESTR(""), nullptr, "none"},
              {OLESTR("\\Plain"), OLESTR("One"), "1 it's|"},
              {OLESTR("\\Plain"), OLESTR("Two 2"), "4 12000000"},
              {OLESTR("\\Plain"), OLESTR("Three"), "3 00FF10"},
              {OLESTR("\\Plain\\Two Words"), nullptr, "1 word|"},
              {OLESTR("\\Plain\\Two Words\\{0D43FE01-F093-11CF}"), nullptr, "1 |"},
              {OLESTR("\\Replaced"), nullptr, "1 C:\\it's {here} , 100|"},
              {OLESTR("\\Replaced"), OLESTR("Rate"), "1 5%|"}};
  for (const auto& row : rows) EXPECT_EQ(Value(row.path, row.name), row.value);
  EXPECT_TRUE(Has(OLESTR("Plain\\Empty")));
  if (kEmbeddedHost) {
    // The other host under test knows fewer types, and only signed numbers.
    EXPECT_EQ(Value(OLESTR("\\Number"), nullptr), "4 FFFFFFFF");
    EXPECT_EQ(Register(OLESTR("val Hex = D '&hFf' val Many = m 'a\\0b'")), S_OK);
    EXPECT_EQ(Value(OLESTR(""), OLESTR("Hex")), "4 FF000000");
    EXPECT_EQ(Value(OLESTR(""), OLESTR("Many")), "7 a|b||");
  }
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Unregister(items), S_OK);
    EXPECT_FALSE(Has(OLESTR("Plain")) || Has(OLESTR("Replaced")) || Has(OLESTR("Number")));
    EXPECT_TRUE(HasKey(kRoot));
  }
}

TEST_F(RegistrarTest, Rules_SayWhatIsRemoved) {
  ASSERT_EQ(Register(OLESTR("A { Old { Older } val Old = s 'x' } B { Old } C { Old } D { Old }")),
            S_OK);
  const Text items =
      OLESTR("A { New } ForceRemove B { New } NoRemove C { New } Delete D val Own = s 'x'");
  EXPECT_EQ(Register(items), S_OK);
  EXPECT_EQ(Value(OLESTR("\\A"), OLESTR("Old")), "1 x|");
  EXPECT_TRUE(Has(OLESTR("A\\Old\\Older")) && Has(OLESTR("A\\New")));
  EXPECT_TRUE(!Has(OLESTR("B\\Old")) && Has(OLESTR("B\\New")));
  EXPECT_TRUE(Has(OLESTR("C\\Old")) && Has(OLESTR("C\\New")));
  EXPECT_FALSE(Has(OLESTR("D")));

  EXPECT_EQ(Unregister(items), S_OK);
  EXPECT_TRUE(Has(OLESTR("A\\Old\\Older")) && !Has(OLESTR("A\\New"))) << "others have keys there";
  EXPECT_FALSE(Has(OLESTR("B")));
  EXPECT_TRUE(Has(OLESTR("C\\Old")) && !Has(OLESTR("C\\New")));
  if (kEmbeddedHost) {
    EXPECT_EQ(Value(OLESTR(""), OLESTR("Own")), "none") << "a value of a key that stays";
  }
}

TEST_F(RegistrarTest, FilesAndResources_AreFoundOrNamedAsMissing) {
  const TempFile file("script.rgs");
  const std::string path = file.path();
  const Text wide(path.begin(), path.end()), script = Below(OLESTR("A { B }"));
  EXPECT_EQ(registrar_->FileRegister(wide.c_str()), kNoFile);
  file.Write(std::string(script.begin(), script.end()));
  EXPECT_EQ(registrar_->FileRegister(wide.c_str()), S_OK);
  EXPECT_TRUE(Has(OLESTR("A\\B")));
  EXPECT_EQ(registrar_->FileUnregister(wide.c_str()), S_OK);
  EXPECT_FALSE(Has(OLESTR("A")));

  // That the module's own scripts work is tested with its registration.
  const Text name = platform::ModuleFileName(ModuleClient::Get().Handle());
  const LPCOLESTR module = name.c_str(), type = OLESTR("REGISTRY");
  ExpectEach(kNoNumber, {registrar_->ResourceRegister(module, 99, type),
                         registrar_->ResourceUnregisterSz(module, OLESTR("#99"), type)});
  EXPECT_EQ(registrar_->ResourceRegister(module, 101, OLESTR("SCRIPTS")), kNoType);
  EXPECT_EQ(registrar_->ResourceRegister(OLESTR("/missing/module"), 101, type), kNoFile);
}

TEST_F(RegistrarTest, BrokenScripts_EndWithACodeAndChangeNothing) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the other host under test reads some of them for ever";
  const Text name = OLESTR("HKCR { ") + kRoot;
  std::istringstream rows(
      "; {; { bad; { A } ; } }; } HKXX { }; } HKCR; } HKCR A { }; = } ; = s } ; = s 'open } ;"
      " = q 'x' }; = ss 'x' }; = d 'x' }; = d '4294967296' }; = d '' }; = b '123' }; = b '1g' };"
      " { val A } }; { val = s 'x' } }; { ForceRemove val A = s 'x' } }; { NoRemove } };"
      " { A\\B } }; { Delete 'A\\B' } }; { ForceRemove '' } }; { Delete A = s 'x' } };"
      " { 50% } }; { { } } }; { = s 'x' } }");
  for (std::string row; std::getline(rows, row, ';');) {
    SCOPED_TRACE(row);
    const Text script = name + Text(row.begin(), row.end());
    EXPECT_EQ(registrar_->StringRegister(script.c_str()), DISP_E_EXCEPTION);
    EXPECT_EQ(registrar_->StringUnregister(script.c_str()), DISP_E_EXCEPTION);
    EXPECT_FALSE(HasKey(kRoot));
  }
  // Whole ones that ask for what the registry does not have.
  Text deep = OLESTR("HKCR { "), closed = OLESTR(" }");
  for (int level = 1; level < 64; ++level) {
    deep += kRoot + OLESTR(" { ");
    closed += OLESTR(" }");
  }
  const Text longName(256, OLECHAR{'n'});
  EXPECT_EQ(registrar_->StringRegister((name + OLESTR(" } HKLM { A }")).c_str()), E_HANDLE);
  EXPECT_EQ(Register(OLESTR("A { ") + longName + OLESTR(" }")), E_INVALIDARG);
  EXPECT_EQ(registrar_->StringRegister((deep + OLESTR("A { B }") + closed).c_str()),
            DISP_E_EXCEPTION);
  EXPECT_FALSE(HasKey(kRoot));
  EXPECT_EQ(registrar_->StringRegister((deep + OLESTR("A") + closed).c_str()), S_OK);
}

TEST_F(RegistrarTest, Nulls_AreRefused) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the other host under test does not look";
  const LPCOLESTR some = OLESTR("x");
  ExpectEach(E_INVALIDARG,
             {registrar_->AddReplacement(nullptr, some), registrar_->AddReplacement(some, nullptr),
              registrar_->StringRegister(nullptr), registrar_->FileUnregister(nullptr),
              registrar_->ResourceRegister(nullptr, 101, some),
              registrar_->ResourceUnregister(some, 101, nullptr),
              registrar_->ResourceRegisterSz(some, nullptr, some)});
}

}  // namespace
}  // namespace tests
