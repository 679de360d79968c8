// SPDX-License-Identifier: MIT
// The error object of the calling thread, as a client meets it after a failing call.
#pragma once

#include <optional>
#include <string>

#include "platform/com_ptr.h"

namespace tests {

struct ThreadError {
  // Without a value: a null text.
  std::optional<std::basic_string<OLECHAR>> source, description;
  GUID guid{};
};

// Takes the error object away from the thread; without a value when there was none.
inline std::optional<ThreadError> TakeThreadError() {
  platform::ComPtr<IErrorInfo> object;
  if (GetErrorInfo(0, object.Put()) != S_OK) return std::nullopt;
  const auto textOf = [&](HRESULT (STDMETHODCALLTYPE IErrorInfo::*get)(BSTR*)) {
    std::optional<std::basic_string<OLECHAR>> text;
    BSTR owned = nullptr;
    if (SUCCEEDED((object.Get()->*get)(&owned)) && owned) text.emplace(owned, SysStringLen(owned));
    SysFreeString(owned);
    return text;
  };
  ThreadError error{textOf(&IErrorInfo::GetSource), textOf(&IErrorInfo::GetDescription)};
  object->GetGUID(&error.guid);
  return error;
}

// Puts an object with a description on the thread, which a plain result code must leave there.
inline void PutErrorText(LPCOLESTR description) {
  platform::ComPtr<ICreateErrorInfo> object;
  if (FAILED(CreateErrorInfo(object.Put()))) return;
  object->SetDescription(const_cast<LPOLESTR>(description));
  SetErrorInfo(0, object.As<IErrorInfo>().Get());
}

}  // namespace tests
