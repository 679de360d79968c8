// A class for tests of class look-up: its factory says how it was called, its objects count.
#pragma once

#include "tests/support/doubles.h"

namespace tests {

// Answers IPersist with an identifier whose first field is the number that the object was given.
class NumberedObject final : public Double<IPersist> {
 public:
  NumberedObject(ULONG number, std::atomic<int>& alive) : number_(number), alive_(alive) {
    ++alive_;
  }
  ~NumberedObject() { --alive_; }

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
  const ULONG number_;
  std::atomic<int>& alive_;
};

// Lives where it was made, whatever its count says, which begins at 1; its objects are numbered
// from 1 on.
class RecordingFactory final : public Double<IClassFactory> {
 public:
  constexpr RecordingFactory() noexcept : Double(1) {}

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    ++calls;
    lastOuter = outer;
    *out = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    if (FAILED(result)) {
      // What a failing factory leaves behind is not an object.
      *out = this;
      return result;
    }
    auto* object = new NumberedObject(calls, alive);
    object->AddRef();
    const HRESULT hr = object->QueryInterface(iid, out);
    object->Release();
    return hr;
  }
  STDMETHODIMP LockServer(BOOL lock) override {
    locks += lock ? 1 : -1;
    return S_OK;
  }

  std::atomic<ULONG> calls{0};
  std::atomic<int> locks{0};
  // A member, since a static one would be unique in the process and keep its module loaded.
  std::atomic<int> alive{0};
  std::atomic<IUnknown*> lastOuter{nullptr};
  HRESULT result = S_OK;
};

// The class that the test module serves.
inline constexpr CLSID kModuleClass{
    0x0A1B53E1, 0x6C1F, 0x4E27, {0x9C, 0x0D, 0x5C, 0x1E, 0x7B, 0x3A, 0x9D, 0x01}};

}  // namespace tests
