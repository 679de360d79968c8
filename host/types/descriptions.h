// SPDX-License-Identifier: MIT
// What type information is described with: the platform's structures and enumerations, in its
// layout.
#pragma once

#include "host/base/interfaces.h"

using MEMBERID = DISPID;
using HREFTYPE = DWORD;

struct ARRAYDESC;
// A type: for VT_PTR and VT_SAFEARRAY what stands behind it, for VT_USERDEFINED a reference.
struct TYPEDESC {
  union {
    TYPEDESC* lptdesc;
    ARRAYDESC* lpadesc;
    HREFTYPE hreftype;
  };
  VARTYPE vt;
};
struct ARRAYDESC {
  TYPEDESC tdescElem;
  USHORT cDims;
  SAFEARRAYBOUND rgbounds[1];
};
struct PARAMDESCEX {
  ULONG cBytes;
  VARIANTARG varDefaultValue;
};
struct PARAMDESC {
  PARAMDESCEX* pparamdescex;
  USHORT wParamFlags;
};
struct IDLDESC {
  ULONG_PTR dwReserved;
  USHORT wIDLFlags;
};
struct ELEMDESC {
  TYPEDESC tdesc;
  union {
    IDLDESC idldesc;
    PARAMDESC paramdesc;
  };
};
struct FUNCDESC {
  MEMBERID memid;
  SCODE* lprgscode;
  ELEMDESC* lprgelemdescParam;
  FUNCKIND funckind;
  INVOKEKIND invkind;
  CALLCONV callconv;
  SHORT cParams;
  SHORT cParamsOpt;
  SHORT oVft;
  SHORT cScodes;
  ELEMDESC elemdescFunc;
  WORD wFuncFlags;
};
struct VARDESC {
  MEMBERID memid;
  LPOLESTR lpstrSchema;
  union {
    ULONG oInst;
    VARIANT* lpvarValue;
  };
  ELEMDESC elemdescVar;
  WORD wVarFlags;
  VARKIND varkind;
};
struct TYPEATTR {
  GUID guid;
  LCID lcid;
  DWORD dwReserved;
  MEMBERID memidConstructor;
  MEMBERID memidDestructor;
  LPOLESTR lpstrSchema;
  ULONG cbSizeInstance;
  TYPEKIND typekind;
  WORD cFuncs;
  WORD cVars;
  WORD cImplTypes;
  WORD cbSizeVft;
  WORD cbAlignment;
  WORD wTypeFlags;
  WORD wMajorVerNum;
  WORD wMinorVerNum;
  TYPEDESC tdescAlias;
  IDLDESC idldescType;
};
struct TLIBATTR {
  GUID guid;
  LCID lcid;
  SYSKIND syskind;
  WORD wMajorVerNum;
  WORD wMinorVerNum;
  WORD wLibFlags;
};
