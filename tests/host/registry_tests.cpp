#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/platform.h"
#include "tests/support/host_kind.h"
#include "tests/support/results.h"

namespace tests {
namespace {

using WideText = std::basic_string<OLECHAR>;

constexpr LPCOLESTR kTestKey = OLESTR("CLSID\\{0A1B53E0-6C1F-4E27-9C0D-5C1E7B3A9D01}");

// A handle that is closed at the end.
class Key {
 public:
  Key() = default;
  Key(HKEY parent, LPCOLESTR path, DWORD disposition) {
    DWORD made = 0;
    EXPECT_EQ(
        RegCreateKeyExW(parent, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &handle_, &made),
        ERROR_SUCCESS);
    EXPECT_EQ(made, disposition);
  }
  ~Key() { Close(); }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;

  LSTATUS Open(HKEY parent, LPCOLESTR path, REGSAM rights = KEY_READ) {
    Close();
    return RegOpenKeyExW(parent, path, 0, rights, &handle_);
  }
  void Close() {
    if (handle_ != nullptr) RegCloseKey(handle_);
    handle_ = nullptr;
  }
  operator HKEY() const { return handle_; }

 private:
  HKEY handle_ = nullptr;
};

LSTATUS SetText(HKEY key, LPCOLESTR name, const WideText& text) {
  return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                        static_cast<DWORD>((text.size() + 1) * sizeof(OLECHAR)));
}

WideText TextOf(HKEY key, LPCOLESTR name) {
  OLECHAR text[100] = {};
  DWORD type = 0, bytes = sizeof(text);
  const LSTATUS status =
      RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text), &bytes);
  if (status != ERROR_SUCCESS || type != REG_SZ) return OLESTR("(none)");
  return WideText(text, bytes / sizeof(OLECHAR) - 1);
}

// The names of what is below a key, by one of the two enumerations.
template <class Enumerate>
std::vector<WideText> Names(HKEY key, Enumerate enumerate) {
  std::vector<WideText> names;
  OLECHAR name[256];
  for (DWORD index = 0;; ++index) {
    DWORD units = 256;
    const LSTATUS status = enumerate(key, index, name, &units, nullptr, nullptr, nullptr, nullptr);
    EXPECT_TRUE(status == ERROR_SUCCESS || status == ERROR_NO_MORE_ITEMS);
    if (status != ERROR_SUCCESS) return names;
    names.emplace_back(name, units);
  }
}

class Registry : public testing::Test {
 protected:
  Registry() { RegDeleteTreeW(HKEY_CLASSES_ROOT, kTestKey); }
  ~Registry() override { RegDeleteTreeW(HKEY_CLASSES_ROOT, kTestKey); }
  // Makes the keys of a path below the test's own.
  static void Make(LPCOLESTR path) {
    const Key key(HKEY_CLASSES_ROOT, (WideText(kTestKey) + OLESTR("\\") + path).c_str(),
                  REG_CREATED_NEW_KEY);
  }
};

TEST_F(Registry, Names_KeepTheirCaseAndMatchAnyCase) {
  const Key test(HKEY_CLASSES_ROOT, kTestKey, REG_CREATED_NEW_KEY);
  const LPCOLESTR pairs[][2] = {{OLESTR("MiXed"), OLESTR("mIxED")},
                                {OLESTR("\u00C4\u0391\u0416"), OLESTR("\u00E4\u03B1\u0436")}};
  for (const auto& [first, second] : pairs) {
    const Key made(test, first, REG_CREATED_NEW_KEY);
    const Key again(test, second, REG_OPENED_EXISTING_KEY);
    ExpectEach(ERROR_SUCCESS,
               {SetText(made, first, OLESTR("1")), SetText(again, second, OLESTR("2"))});
    EXPECT_EQ(Names(made, RegEnumValueW), (std::vector<WideText>{first}));
    EXPECT_EQ(TextOf(made, second), OLESTR("2"));
  }
  EXPECT_EQ(Names(test, RegEnumKeyExW).size(), std::size(pairs));
}

