// SPDX-License-Identifier: MIT
// The platform's result codes, and what they are made of.
#pragma once

#include "host/base/scalars.h"

constexpr HRESULT MakeResult(std::uint32_t bits) noexcept { return static_cast<HRESULT>(bits); }
constexpr bool FAILED(HRESULT hr) noexcept { return hr < 0; }
constexpr bool SUCCEEDED(HRESULT hr) noexcept { return hr >= 0; }
constexpr HRESULT HRESULT_FROM_WIN32(DWORD error) noexcept {
  return static_cast<HRESULT>(error) <= 0 ? static_cast<HRESULT>(error)
                                          : MakeResult((error & 0xFFFFu) | 0x80070000u);
}
constexpr HRESULT HRESULT_FROM_NT(LONG status) noexcept {
  return static_cast<HRESULT>(status | 0x10000000);
}
constexpr HRESULT MAKE_HRESULT(DWORD severity, DWORD facility, DWORD code) noexcept {
  return MakeResult(severity << 31 | facility << 16 | code);
}
constexpr SCODE MAKE_SCODE(DWORD severity, DWORD facility, DWORD code) noexcept {
  return MAKE_HRESULT(severity, facility, code);
}
constexpr bool IS_ERROR(HRESULT hr) noexcept { return FAILED(hr); }
constexpr LONG HRESULT_CODE(HRESULT hr) noexcept { return hr & 0xFFFF; }
constexpr LONG HRESULT_FACILITY(HRESULT hr) noexcept { return hr >> 16 & 0x1FFF; }
constexpr LONG HRESULT_SEVERITY(HRESULT hr) noexcept { return hr >> 31 & 1; }
constexpr LONG SCODE_CODE(SCODE code) noexcept { return HRESULT_CODE(code); }
constexpr LONG SCODE_FACILITY(SCODE code) noexcept { return HRESULT_FACILITY(code); }
constexpr LONG SCODE_SEVERITY(SCODE code) noexcept { return HRESULT_SEVERITY(code); }

#define RESULT_CODE(name, bits) inline constexpr HRESULT name = MakeResult(bits);
#include "host/base/result_codes.inc"
#undef RESULT_CODE
