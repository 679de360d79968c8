#include "host/types/library.h"

#include <new>

#include "host/types/info.h"
#include "host/types/names.h"
#include "host/types/standard_types.h"

namespace host {

TypeLibrary::TypeLibrary(LoadedLibrary module, const HostTypeLibrary& tables)
    : module_(std::move(module)), tables_(tables) {
  for (DWORD i = 0; i < tables.typeCount; ++i) names_.emplace(tables.types[i].name, i);
}

HRESULT TypeLibrary::Load(const char* path, Reference<TypeLibrary>& out) {
  LoadedLibrary module = LoadLibraryFile(path);
  if (module == nullptr) return TYPE_E_CANTLOADLIBRARY;
  const auto getTables = ExportOf<HostGetTypeLibrary>(module, kHostTypeLibraryExport);
  const HostTypeLibrary* tables = getTables != nullptr ? getTables() : nullptr;
  if (tables == nullptr || tables->structureBytes != sizeof(*tables)) return TYPE_E_CANTLOADLIBRARY;
  out.Adopt(new TypeLibrary(std::move(module), *tables));
  return S_OK;
}

TypeLibrary& TypeLibrary::Standard() {
  static TypeLibrary* const library = new TypeLibrary(nullptr, StandardTypes());
  return *library;
}

DWORD TypeLibrary::Find(std::string_view name) const noexcept {
  const auto found = names_.find(name);
  return found != names_.end() ? found->second : kNoType;
}

HRESULT TypeLibrary::GetTypeInfo(UINT index, ITypeInfo** out) {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  if (index >= tables_.typeCount) return TYPE_E_ELEMENTNOTFOUND;
  return TypeCall([&] {
    *out = NewTypeInfo(*this, index, false);
    return S_OK;
  });
}

HRESULT TypeLibrary::GetTypeInfoType(UINT index, TYPEKIND* kind) {
  if (kind == nullptr) return E_INVALIDARG;
  if (index >= tables_.typeCount) return TYPE_E_ELEMENTNOTFOUND;
  *kind = static_cast<TYPEKIND>(type(index).kind);
  return S_OK;
}

HRESULT TypeLibrary::GetTypeInfoOfGuid(REFGUID guid, ITypeInfo** out) {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  for (DWORD i = 0; i < tables_.typeCount; ++i) {
    if (type(i).id != nullptr && *type(i).id == guid) return GetTypeInfo(i, out);
  }
  return TYPE_E_ELEMENTNOTFOUND;
}

HRESULT TypeLibrary::GetLibAttr(TLIBATTR** attributes) {
  if (attributes == nullptr) return E_INVALIDARG;
  *attributes = new (std::nothrow)
      TLIBATTR{*tables_.id, 0, SYS_WIN64, tables_.major, tables_.minor, LIBFLAG_FHASDISKIMAGE};
  return *attributes != nullptr ? S_OK : E_OUTOFMEMORY;
}

void TypeLibrary::ReleaseTLibAttr(TLIBATTR* attributes) { delete attributes; }

HRESULT TypeLibrary::GetTypeComp(ITypeComp** out) {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  return E_NOTIMPL;
}

HRESULT TypeLibrary::GetDocumentation(INT index, BSTR* name, BSTR* text, DWORD* helpContext,
                                      BSTR* helpFile) {
  if (index < -1 || index >= static_cast<INT>(tables_.typeCount)) return TYPE_E_ELEMENTNOTFOUND;
  return TypeCall([&] {
    const bool isLibrary = index == -1;
    return GiveDocumentation(isLibrary ? tables_.name : type(static_cast<DWORD>(index)).name,
                             isLibrary ? tables_.text : nullptr, name, text, helpContext, helpFile);
  });
}

}  // namespace host
