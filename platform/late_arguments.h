// SPDX-License-Identifier: MIT
// The arguments of a late-bound call as the type information takes them. Script languages hand over
// their variables, as references to VARIANTs: what goes in is the value behind a reference, however
// it was passed, and what comes out finds its way into the variable.
#pragma once

#include "platform/members.h"

namespace platform {

class LateArguments {
 public:
  LateArguments() = default;
  ~LateArguments() {
    for (UINT i = 0; i < count_; ++i) {
      if (owned_[i]) VariantClear(&values_[i]);
      VariantClear(&rooms_[i]);
    }
  }
  LateArguments(const LateArguments&) = delete;
  LateArguments& operator=(const LateArguments&) = delete;

  static bool HaveReferences(const DISPPARAMS& given) noexcept {
    const bool isThere = given.rgvarg != nullptr;
    return isThere && std::any_of(given.rgvarg, given.rgvarg + given.cArgs,
                                  [](const VARIANT& one) { return (one.vt & VT_BYREF) != 0; });
  }

  // Puts copies of values in the place of references that go in, and room of this call's own in the
  // place of variables that take something out. A call that does not fit the member stays as it is,
  // for the type information to refuse. E_INVALIDARG for a null reference, and what VariantCopyInd
  // gives; *badArgument is then the index in rgvarg.
  HRESULT Resolve(const Member& member, const DISPPARAMS& given, UINT* badArgument) noexcept {
    params_ = given;
    if (given.cArgs != member.parameterCount || given.cArgs > Member::kMostParameters) return S_OK;
    if (given.cNamedArgs > given.cArgs || (given.cNamedArgs > 0 && !given.rgdispidNamedArgs)) {
      return S_OK;
    }
    params_.rgvarg = values_;
    for (; count_ < given.cArgs; ++count_) {
      const HRESULT result = Take(count_, TypeOf(member, given, count_), given.rgvarg[count_]);
      if (SUCCEEDED(result)) continue;
      if (badArgument) *badArgument = count_;
      return result;
    }
    return S_OK;
  }

  DISPPARAMS* Params() noexcept { return &params_; }

  // Hands over what came out, the first parameter first. Fails as VariantCopy does.
  HRESULT Give() noexcept {
    for (UINT i = count_; i-- > 0;) {
      if (!receivers_[i]) continue;
      const HRESULT result = VariantCopy(receivers_[i], &rooms_[i]);
      if (FAILED(result)) return result;
    }
    return S_OK;
  }

 private:
  static VARTYPE TypeOf(const Member& member, const DISPPARAMS& given, UINT index) noexcept {
    UINT parameter = given.cArgs - 1 - index;
    if (index < given.cNamedArgs) {
      const DISPID id = given.rgdispidNamedArgs[index];
      parameter = id == DISPID_PROPERTYPUT ? given.cArgs - 1 : static_cast<UINT>(id);
    }
    return parameter < given.cArgs ? member.parameters[parameter] : kPassedAsItStands;
  }

  HRESULT Take(UINT index, VARTYPE type, VARIANT& source) noexcept {
    VARIANT& value = values_[index] = source;
    if ((source.vt & VT_BYREF) == 0 || type == kPassedAsItStands) return S_OK;
    if (!source.byref) return E_INVALIDARG;
    if (type == kValueGoesIn) {
      value = {};
      owned_[index] = true;
      return VariantCopyInd(&value, &source);
    }
    if (source.vt != (VT_BYREF | VT_VARIANT)) return S_OK;
    rooms_[index].vt = type;
    value.vt = VT_BYREF | type;
    value.byref = &rooms_[index].llVal;
    receivers_[index] = source.pvarVal;
    return S_OK;
  }

  DISPPARAMS params_{};
  UINT count_ = 0;
  VARIANT values_[Member::kMostParameters]{};
  bool owned_[Member::kMostParameters]{};
  VARIANT rooms_[Member::kMostParameters]{};
  VARIANT* receivers_[Member::kMostParameters]{};
};

}  // namespace platform
