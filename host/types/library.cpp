// SPDX-License-Identifier: MIT
#include "host/types/library.h"

#include <new>

#include "host/types/info.h"
#include "host/types/names.h"
#include "host/types/standard_types.h"

namespace host {
namespace {

// The name in the tables that a text means, in a type and its members and parameters; null when
// there is none. *member tells whose it is.
const char* NameIn(const HostType& type, LPCOLESTR text, MEMBERID* member) noexcept {
  *member = MEMBERID_NIL;
  if (SameName(text, type.name)) return type.name;
  for (DWORD i = 0; i < type.memberCount; ++i) {
    const HostTypeMember& row = type.members[i];
    *member = row.id;
    if (SameName(text, row.name)) return row.name;
    for (WORD p = 0; p < row.parameterCount; ++p) {
      if (SameName(text, row.parameters[p].name)) return row.parameters[p].name;
    }
  }
  for (DWORD i = 0; i < type.constantCount; ++i) {
    *member = static_cast<MEMBERID>(kFirstConstantId + i);
    if (SameName(text, type.constants[i].name)) return type.constants[i].name;
  }
  return nullptr;
}

// Gives the caller's text the case of the name, which is as long.
void SpellAs(const char* name, LPOLESTR text) noexcept {
  for (; *name != 0; ++name, ++text) *text = static_cast<OLECHAR>(*name);
}

}  // namespace

TypeLibrary::TypeLibrary(LoadedLibrary module, const HostTypeLibrary& tables)
    : module_(std::move(module)), tables_(tables) {
  for (DWORD i = 0; i < tables.typeCount; ++i) names_.emplace(tables.types[i].name, i);
}

HRESULT TypeLibrary::Load(const char* path, Reference<TypeLibrary>& out) {
  LoadedLibrary module = LoadLibraryFile(path);
  if (module == nullptr) return TYPE_E_CANTLOADLIBRARY;
  const auto getTables = ExportOf<HostGetTypeLibrary>(module, kHostTypeLibraryExport);
  const HostTypeLibrary* tables = getTables != nullptr ? getTables() : nullptr;
  if (tables == nullptr || tables->structureBytes != kHostTypeForm) return TYPE_E_CANTLOADLIBRARY;
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
    const HostType* const row = isLibrary ? nullptr : &type(static_cast<DWORD>(index));
    return GiveDocumentation(row != nullptr ? row->name : tables_.name,
                             row != nullptr ? row->text : tables_.text, name, text, helpContext,
                             helpFile);
  });
}

HRESULT TypeLibrary::IsName(LPOLESTR name, ULONG, BOOL* found) {
  if (name == nullptr || found == nullptr) return E_INVALIDARG;
  *found = FALSE;
  for (DWORD i = 0; i < tables_.typeCount; ++i) {
    MEMBERID member = MEMBERID_NIL;
    const char* spelling = NameIn(type(i), name, &member);
    if (spelling == nullptr) continue;
    SpellAs(spelling, name);
    *found = TRUE;
    break;
  }
  return S_OK;
}

HRESULT TypeLibrary::FindName(LPOLESTR name, ULONG, ITypeInfo** infos, MEMBERID* members,
                              USHORT* count) {
  if (name == nullptr || infos == nullptr || members == nullptr || count == nullptr) {
    return E_INVALIDARG;
  }
  const USHORT room = *count;
  *count = 0;
  for (DWORD i = 0; i < tables_.typeCount && *count < room; ++i) {
    const char* spelling = NameIn(type(i), name, &members[*count]);
    if (spelling == nullptr) continue;
    SpellAs(spelling, name);
    const HRESULT result = GetTypeInfo(i, &infos[*count]);
    if (FAILED(result)) {
      while (*count > 0) infos[--*count]->Release();
      return result;
    }
    ++*count;
  }
  return S_OK;
}

}  // namespace host
