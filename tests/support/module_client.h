// SPDX-License-Identifier: MIT
// The module as client programs see it: a file that is loaded, and its exports. It is loaded once,
// from beside the test program or from where it was built, and stays until the process ends.
#pragma once

#include <vector>

#include "platform/com_ptr.h"
#include "platform/module_loader.h"
#include "platform/platform.h"

namespace tests {

class ModuleClient {
 public:
  // Ends the program if the module cannot be loaded.
  static const ModuleClient& Get();

  HINSTANCE Handle() const noexcept { return handle_; }
  HRESULT GetClassObject(REFCLSID classId, REFIID iid, void** out) const {
    return getClassObject_(classId, iid, out);
  }
  HRESULT CanUnloadNow() const { return canUnloadNow_(); }
  HRESULT RegisterServer() const { return registerServer_(); }
  HRESULT UnregisterServer() const { return unregisterServer_(); }

  // A new object through the class object of the module; null when there is none.
  template <class Interface>
  platform::ComPtr<Interface> Create(REFCLSID classId) const {
    platform::ComPtr<Interface> object;
    CreateInside(nullptr, classId, platform::kIidOf<Interface>, object.PutVoid());
    return object;
  }
  // The same inside an aggregate, or without one if outer is null.
  HRESULT CreateInside(IUnknown* outer, REFCLSID classId, REFIID iid, void** out) const;

 private:
  using Factories = HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**);
  using Operation = HRESULT STDAPICALLTYPE();

  ModuleClient();

  platform::LoadedModule module_;
  Factories* getClassObject_;
  Operation *canUnloadNow_, *registerServer_, *unregisterServer_;
  HINSTANCE handle_ = nullptr;
};

// The host finds the module's classes while this lives.
class PublishedClasses {
 public:
  PublishedClasses();
  ~PublishedClasses();
  PublishedClasses(const PublishedClasses&) = delete;
  PublishedClasses& operator=(const PublishedClasses&) = delete;

 private:
  std::vector<DWORD> cookies_;
};

}  // namespace tests
