#include "host/types/registered_libraries.h"

#include <new>
#include <vector>

#include "host/base/references.h"
#include "host/classes/identifiers.h"
#include "host/registry/keys.h"
#include "host/types/names.h"
#include "host/values/strings.h"

namespace host {
namespace {

constexpr const OLECHAR* kPlatform = OLESTR("win64");
constexpr const OLECHAR* kNeutralLocale = OLESTR("0");
// The marshaler of dual and automation interfaces.
constexpr const OLECHAR* kAutomationMarshaler = OLESTR("{00020424-0000-0000-C000-000000000046}");

RegistryText TextOf(REFGUID id) {
  OLECHAR text[39];
  StringFromGUID2(id, text, 39);
  return text;
}

// Versions stand in the registry as hexadecimal numbers.
RegistryText HexText(WORD number) {
  RegistryText text;
  for (int shift = 12; shift >= 0; shift -= 4) {
    const int digit = number >> shift & 0xF;
    if (digit != 0 || !text.empty() || shift == 0) text += OLESTR("0123456789abcdef")[digit];
  }
  return text;
}
RegistryText VersionText(WORD major, WORD minor) {
  return HexText(major) + OLESTR(".") + HexText(minor);
}

// Reads one to four digits; false when the text is none.
bool ReadHex(RegistryTextView text, WORD& number) {
  number = 0;
  if (text.empty() || text.size() > 4) return false;
  for (const OLECHAR unit : text) {
    const RegistryTextView digits = OLESTR("0123456789abcdef");
    const std::size_t digit =
        digits.find(unit >= 'A' && unit <= 'F' ? static_cast<OLECHAR>(unit + 32) : unit);
    if (digit == digits.npos) return false;
    number = static_cast<WORD>(number << 4 | digit);
  }
  return true;
}
bool ReadVersion(RegistryTextView text, WORD& major, WORD& minor) {
  const std::size_t point = text.find(u'.');
  return point != text.npos && ReadHex(text.substr(0, point), major) &&
         ReadHex(text.substr(point + 1), minor);
}

HRESULT WriteResult(LSTATUS status) noexcept {
  if (status == ERROR_SUCCESS) return S_OK;
  return status == ERROR_NOT_ENOUGH_MEMORY ? E_OUTOFMEMORY : TYPE_E_REGISTRYACCESS;
}

// What the registry says, unless it is out of memory: that ends the operation as a whole. The other
// failures of a look-up mean that the entry is none of this library's.
LSTATUS Told(LSTATUS status) {
  if (status == ERROR_NOT_ENOUGH_MEMORY) throw std::bad_alloc();
  return status;
}

class Key {
 public:
  ~Key() {
    if (handle_ != nullptr) RegCloseKey(handle_);
  }
  Key() = default;
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;

  LSTATUS Open(HKEY above, const RegistryText& path) {
    return Told(RegOpenKeyExW(above, path.c_str(), 0, KEY_READ | KEY_WRITE, &handle_));
  }
  LSTATUS Make(HKEY above, const RegistryText& path) {
    return Told(
        RegCreateKeyExW(above, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &handle_, nullptr));
  }
  HKEY handle() const noexcept { return handle_; }

  LSTATUS Read(LPCOLESTR name, RegistryText& text) const {
    OLECHAR units[1024];
    DWORD type = REG_NONE;
    DWORD bytes = sizeof(units) - sizeof(OLECHAR);
    const LSTATUS status = Told(
        RegQueryValueExW(handle_, name, nullptr, &type, reinterpret_cast<BYTE*>(units), &bytes));
    if (status != ERROR_SUCCESS) return status;
    units[bytes / sizeof(OLECHAR)] = 0;
    text = units;
    return type == REG_SZ || type == REG_EXPAND_SZ ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
  }
  // The names of the keys below.
  std::vector<RegistryText> Below() const {
    std::vector<RegistryText> names;
    for (DWORD index = 0;; ++index) {
      OLECHAR name[kMostKeyNameUnits + 1];
      DWORD units = static_cast<DWORD>(std::size(name));
      if (Told(RegEnumKeyExW(handle_, index, name, &units, nullptr, nullptr, nullptr, nullptr)) !=
          ERROR_SUCCESS) {
        return names;
      }
      names.emplace_back(name, units);
    }
  }

