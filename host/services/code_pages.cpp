// SPDX-License-Identifier: MIT
#include "host/services/code_pages.h"

#include <cstring>
#include <limits>
#include <string>

#include "host/base/last_error.h"
#include "host/base/unicode.h"

namespace {

constexpr std::size_t kLargestResult = std::numeric_limits<int>::max();

int Fail(LONG error) noexcept {
  SetLastError(static_cast<DWORD>(error));
  return 0;
}

bool IsKnown(UINT codePage) noexcept {
  return codePage == CP_ACP || codePage == CP_THREAD_ACP || codePage == CP_UTF8;
}

// Walks a text and writes it into the room: Take gives the next character, Put its units.
template <class Source, class Target, auto Take, auto Put, std::size_t kMostUnits>
int Convert(const Source* text, const Source* end, bool refuseIllFormed, Target* target,
            int room) noexcept {
  if (refuseIllFormed) {
    for (const Source* at = text; at != end;) {
      if (Take(at, end) == host::kIllFormed) return Fail(ERROR_NO_UNICODE_TRANSLATION);
    }
  }
  std::size_t written = 0;
  while (text != end) {
    const auto unit = *text;
    if (unit >= 0 && unit < 0x80) {
      ++text;
      if (room != 0) {
        if (written == static_cast<std::size_t>(room)) return Fail(ERROR_INSUFFICIENT_BUFFER);
        target[written] = static_cast<Target>(unit);
      }
      ++written;
      continue;
    }
    char32_t character = Take(text, end);
    if (character == host::kIllFormed) character = host::kReplacementCharacter;
    Target units[kMostUnits];
    const auto count = static_cast<std::size_t>(Put(character, units));
    if (room != 0) {
      if (count > static_cast<std::size_t>(room) - written) return Fail(ERROR_INSUFFICIENT_BUFFER);
      std::memcpy(target + written, units, count * sizeof(Target));
    }
    written += count;
  }
  if (written > kLargestResult) return Fail(ERROR_ARITHMETIC_OVERFLOW);
  return static_cast<int>(written);
}

}  // namespace

UINT GetACP() noexcept { return CP_UTF8; }

int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int bytes, LPWSTR target,
                        int roomUnits) noexcept {
  if (!IsKnown(codePage) || text == nullptr || bytes == 0 || roomUnits < 0 ||
      (target == nullptr && roomUnits != 0) || static_cast<const void*>(target) == text) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  const DWORD ignored = codePage == CP_UTF8 ? 0 : MB_PRECOMPOSED;
  if ((flags & ~(MB_ERR_INVALID_CHARS | ignored)) != 0) return Fail(ERROR_INVALID_FLAGS);
  const char* end = text + (bytes < 0 ? std::strlen(text) + 1 : static_cast<std::size_t>(bytes));
  return Convert<char, OLECHAR, host::TakeUtf8, host::PutUtf16, 2>(
      text, end, (flags & MB_ERR_INVALID_CHARS) != 0, target, roomUnits);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, int units, LPSTR target,
                        int roomBytes, LPCSTR defaultChar, BOOL* usedDefault) noexcept {
  if (!IsKnown(codePage) || text == nullptr || units == 0 || roomBytes < 0 ||
      (target == nullptr && roomBytes != 0) || static_cast<const void*>(text) == target ||
      (codePage == CP_UTF8 && (defaultChar != nullptr || usedDefault != nullptr))) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  const DWORD ignored = codePage == CP_UTF8 ? 0 : WC_NO_BEST_FIT_CHARS;
  if ((flags & ~(WC_ERR_INVALID_CHARS | ignored)) != 0) return Fail(ERROR_INVALID_FLAGS);
  if (usedDefault != nullptr) *usedDefault = FALSE;
  const OLECHAR* end = text + (units < 0 ? std::char_traits<OLECHAR>::length(text) + 1
                                         : static_cast<std::size_t>(units));
  return Convert<OLECHAR, char, host::TakeUtf16, host::PutUtf8, 4>(
      text, end, (flags & WC_ERR_INVALID_CHARS) != 0, target, roomBytes);
}
