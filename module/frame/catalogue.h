// SPDX-License-Identifier: MIT
// The catalogue: which classes the module has, in the order of registration and look-up, and the
// operations behind its exports. The table is module-wide; any thread may call.
#pragma once

#include <atomic>

#include "platform/class_factory.h"

namespace rastel {

// One creatable class.
struct CatalogueRow {
  const CLSID* classId;  // null in the row that closes the table
  const char* name;
  WORD script;  // number of the class's registration script
  // Enters the class with the host (true) or removes it (false).
  HRESULT (*registration)(const CatalogueRow& row, bool enter) noexcept;
  HRESULT (*classObjectCreator)(platform::InstanceCreator creator, REFIID iid, void** out) noexcept;
  platform::InstanceCreator instanceCreator;
  // Made at the first request and kept until the module goes.
  std::atomic<IUnknown*> classObject;
  DWORD registrationCookie;
  LPCOLESTR (*description)() noexcept;
  const void* (*categories)() noexcept;
  void (*objectMain)(bool attached) noexcept;
};

// The 21 rows and the closing one.
CatalogueRow* Catalogue() noexcept;
// The row of a class; null when there is none.
CatalogueRow* FindRow(REFCLSID classId) noexcept;

// Module entry and exit: the handle and the lock of the module, the rows' object mains, and on exit
// the cached class objects.
void AttachModule(HINSTANCE module) noexcept;
void DetachModule() noexcept;

// The handle given at attach; null outside the module's life.
HINSTANCE ModuleHandle() noexcept;

// Behind DllGetClassObject. Null out: E_POINTER; module not attached: E_UNEXPECTED; no such class:
// CLASS_E_CLASSNOTAVAILABLE; else what the cached class object answers.
HRESULT GetClassObject(REFCLSID classId, REFIID iid, void** out) noexcept;

// Behind DllCanUnloadNow: S_OK when nothing of the module is in use, else S_FALSE.
HRESULT CanUnloadNow() noexcept;

// Behind DllRegisterServer: the rows in order, each one's registration and then its categories; the
// first failure ends it and is returned.
HRESULT RegisterServer() noexcept;

// Behind DllUnregisterServer: the rows in the same order, each one's categories and then its
// registration; the first failure ends the walk. S_OK all the same: installers rely on it.
HRESULT UnregisterServer() noexcept;

}  // namespace rastel
