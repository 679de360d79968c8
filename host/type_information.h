// Type information: the interfaces through which a type library is read, and the one operation that
// finds a registered library. There is no registered library on this host yet.
// Any thread may call; nothing is kept between calls.
#pragma once

#include "host/interfaces.h"

struct TLIBATTR;
struct TYPEATTR;
struct FUNCDESC;
struct VARDESC;
struct ITypeComp;
struct ITypeLib;
enum TYPEKIND : int;
enum INVOKEKIND : int;
using HREFTYPE = DWORD;
using MEMBERID = DISPID;

struct ITypeInfo : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetTypeAttr(TYPEATTR** attributes) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp** out) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetFuncDesc(UINT index, FUNCDESC** description) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetVarDesc(UINT index, VARDESC** description) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetNames(MEMBERID member, BSTR* names, UINT room,
                                             UINT* count) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetRefTypeOfImplType(UINT index, HREFTYPE* type) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetImplTypeFlags(UINT index, INT* flags) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(LPOLESTR* names, UINT count, MEMBERID* ids) = 0;
  virtual HRESULT STDMETHODCALLTYPE Invoke(void* instance, MEMBERID member, WORD flags,
                                           DISPPARAMS* params, VARIANT* result,
                                           EXCEPINFO* exception, UINT* badArgument) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetDocumentation(MEMBERID member, BSTR* name, BSTR* text,
                                                     DWORD* helpContext, BSTR* helpFile) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetDllEntry(MEMBERID member, INVOKEKIND kind, BSTR* library,
                                                BSTR* name, WORD* ordinal) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetRefTypeInfo(HREFTYPE type, ITypeInfo** out) = 0;
  virtual HRESULT STDMETHODCALLTYPE AddressOfMember(MEMBERID member, INVOKEKIND kind,
                                                    void** address) = 0;
  virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetMops(MEMBERID member, BSTR* text) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetContainingTypeLib(ITypeLib** out, UINT* index) = 0;
  virtual void STDMETHODCALLTYPE ReleaseTypeAttr(TYPEATTR* attributes) = 0;
  virtual void STDMETHODCALLTYPE ReleaseFuncDesc(FUNCDESC* description) = 0;
  virtual void STDMETHODCALLTYPE ReleaseVarDesc(VARDESC* description) = 0;
};
inline constexpr IID IID_ITypeInfo{0x00020401, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

struct ITypeLib : IUnknown {
  virtual UINT STDMETHODCALLTYPE GetTypeInfoCount() = 0;
  virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, ITypeInfo** out) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetTypeInfoType(UINT index, TYPEKIND* kind) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetTypeInfoOfGuid(REFGUID guid, ITypeInfo** out) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetLibAttr(TLIBATTR** attributes) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp** out) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetDocumentation(INT index, BSTR* name, BSTR* text,
                                                     DWORD* helpContext, BSTR* helpFile) = 0;
  virtual HRESULT STDMETHODCALLTYPE IsName(LPOLESTR name, ULONG hash, BOOL* found) = 0;
  virtual HRESULT STDMETHODCALLTYPE FindName(LPOLESTR name, ULONG hash, ITypeInfo** infos,
                                             MEMBERID* members, USHORT* count) = 0;
  virtual void STDMETHODCALLTYPE ReleaseTLibAttr(TLIBATTR* attributes) = 0;
};
inline constexpr IID IID_ITypeLib{0x00020402, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Finds the registered library of an identifier and version.
// *out becomes null. Null out: E_INVALIDARG. Library not registered: TYPE_E_LIBNOTREGISTERED.
RASTEL_HOST_API HRESULT STDAPICALLTYPE LoadRegTypeLib(REFGUID libraryId, WORD major, WORD minor,
                                                      LCID locale, ITypeLib** out) noexcept;
