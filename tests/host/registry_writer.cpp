// SPDX-License-Identifier: MIT
// A process that enters ten keys into the registry, for the tests of the registry's file:
//   registry_writer <letter> [NAME=value ...]
// makes <letter>\0 to <letter>\9 where the environment says that the registry lies, which is the
// given variables and nothing else.
#include <cstdlib>

#include "platform/platform.h"

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  clearenv();
  for (int i = 2; i < argc; ++i) putenv(argv[i]);
  for (OLECHAR digit = '0'; digit <= '9'; ++digit) {
    const OLECHAR path[] = {static_cast<OLECHAR>(*argv[1]), '\\', digit, 0};
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_CLASSES_ROOT, path, 0, nullptr, 0, KEY_WRITE, nullptr, &key,
                        nullptr) != ERROR_SUCCESS) {
      return 1;
    }
    RegCloseKey(key);
  }
  return 0;
}
