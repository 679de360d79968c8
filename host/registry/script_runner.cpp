// SPDX-License-Identifier: MIT
#include "host/registry/script_runner.h"

#include <link.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <new>

#include "host/base/counted_object.h"
#include "host/base/digits.h"
#include "host/base/guarded.h"
#include "host/base/never_destroyed.h"
#include "host/base/unicode.h"
#include "host/registry/script_reader.h"
#include "host/registry/store.h"
#include "host/services/loaded_library.h"
#include "host/services/module_files.h"
#include "host/services/resources.h"

namespace host {
namespace {

HRESULT ResultOf(LSTATUS status) noexcept { return HRESULT_FROM_WIN32(static_cast<DWORD>(status)); }

// Makes a key what a script says of it, and all below it.
LSTATUS Enter(const ScriptKey& script, RegistryKey& key) {
  for (const ScriptValue& value : script.values) {
    if (value.name.size() > kMostValueNameUnits || value.content.data.size() > kMostValueBytes) {
      return ERROR_INVALID_PARAMETER;
    }
    key.values.insert_or_assign(value.name, value.content);
  }
  for (const ScriptKey& below : script.keys) {
    if (below.name.size() > kMostKeyNameUnits) return ERROR_INVALID_PARAMETER;
    const bool isDeleted = below.rule == ScriptRule::kDelete;
    if (isDeleted || below.rule == ScriptRule::kForceRemove) key.keys.erase(below.name);
    if (isDeleted) continue;
    RegistryKeyPointer& place = key.keys[below.name];
    const std::shared_ptr<RegistryKey> made = EditableRegistryKey(place);
    const LSTATUS status = Enter(below, *made);
    if (status != ERROR_SUCCESS) return status;
    place = made;
  }
  return ERROR_SUCCESS;
}

// Takes out of a key what a script entered there. False: the key itself is not needed any more.
bool Remove(const ScriptKey& script, RegistryKey& key) {
  for (const ScriptKey& below : script.keys) {
    const auto found = key.keys.find(below.name);
    if (below.rule == ScriptRule::kDelete || found == key.keys.end()) continue;
    const std::shared_ptr<RegistryKey> left = EditableRegistryKey(found->second);
    if (!Remove(below, *left)) {
      key.keys.erase(found);
    } else if (*left != *found->second) {
      found->second = left;
    }
  }
  // The values of other keys go with the key, or stay with it for those who have keys below it.
  if (script.rule != ScriptRule::kNoRemove) return !key.keys.empty();
  for (const ScriptValue& value : script.values) {
    if (!value.isKept) key.values.erase(value.name);
  }
  return true;
}

LSTATUS Apply(const std::vector<ScriptKey>& scripts, bool enter, RegistryKeyPointer& root) {
  for (const ScriptKey& script : scripts) {
    if (script.name != OLESTR("HKCR")) return ERROR_INVALID_HANDLE;
    const std::shared_ptr<RegistryKey> changed = EditableRegistryKey(root);
    const LSTATUS status = enter ? Enter(script, *changed) : ERROR_SUCCESS;
    if (status != ERROR_SUCCESS) return status;
    if (!enter) Remove(script, *changed);
    if (*changed != *root) root = changed;
  }
  return ERROR_SUCCESS;
}

HRESULT ReadFileScript(LPCOLESTR file, RegistryText& script) {
  std::ifstream stream(ToUtf8(file), std::ios::binary);
  if (!stream) return ResultOf(ERROR_FILE_NOT_FOUND);
  const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  if (stream.bad()) return ResultOf(ERROR_CANTREAD);
  script = ToUtf16(bytes);
  return S_OK;
}

HRESULT ReadResourceScript(LPCOLESTR file, UINT number, LPCOLESTR type, RegistryText& script) {
  // Without a folder the loader would look elsewhere.
  std::error_code error;
  const std::filesystem::path path = std::filesystem::absolute(ToUtf8(file), error);
  if (!std::filesystem::exists(path, error)) return ResultOf(ERROR_FILE_NOT_FOUND);
  const LoadedLibrary module = LoadLibraryFile(path.c_str());
  link_map* map = nullptr;
  if (module == nullptr || dlinfo(module.get(), RTLD_DI_LINKMAP, &map) != 0) {
    return ResultOf(ERROR_BAD_EXE_FORMAT);
  }
  HostResource row;
  const HRESULT hr = HostFindResource(HostModuleOf(map->l_ld), type, 0, number, &row);
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
      return ResultOf(TheOnly<RegistryStore>().Modify(
          [&](RegistryKeyPointer& root) { return Apply(roots, enter, root); }));
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
    return number != nullptr ? RunResource(module, ResourceNumber(number), type, enter)
                             : E_INVALIDARG;
  }

  std::mutex mutex_;
  ScriptReplacements replacements_;
};

HRESULT CreateRegistrar(REFIID iid, void** out) {
  Reference<IRegistrar> registrar(new (std::nothrow) Registrar);
  if (registrar.Get() == nullptr) return E_OUTOFMEMORY;
  return registrar->QueryInterface(iid, out);
}

}  // namespace host
