// Enters test classes into the registry and takes them out again.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/platform.h"
#include "tests/support/child_process.h"

namespace tests {

inline std::basic_string<OLECHAR> ClassText(REFCLSID classId) {
  OLECHAR text[39];
  StringFromGUID2(classId, text, 39);
  return text;
}

// A file beside the running program.
inline std::basic_string<OLECHAR> BesideProgram(const char* name) {
  const std::string path =
      (std::filesystem::path(ThisProgram()).parent_path() / name).make_preferred().string();
  std::basic_string<OLECHAR> wide(path.size() + 1, OLECHAR{});
  wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, path.c_str(), -1, wide.data(),
                                                           static_cast<int>(wide.size()))) -
              1);
  return wide;
}

// Makes a key below HKEY_CLASSES_ROOT with a default value; the key at the path is deleted with all
// below it at the end.
class RegisteredKey {
 public:
  explicit RegisteredKey(std::basic_string<OLECHAR> path) : path_(std::move(path)) {}
  ~RegisteredKey() { RegDeleteTreeW(HKEY_CLASSES_ROOT, path_.c_str()); }
  RegisteredKey(const RegisteredKey&) = delete;
  RegisteredKey& operator=(const RegisteredKey&) = delete;

  void Set(LPCOLESTR below, LPCOLESTR name, const std::basic_string<OLECHAR>& text) const {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, (path_ + OLESTR("\\") + below).c_str(), 0, nullptr,
                              0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                             static_cast<DWORD>((text.size() + 1) * sizeof(OLECHAR))),
              ERROR_SUCCESS);
    RegCloseKey(key);
  }

 private:
  const std::basic_string<OLECHAR> path_;
};

// A class whose module is the file.
class RegisteredClass : public RegisteredKey {
 public:
  RegisteredClass(REFCLSID classId, const std::basic_string<OLECHAR>& module)
      : RegisteredKey(OLESTR("CLSID\\") + ClassText(classId)) {
    Set(OLESTR("InprocServer32"), nullptr, module);
    Set(OLESTR("InprocServer32"), OLESTR("ThreadingModel"), OLESTR("Both"));
  }
};

}  // namespace tests