 private:
  HKEY handle_ = nullptr;
};

// Writes a key's text value, and the key with it.
LSTATUS WriteText(const RegistryText& path, LPCOLESTR name, RegistryTextView text) {
  Key key;
  const LSTATUS made = key.Make(HKEY_CLASSES_ROOT, path);
  if (made != ERROR_SUCCESS) return made;
  const RegistryText terminated(text);
  return Told(RegSetValueExW(key.handle(), name, 0, REG_SZ,
                             reinterpret_cast<const BYTE*>(terminated.c_str()),
                             static_cast<DWORD>((terminated.size() + 1) * sizeof(OLECHAR))));
}

// Removes a key with all below it, and one that has nothing below it any more.
LSTATUS RemoveTree(const RegistryText& path) {
  return Told(RegDeleteTreeW(HKEY_CLASSES_ROOT, path.c_str()));
}
void RemoveIfBare(const RegistryText& path) {
  Told(RegDeleteKeyW(HKEY_CLASSES_ROOT, path.c_str()));
}

// Changes that happen together or not at all.
class Batch {
 public:
  ~Batch() {
    if (isOpen_) HostEndRegistryBatch(FALSE);
  }
  Batch() : status_(HostBeginRegistryBatch()), isOpen_(status_ == ERROR_SUCCESS) {}
  Batch(const Batch&) = delete;
  Batch& operator=(const Batch&) = delete;

  LSTATUS status() const noexcept { return status_; }
  LSTATUS Commit() noexcept {
    isOpen_ = false;
    return HostEndRegistryBatch(TRUE);
  }

