// SPDX-License-Identifier: MIT
// What the platform says about a result code.
#pragma once

#include "platform/platform.h"

namespace platform {

// A new text without line ends; null for a code that the platform has no words for.
inline BSTR WordsOf(HRESULT code) noexcept {
  OLECHAR words[256];
  DWORD units = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                               static_cast<DWORD>(code), 0, words, 256, nullptr);
  while (units > 0 && words[units - 1] <= ' ') --units;
  return units > 0 ? SysAllocStringLen(words, units) : nullptr;
}

}  // namespace platform
