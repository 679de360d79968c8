// SPDX-License-Identifier: MIT
// One loaded type library.
#pragma once

#include <string_view>
#include <unordered_map>

#include "host/base/counted_object.h"
#include "host/base/guarded.h"
#include "host/services/loaded_library.h"
#include "host/types/loading.h"
#include "host/types/tables.h"

namespace host {

template <class Body>
HRESULT TypeCall(Body&& body) noexcept {
  return Guarded<HRESULT>(E_OUTOFMEMORY, E_UNEXPECTED, std::forward<Body>(body));
}

inline constexpr DWORD kNoType = 0xFFFFFFFF;

class TypeLibrary final : public CountedObject<TypeLibrary, Serves<ITypeLib, IID_ITypeLib>> {
  friend CountedObject;

 public:
  // Loads the shared library at a path in UTF-8; see LoadTypeLibEx. Throws std::bad_alloc.
  static HRESULT Load(const char* path, Reference<TypeLibrary>& out);
  // The library of IUnknown and IDispatch, from which all others derive. Never destroyed; counted
  // like any other.
  static TypeLibrary& Standard();

  STDMETHODIMP_(UINT) GetTypeInfoCount() override { return tables_.typeCount; }
  STDMETHODIMP GetTypeInfo(UINT index, ITypeInfo** out) override;
  STDMETHODIMP GetTypeInfoType(UINT index, TYPEKIND* kind) override;
  STDMETHODIMP GetTypeInfoOfGuid(REFGUID guid, ITypeInfo** out) override;
  STDMETHODIMP GetLibAttr(TLIBATTR** attributes) override;
  STDMETHODIMP GetTypeComp(ITypeComp** out) override;
  STDMETHODIMP GetDocumentation(INT index, BSTR* name, BSTR* text, DWORD* helpContext,
                                BSTR* helpFile) override;
  STDMETHODIMP IsName(LPOLESTR name, ULONG hash, BOOL* found) override;
  STDMETHODIMP FindName(LPOLESTR name, ULONG hash, ITypeInfo** infos, MEMBERID* members,
                        USHORT* count) override;
  STDMETHODIMP_(void) ReleaseTLibAttr(TLIBATTR* attributes) override;

  const HostTypeLibrary& tables() const noexcept { return tables_; }
  const HostType& type(DWORD index) const noexcept { return tables_.types[index]; }
  // The index of a type; kNoType when there is none.
  DWORD Find(std::string_view name) const noexcept;

 private:
  TypeLibrary(LoadedLibrary module, const HostTypeLibrary& tables);
  ~TypeLibrary() = default;

  const LoadedLibrary module_;
  const HostTypeLibrary& tables_;
  std::unordered_map<std::string_view, DWORD> names_;
};

}  // namespace host
