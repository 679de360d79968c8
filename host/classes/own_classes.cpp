// SPDX-License-Identifier: MIT
#include "host/classes/own_classes.h"

#include "host/base/references.h"
#include "host/classes/free_threaded_marshaler.h"
#include "host/registry/script_runner.h"

namespace host {
namespace {

struct HostClass {
  CLSID classId;
  CreateObject* create;
};

// A marshaler that stands alone reads what the others wrote.
HRESULT CreateUnmarshaler(REFIID iid, void** out) {
  Reference<IUnknown> marshaler;
  IUnknown* inner = nullptr;
  const HRESULT hr = CoCreateFreeThreadedMarshaler(nullptr, &inner);
  if (FAILED(hr)) return hr;
  marshaler.Adopt(inner);
  return marshaler->QueryInterface(iid, out);
}

constexpr HostClass kHostClasses[] = {
    {kFreeThreadedMarshalerClass, CreateUnmarshaler},
    {CLSID_Registrar, CreateRegistrar},
};

}  // namespace

CreateObject* FindHostClass(REFCLSID classId) noexcept {
  for (const HostClass& row : kHostClasses) {
    if (row.classId == classId) return row.create;
  }
  return nullptr;
}

}  // namespace host
