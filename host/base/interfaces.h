// SPDX-License-Identifier: MIT
// The platform interfaces that the host serves or calls, as plain slot tables: the first slot is
// slot 0 of the table, no destructor stands among them. Each identifier stands behind its
// interface.
#pragma once

#include "host/base/variant.h"

#define DECLARE_HOST_IID(name, d1, d2, d3, ...) \
  inline constexpr IID IID_##name {             \
    d1, d2, d3, { __VA_ARGS__ }                 \
  }

struct IUnknown {
  virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) = 0;
  virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE Release() = 0;
};
DECLARE_HOST_IID(IUnknown, 0x00000000, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46);

struct IClassFactory : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) = 0;
  virtual HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) = 0;
};
DECLARE_HOST_IID(IClassFactory, 0x00000001, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46);

struct ISequentialStream : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Read(void* data, ULONG bytes, ULONG* bytesRead) = 0;
  virtual HRESULT STDMETHODCALLTYPE Write(const void* data, ULONG bytes, ULONG* bytesWritten) = 0;
};
DECLARE_HOST_IID(ISequentialStream, 0x0C733A30, 0x2A1C, 0x11CE, 0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44,
                 0x77, 0x3D);

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
static_assert(sizeof(STATSTG) == 80 && offsetof(STATSTG, cbSize) == 16);
static_assert(offsetof(STATSTG, clsid) == 56 && offsetof(STATSTG, grfStateBits) == 72);

struct IStream : ISequentialStream {
  virtual HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin,
                                         ULARGE_INTEGER* newPosition) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER newSize) = 0;
  virtual HRESULT STDMETHODCALLTYPE CopyTo(IStream* target, ULARGE_INTEGER bytes,
                                           ULARGE_INTEGER* bytesRead,
                                           ULARGE_INTEGER* bytesWritten) = 0;
  virtual HRESULT STDMETHODCALLTYPE Commit(DWORD flags) = 0;
  virtual HRESULT STDMETHODCALLTYPE Revert() = 0;
  virtual HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes,
                                               DWORD type) = 0;
  virtual HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes,
                                                 DWORD type) = 0;
  virtual HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD flags) = 0;
  virtual HRESULT STDMETHODCALLTYPE Clone(IStream** out) = 0;
};
DECLARE_HOST_IID(IStream, 0x0000000C, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46);

struct IPersist : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetClassID(CLSID* classId) = 0;
};
DECLARE_HOST_IID(IPersist, 0x0000010C, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46);

struct IPersistStream : IPersist {
  virtual HRESULT STDMETHODCALLTYPE IsDirty() = 0;
  virtual HRESULT STDMETHODCALLTYPE Load(IStream* stream) = 0;
  virtual HRESULT STDMETHODCALLTYPE Save(IStream* stream, BOOL clearDirty) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetSizeMax(ULARGE_INTEGER* bytes) = 0;
};
DECLARE_HOST_IID(IPersistStream, 0x00000109, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46);

struct IPersistStreamInit : IPersist {
  virtual HRESULT STDMETHODCALLTYPE IsDirty() = 0;
  virtual HRESULT STDMETHODCALLTYPE Load(IStream* stream) = 0;
  virtual HRESULT STDMETHODCALLTYPE Save(IStream* stream, BOOL clearDirty) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetSizeMax(ULARGE_INTEGER* bytes) = 0;
  virtual HRESULT STDMETHODCALLTYPE InitNew() = 0;
};
DECLARE_HOST_IID(IPersistStreamInit, 0x7FD52380, 0x4E07, 0x101B, 0xAE, 0x2D, 0x08, 0x00, 0x2B, 0x2E,
                 0xC7, 0x13);

struct EXCEPINFO {
  WORD wCode;
  WORD wReserved;
  BSTR bstrSource;
  BSTR bstrDescription;
  BSTR bstrHelpFile;
  DWORD dwHelpContext;
  void* pvReserved;
  HRESULT(STDMETHODCALLTYPE* pfnDeferredFillIn)(EXCEPINFO* info);
  SCODE scode;
};

