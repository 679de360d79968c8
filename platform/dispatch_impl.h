// SPDX-License-Identifier: MIT
// IDispatch of a dual interface over the registered type library.
#pragma once

#include "platform/com_ptr.h"
#include "platform/late_arguments.h"
#include "platform/result_words.h"
#include "platform/type_info_holder.h"
#include "platform/variant_enum.h"

namespace platform {

// For objects that late-bound callers cannot walk over.
struct NoElements {};

// Implements the four IDispatch slots of Interface; the class derives from this instead of
// Interface. Elements: has `static HRESULT Copy(Interface& object, SAFEARRAY** out)`, which gives a
// new array of VARIANTs with what the object holds now.
template <class Interface, const GUID* LibraryId, class Elements = NoElements, WORD Major = 1,
          WORD Minor = 0>
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
  // older one, but those that the platform has for the code. Arguments by reference are resolved as
  // LateArguments tells, and to set an object is to put it: the library has no members of that
  // kind. DISPID_NEWENUM, which the library does not know either, gives an enumerator over the
  // elements.
  STDMETHODIMP Invoke(DISPID member, REFIID, LCID locale, WORD flags, DISPPARAMS* params,
                      VARIANT* result, EXCEPINFO* exception, UINT* badArgument) override {
    SetErrorInfo(0, nullptr);
    if constexpr (!std::is_same_v<Elements, NoElements>) {
      const bool isAsked = (flags & (DISPATCH_METHOD | DISPATCH_PROPERTYGET)) != 0;
      if (member == DISPID_NEWENUM && isAsked) return GiveEnumerator(params, result);
    }
    if ((flags & DISPATCH_PROPERTYPUTREF) != 0) {
      flags = static_cast<WORD>((flags & ~DISPATCH_PROPERTYPUTREF) | DISPATCH_PROPERTYPUT);
    }
    ITypeInfo* info = nullptr;
    const HRESULT loaded = holder_.Look(locale, &info);
    if (FAILED(loaded)) return loaded;
    const auto call = [&](DISPPARAMS* arguments) {
      const HRESULT outcome = info->Invoke(static_cast<Interface*>(this), member, flags, arguments,
                                           result, exception, badArgument);
      if (outcome == DISP_E_EXCEPTION && exception && !exception->bstrDescription) {
        exception->bstrDescription = WordsOf(exception->scode);
      }
      return outcome;
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
  HRESULT GiveEnumerator(const DISPPARAMS* params, VARIANT* result) noexcept {
    if (params && params->cArgs > 0) return DISP_E_BADPARAMCOUNT;
    if (!result) return S_OK;
    VariantInit(result);
    SAFEARRAY* elements = nullptr;
    HRESULT outcome = Elements::Copy(static_cast<Interface&>(*this), &elements);
    if (FAILED(outcome)) return outcome;
    outcome = NewVariantEnum(*elements, &result->punkVal);
    SafeArrayDestroy(elements);
    if (SUCCEEDED(outcome)) result->vt = VT_UNKNOWN;
    return outcome;
  }

  static inline TypeInfoHolder holder_{kIidOf<Interface>, *LibraryId, Major, Minor};
};

}  // namespace platform
