#include "host/registry/registrar.h"

#include <dlfcn.h>
#include <link.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <new>

#include "host/base/counted_object.h"
#include "host/base/digits.h"
#include "host/base/guarded.h"
#include "host/base/unicode.h"
#include "host/registry/keys.h"
#include "host/registry/script.h"
#include "host/services/module_files.h"
#include "host/services/resources.h"

namespace host {

namespace {

HRESULT ResultOf(LSTATUS status) noexcept {
  if (status == ERROR_NOT_ENOUGH_MEMORY) return E_OUTOFMEMORY;
  return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

struct OpenKey {
  HKEY handle = nullptr;
  OpenKey() = default;
  ~OpenKey() {
    if (handle != nullptr) RegCloseKey(handle);
  }
  OpenKey(const OpenKey&) = delete;
  OpenKey& operator=(const OpenKey&) = delete;
};

LSTATUS EnterBelow(HKEY handle, const ScriptKey& key) noexcept;

LSTATUS Enter(HKEY parent, const ScriptKey& key) noexcept {
  if (key.rule == ScriptRule::kForceRemove || key.rule == ScriptRule::kDelete) {
    const LSTATUS status = RegDeleteTreeW(parent, key.name.c_str());
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) return status;
    if (key.rule == ScriptRule::kDelete) return ERROR_SUCCESS;
  }
  OpenKey made;
  const LSTATUS status =
      RegCreateKeyExW(parent, key.name.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                      nullptr, &made.handle, nullptr);
  return status == ERROR_SUCCESS ? EnterBelow(made.handle, key) : status;
}

LSTATUS EnterBelow(HKEY handle, const ScriptKey& key) noexcept {
  for (const ScriptValue& value : key.values) {
    const LSTATUS status = RegSetValueExW(handle, value.name.c_str(), 0, value.type,
                                          value.data.data(), static_cast<DWORD>(value.data.size()));
    if (status != ERROR_SUCCESS) return status;
  }
  for (const ScriptKey& below : key.keys) {
    const LSTATUS status = Enter(handle, below);
    if (status != ERROR_SUCCESS) return status;
  }
  return ERROR_SUCCESS;
}

LSTATUS RemoveBelow(HKEY handle, const ScriptKey& key) noexcept;

LSTATUS Remove(HKEY parent, const ScriptKey& key) noexcept {
  if (key.rule == ScriptRule::kDelete) return ERROR_SUCCESS;
  OpenKey opened;
  LSTATUS status = RegOpenKeyExW(parent, key.name.c_str(), 0, KEY_ALL_ACCESS, &opened.handle);
  if (status == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
  if (status == ERROR_SUCCESS) status = RemoveBelow(opened.handle, key);
  if (status != ERROR_SUCCESS || key.rule == ScriptRule::kNoRemove) return status;
  status = RegDeleteKeyW(parent, key.name.c_str());
  // Somebody else has keys below it.
  return status == ERROR_ACCESS_DENIED ? ERROR_SUCCESS : status;
}

LSTATUS RemoveBelow(HKEY handle, const ScriptKey& key) noexcept {
  for (const ScriptKey& below : key.keys) {
    const LSTATUS status = Remove(handle, below);
    if (status != ERROR_SUCCESS) return status;
  }
  // The values of other keys go with the key, or stay with it for those who have keys below it.
  if (key.rule != ScriptRule::kNoRemove) return ERROR_SUCCESS;
  for (const ScriptValue& value : key.values) {
    if (value.isKept) continue;
    const LSTATUS status = RegDeleteValueW(handle, value.name.c_str());
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) return status;
  }
  return ERROR_SUCCESS;
}

HRESULT Apply(const std::vector<ScriptKey>& roots, bool enter) noexcept {
  for (const ScriptKey& root : roots) {
    if (root.name != OLESTR("HKCR")) return E_HANDLE;
    const LSTATUS status =
        enter ? EnterBelow(HKEY_CLASSES_ROOT, root) : RemoveBelow(HKEY_CLASSES_ROOT, root);
    if (status != ERROR_SUCCESS) return ResultOf(status);
  }
  return S_OK;
}

HRESULT ReadFileScript(LPCOLESTR file, RegistryText& script) {
  std::ifstream stream(ToUtf8(file), std::ios::binary);
  if (!stream) return ResultOf(ERROR_FILE_NOT_FOUND);
  const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  if (stream.bad()) return ResultOf(ERROR_CANTREAD);
  script = ToUtf16(bytes);
  return S_OK;
}

// A module that stays loaded while its resources are read.
class ResourceModule {
 public:
  explicit ResourceModule(const std::string& path) noexcept
      : library_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {}
  ~ResourceModule() {
    if (library_ != nullptr) dlclose(library_);
  }
  ResourceModule(const ResourceModule&) = delete;
  ResourceModule& operator=(const ResourceModule&) = delete;

  // Null: not a module.
  HINSTANCE Handle() const noexcept {
    link_map* map = nullptr;
    if (library_ == nullptr || dlinfo(library_, RTLD_DI_LINKMAP, &map) != 0) return nullptr;
    return HostModuleOf(map->l_ld);
  }

