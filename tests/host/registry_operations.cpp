// SPDX-License-Identifier: MIT
// Registration: scripts, and what they and others leave in the registry.
#include <filesystem>
#include <optional>

#include "platform/module_file.h"
#include "platform/registrar.h"
#include "tests/host/host_operations.h"
#include "tests/support/child_process.h"
#include "tests/support/module_client.h"
#include "tests/support/registered_module.h"

namespace tests::facts {
namespace {

std::optional<TempFile> folder;
std::vector<OleText> enteredKeys;

std::string ProgramFolder() { return std::filesystem::path(ThisProgram()).parent_path().string(); }

std::string ValueText(DWORD type, const std::vector<BYTE>& data) {
  const std::string shown = std::to_string(type) + ' ';
  if (type == REG_DWORD || type == REG_BINARY) return shown + HexOf(data.data(), data.size());
  const auto* units = reinterpret_cast<const OLECHAR*>(data.data());
  const OleText text(units, data.size() / sizeof(OLECHAR));
  std::string quoted = Quoted(text), here = ProgramFolder();
  // Programs lie elsewhere on every machine.
  const std::size_t at = Quoted(std::string_view(here)).size() - 2;
  here = Quoted(std::string_view(here)).substr(1, at);
  if (const std::size_t found = quoted.find(here); found != quoted.npos) {
    quoted.replace(found, at, "HERE");
  }
  return shown + quoted;
}

std::string Bare(const OLECHAR* name) {
  const std::string quoted = Quoted(OleText(name));
  return quoted.substr(1, quoted.size() - 2);
}

// Everything in a key: {name=type data, ... Name{...} ...}.
std::string Tree(HKEY key) {
  std::string shown;
  OLECHAR name[256];
  for (DWORD i = 0, units = 256, type = 0, bytes = 4096;; ++i, units = 256, bytes = 4096) {
    std::vector<BYTE> data(bytes);
    if (RegEnumValueW(key, i, name, &units, nullptr, &type, data.data(), &bytes)) break;
    data.resize(bytes);
    shown += ' ' + Bare(name) + '=' + ValueText(type, data);
  }
  for (DWORD i = 0, units = 256;; ++i, units = 256) {
    if (RegEnumKeyExW(key, i, name, &units, nullptr, nullptr, nullptr, nullptr)) break;
    HKEY below = nullptr;
    RegOpenKeyExW(key, name, 0, KEY_READ, &below);
    shown += ' ' + Bare(name) + Tree(below);
    RegCloseKey(below);
  }
  return '{' + (shown.empty() ? "" : shown.substr(1)) + '}';
}

std::string TreeAt(Words& words) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, words.Text(), 0, KEY_READ, &key)) return "none";
  const std::string shown = Tree(key);
  RegCloseKey(key);
  return shown;
}

const MoreOperations kOperations(Operations{
    {"Tree", TreeAt},
    {"WriteFile",
     [](Words& words) {
       const std::string path = PathOf(words.Next());
       std::ofstream(path, std::ios::binary) << words.Bytes();
       return std::string("written");
     }},
    {"Registrar",
     [](Words& words) {
       platform::ComPtr<IRegistrar> made;
       const HRESULT result = CoCreateInstance(CLSID_Registrar, nullptr, CLSCTX_INPROC_SERVER,
                                               IID_IRegistrar, made.PutVoid());
       words.row.objects[words.Next()] = made.As<IUnknown>();
       DeleteAtEnd(OLESTR("RastelTest.Registrar"));
       return Shown(result, words);
     }},
    {"AddReplacement", Of(&IRegistrar::AddReplacement)},
    {"ClearReplacements", Of(&IRegistrar::ClearReplacements)},
    {"StringRegister", Of(&IRegistrar::StringRegister)},
    {"StringUnregister", Of(&IRegistrar::StringUnregister)},
    {"FileRegister",
     Of(+[](IRegistrar* registrar, Path path) { return registrar->FileRegister(path.text); })},
    {"FileUnregister",
     Of(+[](IRegistrar* registrar, Path path) { return registrar->FileUnregister(path.text); })},
    {"ResourceRegister", Of(&IRegistrar::ResourceRegister)},
    {"ResourceUnregister", Of(&IRegistrar::ResourceUnregister)},
    {"ResourceRegisterSz", Of(&IRegistrar::ResourceRegisterSz)},
    {"ModuleRegister", Of(+[](IRegistrar* registrar, UINT number, const OLECHAR* type) {
       const OleText module = platform::ModuleFileName(ModuleClient::Get().Handle());
       return registrar->ResourceRegister(module.c_str(), number, type);
     })},
    {"ModuleUnregister", Of(+[](IRegistrar* registrar, const OLECHAR* number, const OLECHAR* type) {
       const OleText module = platform::ModuleFileName(ModuleClient::Get().Handle());
       return registrar->ResourceUnregisterSz(module.c_str(), number, type);
     })},
});

}  // namespace

std::string PathOf(std::string_view word) {
  const std::size_t quote = word.find('"');
  const std::string name(word.substr(quote + 1, word.size() - quote - 2));
  if (quote == 0 && !folder) folder.emplace();
  const std::filesystem::path place = quote == 0 ? folder->folder() : ProgramFolder();
  return (place / name).make_preferred().string();
}

void EnterText(const OleText& key, const OleText& below, const OLECHAR* name, const OleText& text) {
  DeleteAtEnd(key);
  HKEY made = nullptr;
  RegCreateKeyExW(HKEY_CLASSES_ROOT, (key + OLESTR("\\") + below).c_str(), 0, nullptr, 0,
                  KEY_ALL_ACCESS, nullptr, &made, nullptr);
  RegSetValueExW(made, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                 static_cast<DWORD>((text.size() + 1) * sizeof(OLECHAR)));
  RegCloseKey(made);
}

void DeleteAtEnd(const OleText& key) { enteredKeys.push_back(key); }

void EndRow() {
  EndObjects();
  for (const OleText& key : enteredKeys) RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str());
  enteredKeys.clear();
#ifndef _WIN32
  unsetenv("XDG_DATA_DIRS");
#endif
  if (folder) UseRegistryFile("");
  folder.reset();
}

}  // namespace tests::facts
