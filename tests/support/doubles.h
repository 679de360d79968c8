// SPDX-License-Identifier: MIT
// What test doubles of interfaces have in common.
#pragma once

#include <atomic>

#include "platform/interface_id.h"

namespace tests {

// The IUnknown of an object that lives where it is declared: answers for its interfaces, counts and
// never destroys itself.
template <class First, class... Others>
class Double : public First, public Others... {
 public:
  constexpr explicit Double(int count = 0) noexcept : references(count) {}

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    const bool isFirst = IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, platform::kIidOf<First>);
    *out = isFirst ? static_cast<First*>(this) : nullptr;
    ((*out = IsEqualIID(iid, platform::kIidOf<Others>) ? static_cast<Others*>(this) : *out), ...);
    if (*out) static_cast<First*>(this)->AddRef();
    return *out ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++references); }
  STDMETHODIMP_(ULONG) Release() override { return static_cast<ULONG>(--references); }

  std::atomic<int> references;
};

// An IDispatch without members.
template <class Base>
class WithoutMembers : public Base {
 public:
  STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                      UINT*) override {
    return E_NOTIMPL;
  }
};

}  // namespace tests
