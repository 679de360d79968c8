// The map that tests give to AOIs.
#pragma once

#include <functional>

#include "interfaces/attribute.h"

namespace tests {

// A map in name only, which counts its references and can be told what to do when it goes or is
// asked for its dispatch interface or a clone.
class MapDouble final : public IAttributeMapKLP {
 public:
  ULONG references = 1;
  HRESULT dispatchResult = S_OK;
  std::function<void()> onRelease;
  std::function<void()> onClone;
  IAttributeMapKLP* clone = nullptr;

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    if (IsEqualIID(iid, IID_IDispatch) && FAILED(dispatchResult)) return dispatchResult;
    if (!IsEqualIID(iid, IID_IUnknown) && !IsEqualIID(iid, IID_IDispatch) &&
        !IsEqualIID(iid, IID_IAttributeMapKLP)) {
      return E_NOINTERFACE;
    }
    *out = this;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references;
    if (onRelease) onRelease();
    return left;
  }
  STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                      UINT*) override {
    return E_NOTIMPL;
  }
  STDMETHODIMP get_Keys(SAFEARRAY**) override { return E_NOTIMPL; }
  STDMETHODIMP put_Value(VARIANT, VARIANT) override { return E_NOTIMPL; }
  STDMETHODIMP get_Value(VARIANT, VARIANT*) override { return E_NOTIMPL; }
  STDMETHODIMP Remove(VARIANT) override { return E_NOTIMPL; }
  STDMETHODIMP Exists(VARIANT, VARIANT_BOOL*) override { return E_NOTIMPL; }
  STDMETHODIMP Clear() override { return E_NOTIMPL; }
  STDMETHODIMP put_OverrideMode(VARIANT_BOOL) override { return E_NOTIMPL; }
  STDMETHODIMP get_OverrideMode(VARIANT_BOOL*) override { return E_NOTIMPL; }
  STDMETHODIMP get_KeyKind(KeyKindKLP*) override { return E_NOTIMPL; }
  STDMETHODIMP get_Count(LONG*) override { return E_NOTIMPL; }
  STDMETHODIMP Clone(IAttributeMapKLP** out) override {
    if (onClone) onClone();
    if (!clone) return E_NOTIMPL;
    *out = clone;
    clone->AddRef();
    return S_OK;
  }
  STDMETHODIMP GetEnumerator(IEnumAttributeEntryKLP**) override { return E_NOTIMPL; }
};

}  // namespace tests