 private:
  void* library_;
};

HRESULT ReadResourceScript(LPCOLESTR file, UINT number, LPCOLESTR type, RegistryText& script) {
  // Without a folder the loader would look elsewhere.
  std::error_code error;
  const std::filesystem::path path = std::filesystem::absolute(ToUtf8(file), error);
  if (!std::filesystem::exists(path, error)) return ResultOf(ERROR_FILE_NOT_FOUND);
  const ResourceModule module(path.string());
  if (module.Handle() == nullptr) return ResultOf(ERROR_BAD_EXE_FORMAT);
  HostResource row;
  const HRESULT hr = HostFindResource(module.Handle(), type, 0, number, &row);
  if (FAILED(hr)) return hr;
  script = ToUtf16({static_cast<const char*>(row.bytes), row.size});
  return S_OK;
}

// "#101"; any other text names no resource of this host, and neither does 0.
UINT ResourceNumber(RegistryTextView text) noexcept {
  UINT number = 0;
  return text.starts_with('#') && ReadNumber(text.substr(1), 10, number) ? number : 0;
}

}  // namespace

class Registrar final : public CountedObject<Registrar, Serves<IRegistrar, IID_IRegistrar>> {
 public:
  STDMETHODIMP AddReplacement(LPCOLESTR name, LPCOLESTR text) noexcept override {
    if (name == nullptr || text == nullptr) return E_INVALIDARG;
    return Guarded<HRESULT>(E_OUTOFMEMORY, E_FAIL, [&] {
      std::lock_guard lock(mutex_);
      // The last one of a name counts.
      replacements_.emplace_back(name, text);
      return S_OK;
    });
  }
  STDMETHODIMP ClearReplacements() noexcept override {
    std::lock_guard lock(mutex_);
    replacements_.clear();
    return S_OK;
  }

  STDMETHODIMP ResourceRegisterSz(LPCOLESTR module, LPCOLESTR number,
                                  LPCOLESTR type) noexcept override {
    return RunNamedResource(module, number, type, true);
  }
  STDMETHODIMP ResourceUnregisterSz(LPCOLESTR module, LPCOLESTR number,
                                    LPCOLESTR type) noexcept override {
    return RunNamedResource(module, number, type, false);
  }
  STDMETHODIMP FileRegister(LPCOLESTR file) noexcept override { return RunFile(file, true); }
  STDMETHODIMP FileUnregister(LPCOLESTR file) noexcept override { return RunFile(file, false); }
  STDMETHODIMP StringRegister(LPCOLESTR script) noexcept override {
    return RunString(script, true);
  }
  STDMETHODIMP StringUnregister(LPCOLESTR script) noexcept override {
    return RunString(script, false);
  }
  STDMETHODIMP ResourceRegister(LPCOLESTR module, UINT number, LPCOLESTR type) noexcept override {
    return RunResource(module, number, type, true);
  }
  STDMETHODIMP ResourceUnregister(LPCOLESTR module, UINT number, LPCOLESTR type) noexcept override {
    return RunResource(module, number, type, false);
  }

 private:
  // read(text) gets the script; nothing has happened unless the result is a success.
  template <class Read>
  HRESULT Run(bool enter, Read&& read) noexcept {
    return Guarded<HRESULT>(E_OUTOFMEMORY, E_FAIL, [&]() -> HRESULT {
      RegistryText text;
      const HRESULT hr = read(text);
      if (FAILED(hr)) return hr;
      RegistryText script;
      {
        std::lock_guard lock(mutex_);
        if (!ReplaceInScript(text, replacements_, script)) return DISP_E_EXCEPTION;
      }
      std::vector<ScriptKey> roots;
      if (!ReadScript(script, roots)) return DISP_E_EXCEPTION;
      const LSTATUS begun = HostBeginRegistryBatch();
      if (begun != ERROR_SUCCESS) return ResultOf(begun);
      const HRESULT applied = Apply(roots, enter);
      const LSTATUS ended = HostEndRegistryBatch(SUCCEEDED(applied));
      return FAILED(applied) ? applied : ResultOf(ended);
    });
  }

  HRESULT RunString(LPCOLESTR script, bool enter) noexcept {
    if (script == nullptr) return E_INVALIDARG;
    return Run(enter, [&](RegistryText& text) {
      text = script;
      return S_OK;
    });
  }
  HRESULT RunFile(LPCOLESTR file, bool enter) noexcept {
    if (file == nullptr) return E_INVALIDARG;
    return Run(enter, [&](RegistryText& text) { return ReadFileScript(file, text); });
  }
  HRESULT RunResource(LPCOLESTR module, UINT number, LPCOLESTR type, bool enter) noexcept {
    if (module == nullptr || type == nullptr) return E_INVALIDARG;
    return Run(enter,
               [&](RegistryText& text) { return ReadResourceScript(module, number, type, text); });
  }
  HRESULT RunNamedResource(LPCOLESTR module, LPCOLESTR number, LPCOLESTR type,
                           bool enter) noexcept {
    if (module == nullptr || number == nullptr || type == nullptr) return E_INVALIDARG;
    return Run(enter, [&](RegistryText& text) {
      return ReadResourceScript(module, ResourceNumber(number), type, text);
    });
  }

  std::mutex mutex_;
  ScriptReplacements replacements_;
};

HRESULT CreateRegistrar(REFIID iid, void** out) {
  Reference<IRegistrar> registrar;
  registrar.Adopt(new (std::nothrow) Registrar);
  if (registrar.Get() == nullptr) return E_OUTOFMEMORY;
  return registrar->QueryInterface(iid, out);
}

}  // namespace host
