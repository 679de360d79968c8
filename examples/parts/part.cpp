// SPDX-License-Identifier: MIT
// The module around a part: its object, its factory and its exports. Compiled into each part by the
// part's own compiler, in C++17 without run-time types and exceptions where the part wants that.
#include "examples/parts/part.h"

#include <atomic>
#include <new>

#include "platform/com_ptr.h"
#include "platform/module_file.h"
#include "platform/registrar.h"

namespace {

std::atomic<long> alive{0};

class Filter final : public IPictureFilter {
 public:
  Filter() noexcept { ++alive; }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) noexcept override {
    const bool isServed = IsEqualGUID(iid, IID_IUnknown) || IsEqualGUID(iid, IID_IDispatch) ||
                          IsEqualGUID(iid, IID_IPictureFilter);
    *out = isServed ? this : nullptr;
    if (isServed) AddRef();
    return isServed ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() noexcept override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  STDMETHODIMP GetTypeInfoCount(UINT* count) noexcept override {
    *count = 0;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                             DISPID* ids) noexcept override {
    const OLECHAR* expected = OLESTR("Apply");
    const OLECHAR* name = count == 1 ? names[0] : OLESTR("");
    while (*expected && *name == *expected) ++name, ++expected;
    const bool isKnown = *name == *expected;
    if (count > 0) ids[0] = isKnown ? kApply : DISPID_UNKNOWN;
    return isKnown ? S_OK : DISP_E_UNKNOWNNAME;
  }
  STDMETHODIMP Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT*,
                      EXCEPINFO*, UINT*) noexcept override {
    if (member != kApply) return DISP_E_MEMBERNOTFOUND;
    if (parameters->cArgs != 1) return DISP_E_BADPARAMCOUNT;
    const VARIANT& picture = parameters->rgvarg[0];
    return picture.vt == VT_DISPATCH ? Apply(picture.pdispVal) : DISP_E_TYPEMISMATCH;
  }
  STDMETHODIMP Apply(IDispatch* picture) noexcept override {
    return picture ? ApplyPart(*picture) : E_POINTER;
  }

 private:
  static constexpr DISPID kApply = 1;

  ~Filter() { --alive; }

  std::atomic<ULONG> references_{0};
};

// Made with the module's memory.
class Factory final : public IClassFactory {
 public:
  STDMETHODIMP QueryInterface(REFIID iid, void** out) noexcept override {
    const bool isServed = IsEqualGUID(iid, IID_IUnknown) || IsEqualGUID(iid, IID_IClassFactory);
    *out = isServed ? this : nullptr;
    return isServed ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() noexcept override { return 2; }
  STDMETHODIMP_(ULONG) Release() noexcept override { return 1; }
  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) noexcept override {
    *out = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    auto* const filter = new (std::nothrow) Filter();
    if (!filter) return E_OUTOFMEMORY;
    filter->AddRef();
    const HRESULT result = filter->QueryInterface(iid, out);
    filter->Release();
    return result;
  }
  STDMETHODIMP LockServer(BOOL lock) noexcept override {
    alive += lock ? 1 : -1;
    return S_OK;
  }
};

Factory factory;

constexpr OLECHAR kScript[] = OLESTR(
    "HKCR { ForceRemove %PROGID% = s '%PROGID%' { CLSID = s '%CLASS%' } NoRemove CLSID { "
    "ForceRemove %CLASS% = s '%PROGID%' { ProgID = s '%PROGID%' InprocServer32 = s '%MODULE%' { "
    "val ThreadingModel = s 'Both' } } } }");

// Enters the class, or takes it out, by the host's registrar.
HRESULT RunScript(bool isEntering) noexcept {
  OLECHAR classText[39];
  StringFromGUID2(kPart.classId, classText, 39);
  const auto file = platform::ModuleFileName(platform::ThisModule());
  platform::ComPtr<IRegistrar> registrar;
  HRESULT result = CoCreateInstance(CLSID_Registrar, nullptr, CLSCTX_INPROC_SERVER, IID_IRegistrar,
                                    registrar.PutVoid());
  if (FAILED(result)) return result;
  registrar->AddReplacement(OLESTR("PROGID"), kPart.progId);
  registrar->AddReplacement(OLESTR("CLASS"), classText);
  registrar->AddReplacement(OLESTR("MODULE"), file.c_str());
  return isEntering ? registrar->StringRegister(kScript) : registrar->StringUnregister(kScript);
}

}  // namespace

#define PART_EXPORT extern "C" __attribute__((visibility("default")))

PART_EXPORT HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID classId, REFIID iid, LPVOID* out) {
  *out = nullptr;
  if (!IsEqualGUID(classId, kPart.classId)) return CLASS_E_CLASSNOTAVAILABLE;
  return factory.QueryInterface(iid, out);
}
PART_EXPORT HRESULT STDAPICALLTYPE DllCanUnloadNow() { return alive == 0 ? S_OK : S_FALSE; }
PART_EXPORT HRESULT STDAPICALLTYPE DllRegisterServer() { return RunScript(true); }
PART_EXPORT HRESULT STDAPICALLTYPE DllUnregisterServer() { return RunScript(false); }
