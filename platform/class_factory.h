// SPDX-License-Identifier: MIT
// Class objects: the factory that a catalogue row keeps, and what a coclass says of itself.
#pragma once

#include "platform/com_object.h"

namespace platform {

// Makes an object of one class; outer unknowns choose aggregation. See CreateObject.
using InstanceCreator = HRESULT (*)(IUnknown* outer, REFIID iid, void** out) noexcept;

// The class object over an instance creator. Any thread may call.
class CComClassFactory : public CComObjectRootEx<CComMultiThreadModel>, public IClassFactory {
 public:
  explicit CComClassFactory(InstanceCreator creator) noexcept : creator_(creator) {}

  static QueryTable GetQueryTable() noexcept {
    static constexpr QueryRow kRows[] = {DirectRow<CComClassFactory, IClassFactory>()};
    return kRows;
  }

  // Null out: E_POINTER; *out is cleared; an outer unknown with any identifier but IID_IUnknown:
  // CLASS_E_NOAGGREGATION; else what the instance creator says.
  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (outer && !IsEqualIID(iid, IID_IUnknown)) return CLASS_E_NOAGGREGATION;
    return creator_(outer, iid, out);
  }

  // Holds the module loaded, or lets it go. S_OK.
  STDMETHODIMP LockServer(BOOL lock) override {
    if (lock) {
      LockModule();
    } else {
      UnlockModule();
    }
    return S_OK;
  }

 protected:
  ~CComClassFactory() = default;

 private:
  InstanceCreator creator_;
};

// A class object over an instance creator: the factory above, or one that is made of it.
template <class Factory = CComClassFactory>
HRESULT CreateClassObject(InstanceCreator creator, REFIID iid, void** out) noexcept {
  if (!out) return E_POINTER;
  *out = nullptr;
  auto* factory = new (std::nothrow) CComObjectCached<Factory>(creator);
  if (!factory) return E_OUTOFMEMORY;
  HRESULT result = factory->InitialConstruct();
  if (SUCCEEDED(result)) result = factory->QueryInterface(iid, out);
  if (FAILED(result)) delete factory;
  return result;
}

// Base of every coclass: names its class.
template <class Class, const CLSID* ClassId>
class CComCoClass {
 public:
  static const CLSID& GetObjectCLSID() noexcept { return *ClassId; }

 protected:
  ~CComCoClass() = default;
};

}  // namespace platform
