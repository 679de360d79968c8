// SPDX-License-Identifier: MIT
// The platform's scalar types and identifiers, as they stand on a 64-bit little-endian system:
// LONG, ULONG, DWORD, HRESULT and BOOL are 32 bits, OLECHAR is one UTF-16 unit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "host/base/exported_names.h"

// Marks an operation that libRastelHost exports under its own name.
#define RASTEL_HOST_API extern "C" __attribute__((visibility("default")))

// The calling convention of interface slots and operations: the System V one, so nothing to say.
#define STDMETHODCALLTYPE
#define STDAPICALLTYPE
#define WINAPI
#define STDMETHODIMP HRESULT STDMETHODCALLTYPE
#define STDMETHODIMP_(type) type STDMETHODCALLTYPE
#define OLESTR(text) u##text

using BYTE = std::uint8_t;
using CHAR = char;
using SHORT = std::int16_t;
using USHORT = std::uint16_t;
using WORD = std::uint16_t;
using INT = int;
using UINT = unsigned int;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using LONGLONG = long long;
using ULONGLONG = unsigned long long;
using ULONG_PTR = std::uintptr_t;
using SIZE_T = std::size_t;
using BOOL = int;
using FLOAT = float;
using DOUBLE = double;
using HRESULT = std::int32_t;
using SCODE = std::int32_t;
using LSTATUS = std::int32_t;
using LCID = std::uint32_t;
using DISPID = std::int32_t;
using DATE = double;
using VARTYPE = std::uint16_t;
using VARIANT_BOOL = std::int16_t;

using OLECHAR = char16_t;
using WCHAR = char16_t;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using LPSTR = char*;
using LPCSTR = const char*;
using BSTR = OLECHAR*;
using LPVOID = void*;
using HGLOBAL = void*;

struct HINSTANCE__;
using HINSTANCE = HINSTANCE__*;
using HMODULE = HINSTANCE__*;
struct HKEY__;
using HKEY = HKEY__*;

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline bool IsEqualGUID(REFGUID a, REFGUID b) noexcept {
  return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}
inline bool IsEqualIID(REFIID a, REFIID b) noexcept { return IsEqualGUID(a, b); }
inline bool IsEqualCLSID(REFCLSID a, REFCLSID b) noexcept { return IsEqualGUID(a, b); }
inline bool operator==(REFGUID a, REFGUID b) noexcept { return IsEqualGUID(a, b); }

inline constexpr GUID GUID_NULL{};
inline constexpr CLSID CLSID_NULL{};
inline constexpr IID IID_NULL{};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"  // structures without a name
union LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  };
  LONGLONG QuadPart;
};
union ULARGE_INTEGER {
  struct {
    DWORD LowPart;
    DWORD HighPart;
  };
  ULONGLONG QuadPart;
};
#pragma GCC diagnostic pop
struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

constexpr WORD MAKELANGID(WORD primary, WORD sub) noexcept {
  return static_cast<WORD>(sub << 10 | primary);
}
constexpr WORD PRIMARYLANGID(WORD language) noexcept { return language & 0x3FF; }
constexpr WORD SUBLANGID(WORD language) noexcept { return static_cast<WORD>(language >> 10); }
constexpr LCID MAKELCID(WORD language, WORD sorting) noexcept {
  return static_cast<LCID>(sorting) << 16 | language;
}
constexpr WORD LANGIDFROMLCID(LCID locale) noexcept { return static_cast<WORD>(locale); }
constexpr WORD SORTIDFROMLCID(LCID locale) noexcept {
  return static_cast<WORD>(locale >> 16 & 0xF);
}

constexpr void LISet32(LARGE_INTEGER& number, LONG value) noexcept { number.QuadPart = value; }
constexpr void ULISet32(ULARGE_INTEGER& number, DWORD value) noexcept { number.QuadPart = value; }

static_assert(sizeof(OLECHAR) == 2 && sizeof(LONG) == 4 && sizeof(HRESULT) == 4);
static_assert(sizeof(void*) == 8 && sizeof(GUID) == 16);
