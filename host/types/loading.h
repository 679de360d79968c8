// SPDX-License-Identifier: MIT
// Type information: the interfaces through which a type library is read, and the operations that
// find, register and load one.
//
// A type library of this host is a shared library that exports the function of host/types/tables.h.
// It is loaded by its path, checked, and unloaded with the last reference to the library or one of
// its types. Every load gives objects of its own.
//
// The registry knows a library under TypeLib\{id}\<major>.<minor>: its text as default value, the
// path under 0\win64, FLAGS and HELPDIR; and every dual or automation interface of it under
// Interface\{id}: its name, and TypeLib with the library's id and Version. This host has no
// marshalers that could stand there. Locales are not told apart.
//
// Any thread may call. Texts are given out as BSTR, which the caller frees.
#pragma once

#include "host/types/descriptions.h"

struct ITypeLib;
// The names of a library for compilers. This host does not make it: E_NOTIMPL.
struct ITypeComp;

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

// Loads the library at a path; a relative one starts at the current folder. E_INVALIDARG: null
// argument. TYPE_E_CANTLOADLIBRARY: no such file, not a library of types, or one whose tables do
// not hold together. REGKIND_REGISTER also registers it under its full path, REGKIND_DEFAULT does
// so for a relative path; a failure of that is returned, and out is null.
RASTEL_HOST_API HRESULT STDAPICALLTYPE LoadTypeLibEx(LPCOLESTR path, REGKIND kind,
                                                     ITypeLib** out) noexcept;
// The same with REGKIND_DEFAULT.
RASTEL_HOST_API HRESULT STDAPICALLTYPE LoadTypeLib(LPCOLESTR path, ITypeLib** out) noexcept;

// Finds the registered library of an identifier and version, or one of the same major and the
// greatest higher minor version, and loads it. Null out: E_INVALIDARG. TYPE_E_LIBNOTREGISTERED: no
// such entry, or its file holds another library. Else as LoadTypeLibEx.
RASTEL_HOST_API HRESULT STDAPICALLTYPE LoadRegTypeLib(REFGUID libraryId, WORD major, WORD minor,
                                                      LCID locale, ITypeLib** out) noexcept;
// The path of that entry. TYPE_E_LIBNOTREGISTERED; E_OUTOFMEMORY.
RASTEL_HOST_API HRESULT STDAPICALLTYPE QueryPathOfRegTypeLib(REFGUID libraryId, WORD major,
                                                             WORD minor, LCID locale,
                                                             BSTR* path) noexcept;

// Enters a library and its interfaces into the registry, all of it or nothing. helpFolder may be
// null. E_INVALIDARG: null library or path. TYPE_E_REGISTRYACCESS: the registry cannot be written.
RASTEL_HOST_API HRESULT STDAPICALLTYPE RegisterTypeLib(ITypeLib* library, LPCOLESTR path,
                                                       LPCOLESTR helpFolder) noexcept;
// Removes the entries of exactly this version, and of the interfaces that still refer to it. The
// library itself is not needed. E_INVALIDARG: it is not registered; only SYS_WIN64 ever is.
// TYPE_E_REGISTRYACCESS: the registry cannot be written.
RASTEL_HOST_API HRESULT STDAPICALLTYPE UnRegisterTypeLib(REFGUID libraryId, WORD major, WORD minor,
                                                         LCID locale, SYSKIND system) noexcept;