struct IErrorLog : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE AddError(LPCOLESTR property, EXCEPINFO* info) = 0;
};
DECLARE_HOST_IID(IErrorLog, 0x3127CA40, 0x446E, 0x11CE, 0x81, 0x35, 0x00, 0xAA, 0x00, 0x4B, 0xB8,
                 0x51);

struct IPropertyBag : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Read(LPCOLESTR property, VARIANT* value, IErrorLog* log) = 0;
  virtual HRESULT STDMETHODCALLTYPE Write(LPCOLESTR property, VARIANT* value) = 0;
};
DECLARE_HOST_IID(IPropertyBag, 0x55272A00, 0x42CB, 0x11CE, 0x81, 0x35, 0x00, 0xAA, 0x00, 0x4B, 0xB8,
                 0x51);

struct IPersistPropertyBag : IPersist {
  virtual HRESULT STDMETHODCALLTYPE InitNew() = 0;
  virtual HRESULT STDMETHODCALLTYPE Load(IPropertyBag* bag, IErrorLog* log) = 0;
  virtual HRESULT STDMETHODCALLTYPE Save(IPropertyBag* bag, BOOL clearDirty,
                                         BOOL saveAllProperties) = 0;
};
DECLARE_HOST_IID(IPersistPropertyBag, 0x37D84F60, 0x42CB, 0x11CE, 0x81, 0x35, 0x00, 0xAA, 0x00,
                 0x4B, 0xB8, 0x51);

struct IMarshal : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetUnmarshalClass(REFIID iid, void* object, DWORD context,
                                                      void* contextData, DWORD flags,
                                                      CLSID* classId) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetMarshalSizeMax(REFIID iid, void* object, DWORD context,
                                                      void* contextData, DWORD flags,
                                                      DWORD* bytes) = 0;
  virtual HRESULT STDMETHODCALLTYPE MarshalInterface(IStream* stream, REFIID iid, void* object,
                                                     DWORD context, void* contextData,
                                                     DWORD flags) = 0;
  virtual HRESULT STDMETHODCALLTYPE UnmarshalInterface(IStream* stream, REFIID iid, void** out) = 0;
  virtual HRESULT STDMETHODCALLTYPE ReleaseMarshalData(IStream* stream) = 0;
  virtual HRESULT STDMETHODCALLTYPE DisconnectObject(DWORD reserved) = 0;
};
DECLARE_HOST_IID(IMarshal, 0x00000003, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46);

struct DISPPARAMS {
  VARIANTARG* rgvarg;
  DISPID* rgdispidNamedArgs;
  UINT cArgs;
  UINT cNamedArgs;
};

struct ITypeInfo;
struct IDispatch : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo** out) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count,
                                                  LCID locale, DISPID* ids) = 0;
  virtual HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID reserved, LCID locale, WORD flags,
                                           DISPPARAMS* params, VARIANT* result,
                                           EXCEPINFO* exception, UINT* badArgument) = 0;
};
DECLARE_HOST_IID(IDispatch, 0x00020400, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46);

struct IEnumVARIANT : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* values, ULONG* fetched) = 0;
  virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
  virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
  virtual HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** out) = 0;
};
DECLARE_HOST_IID(IEnumVARIANT, 0x00020404, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46);

struct IErrorInfo : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetGUID(GUID* guid) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetSource(BSTR* source) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetDescription(BSTR* description) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* helpFile) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* helpContext) = 0;
};
DECLARE_HOST_IID(IErrorInfo, 0x1CF2B120, 0x547D, 0x101B, 0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1,
                 0x19);

struct ICreateErrorInfo : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE SetGUID(REFGUID guid) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR source) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR description) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR helpFile) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD helpContext) = 0;
};
DECLARE_HOST_IID(ICreateErrorInfo, 0x22F03340, 0x547D, 0x101B, 0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B,
                 0xD1, 0x19);

struct ISupportErrorInfo : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) = 0;
};
DECLARE_HOST_IID(ISupportErrorInfo, 0xDF0B3D60, 0x548F, 0x101B, 0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B,
                 0xD1, 0x19);

#undef DECLARE_HOST_IID
