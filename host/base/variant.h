// SPDX-License-Identifier: MIT
// The values that cross an interface in a VARIANT, in the layouts of the real platform.
#pragma once

#include "host/base/constants.h"

// The platform's layouts have structures without a name, which the language calls an extension.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"

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
#pragma GCC diagnostic pop

static_assert(sizeof(CY) == 8 && sizeof(VARIANT) == 24 && offsetof(VARIANT, llVal) == 8);
static_assert(sizeof(DECIMAL) == 16 && offsetof(DECIMAL, scale) == 2 &&
              offsetof(DECIMAL, sign) == 3);
static_assert(offsetof(DECIMAL, Hi32) == 4 && offsetof(DECIMAL, Lo64) == 8);
static_assert(sizeof(SAFEARRAY) == 32 && offsetof(SAFEARRAY, cLocks) == 8);
static_assert(offsetof(SAFEARRAY, pvData) == 16 && offsetof(SAFEARRAY, rgsabound) == 24);
