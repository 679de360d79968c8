// The platform's scalar types, identifiers, structures and result codes, as they stand on a 64-bit
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
// The user's locale; this host converts in the neutral one whatever a caller names.
inline constexpr LCID LOCALE_USER_DEFAULT = 0x0400;
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

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;
inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

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
inline constexpr BYTE DECIMAL_NEG = 0x80;

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

enum VARENUM : int {
  VT_EMPTY = 0,
  VT_NULL = 1,
  VT_I2 = 2,
  VT_I4 = 3,
  VT_R4 = 4,
  VT_R8 = 5,
  VT_CY = 6,
  VT_DATE = 7,
  VT_BSTR = 8,
  VT_DISPATCH = 9,
  VT_ERROR = 10,
  VT_BOOL = 11,
  VT_VARIANT = 12,
  VT_UNKNOWN = 13,
  VT_DECIMAL = 14,
  VT_I1 = 16,
  VT_UI1 = 17,
  VT_UI2 = 18,
  VT_UI4 = 19,
  VT_I8 = 20,
  VT_UI8 = 21,
  VT_INT = 22,
  VT_UINT = 23,
  VT_VOID = 24,
  VT_HRESULT = 25,
  VT_PTR = 26,
  VT_SAFEARRAY = 27,
  VT_CARRAY = 28,
  VT_USERDEFINED = 29,
  VT_LPSTR = 30,
  VT_LPWSTR = 31,
  VT_RECORD = 36,
  VT_INT_PTR = 37,
  VT_UINT_PTR = 38,
  VT_FILETIME = 64,
  VT_CLSID = 72,
  VT_VECTOR = 0x1000,
  VT_ARRAY = 0x2000,
  VT_BYREF = 0x4000,
  VT_RESERVED = 0x8000,
  VT_TYPEMASK = 0x0FFF
};

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

enum STREAM_SEEK : DWORD { STREAM_SEEK_SET = 0, STREAM_SEEK_CUR = 1, STREAM_SEEK_END = 2 };
enum STGTY : DWORD { STGTY_STORAGE = 1, STGTY_STREAM = 2 };
enum STATFLAG : DWORD { STATFLAG_DEFAULT = 0, STATFLAG_NONAME = 1 };

enum CLSCTX : DWORD {
  CLSCTX_INPROC_SERVER = 0x1,
  CLSCTX_INPROC_HANDLER = 0x2,
  CLSCTX_LOCAL_SERVER = 0x4,
  CLSCTX_REMOTE_SERVER = 0x10,
  CLSCTX_ALL = 0x17
};
enum REGCLS : DWORD { REGCLS_SINGLEUSE = 0, REGCLS_MULTIPLEUSE = 1, REGCLS_MULTI_SEPARATE = 2 };
enum COINIT : DWORD { COINIT_MULTITHREADED = 0, COINIT_APARTMENTTHREADED = 2 };
enum MSHCTX : DWORD {
  MSHCTX_LOCAL = 0,
  MSHCTX_NOSHAREDMEM = 1,
  MSHCTX_DIFFERENTMACHINE = 2,
  MSHCTX_INPROC = 3
};
enum MSHLFLAGS : DWORD { MSHLFLAGS_NORMAL = 0, MSHLFLAGS_TABLESTRONG = 1, MSHLFLAGS_TABLEWEAK = 2 };

// Flags of VariantChangeType.
inline constexpr USHORT VARIANT_NOVALUEPROP = 0x01;
inline constexpr USHORT VARIANT_ALPHABOOL = 0x02;

// Code pages and conversion flags.
inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_THREAD_ACP = 3;
inline constexpr UINT CP_UTF8 = 65001;
inline constexpr DWORD MB_ERR_INVALID_CHARS = 0x08;
inline constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;

