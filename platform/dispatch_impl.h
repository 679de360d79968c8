// IDispatch of a dual interface over the registered type library.
#pragma once

#include "platform/com_ptr.h"
#include "platform/type_info_holder.h"

namespace platform {

// Implements the four IDispatch slots of Interface; the class derives from this instead of
// Interface.
template <class Interface, const GUID* LibraryId, WORD Major = 1, WORD Minor = 0>
class IDispatchImpl : public Interface {
 public:
  // 1; null count: E_POINTER.
  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    if (!count) return E_POINTER;
    *count = 1;
    return S_OK;
  }

  // Null out: E_POINTER; index above 0: DISP_E_BADINDEX; else what the registered library gives.
  STDMETHODIMP GetTypeInfo(UINT index, LCID locale, ITypeInfo** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (index != 0) return DISP_E_BADINDEX;
    return holder_.Get(locale, out);
  }

  // Member and parameter names as the library spells them, in any case.
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID locale,
                             DISPID* ids) override {
    return holder_.GetIDsOfNames(names, count, locale, ids);
  }

  // Calls the member with an empty error object: a plain failure does not carry the words of an
  // older one.
  STDMETHODIMP Invoke(DISPID member, REFIID, LCID locale, WORD flags, DISPPARAMS* params,
                      VARIANT* result, EXCEPINFO* exception, UINT* badArgument) override {
    SetErrorInfo(0, nullptr);
    ITypeInfo* info = nullptr;
    const HRESULT loaded = holder_.Get(locale, &info);
    if (FAILED(loaded)) return loaded;
    const HRESULT outcome = info->Invoke(static_cast<Interface*>(this), member, flags, params,
                                         result, exception, badArgument);
    info->Release();
    return outcome;
  }

 protected:
  ~IDispatchImpl() = default;

 private:
  static inline TypeInfoHolder holder_{kIidOf<Interface>, *LibraryId, Major, Minor};
};

}  // namespace platform
