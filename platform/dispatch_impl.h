// IDispatch of a dual interface over the registered type library.
#pragma once

#include "platform/com_ptr.h"
#include "platform/late_arguments.h"
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
  // older one. Arguments by reference are resolved as LateArguments tells, and to set an object is
  // to put it: the library has no members of that kind.
  STDMETHODIMP Invoke(DISPID member, REFIID, LCID locale, WORD flags, DISPPARAMS* params,
                      VARIANT* result, EXCEPINFO* exception, UINT* badArgument) override {
    SetErrorInfo(0, nullptr);
    if ((flags & DISPATCH_PROPERTYPUTREF) != 0) {
      flags = static_cast<WORD>((flags & ~DISPATCH_PROPERTYPUTREF) | DISPATCH_PROPERTYPUT);
    }
    ComPtr<ITypeInfo> info;
    const HRESULT loaded = holder_.Get(locale, info.Put());
    if (FAILED(loaded)) return loaded;
    const auto call = [&](DISPPARAMS* arguments) {
      return info->Invoke(static_cast<Interface*>(this), member, flags, arguments, result,
                          exception, badArgument);
    };
    if (!params || !LateArguments::HaveReferences(*params)) return call(params);
    const Members* const members = holder_.MembersOf(*info);
    if (!members) return E_OUTOFMEMORY;
    const Member* const called = members->Find(member, flags);
    if (!called) return call(params);
    LateArguments arguments;
    const HRESULT resolved = arguments.Resolve(*called, *params, badArgument);
    if (FAILED(resolved)) return resolved;
    const HRESULT outcome = call(arguments.Params());
    return SUCCEEDED(outcome) ? arguments.Give() : outcome;
  }

 protected:
  ~IDispatchImpl() = default;

 private:
  static inline TypeInfoHolder holder_{kIidOf<Interface>, *LibraryId, Major, Minor};
};

}  // namespace platform
