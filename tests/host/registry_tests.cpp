#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "tests/support/host_kind.h"

namespace tests {
namespace {

using WideText = std::basic_string<OLECHAR>;

constexpr LPCOLESTR kTestKey = OLESTR("CLSID\\{0A1B53E0-6C1F-4E27-9C0D-5C1E7B3A9D01}");

// A handle that is closed at the end.
class Key {
 public:
  Key() = default;
  Key(HKEY parent, LPCOLESTR path, REGSAM rights = KEY_ALL_ACCESS) {
    EXPECT_EQ(
        RegCreateKeyExW(parent, path, 0, nullptr, 0, rights, nullptr, &handle_, &disposition_),
        ERROR_SUCCESS);
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
  DWORD disposition() const { return disposition_; }

 private:
  HKEY handle_ = nullptr;
  DWORD disposition_ = 0;
};

LSTATUS SetText(HKEY key, LPCOLESTR name, const WideText& text) {
  return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                        static_cast<DWORD>((text.size() + 1) * sizeof(OLECHAR)));
}

WideText TextOf(HKEY key, LPCOLESTR name) {
  OLECHAR text[100] = {};
  DWORD type = 0;
  DWORD bytes = sizeof(text);
  const LSTATUS status =
      RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text), &bytes);
  if (status != ERROR_SUCCESS || type != REG_SZ) return OLESTR("(none)");
  return WideText(text, bytes / sizeof(OLECHAR) - 1);
}

std::vector<WideText> KeyNames(HKEY key) {
  std::vector<WideText> names;
  OLECHAR name[256];
  for (DWORD index = 0;; ++index) {
    DWORD units = 256;
    const LSTATUS status =
        RegEnumKeyExW(key, index, name, &units, nullptr, nullptr, nullptr, nullptr);
    if (status != ERROR_SUCCESS) {
      EXPECT_EQ(status, ERROR_NO_MORE_ITEMS);
      return names;
    }
    names.emplace_back(name, units);
  }
}

class Registry : public testing::Test {
 protected:
  void SetUp() override { Clear(); }
  void TearDown() override { Clear(); }
  static void Clear() { RegDeleteTreeW(HKEY_CLASSES_ROOT, kTestKey); }
};

