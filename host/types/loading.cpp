// SPDX-License-Identifier: MIT
#include "host/types/loading.h"

#include <filesystem>

#include "host/base/unicode.h"
#include "host/types/library.h"
#include "host/types/library_entries.h"
#include "host/values/strings.h"

namespace host {
namespace {

HRESULT LoadLibrary(LPCOLESTR path, REGKIND kind, Reference<TypeLibrary>& out) {
  std::error_code error;
  const std::filesystem::path full = std::filesystem::canonical(ToUtf8(path), error);
  if (error == std::errc::not_enough_memory) return E_OUTOFMEMORY;
  if (error) return TYPE_E_CANTLOADLIBRARY;
  Reference<TypeLibrary> library;
  HRESULT result = TypeLibrary::Load(full.c_str(), library);
  if (SUCCEEDED(result) &&
      (kind == REGKIND_REGISTER || (kind == REGKIND_DEFAULT && path[0] != '/'))) {
    result = EnterLibrary(*library.Get(), ToUtf16(full.native()).c_str(), nullptr);
  }
  if (SUCCEEDED(result)) out.Adopt(library.Detach());
  return result;
}

}  // namespace
}  // namespace host

using host::Reference;

HRESULT LoadTypeLibEx(LPCOLESTR path, REGKIND kind, ITypeLib** out) noexcept {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  if (path == nullptr) return E_INVALIDARG;
  return host::TypeCall([&] {
    Reference<host::TypeLibrary> library;
    const HRESULT result = host::LoadLibrary(path, kind, library);
    *out = library.Detach();
    return result;
  });
}

HRESULT LoadTypeLib(LPCOLESTR path, ITypeLib** out) noexcept {
  return LoadTypeLibEx(path, REGKIND_DEFAULT, out);
}

HRESULT LoadRegTypeLib(REFGUID libraryId, WORD major, WORD minor, LCID, ITypeLib** out) noexcept {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  return host::TypeCall([&] {
    host::RegistryText path;
    WORD foundMinor = minor;
    HRESULT result = host::FindRegisteredLibrary(libraryId, major, foundMinor, path);
    if (FAILED(result)) return result;
    Reference<host::TypeLibrary> library;
    result = host::LoadLibrary(path.c_str(), REGKIND_NONE, library);
    if (FAILED(result)) return result;
    const HostTypeLibrary& found = library->tables();
    if (*found.id != libraryId || found.major != major || found.minor < minor) {
      return TYPE_E_LIBNOTREGISTERED;
    }
    *out = library.Detach();
    return S_OK;
  });
}

HRESULT QueryPathOfRegTypeLib(REFGUID libraryId, WORD major, WORD minor, LCID,
                              BSTR* path) noexcept {
  if (path == nullptr) return E_INVALIDARG;
  *path = nullptr;
  return host::TypeCall([&] {
    host::RegistryText text;
    WORD foundMinor = minor;
    const HRESULT result = host::FindRegisteredLibrary(libraryId, major, foundMinor, text);
    if (FAILED(result)) return result;
    *path = SysAllocString(text.c_str());
    return *path != nullptr ? S_OK : E_OUTOFMEMORY;
  });
}

HRESULT RegisterTypeLib(ITypeLib* library, LPCOLESTR path, LPCOLESTR helpFolder) noexcept {
  if (library == nullptr || path == nullptr) return E_INVALIDARG;
  return host::TypeCall([&] { return host::EnterLibrary(*library, path, helpFolder); });
}

HRESULT UnRegisterTypeLib(REFGUID libraryId, WORD major, WORD minor, LCID,
                          SYSKIND system) noexcept {
  if (system != SYS_WIN64) return E_INVALIDARG;
  return host::TypeCall([&] { return host::RemoveLibrary(libraryId, major, minor); });
}
