// SPDX-License-Identifier: MIT
// The module as an installed program finds it: entered with the host, its type library too, for as
// long as an object of this class lives.
#pragma once

#include <string>

#include "platform/platform.h"
#include "tests/support/temp_file.h"

namespace tests {

// From now on this program, and those it starts, find classes in this file; empty: in memory only.
// Only the embedded host can tell registries apart: elsewhere there is one, and nothing changes.
void UseRegistryFile(const std::string& path);

// The full path of the type library.
std::basic_string<OLECHAR> TypeLibraryFile();

class RegisteredModule {
 public:
  RegisteredModule();
  // The library goes last: it would take interfaces along that the module still has to find.
  ~RegisteredModule();
  RegisteredModule(const RegisteredModule&) = delete;
  RegisteredModule& operator=(const RegisteredModule&) = delete;

  // The first failure of the registration, else S_OK.
  HRESULT Result() const noexcept { return result_; }
  // Takes the module out again, and then the library. The first failure, else S_OK.
  HRESULT Unregister();

 private:
  // Of the embedded host, which this program and its children use from now on.
  TempFile registry_{"registry"};
  HRESULT result_ = S_OK;
  bool isRegistered_ = true;
};

}  // namespace tests
