// SPDX-License-Identifier: MIT
// A small in-process server, loaded by the tests of class look-up.
#include "tests/support/doubles.h"

namespace {

std::atomic<int> alive{0}, locks{0};

// Answers IPersist with an identifier whose first field is the object's number, from 1 on.
class NumberedObject final : public tests::Double<IPersist> {
 public:
  explicit NumberedObject(ULONG number) : number_(number) { ++alive; }

  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = Double::Release();
    if (left == 0) delete this;
    return left;
  }
  STDMETHODIMP GetClassID(CLSID* classId) override {
    *classId = GUID{number_, 0, 0, {}};
    return S_OK;
  }

 private:
  ~NumberedObject() { --alive; }

  const ULONG number_;
};

class Factory final : public tests::Double<IClassFactory> {
 public:
  STDMETHODIMP CreateInstance(IUnknown*, REFIID iid, void** out) override {
    auto* object = new NumberedObject(++made_);
    object->AddRef();
    const HRESULT result = object->QueryInterface(iid, out);
    object->Release();
    return result;
  }
  STDMETHODIMP LockServer(BOOL lock) override {
    locks += lock ? 1 : -1;
    return S_OK;
  }

 private:
  std::atomic<ULONG> made_{0};
};

// Made with the module's memory: a host may ask while the module is being loaded again.
constinit Factory factory;

}  // namespace

extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID classId, REFIID iid, LPVOID* out) {
  *out = nullptr;
  if (classId.Data1 != 0x0A1B53E1) return CLASS_E_CLASSNOTAVAILABLE;
  return factory.QueryInterface(iid, out);
}

extern "C" HRESULT STDAPICALLTYPE DllCanUnloadNow() {
  return alive == 0 && locks == 0 ? S_OK : S_FALSE;
}
