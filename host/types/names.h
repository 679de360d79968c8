// SPDX-License-Identifier: MIT
// The names in type tables are ASCII; the platform's are UTF-16 and compared without regard to
// case.
#pragma once

#include "host/base/unicode.h"
#include "host/values/strings.h"

namespace host {

inline bool SameName(LPCOLESTR text, const char* name) noexcept {
  for (; *name != 0; ++text, ++name) {
    if (FoldCase(*text) != FoldCase(static_cast<OLECHAR>(*name))) return false;
  }
  return *text == 0;
}

// Null when memory cannot be had.
inline BSTR NewText(const char* text) {
  const std::basic_string<OLECHAR> wide = ToUtf16(text);
  return SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
}

// A text for an out pointer, which may be null. False: memory cannot be had.
inline bool GiveText(const char* text, BSTR* out) {
  if (out == nullptr) return true;
  *out = text != nullptr ? NewText(text) : nullptr;
  return text == nullptr || *out != nullptr;
}

// What GetDocumentation gives; each out pointer may be null.
inline HRESULT GiveDocumentation(const char* itsName, const char* itsText, BSTR* name, BSTR* text,
                                 DWORD* helpContext, BSTR* helpFile) {
  if (name != nullptr) *name = nullptr;
  if (helpContext != nullptr) *helpContext = 0;
  if (helpFile != nullptr) *helpFile = nullptr;
  if (!GiveText(itsText, text)) return E_OUTOFMEMORY;
  if (GiveText(itsName, name)) return S_OK;
  if (text != nullptr) {
    SysFreeString(*text);
    *text = nullptr;
  }
  return E_OUTOFMEMORY;
}

}  // namespace host
