#include "frame/registration.h"

#include <string>

#include "frame/boundary.h"
#include "platform/module_file.h"

namespace rastel {
namespace {

using Text = std::basic_string<OLECHAR>;

HRESULT ResultOf(LSTATUS status) noexcept { return HRESULT_FROM_WIN32(static_cast<DWORD>(status)); }

// An open registry key.
class Key {
 public:
  Key() = default;
  ~Key() {
    if (key_) RegCloseKey(key_);
  }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;

  LSTATUS Create(HKEY parent, const Text& path) noexcept {
    return RegCreateKeyExW(parent, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key_,
                           nullptr);
  }
  // An empty name is the key's own value.
  LSTATUS Set(const Text& name, const Text& value) noexcept {
    return RegSetValueExW(key_, name.c_str(), 0, REG_SZ,
                          reinterpret_cast<const BYTE*>(value.c_str()),
                          static_cast<DWORD>((value.size() + 1) * sizeof(OLECHAR)));
  }

 private:
  HKEY key_ = nullptr;
};

Text ClassPath(REFCLSID classId) {
  OLECHAR text[39];
  StringFromGUID2(classId, text, 39);
  return Text(OLESTR("CLSID\\")) + text;
}

HRESULT Enter(const CatalogueRow& row) {
  const Text file = platform::ModuleFileName(ModuleHandle());
  if (file.empty()) return E_UNEXPECTED;
  Key server;
  LSTATUS status =
      server.Create(HKEY_CLASSES_ROOT, ClassPath(*row.classId) + OLESTR("\\InprocServer32"));
  if (status == ERROR_SUCCESS) status = server.Set({}, file);
  if (status == ERROR_SUCCESS) status = server.Set(OLESTR("ThreadingModel"), OLESTR("Both"));
  return ResultOf(status);
}

HRESULT Remove(const CatalogueRow& row) {
  const LSTATUS status = RegDeleteTreeW(HKEY_CLASSES_ROOT, ClassPath(*row.classId).c_str());
  return status == ERROR_FILE_NOT_FOUND ? S_OK : ResultOf(status);
}

}  // namespace

HRESULT UpdateRegistration(const CatalogueRow& row, bool enter) noexcept {
  if (!row.instanceCreator) return S_OK;
  return Guarded(*row.classId, [&] { return enter ? Enter(row) : Remove(row); });
}

}  // namespace rastel