TEST_F(Registry, Values_ComeBackAsTheyWereSet) {
  const Key test(HKEY_CLASSES_ROOT, kTestKey, REG_CREATED_NEW_KEY);
  const struct {
    LPCOLESTR name;
    DWORD type;
    std::vector<BYTE> data;
  } rows[] = {{nullptr, REG_SZ, {'a', 0, 0, 0}},
              {OLESTR("number"), REG_DWORD, {1, 2, 3, 4}},
              {OLESTR("nothing"), REG_BINARY, {}}};
  for (const auto& [name, type, data] : rows) {
    EXPECT_EQ(RegSetValueExW(test, name, 0, type, data.data(), static_cast<DWORD>(data.size())),
              ERROR_SUCCESS);
  }
  for (const auto& [name, type, data] : rows) {
    SCOPED_TRACE(type);
    const auto size = static_cast<DWORD>(data.size());
    DWORD gotType = 77, bytes = size;
    std::vector<BYTE> got(size + 1, BYTE{0xA5}), expected(data);
    expected.push_back(0xA5);
    EXPECT_EQ(RegQueryValueExW(test, name, nullptr, &gotType, got.data(), &bytes), ERROR_SUCCESS);
    EXPECT_EQ(gotType, type);
    EXPECT_EQ(got, expected);
    if (size == 0) continue;
    bytes = size - 1;
    EXPECT_EQ(RegQueryValueExW(test, name, nullptr, nullptr, got.data(), &bytes), ERROR_MORE_DATA);
    EXPECT_EQ(bytes, size);
  }
  ExpectEach(ERROR_SUCCESS,
             {RegDeleteValueW(test, OLESTR("NUMBER")), RegDeleteValueW(test, nullptr)});
  EXPECT_EQ(RegDeleteValueW(test, OLESTR("number")), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(TextOf(test, nullptr), OLESTR("(none)"));
}

TEST_F(Registry, EnumKeys_GivesEveryNameOnce) {
  for (const LPCOLESTR name : {OLESTR("beta"), OLESTR("Alpha"), OLESTR("gamma")}) Make(name);
  const Key test(HKEY_CLASSES_ROOT, kTestKey, REG_OPENED_EXISTING_KEY);
  EXPECT_EQ(Names(test, RegEnumKeyExW),
            (std::vector<WideText>{OLESTR("Alpha"), OLESTR("beta"), OLESTR("gamma")}));
  OLECHAR name[6];
  DWORD units = 5;
  EXPECT_EQ(RegEnumKeyExW(test, 0, name, &units, nullptr, nullptr, nullptr, nullptr),
            ERROR_MORE_DATA);
}

TEST_F(Registry, Delete_RefusesKeysWithKeysBelowAndTreesDoNot) {
  Make(OLESTR("One\\Two"));
  const Key test(HKEY_CLASSES_ROOT, kTestKey, REG_OPENED_EXISTING_KEY);
  EXPECT_EQ(SetText(test, OLESTR("x"), OLESTR("y")), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(test, OLESTR("One")), ERROR_ACCESS_DENIED);
  ExpectEach(ERROR_SUCCESS,
             {RegDeleteKeyW(test, OLESTR("one\\two")), RegDeleteKeyW(test, OLESTR("One"))});
  Make(OLESTR("One\\Two\\Three"));
  EXPECT_EQ(RegDeleteTreeW(test, OLESTR("One")), ERROR_SUCCESS);
  ExpectEach(ERROR_FILE_NOT_FOUND,
             {RegDeleteKeyW(test, OLESTR("One")), RegDeleteTreeW(test, OLESTR("One"))});
  EXPECT_EQ(TextOf(test, OLESTR("x")), OLESTR("y"));
  Make(OLESTR("One\\Two"));
  EXPECT_EQ(RegDeleteTreeW(test, nullptr), ERROR_SUCCESS);
  EXPECT_TRUE(Names(test, RegEnumKeyExW).empty());
  EXPECT_EQ(TextOf(test, OLESTR("x")), OLESTR("(none)"));
}

TEST_F(Registry, HandleOfDeletedKey_StaysDeleted) {
  const Key old(HKEY_CLASSES_ROOT, kTestKey, REG_CREATED_NEW_KEY);
  EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, kTestKey), ERROR_SUCCESS);
  const Key again(HKEY_CLASSES_ROOT, kTestKey, REG_CREATED_NEW_KEY);
  EXPECT_EQ(SetText(again, nullptr, OLESTR("new")), ERROR_SUCCESS);
  DWORD bytes = 0;
  Key below;
  ExpectEach(ERROR_KEY_DELETED,
             {RegQueryValueExW(old, nullptr, nullptr, nullptr, nullptr, &bytes),
              SetText(old, nullptr, OLESTR("old")), below.Open(old, OLESTR("One"))});
  EXPECT_EQ(TextOf(again, nullptr), OLESTR("new"));
}

TEST_F(Registry, BadHandlesAndArguments_AreRefused) {
  Key test(HKEY_CLASSES_ROOT, kTestKey, REG_CREATED_NEW_KEY), below;
  EXPECT_EQ(below.Open(test, OLESTR("\\One")), ERROR_BAD_PATHNAME);
  DWORD bytes = 4, reserved = 0;
  BYTE data[4] = {};
  HKEY out = nullptr;
  ExpectEach(ERROR_INVALID_PARAMETER,
             {RegQueryValueExW(test, nullptr, &reserved, nullptr, data, &bytes),
              RegQueryValueExW(test, nullptr, nullptr, nullptr, data, nullptr),
              RegOpenKeyExW(test, nullptr, 0, KEY_READ, nullptr)});
  if (kEmbeddedHost) {
    // The other host under test lets these pass.
    ExpectEach(ERROR_INVALID_PARAMETER,
               {RegSetValueExW(test, nullptr, 1, REG_BINARY, data, 4),
                RegCreateKeyExW(test, WideText(256, OLECHAR{'n'}).c_str(), 0, nullptr, 0, KEY_READ,
                                nullptr, &out, nullptr)});
  }
  const HKEY closed = test;
  test.Close();
  for (const HKEY bad : {closed, HKEY{nullptr}, reinterpret_cast<HKEY>(ULONG_PTR{0x7FFFFFF0})}) {
    ExpectEach(ERROR_INVALID_HANDLE, {RegOpenKeyExW(bad, OLESTR("x"), 0, KEY_READ, &out),
                                      SetText(bad, nullptr, OLESTR("x")), RegCloseKey(bad)});
  }
}

TEST_F(Registry, Rights_LimitAHandle) {
  const Key test(HKEY_CLASSES_ROOT, kTestKey, REG_CREATED_NEW_KEY);
  Key reader, writer;
  ExpectEach(ERROR_SUCCESS, {reader.Open(HKEY_CLASSES_ROOT, kTestKey, KEY_READ),
                             writer.Open(HKEY_CLASSES_ROOT, kTestKey, KEY_SET_VALUE),
                             SetText(writer, nullptr, OLESTR("z"))});
  ExpectEach(ERROR_ACCESS_DENIED,
             {SetText(reader, nullptr, OLESTR("y")), RegDeleteValueW(reader, nullptr)});
  EXPECT_EQ(TextOf(reader, nullptr), OLESTR("z"));
  EXPECT_EQ(TextOf(writer, nullptr), OLESTR("(none)"));
}

}  // namespace
}  // namespace tests
