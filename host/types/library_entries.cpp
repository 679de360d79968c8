// SPDX-License-Identifier: MIT
#include "host/types/library_entries.h"

#include <cstdio>

#include "host/base/digits.h"
#include "host/base/never_destroyed.h"
#include "host/base/references.h"
#include "host/base/unicode.h"
#include "host/classes/class_entries.h"
#include "host/classes/identifiers.h"
#include "host/registry/store.h"
#include "host/values/strings.h"

namespace host {
namespace {

constexpr LPCOLESTR kLibraries = OLESTR("TypeLib");
constexpr LPCOLESTR kInterfaces = OLESTR("Interface");
constexpr LPCOLESTR kLibraryOfInterface = OLESTR("TypeLib");
constexpr LPCOLESTR kVersion = OLESTR("Version");
constexpr LPCOLESTR kFlags = OLESTR("FLAGS");
constexpr LPCOLESTR kHelpFolder = OLESTR("HELPDIR");
constexpr LPCOLESTR kNeutralLocale = OLESTR("0");
constexpr LPCOLESTR kPlatform = OLESTR("win64");

// Versions stand in the registry as hexadecimal numbers.
RegistryText VersionText(WORD major, WORD minor) {
  char text[16];
  std::snprintf(text, sizeof(text), "%x.%x", unsigned{major}, unsigned{minor});
  return ToUtf16(text);
}
bool ReadVersion(RegistryTextView text, WORD& major, WORD& minor) {
  const std::size_t point = text.find(OLECHAR{'.'});
  return point != text.npos && ReadNumber(text.substr(0, point), 16, major) &&
         ReadNumber(text.substr(point + 1), 16, minor);
}

HRESULT ResultOf(LSTATUS status) noexcept {
  return status == ERROR_SUCCESS ? S_OK : TYPE_E_REGISTRYACCESS;
}

// One text to be entered.
struct Entry {
  std::vector<RegistryText> path;
  RegistryText valueName;
  RegistryText text;
};

struct Text {
  BSTR string = nullptr;
  ~Text() { SysFreeString(string); }
  RegistryText Copy() const { return {string, string + SysStringLen(string)}; }
};

RegistryText FolderOf(RegistryTextView path) {
  const std::size_t slash = path.rfind(OLECHAR{'/'});
  return RegistryText(slash != path.npos ? path.substr(0, slash) : RegistryTextView());
}

// Adds the entries of a type if it is one that can be called late.
HRESULT AddInterface(ITypeLib& library, UINT index, const TLIBATTR& attributes,
                     std::vector<Entry>& entries) {
  TYPEKIND kind = TKIND_MAX;
  HRESULT result = library.GetTypeInfoType(index, &kind);
  if (FAILED(result) || (kind != TKIND_INTERFACE && kind != TKIND_DISPATCH)) return result;
  ITypeInfo* found = nullptr;
  result = library.GetTypeInfo(index, &found);
  if (FAILED(result)) return result;
  Reference<ITypeInfo> info(found);
  TYPEATTR* type = nullptr;
  result = info->GetTypeAttr(&type);
  if (FAILED(result)) return result;
  const GUID id = type->guid;
  const WORD flags = type->wTypeFlags;
  info->ReleaseTypeAttr(type);
  if ((flags & (TYPEFLAG_FDUAL | TYPEFLAG_FOLEAUTOMATION)) == 0) return S_OK;
  Text name;
  result =
      library.GetDocumentation(static_cast<INT>(index), &name.string, nullptr, nullptr, nullptr);
  if (FAILED(result)) return result;
  std::vector<RegistryText> path = {kInterfaces, TextOf(id)};
  entries.push_back({path, {}, name.Copy()});
  path.push_back(kLibraryOfInterface);
  entries.push_back({path, {}, TextOf(attributes.guid)});
  entries.push_back(
      {path, kVersion, VersionText(attributes.wMajorVerNum, attributes.wMinorVerNum)});
  return S_OK;
}

// A tree without a key if it is there and nothing is below it.
RegistryKeyPointer WithoutBareKey(const RegistryKeyPointer& root, RegistryPath path) {
  const RegistryKey* key = FindRegistryKey(*root, path);
  return key != nullptr && key->keys.empty() ? WithoutRegistryKey(root, path) : root;
}

// A tree without the entries of the interfaces that refer to a version of a library.
RegistryKeyPointer WithoutInterfaces(RegistryKeyPointer root, REFGUID libraryId,
                                     const RegistryText& version) {
  const RegistryKeyPointer before = root;
  const auto interfaces = before->keys.find(RegistryTextView(kInterfaces));
  if (interfaces == before->keys.end()) return root;
  for (const auto& [name, key] : interfaces->second->keys) {
    const auto reference = key->keys.find(RegistryTextView(kLibraryOfInterface));
    if (reference == key->keys.end()) continue;
    CLSID id{};
    if (FAILED(IIDFromString(RegistryTextOf(*reference->second, {}).c_str(), &id)) ||
        id != libraryId || RegistryTextOf(*reference->second, kVersion) != version) {
      continue;
    }
    const RegistryText path[] = {kInterfaces, name, kLibraryOfInterface};
    root = WithoutRegistryKey(root, path);
    root = WithoutBareKey(root, RegistryPath(path).first(2));
  }
  return root;
}

}  // namespace

HRESULT FindRegisteredLibrary(REFGUID libraryId, WORD major, WORD& minor, RegistryText& path) {
  RegistryKeyPointer root;
  const LSTATUS status = TheOnly<RegistryStore>().Snapshot(root);
  if (status != ERROR_SUCCESS) return ResultOf(status);
  const RegistryText libraryPath[] = {kLibraries, TextOf(libraryId)};
  const RegistryKey* library = FindRegistryKey(*root, libraryPath);
  if (library == nullptr) return TYPE_E_LIBNOTREGISTERED;
  const RegistryKey* found = nullptr;
  WORD foundMinor = 0;
  for (const auto& [name, version] : library->keys) {
    WORD itsMajor = 0;
    WORD itsMinor = 0;
    if (!ReadVersion(name, itsMajor, itsMinor) || itsMajor != major || itsMinor < minor) continue;
    const bool isBetter =
        found == nullptr || itsMinor == minor || (foundMinor != minor && itsMinor > foundMinor);
    if (!isBetter) continue;
    found = version.get();
    foundMinor = itsMinor;
  }
  const RegistryText filePath[] = {kNeutralLocale, kPlatform};
  const RegistryKey* file = found != nullptr ? FindRegistryKey(*found, filePath) : nullptr;
  if (file != nullptr) path = RegistryTextOf(*file, {});
  if (path.empty()) return TYPE_E_LIBNOTREGISTERED;
  minor = foundMinor;
  return S_OK;
}

HRESULT EnterLibrary(ITypeLib& library, LPCOLESTR path, LPCOLESTR helpFolder) {
  TLIBATTR* given = nullptr;
  HRESULT result = library.GetLibAttr(&given);
  if (FAILED(result)) return result;
  const TLIBATTR attributes = *given;
  library.ReleaseTLibAttr(given);
  Text name;
  Text text;
  result = library.GetDocumentation(-1, &name.string, &text.string, nullptr, nullptr);
  if (FAILED(result)) return result;

  const RegistryText id = TextOf(attributes.guid);
  const RegistryText version = VersionText(attributes.wMajorVerNum, attributes.wMinorVerNum);
  std::vector<Entry> entries = {
      {{kLibraries, id, version}, {}, (text.string != nullptr ? text : name).Copy()},
      {{kLibraries, id, version, kNeutralLocale, kPlatform}, {}, path},
      {{kLibraries, id, version, kFlags}, {}, ToUtf16(std::to_string(attributes.wLibFlags))},
      {{kLibraries, id, version, kHelpFolder},
       {},
       helpFolder != nullptr ? RegistryText(helpFolder) : FolderOf(path)}};
  const UINT count = library.GetTypeInfoCount();
  for (UINT index = 0; index < count; ++index) {
    result = AddInterface(library, index, attributes, entries);
    if (FAILED(result)) return result;
  }
  return ResultOf(TheOnly<RegistryStore>().Modify([&](RegistryKeyPointer& root) {
    for (const Entry& entry : entries) {
      root = EditRegistry(root, entry.path, [&](RegistryKey& key) {
        key.values.insert_or_assign(entry.valueName, RegistryValueOf(entry.text));
      });
    }
    return ERROR_SUCCESS;
  }));
}

HRESULT RemoveLibrary(REFGUID libraryId, WORD major, WORD minor) {
  const RegistryText names[] = {kLibraries, TextOf(libraryId), VersionText(major, minor),
                                kNeutralLocale, kPlatform};
  const RegistryPath file = names;
  const LSTATUS status = TheOnly<RegistryStore>().Modify([&](RegistryKeyPointer& root) -> LSTATUS {
    if (FindRegistryKey(*root, file) == nullptr) return ERROR_FILE_NOT_FOUND;
    root = WithoutRegistryKey(root, file);
    root = WithoutInterfaces(root, libraryId, names[2]);
    // Other locales and platforms, if somebody entered them, keep the version.
    root = WithoutBareKey(root, file.first(4));
    const auto& left = FindRegistryKey(*root, file.first(3))->keys;
    if (left.size() ==
        left.count(RegistryTextView(kFlags)) + left.count(RegistryTextView(kHelpFolder))) {
      root = WithoutRegistryKey(root, file.first(3));
    }
    root = WithoutBareKey(root, file.first(2));
    return ERROR_SUCCESS;
  });
  return status == ERROR_FILE_NOT_FOUND ? E_INVALIDARG : ResultOf(status);
}

}  // namespace host
