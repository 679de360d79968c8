#include "host/classes/own_classes.h"

#include "host/base/references.h"
#include "host/classes/free_threaded_marshaler.h"
#include "host/registry/registrar.h"

namespace host {
namespace {

struct HostClass {
  CLSID classId;
  HRESULT (*create)(REFIID iid, void** out);
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

const HostClass* Find(REFCLSID classId) noexcept {
  for (const HostClass& row : kHostClasses) {
    if (row.classId == classId) return &row;
  }
  return nullptr;
}

}  // namespace

HRESULT CreateHostClass(REFCLSID classId, IUnknown* outer, REFIID iid, void** out) noexcept {
  const HostClass* row = Find(classId);
  if (row == nullptr) return REGDB_E_CLASSNOTREG;
  if (outer != nullptr) return CLASS_E_NOAGGREGATION;
  return row->create(iid, out);
}

bool IsHostClass(REFCLSID classId) noexcept { return Find(classId) != nullptr; }

}  // namespace host