constexpr HRESULT MakeResult(std::uint32_t bits) noexcept { return static_cast<HRESULT>(bits); }
constexpr bool FAILED(HRESULT hr) noexcept { return hr < 0; }
constexpr bool SUCCEEDED(HRESULT hr) noexcept { return hr >= 0; }
constexpr HRESULT HRESULT_FROM_WIN32(DWORD error) noexcept {
  return static_cast<HRESULT>(error) <= 0 ? static_cast<HRESULT>(error)
                                          : MakeResult((error & 0xFFFFu) | 0x80070000u);
}

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_UNEXPECTED = MakeResult(0x8000FFFF);
inline constexpr HRESULT E_NOTIMPL = MakeResult(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = MakeResult(0x80004002);
inline constexpr HRESULT E_POINTER = MakeResult(0x80004003);
inline constexpr HRESULT E_ABORT = MakeResult(0x80004004);
inline constexpr HRESULT E_FAIL = MakeResult(0x80004005);
inline constexpr HRESULT E_ACCESSDENIED = MakeResult(0x80070005);
inline constexpr HRESULT E_HANDLE = MakeResult(0x80070006);
inline constexpr HRESULT E_OUTOFMEMORY = MakeResult(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = MakeResult(0x80070057);
inline constexpr HRESULT DISP_E_MEMBERNOTFOUND = MakeResult(0x80020003);
inline constexpr HRESULT DISP_E_PARAMNOTFOUND = MakeResult(0x80020004);
inline constexpr HRESULT DISP_E_TYPEMISMATCH = MakeResult(0x80020005);
inline constexpr HRESULT DISP_E_UNKNOWNNAME = MakeResult(0x80020006);
inline constexpr HRESULT DISP_E_NONAMEDARGS = MakeResult(0x80020007);
inline constexpr HRESULT DISP_E_BADVARTYPE = MakeResult(0x80020008);
inline constexpr HRESULT DISP_E_EXCEPTION = MakeResult(0x80020009);
inline constexpr HRESULT DISP_E_OVERFLOW = MakeResult(0x8002000A);
inline constexpr HRESULT DISP_E_BADINDEX = MakeResult(0x8002000B);
inline constexpr HRESULT DISP_E_ARRAYISLOCKED = MakeResult(0x8002000D);
inline constexpr HRESULT DISP_E_BADPARAMCOUNT = MakeResult(0x8002000E);
inline constexpr HRESULT DISP_E_PARAMNOTOPTIONAL = MakeResult(0x8002000F);
inline constexpr HRESULT DISP_E_NOTACOLLECTION = MakeResult(0x80020011);
inline constexpr HRESULT TYPE_E_REGISTRYACCESS = MakeResult(0x8002801C);
inline constexpr HRESULT TYPE_E_ELEMENTNOTFOUND = MakeResult(0x8002802B);
inline constexpr HRESULT TYPE_E_BADMODULEKIND = MakeResult(0x800288BD);
inline constexpr HRESULT TYPE_E_CANTLOADLIBRARY = MakeResult(0x80029C4A);
inline constexpr HRESULT TYPE_E_LIBNOTREGISTERED = MakeResult(0x8002801D);
inline constexpr HRESULT STG_E_INVALIDFUNCTION = MakeResult(0x80030001);
inline constexpr HRESULT STG_E_INVALIDPOINTER = MakeResult(0x80030009);
inline constexpr HRESULT STG_E_SEEKERROR = MakeResult(0x80030019);
inline constexpr HRESULT STG_E_WRITEFAULT = MakeResult(0x8003001D);
inline constexpr HRESULT STG_E_READFAULT = MakeResult(0x8003001E);
inline constexpr HRESULT STG_E_MEDIUMFULL = MakeResult(0x80030070);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = MakeResult(0x80040110);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = MakeResult(0x80040111);
inline constexpr HRESULT REGDB_E_READREGDB = MakeResult(0x80040150);
inline constexpr HRESULT REGDB_E_WRITEREGDB = MakeResult(0x80040151);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = MakeResult(0x80040154);
inline constexpr HRESULT CO_E_NOTINITIALIZED = MakeResult(0x800401F0);
inline constexpr HRESULT CO_E_CLASSSTRING = MakeResult(0x800401F3);
inline constexpr HRESULT CO_E_IIDSTRING = MakeResult(0x800401F4);
inline constexpr HRESULT CO_E_DLLNOTFOUND = MakeResult(0x800401F8);
inline constexpr HRESULT CO_E_ERRORINDLL = MakeResult(0x800401F9);
inline constexpr HRESULT CO_E_OBJNOTREG = MakeResult(0x800401FB);
inline constexpr HRESULT RPC_E_CHANGED_MODE = MakeResult(0x80010106);
inline constexpr HRESULT RPC_E_INVALID_OBJREF = MakeResult(0x8001011D);

// Last-error values and registry results.
inline constexpr LONG ERROR_SUCCESS = 0;
inline constexpr LONG ERROR_FILE_NOT_FOUND = 2;
inline constexpr LONG ERROR_ACCESS_DENIED = 5;
inline constexpr LONG ERROR_INVALID_HANDLE = 6;
inline constexpr LONG ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr LONG ERROR_INVALID_PARAMETER = 87;
inline constexpr LONG ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr LONG ERROR_BAD_PATHNAME = 161;
inline constexpr LONG ERROR_BAD_EXE_FORMAT = 193;
inline constexpr LONG ERROR_MORE_DATA = 234;
inline constexpr LONG ERROR_NO_MORE_ITEMS = 259;
inline constexpr LONG ERROR_ARITHMETIC_OVERFLOW = 534;
inline constexpr LONG ERROR_INVALID_FLAGS = 1004;
inline constexpr LONG ERROR_BADDB = 1009;
inline constexpr LONG ERROR_CANTREAD = 1012;
inline constexpr LONG ERROR_CANTWRITE = 1013;
inline constexpr LONG ERROR_KEY_DELETED = 1018;
inline constexpr LONG ERROR_NO_UNICODE_TRANSLATION = 1113;
inline constexpr LONG ERROR_RESOURCE_DATA_NOT_FOUND = 1812;
inline constexpr LONG ERROR_RESOURCE_TYPE_NOT_FOUND = 1813;
inline constexpr LONG ERROR_RESOURCE_NAME_NOT_FOUND = 1814;

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
