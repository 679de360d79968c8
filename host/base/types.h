// The platform's scalar types, identifiers, structures and constants, as they stand on a 64-bit
// little-endian system: LONG, ULONG, DWORD, HRESULT and BOOL are 32 bits, OLECHAR is one UTF-16
// unit. Layouts are those of the real platform and are pinned at the end of the file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

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
struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

// Fixed-point currency, in units of 1/10000.
union CY {
  struct {
    ULONG Lo;
    LONG Hi;
  };
  LONGLONG int64;
};

// 96-bit integer divided by ten to the power of scale (0 to 28); sign is 0 or DECIMAL_NEG.
struct DECIMAL {
  USHORT wReserved;
  union {
    struct {
      BYTE scale;
      BYTE sign;
    };
    USHORT signscale;
  };
  ULONG Hi32;
  union {
    struct {
      ULONG Lo32;
      ULONG Mid32;
    };
    ULONGLONG Lo64;
  };
};

struct SAFEARRAYBOUND {
  ULONG cElements;
  LONG lLbound;
};
// The descriptor of an array; rgsabound has cDims entries, the last dimension first.
struct SAFEARRAY {
  USHORT cDims;
  USHORT fFeatures;
  ULONG cbElements;
  ULONG cLocks;
  void* pvData;
  SAFEARRAYBOUND rgsabound[1];
};
using LPSAFEARRAY = SAFEARRAY*;

struct IUnknown;
struct IDispatch;
struct IRecordInfo;

struct VARIANT {
  union {
    struct {
      VARTYPE vt;
      WORD wReserved1;
      WORD wReserved2;
      WORD wReserved3;
      union {
        LONGLONG llVal;
        LONG lVal;
        BYTE bVal;
        SHORT iVal;
        FLOAT fltVal;
        DOUBLE dblVal;
        VARIANT_BOOL boolVal;
        SCODE scode;
        CY cyVal;
        DATE date;
        BSTR bstrVal;
        IUnknown* punkVal;
        IDispatch* pdispVal;
        SAFEARRAY* parray;
        BYTE* pbVal;
        SHORT* piVal;
        LONG* plVal;
        LONGLONG* pllVal;
        FLOAT* pfltVal;
        DOUBLE* pdblVal;
        VARIANT_BOOL* pboolVal;
        SCODE* pscode;
        CY* pcyVal;
        DATE* pdate;
        BSTR* pbstrVal;
        IUnknown** ppunkVal;
        IDispatch** ppdispVal;
        SAFEARRAY** pparray;
        VARIANT* pvarVal;
        void* byref;
        CHAR cVal;
        USHORT uiVal;
        ULONG ulVal;
        ULONGLONG ullVal;
        INT intVal;
        UINT uintVal;
        DECIMAL* pdecVal;
        CHAR* pcVal;
        USHORT* puiVal;
        ULONG* pulVal;
        ULONGLONG* pullVal;
        INT* pintVal;
        UINT* puintVal;
        struct {
          void* pvRecord;
          IRecordInfo* pRecInfo;
        };
      };
    };
    DECIMAL decVal;
  };
};
using VARIANTARG = VARIANT;

struct STATSTG {
  LPOLESTR pwcsName;
  DWORD type;
  ULARGE_INTEGER cbSize;
  FILETIME mtime;
  FILETIME ctime;
  FILETIME atime;
  DWORD grfMode;
  DWORD grfLocksSupported;
  CLSID clsid;
  DWORD grfStateBits;
  DWORD reserved;
};

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
static_assert(sizeof(void*) == 8 && sizeof(GUID) == 16 && sizeof(CY) == 8);
static_assert(sizeof(VARIANT) == 24 && offsetof(VARIANT, llVal) == 8);
static_assert(sizeof(DECIMAL) == 16 && offsetof(DECIMAL, scale) == 2 &&
              offsetof(DECIMAL, sign) == 3);
static_assert(offsetof(DECIMAL, Hi32) == 4 && offsetof(DECIMAL, Lo64) == 8);
static_assert(sizeof(SAFEARRAY) == 32 && offsetof(SAFEARRAY, cLocks) == 8);
static_assert(offsetof(SAFEARRAY, pvData) == 16 && offsetof(SAFEARRAY, rgsabound) == 24);
static_assert(sizeof(STATSTG) == 80 && offsetof(STATSTG, cbSize) == 16);
static_assert(offsetof(STATSTG, clsid) == 56 && offsetof(STATSTG, grfStateBits) == 72);

// Behind the types that they are of.
#include "host/base/constants.h"
