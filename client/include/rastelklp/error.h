// SPDX-License-Identifier: MIT
// What the library raises where a slot fails.
#pragma once

#include <cstdio>
#include <stdexcept>
#include <string>

#include "platform/com_ptr.h"
#include "rastelklp/error_words.h"
#include "rastelklp/text.h"

namespace rastelklp {

class Error : public std::runtime_error {
 public:
  // Right behind the failure, on its thread: a report's words are fetched from the thread's error
  // object. Plain codes have words of their own, and never those of an older report.
  explicit Error(HRESULT code) : Error(code, WordsOf(code)) {}
  // With words of the caller, UTF-8.
  Error(HRESULT code, const std::string& text, const std::string& source = {})
      : Error(code, Words{text, source}) {}

  HRESULT code() const noexcept { return code_; }
  // Of one of the module's numbered reports, 1114 for instance; 0 for all others.
  int number() const noexcept { return NumberOf(code_); }
  // The report's text, as clients compare it, or the code's words; UTF-8.
  const std::string& text() const noexcept { return text_; }
  // The ProgID of the class that reported; empty for plain codes.
  const std::string& source() const noexcept { return source_; }
  // What a numbered report means, in English; empty for all others.
  const char* hint() const noexcept { return HintOf(code_); }

 private:
  struct Words {
    std::string text, source;
  };

  Error(HRESULT code, const Words& words)
      : std::runtime_error(InFull(code, words)),
        code_(code),
        text_(words.text),
        source_(words.source) {}

  static int NumberOf(HRESULT code) noexcept {
    const unsigned number = static_cast<std::uint32_t>(code) - 0x80040000u;
    return number >= 1101 && number <= 1130 ? static_cast<int>(number) : 0;
  }
  static const char* HintOf(HRESULT code) noexcept {
    return detail::FindWords(detail::kReportHints, static_cast<std::uint32_t>(NumberOf(code)));
  }

  static Words WordsOf(HRESULT code) {
    platform::ComPtr<IErrorInfo> report;
    if ((NumberOf(code) != 0 || code == DISP_E_EXCEPTION) &&
        GetErrorInfo(0, report.Put()) == S_OK) {
      Text text;
      Text source;
      report->GetDescription(text.put());
      report->GetSource(source.put());
      return {text, source};
    }
    return {detail::FindWords(detail::kPlainCodes, static_cast<std::uint32_t>(code)), {}};
  }

  static std::string InFull(HRESULT code, const Words& words) {
    char bits[16];
    std::snprintf(bits, sizeof bits, "0x%08X", static_cast<unsigned>(code));
    std::string full = bits;
    if (!words.source.empty()) full += " from " + words.source;
    if (!words.text.empty()) full += ": " + words.text;
    if (*HintOf(code)) full += std::string(" (") + HintOf(code) + ")";
    return full;
  }

  HRESULT code_;
  std::string text_, source_;
};

namespace detail {
[[noreturn, gnu::cold, gnu::noinline]] inline void Raise(HRESULT code) { throw Error(code); }
}  // namespace detail

// Raises Error for a failure; hands a success back, which S_FALSE is too.
inline HRESULT check_hresult(HRESULT result) {
  if (result < 0) detail::Raise(result);
  return result;
}

}  // namespace rastelklp
