// SPDX-License-Identifier: MIT
// What the embedded host reads of files and scripts: the registry file, and registration scripts.
#include <string>
#include <string_view>

#include "fuzz/module_inside.h"
#include "host/registry/script_interface.h"
#include "tests/support/temp_file.h"

namespace fuzz {
namespace {

using platform::ComPtr;

// Keys and values from here downwards; their names and data as they come.
void Walk(HKEY key, int level) {
  WCHAR name[64];
  BYTE data[64];
  for (DWORD i = 0; i < 8; ++i) {
    DWORD letters = 64, bytes = 64, type = 0;
    if (RegEnumValueW(key, i, name, &letters, nullptr, &type, data, &bytes) != ERROR_SUCCESS) break;
  }
  for (DWORD i = 0; level > 0 && i < 8; ++i) {
    DWORD letters = 64;
    HKEY below = nullptr;
    if (RegEnumKeyExW(key, i, name, &letters, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      break;
    }
    if (RegOpenKeyExW(key, name, 0, KEY_READ, &below) != ERROR_SUCCESS) continue;
    Walk(below, level - 1);
    RegCloseKey(below);
  }
}

std::u16string Widened(Bytes bytes) {
  std::u16string text;
  for (std::size_t i = 0; i < bytes.size() && bytes[i] != 0; ++i) text += bytes[i];
  return text;
}

}  // namespace

void RunRegistryFile(Bytes input) {
  static const tests::TempFile file;
  file.Write({reinterpret_cast<const char*>(input.data()), input.size()});
  HostUseRegistryFile(file.path().c_str());
  Walk(HKEY_CLASSES_ROOT, 4);
  CLSID classId{};
  CLSIDFromProgID(u"A.B", &classId);
  ComPtr<IUnknown> object;
  CoCreateInstance({}, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, object.PutVoid());
  // What was read is written again with what is new; a file that is not one stays as it is.
  HKEY made = nullptr;
  if (RegCreateKeyExW(HKEY_CLASSES_ROOT, u"new", 0, nullptr, 0, KEY_WRITE, nullptr, &made,
                      nullptr) == ERROR_SUCCESS) {
    RegCloseKey(made);
    HostUseRegistryFile(file.path().c_str());
    Require(RegOpenKeyExW(HKEY_CLASSES_ROOT, u"new", 0, KEY_READ, &made) == ERROR_SUCCESS,
            "what was written can be read");
    RegCloseKey(made);
  }
  HostUseRegistryFile(nullptr);
}

void RunRegistrationScript(Bytes input) {
  HostUseRegistryFile(nullptr);
  ComPtr<IRegistrar> registrar;
  CoCreateInstance(CLSID_Registrar, nullptr, CLSCTX_INPROC_SERVER, IID_IRegistrar,
                   registrar.PutVoid());
  Require(bool{registrar}, "the host has a registrar");
  registrar->AddReplacement(u"MODULE", u"x'y");
  const std::u16string script = Widened(input);
  registrar->StringRegister(script.c_str());
  registrar->StringUnregister(script.c_str());
}

}  // namespace fuzz
