// SPDX-License-Identifier: MIT
#include "host/services/error_objects.h"

#include <pthread.h>

#include <new>
#include <utility>

#include "host/base/counted_object.h"
#include "host/values/strings.h"

namespace host {

class ErrorObject final
    : public CountedObject<ErrorObject, Serves<ICreateErrorInfo, IID_ICreateErrorInfo>,
                           Serves<IErrorInfo, IID_IErrorInfo>> {
  friend CountedObject;

 public:
  STDMETHODIMP SetGUID(REFGUID guid) noexcept override {
    guid_ = guid;
    return S_OK;
  }
  STDMETHODIMP SetSource(LPOLESTR text) noexcept override { return SetText(source_, text); }
  STDMETHODIMP SetDescription(LPOLESTR text) noexcept override {
    return SetText(description_, text);
  }
  STDMETHODIMP SetHelpFile(LPOLESTR text) noexcept override { return SetText(helpFile_, text); }
  STDMETHODIMP SetHelpContext(DWORD helpContext) noexcept override {
    helpContext_ = helpContext;
    return S_OK;
  }

  STDMETHODIMP GetGUID(GUID* guid) noexcept override {
    if (!guid) return E_INVALIDARG;
    *guid = guid_;
    return S_OK;
  }
  STDMETHODIMP GetSource(BSTR* text) noexcept override { return CopyText(source_, text); }
  STDMETHODIMP GetDescription(BSTR* text) noexcept override { return CopyText(description_, text); }
  STDMETHODIMP GetHelpFile(BSTR* text) noexcept override { return CopyText(helpFile_, text); }
  STDMETHODIMP GetHelpContext(DWORD* helpContext) noexcept override {
    if (!helpContext) return E_INVALIDARG;
    *helpContext = helpContext_;
    return S_OK;
  }

 private:
  ~ErrorObject() {
    SysFreeString(source_);
    SysFreeString(description_);
    SysFreeString(helpFile_);
  }

  static HRESULT CopyText(const OLECHAR* text, BSTR* out) noexcept {
    if (!out) return E_INVALIDARG;
    *out = SysAllocString(text);
    return text && !*out ? E_OUTOFMEMORY : S_OK;
  }

  // A failure leaves the old text.
  static HRESULT SetText(BSTR& member, const OLECHAR* text) noexcept {
    BSTR copy = nullptr;
    const HRESULT result = CopyText(text, &copy);
    if (SUCCEEDED(result)) SysFreeString(std::exchange(member, copy));
    return result;
  }

  GUID guid_{};
  BSTR source_ = nullptr;
  BSTR description_ = nullptr;
  BSTR helpFile_ = nullptr;
  DWORD helpContext_ = 0;
};

namespace {

thread_local IErrorInfo* errorSlot = nullptr;
thread_local bool errorSlotClosed = false;

// Has the slot of a thread emptied at the thread's end. The object that goes may set another one:
// by then the slot is closed. The system's own list of what ends with a thread asks for no memory,
// as the end of a variable of the language does.
class ErrorSlotCleaner {
 public:
  ErrorSlotCleaner() noexcept {
    isKnown_ = pthread_key_create(&key_, [](void*) {
                 errorSlotClosed = true;
                 if (IErrorInfo* last = std::exchange(errorSlot, nullptr)) last->Release();
               }) == 0;
  }
  // False: the thread's end would not be noticed.
  bool Watch() const noexcept { return isKnown_ && pthread_setspecific(key_, &errorSlot) == 0; }

 private:
  pthread_key_t key_{};
  bool isKnown_ = false;
};
const ErrorSlotCleaner errorSlotCleaner;

}  // namespace
}  // namespace host

HRESULT STDAPICALLTYPE CreateErrorInfo(ICreateErrorInfo** out) {
  if (!out) return E_INVALIDARG;
  *out = new (std::nothrow) host::ErrorObject;
  return *out ? S_OK : E_OUTOFMEMORY;
}

HRESULT STDAPICALLTYPE SetErrorInfo(ULONG reserved, IErrorInfo* object) {
  if (reserved != 0) return E_INVALIDARG;
  if (object) {
    if (host::errorSlotClosed) return E_UNEXPECTED;
    if (!host::errorSlotCleaner.Watch()) return E_OUTOFMEMORY;
    object->AddRef();
  }
  if (IErrorInfo* old = std::exchange(host::errorSlot, object)) old->Release();
  return S_OK;
}

HRESULT STDAPICALLTYPE GetErrorInfo(ULONG reserved, IErrorInfo** out) {
  if (!out || reserved != 0) return E_INVALIDARG;
  *out = std::exchange(host::errorSlot, nullptr);
  return *out ? S_OK : S_FALSE;
}