 private:
  LSTATUS status_;
  bool isOpen_;
};

struct Text {
  BSTR string = nullptr;
  ~Text() { SysFreeString(string); }
  RegistryTextView View() const noexcept {
    return string != nullptr ? RegistryTextView(string, SysStringLen(string)) : RegistryTextView();
  }
};

RegistryText FolderOf(RegistryTextView path) {
  const std::size_t slash = path.rfind(u'/');
  return RegistryText(slash != path.npos ? path.substr(0, slash) : RegistryTextView());
}

// Enters a type if it is one whose calls the automation marshaler can carry.
HRESULT EnterInterface(ITypeLib& library, UINT index, const TLIBATTR& attributes) {
  TYPEKIND kind = TKIND_MAX;
  HRESULT result = library.GetTypeInfoType(index, &kind);
  if (FAILED(result) || (kind != TKIND_INTERFACE && kind != TKIND_DISPATCH)) return result;
  ITypeInfo* found = nullptr;
  result = library.GetTypeInfo(index, &found);
  if (FAILED(result)) return result;
  Reference<ITypeInfo> info;
  info.Adopt(found);
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
  const RegistryText path = OLESTR("Interface\\") + TextOf(id);
  const RegistryText libraryPath = path + OLESTR("\\TypeLib");
  const RegistryText version = VersionText(attributes.wMajorVerNum, attributes.wMinorVerNum);
  LSTATUS status = WriteText(path, nullptr, name.View());
  for (LPCOLESTR below : {OLESTR("\\ProxyStubClsid"), OLESTR("\\ProxyStubClsid32")}) {
    if (status == ERROR_SUCCESS) status = WriteText(path + below, nullptr, kAutomationMarshaler);
  }
  if (status == ERROR_SUCCESS) status = WriteText(libraryPath, nullptr, TextOf(attributes.guid));
  if (status == ERROR_SUCCESS) status = WriteText(libraryPath, OLESTR("Version"), version);
  return WriteResult(status);
}

// Removes the entries of the interfaces that refer to a version of a library.
void RemoveInterfaces(REFGUID libraryId, const RegistryText& version) {
  Key interfaces;
  if (interfaces.Open(HKEY_CLASSES_ROOT, OLESTR("Interface")) != ERROR_SUCCESS) return;
  for (const RegistryText& name : interfaces.Below()) {
    RegistryText itsLibrary;
    RegistryText itsVersion;
    {
      Key reference;
      if (reference.Open(interfaces.handle(), name + OLESTR("\\TypeLib")) != ERROR_SUCCESS ||
          reference.Read(nullptr, itsLibrary) != ERROR_SUCCESS ||
          reference.Read(OLESTR("Version"), itsVersion) != ERROR_SUCCESS) {
        continue;
      }
    }
    CLSID id{};
    if (FAILED(IIDFromString(itsLibrary.c_str(), &id)) || id != libraryId ||
        itsVersion != version) {
      continue;
    }
    const RegistryText path = OLESTR("Interface\\") + name;
    for (LPCOLESTR below :
         {OLESTR("\\TypeLib"), OLESTR("\\ProxyStubClsid"), OLESTR("\\ProxyStubClsid32")}) {
      RemoveTree(path + below);
    }
    RemoveIfBare(path);
  }
}

}  // namespace

HRESULT FindRegisteredLibrary(REFGUID libraryId, WORD major, WORD& minor, RegistryText& path) {
  Key library;
  const LSTATUS opened = library.Open(HKEY_CLASSES_ROOT, OLESTR("TypeLib\\") + TextOf(libraryId));
  if (opened == ERROR_FILE_NOT_FOUND) return TYPE_E_LIBNOTREGISTERED;
  if (opened != ERROR_SUCCESS) return WriteResult(opened);
  bool isFound = false;
  RegistryText found;
  WORD foundMinor = 0;
  for (const RegistryText& name : library.Below()) {
    WORD itsMajor = 0;
    WORD itsMinor = 0;
    if (!ReadVersion(name, itsMajor, itsMinor) || itsMajor != major || itsMinor < minor) continue;
    const bool isBetter =
        !isFound || itsMinor == minor || (foundMinor != minor && itsMinor > foundMinor);
    if (!isBetter) continue;
    isFound = true;
    found = name;
    foundMinor = itsMinor;
  }
  if (!isFound) return TYPE_E_LIBNOTREGISTERED;
  const RegistryText below = found + OLESTR("\\") + kNeutralLocale + OLESTR("\\") + kPlatform;
  Key file;
  if (file.Open(library.handle(), below) != ERROR_SUCCESS ||
      file.Read(nullptr, path) != ERROR_SUCCESS || path.empty()) {
    return TYPE_E_LIBNOTREGISTERED;
  }
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

  Batch batch;
  if (batch.status() != ERROR_SUCCESS) return WriteResult(batch.status());
  const RegistryText key = OLESTR("TypeLib\\") + TextOf(attributes.guid) + OLESTR("\\") +
                           VersionText(attributes.wMajorVerNum, attributes.wMinorVerNum);
  const RegistryText file = key + OLESTR("\\") + kNeutralLocale + OLESTR("\\") + kPlatform;
  const RegistryText folder = helpFolder != nullptr ? RegistryText(helpFolder) : FolderOf(path);
  LSTATUS status = WriteText(key, nullptr, text.string != nullptr ? text.View() : name.View());
  if (status == ERROR_SUCCESS) status = WriteText(file, nullptr, path);
  if (status == ERROR_SUCCESS) {
    status = WriteText(key + OLESTR("\\FLAGS"), nullptr,
                       WideText(std::to_string(attributes.wLibFlags).c_str()));
  }
  if (status == ERROR_SUCCESS) status = WriteText(key + OLESTR("\\HELPDIR"), nullptr, folder);
  result = WriteResult(status);
  const UINT count = library.GetTypeInfoCount();
  for (UINT index = 0; index < count && SUCCEEDED(result); ++index) {
    result = EnterInterface(library, index, attributes);
  }
  return FAILED(result) ? result : WriteResult(batch.Commit());
}

HRESULT RemoveLibrary(REFGUID libraryId, WORD major, WORD minor) {
  Batch batch;
  if (batch.status() != ERROR_SUCCESS) return WriteResult(batch.status());
  const RegistryText library = OLESTR("TypeLib\\") + TextOf(libraryId);
  const RegistryText version = library + OLESTR("\\") + VersionText(major, minor);
  const RegistryText locale = version + OLESTR("\\") + kNeutralLocale;
  const RegistryText file = locale + OLESTR("\\") + kPlatform;
  const LSTATUS removed = RemoveTree(file);
  if (removed == ERROR_FILE_NOT_FOUND) return E_INVALIDARG;
  if (removed != ERROR_SUCCESS) return WriteResult(removed);
  RemoveInterfaces(libraryId, VersionText(major, minor));
  // Other locales and platforms, if somebody entered them, keep the version.
  RemoveIfBare(locale);
  bool isLeft = false;
  {
    Key key;
    if (key.Open(HKEY_CLASSES_ROOT, version) == ERROR_SUCCESS) {
      for (const RegistryText& name : key.Below()) {
        isLeft = isLeft || (name != OLESTR("FLAGS") && name != OLESTR("HELPDIR"));
      }
    }
  }
  if (!isLeft) RemoveTree(version);
  RemoveIfBare(library);
  return WriteResult(batch.Commit());
}

}  // namespace host
