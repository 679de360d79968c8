#include "host/types/loading.h"

#include <limits.h>

#include <cstdlib>

#include "host/services/code_pages.h"
#include "host/types/library.h"
#include "host/types/registered_libraries.h"
#include "host/values/strings.h"

namespace host {
namespace {

// The full path of a file in UTF-8; false when there is none.
bool FullPath(LPCOLESTR path, char (&full)[PATH_MAX]) noexcept {
  char narrow[PATH_MAX];
  return WideCharToMultiByte(CP_UTF8, 0, path, -1, narrow, PATH_MAX, nullptr, nullptr) != 0 &&
         realpath(narrow, full) != nullptr;
}

HRESULT LoadLibrary(LPCOLESTR path, REGKIND kind, Reference<ITypeLib>& out) {
  char full[PATH_MAX];
  if (!FullPath(path, full)) return TYPE_E_CANTLOADLIBRARY;
  Reference<ITypeLib> library;
  const HRESULT loaded = TypeLibrary::Load(full, library);
  if (FAILED(loaded)) return loaded;
  if (kind == REGKIND_REGISTER || (kind == REGKIND_DEFAULT && path[0] != '/')) {
    OLECHAR wide[PATH_MAX];
    if (MultiByteToWideChar(CP_UTF8, 0, full, -1, wide, PATH_MAX) == 0) {
      return TYPE_E_CANTLOADLIBRARY;
    }
    const HRESULT entered = EnterLibrary(*library.Get(), wide, nullptr);
    if (FAILED(entered)) return entered;
  }
  out.Adopt(library.Detach());
  return S_OK;
}

}  // namespace
}  // namespace host

using host::Reference;

HRESULT LoadTypeLibEx(LPCOLESTR path, REGKIND kind, ITypeLib** out) noexcept {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  if (path == nullptr) return E_INVALIDARG;
  return host::TypeCall([&] {
    Reference<ITypeLib> library;
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
    Reference<ITypeLib> library;
    result = host::LoadLibrary(path.c_str(), REGKIND_NONE, library);
    if (FAILED(result)) return result;
    TLIBATTR* attributes = nullptr;
    result = library->GetLibAttr(&attributes);
    if (FAILED(result)) return result;
    const bool isIt = attributes->guid == libraryId && attributes->wMajorVerNum == major &&
                      attributes->wMinorVerNum >= minor;
    library->ReleaseTLibAttr(attributes);
    if (!isIt) return TYPE_E_LIBNOTREGISTERED;
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
