// SPDX-License-Identifier: MIT
// What every object of the host has: its count of references, and the interfaces that it answers.
#pragma once

#include "host/base/references.h"

namespace host {

// An interface of an object, and the identifiers under which the object gives it out.
template <class Itself, const IID&... kIids>
struct Serves {
  using Interface = Itself;
  static bool Answers(REFIID iid) noexcept { return ((iid == kIids) || ...); }
};

// The base of an object that lives until its last reference is dropped. The rows are interfaces as
// Serves tells them; the first one is also the object's identity.
template <class Object, class First, class... Others>
class CountedObject : public First::Interface, public Others::Interface... {
 public:
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (iid == IID_IUnknown || First::Answers(iid)) {
      *out = static_cast<typename First::Interface*>(this);
    }
    ((*out = Others::Answers(iid) ? static_cast<typename Others::Interface*>(this) : *out), ...);
    if (*out == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return references_.Add(); }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = references_.Drop();
    if (left == 0) delete static_cast<Object*>(this);
    return left;
  }

 protected:
  CountedObject() = default;
  ~CountedObject() = default;

 private:
  ReferenceCount references_;
};

}  // namespace host
