// SPDX-License-Identifier: MIT
#include "host/services/error_words.h"

#include <algorithm>
#include <string_view>

#include "host/base/last_error.h"
#include "host/base/results.h"

namespace {

constexpr struct {
  HRESULT code;
  std::u16string_view words;
} kRows[] = {
    {E_NOTIMPL, u"Not implemented.\r\n"},
    {E_NOINTERFACE, u"No such interface.\r\n"},
    {E_POINTER, u"Invalid pointer.\r\n"},
    {E_ABORT, u"Operation aborted.\r\n"},
    {E_FAIL, u"Call failed.\r\n"},
    {E_UNEXPECTED, u"Unexpected failure.\r\n"},
    {E_ACCESSDENIED, u"Access denied.\r\n"},
    {E_OUTOFMEMORY, u"Out of memory.\r\n"},
    {E_INVALIDARG, u"Invalid parameter.\r\n"},
};

DWORD Fail(LONG error) noexcept {
  SetLastError(static_cast<DWORD>(error));
  return 0;
}

}  // namespace

DWORD FormatMessageW(DWORD flags, const void*, DWORD code, DWORD, LPWSTR target, DWORD room,
                     void*) noexcept {
  if (flags != (FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS) || target == nullptr) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  const auto* const row = std::find_if(std::begin(kRows), std::end(kRows), [=](const auto& known) {
    return known.code == static_cast<HRESULT>(code);
  });
  if (row == std::end(kRows)) return Fail(ERROR_MR_MID_NOT_FOUND);
  if (row->words.size() >= room) return Fail(ERROR_INSUFFICIENT_BUFFER);
  *std::copy(row->words.begin(), row->words.end(), target) = 0;
  return static_cast<DWORD>(row->words.size());
}