TEST_F(Registry, Create_MakesTheKeysOnTheWayAndOpensThemAgain) {
  const Key made(HKEY_CLASSES_ROOT, (WideText(kTestKey) + OLESTR("\\One\\Two")).c_str());
  EXPECT_EQ(made.disposition(), REG_CREATED_NEW_KEY);
  const Key test(HKEY_CLASSES_ROOT, kTestKey);
  EXPECT_EQ(test.disposition(), REG_OPENED_EXISTING_KEY);
  Key key;
  EXPECT_EQ(key.Open(test, OLESTR("one\\TWO")), ERROR_SUCCESS);
  EXPECT_EQ(key.Open(test, OLESTR("One\\Two\\")), ERROR_SUCCESS);
  EXPECT_EQ(key.Open(test, OLESTR("")), ERROR_SUCCESS);
  EXPECT_EQ(key.Open(test, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(key.Open(test, OLESTR("One\\Three")), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key.Open(test, OLESTR("Two")), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key.Open(test, OLESTR("\\One")), ERROR_BAD_PATHNAME);
}

TEST_F(Registry, Names_KeepTheirCaseAndMatchAnyCase) {
  const Key test(HKEY_CLASSES_ROOT, kTestKey);
  const LPCOLESTR pairs[][2] = {{OLESTR("MiXed"), OLESTR("mIxED")},
                                {OLESTR("\u00C4\u00D6\u00DC"), OLESTR("\u00E4\u00F6\u00FC")},
                                {OLESTR("\u0391\u03A9"), OLESTR("\u03B1\u03C9")},
                                {OLESTR("\u0416\u0401"), OLESTR("\u0436\u0451")},
                                {OLESTR("\u0160\u0141"), OLESTR("\u0161\u0142")}};
  for (const auto& [first, second] : pairs) {
    const Key made(test, first);
    EXPECT_EQ(made.disposition(), REG_CREATED_NEW_KEY);
    const Key again(test, second);
    EXPECT_EQ(again.disposition(), REG_OPENED_EXISTING_KEY);
    EXPECT_EQ(SetText(made, first, OLESTR("1")), ERROR_SUCCESS);
    EXPECT_EQ(SetText(made, second, OLESTR("2")), ERROR_SUCCESS);
    OLECHAR name[20];
    DWORD units = 20;
    EXPECT_EQ(RegEnumValueW(made, 0, name, &units, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(WideText(name, units), first);
    EXPECT_EQ(TextOf(made, second), OLESTR("2"));
    units = 20;
    EXPECT_EQ(RegEnumValueW(made, 1, name, &units, nullptr, nullptr, nullptr, nullptr),
              ERROR_NO_MORE_ITEMS);
  }
  EXPECT_EQ(KeyNames(test).size(), std::size(pairs));
}

TEST_F(Registry, Values_ComeBackAsTheyWereSet) {
  const Key test(HKEY_CLASSES_ROOT, kTestKey);
  const struct {
    LPCOLESTR name;
    DWORD type;
    std::vector<BYTE> data;
  } rows[] = {
      {nullptr, REG_SZ, {'a', 0, 0, 0}},
      {OLESTR("text"), REG_EXPAND_SZ, {'%', 0, 'x', 0, 0, 0}},
      {OLESTR("number"), REG_DWORD, {1, 2, 3, 4}},
      {OLESTR("bytes"), REG_BINARY, {0, 255, 0}},
      {OLESTR("nothing"), REG_BINARY, {}},
  };
  for (const auto& [name, type, data] : rows) {
    EXPECT_EQ(RegSetValueExW(test, name, 0, type, data.data(), static_cast<DWORD>(data.size())),
              ERROR_SUCCESS);
  }
  for (const auto& [name, type, data] : rows) {
    SCOPED_TRACE(&data - &rows[0].data);
    const auto size = static_cast<DWORD>(data.size());
    DWORD gotType = 77;
    DWORD bytes = 77;
    EXPECT_EQ(RegQueryValueExW(test, name, nullptr, &gotType, nullptr, &bytes), ERROR_SUCCESS);
    EXPECT_EQ(gotType, type);
    EXPECT_EQ(bytes, size);
    std::vector<BYTE> got(size + 1, BYTE{0xA5});
    EXPECT_EQ(RegQueryValueExW(test, name, nullptr, nullptr, got.data(), &bytes), ERROR_SUCCESS);
    EXPECT_TRUE(std::equal(data.begin(), data.end(), got.begin()));
    EXPECT_EQ(got.back(), 0xA5);
    if (size == 0) continue;
    bytes = size - 1;
    std::fill(got.begin(), got.end(), BYTE{0xA5});
    EXPECT_EQ(RegQueryValueExW(test, name, nullptr, nullptr, got.data(), &bytes), ERROR_MORE_DATA);
    EXPECT_EQ(bytes, size);
    EXPECT_EQ(got.front(), 0xA5);
  }
  EXPECT_EQ(RegDeleteValueW(test, OLESTR("NUMBER")), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteValueW(test, OLESTR("number")), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteValueW(test, nullptr), ERROR_SUCCESS);
  DWORD bytes = 0;
  EXPECT_EQ(RegQueryValueExW(test, nullptr, nullptr, nullptr, nullptr, &bytes),
            ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, EnumKeys_GivesEveryNameOnce) {
  const Key test(HKEY_CLASSES_ROOT, kTestKey);
  for (const LPCOLESTR name : {OLESTR("beta"), OLESTR("Alpha"), OLESTR("gamma")}) {
    const Key key(test, name);
  }
  EXPECT_EQ(KeyNames(test),
            (std::vector<WideText>{OLESTR("Alpha"), OLESTR("beta"), OLESTR("gamma")}));
  OLECHAR name[6];
  DWORD units = 5;
  EXPECT_EQ(RegEnumKeyExW(test, 0, name, &units, nullptr, nullptr, nullptr, nullptr),
            ERROR_MORE_DATA);
  units = 6;
  EXPECT_EQ(RegEnumKeyExW(test, 0, name, &units, nullptr, nullptr, nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(units, 5u);
}

TEST_F(Registry, DeleteKey_RefusesKeysWithKeysBelow) {
  const Key test(HKEY_CLASSES_ROOT, kTestKey);
  Key below(test, OLESTR("One\\Two"));
  EXPECT_EQ(SetText(below, nullptr, OLESTR("value")), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(test, OLESTR("One")), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteKeyW(test, OLESTR("Three")), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteKeyW(test, OLESTR("one\\two")), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(test, OLESTR("One")), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(test, OLESTR("One")), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteKeyW(test, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(Registry, DeleteTree_TakesAllBelow) {
  const Key test(HKEY_CLASSES_ROOT, kTestKey);
  EXPECT_EQ(SetText(test, OLESTR("x"), OLESTR("y")), ERROR_SUCCESS);
  { const Key key(test, OLESTR("One\\Two\\Three")); }
  { const Key key(test, OLESTR("One\\Four")); }
  EXPECT_EQ(RegDeleteTreeW(test, OLESTR("One")), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteTreeW(test, OLESTR("One")), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(TextOf(test, OLESTR("x")), OLESTR("y"));
  { const Key key(test, OLESTR("One\\Two")); }
  EXPECT_EQ(RegDeleteTreeW(test, nullptr), ERROR_SUCCESS);
  EXPECT_TRUE(KeyNames(test).empty());
  EXPECT_EQ(TextOf(test, OLESTR("x")), OLESTR("(none)"));
}

TEST_F(Registry, HandleOfDeletedKey_StaysDeleted) {
  const Key old(HKEY_CLASSES_ROOT, kTestKey);
  EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, kTestKey), ERROR_SUCCESS);
  const Key again(HKEY_CLASSES_ROOT, kTestKey);
  EXPECT_EQ(again.disposition(), REG_CREATED_NEW_KEY);
  EXPECT_EQ(SetText(again, nullptr, OLESTR("new")), ERROR_SUCCESS);
  DWORD bytes = 0;
  EXPECT_EQ(RegQueryValueExW(old, nullptr, nullptr, nullptr, nullptr, &bytes), ERROR_KEY_DELETED);
  EXPECT_EQ(SetText(old, nullptr, OLESTR("old")), ERROR_KEY_DELETED);
  Key below;
  EXPECT_EQ(below.Open(old, OLESTR("One")), ERROR_KEY_DELETED);
  EXPECT_EQ(TextOf(again, nullptr), OLESTR("new"));
}

TEST_F(Registry, BadHandlesAndArguments_AreRefused) {
  Key test(HKEY_CLASSES_ROOT, kTestKey);
  DWORD bytes = 4;
  DWORD reserved = 0;
  BYTE data[4] = {};
  HKEY out = nullptr;
  EXPECT_EQ(RegQueryValueExW(test, nullptr, &reserved, nullptr, data, &bytes),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegQueryValueExW(test, nullptr, nullptr, nullptr, data, nullptr),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegOpenKeyExW(test, nullptr, 0, KEY_READ, nullptr), ERROR_INVALID_PARAMETER);
  const WideText tooLong(256, OLECHAR{'n'});
  if (kEmbeddedHost) {
    // The other host under test lets these pass.
    EXPECT_EQ(RegSetValueExW(test, nullptr, 1, REG_BINARY, data, 4), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(
        RegCreateKeyExW(test, tooLong.c_str(), 0, nullptr, 0, KEY_READ, nullptr, &out, nullptr),
        ERROR_INVALID_PARAMETER);
  }
  const Key longest(test, tooLong.c_str() + 1);
  EXPECT_EQ(longest.disposition(), REG_CREATED_NEW_KEY);

  const HKEY closed = test;
  test.Close();
  for (const HKEY bad : {closed, HKEY{nullptr}, reinterpret_cast<HKEY>(ULONG_PTR{0x7FFFFFF0})}) {
    EXPECT_EQ(RegOpenKeyExW(bad, OLESTR("x"), 0, KEY_READ, &out), ERROR_INVALID_HANDLE);
    EXPECT_EQ(SetText(bad, nullptr, OLESTR("x")), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegCloseKey(bad), ERROR_INVALID_HANDLE);
  }
  EXPECT_EQ(RegFlushKey(HKEY_CLASSES_ROOT), ERROR_SUCCESS);
}

TEST_F(Registry, Rights_LimitAHandle) {
  const Key test(HKEY_CLASSES_ROOT, kTestKey);
  EXPECT_EQ(SetText(test, nullptr, OLESTR("x")), ERROR_SUCCESS);
  Key reader;
  EXPECT_EQ(reader.Open(HKEY_CLASSES_ROOT, kTestKey, KEY_READ), ERROR_SUCCESS);
  EXPECT_EQ(SetText(reader, nullptr, OLESTR("y")), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteValueW(reader, nullptr), ERROR_ACCESS_DENIED);
  EXPECT_EQ(TextOf(reader, nullptr), OLESTR("x"));
  Key writer;
  EXPECT_EQ(writer.Open(HKEY_CLASSES_ROOT, kTestKey, KEY_SET_VALUE), ERROR_SUCCESS);
  EXPECT_EQ(SetText(writer, nullptr, OLESTR("z")), ERROR_SUCCESS);
  EXPECT_EQ(TextOf(writer, nullptr), OLESTR("(none)"));
}

}  // namespace
}  // namespace tests
