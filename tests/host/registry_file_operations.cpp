// SPDX-License-Identifier: MIT
// The embedded host's registry file: what others write into it, what is wrong with it, where it
// lies, and what packages and programs enter around it.
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "platform/module_file.h"
#include "tests/host/host_operations.h"
#include "tests/host/registry_text.h"
#include "tests/support/child_process.h"
#include "tests/support/module_client.h"
#include "tests/support/registered_module.h"

namespace tests::facts {
namespace {

namespace fs = std::filesystem;

std::string ModuleFile() {
  const OleText name = platform::ModuleFileName(ModuleClient::Get().Handle());
  return {name.begin(), name.end()};
}

// Where packages enter their modules, from now on and until the row's end.
HRESULT UsePackages() {
  const fs::path folder = PathOf("\"rastelhost/registry.d\"");
  fs::create_directories(folder);
  setenv("XDG_DATA_DIRS", folder.parent_path().parent_path().c_str(), 1);
  return S_OK;
}

// The module and its type library.
HRESULT RegisterWhole() {
  platform::ComPtr<ITypeLib> library;
  const HRESULT result = LoadTypeLibEx(TypeLibraryFile().c_str(), REGKIND_REGISTER, library.Put());
  return FAILED(result) ? result : ModuleClient::Get().RegisterServer();
}

struct File {
  const char* path;
};
void Read(Words& words, File& file) {
  file.path = nullptr;
  if (words.Take("null")) return;
  const bool isModule = words.Take("module");
  file.path = words.row.bytes.emplace_back(isModule ? ModuleFile() : PathOf(words.Next())).c_str();
}

// Takes lines of a registry file as if another process had put them there, shows what look-up,
// class look-up and a change say to them, and whether the file stayed. With `repeat n` in front,
// the second of three texts stands n times.
std::string ReadForeign(Words& words) {
  const std::string path = PathOf("\"registry\"");
  const auto count = words.Take("repeat") ? words.Number() : 0;
  std::string lines = words.Bytes();
  if (count > 0) {
    const std::string unit = words.Bytes();
    for (long long i = 0; i < count; ++i) lines += unit;
    lines += words.Bytes();
  }
  const std::string content =
      lines.starts_with("rastel") ? Ended(lines) : Ended(kFirstLine + lines);
  PutFile(path, content);
  HostUseRegistryFile(path.c_str());
  HKEY key = nullptr;
  void* object = nullptr;
  std::string shown =
      std::to_string(RegOpenKeyExW(HKEY_CLASSES_ROOT, nullptr, 0, KEY_READ, &key)) + ", " +
      Code(CoCreateInstance(GUID{1, 0, 0, {}}, nullptr, 1, IID_IUnknown, &object)) + ", " +
      std::to_string(RegCreateKeyExW(key ? key : HKEY_CLASSES_ROOT, OLESTR("new"), 0, nullptr, 0,
                                     KEY_READ, nullptr, &key, nullptr));
  return shown + (ContentOfFile(path) == content ? ", kept" : ", written");
}

// What a look-up says of the file in all states of damage: longer, cut at every byte, and with some
// bits of every byte changed.
std::string ReadDamaged(Words& words) {
  const std::string whole = ContentOfFile(RASTEL_FACTS "/" + words.Next());
  const std::string path = PathOf("\"registry\"");
  std::set<LSTATUS> answers;
  const auto read = [&](const std::string& content) {
    PutFile(path, content);
    HostUseRegistryFile(path.c_str());
    HKEY key = nullptr;
    answers.insert(RegOpenKeyExW(HKEY_CLASSES_ROOT, nullptr, 0, KEY_READ, &key));
    return *answers.begin();
  };
  std::string shown =
      std::to_string(read(whole)) + " for " + std::to_string(whole.size()) + " bytes, damaged";
  answers.clear();
  read(whole + "x");
  for (std::size_t bytes = 0; bytes < whole.size(); ++bytes) {
    read(whole.substr(0, bytes));
    for (const int bit : {0, 5, 7}) {
      std::string flipped = whole;
      flipped[bytes] = static_cast<char>(whole[bytes] ^ (1 << bit));
      read(flipped);
    }
  }
  for (const LSTATUS answer : answers) shown += ' ' + std::to_string(answer);
  return shown;
}

// A process with nothing but this environment enters ten keys below a letter; HERE is the row's
// folder.
std::string RunWriter(Words& words) {
  const std::string here = fs::path(PathOf("\"x\"")).parent_path();
  std::vector<std::string> arguments;
  while (words.HasMore()) {
    std::string word = words.Next();
    if (const std::size_t at = word.find("HERE"); at != word.npos) word.replace(at, 4, here);
    arguments.push_back(word);
  }
  const ChildResult child =
      RunProgram(fs::path(ThisProgram()).replace_filename("registry_writer"), arguments);
  return child.exitCode == 0 ? "entered" : child.output;
}

// All in the row's folder.
std::string FilesHere(Words&) {
  const fs::path here = fs::path(PathOf("\"x\"")).parent_path();
  std::set<std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(here)) {
    if (entry.is_regular_file()) files.insert(entry.path().lexically_relative(here));
  }
  std::string shown;
  for (const std::string& file : files) shown += (shown.empty() ? "" : " ") + file;
  return shown;
}

const MoreOperations kOperations(Operations{
    {"ReadDamaged", ReadDamaged},
    {"Writer", RunWriter},
    {"Files", FilesHere},
    {"HostUseRegistryFile", Of(+[](File file) { return HostUseRegistryFile(file.path); })},
    {"RegFlushKey", Of(RegFlushKey)},
    {"ReadForeign", ReadForeign},
    {"ReadAgain", Of(+[](File file, const OLECHAR* path) {
       if (HostUseRegistryFile(file.path) != S_OK) return LONG{ERROR_NOT_ENOUGH_MEMORY};
       HKEY key = nullptr;
       const LSTATUS status = RegOpenKeyExW(HKEY_CLASSES_ROOT, path, 0, KEY_READ, &key);
       if (status == ERROR_SUCCESS) RegCloseKey(key);
       HostUseRegistryFile(nullptr);
       return status;
     })},
    {"PutLines",
     [](Words& words) {
       PutFile(PathOf("\"registry\""), Ended(kFirstLine + std::string(words.Bytes())));
       return std::string("put");
     }},
    {"File", [](Words& words) { return Quoted(ContentOfFile(PathOf(words.Next()))); }},
    {"CopyTypes",
     Of(+[](File copy) { return fs::copy_file(TypeLibraryFile(), copy.path) ? S_OK : E_FAIL; })},
    {"IsLoaded", Of(+[](File module) {
       void* const loaded = dlopen(module.path, RTLD_NOW | RTLD_NOLOAD);
       if (loaded) dlclose(loaded);
       return int{loaded != nullptr};
     })},
    {"UsePackages", Of(UsePackages)},
    {"RegisterWhole", Of(RegisterWhole)},
    {"LinkToModule", Of(+[](File link) { return symlink(ModuleFile().c_str(), link.path); })},
    {"HostAddModule", Of(+[](File file) { return HostAddModule(file.path); })},
    {"MakePipe", Of(+[](File file) { return mkfifo(file.path, 0600); })},
    {"MakeFolder", Of(+[](File file) { return int{fs::create_directory(file.path)}; })},
});

}  // namespace
}  // namespace tests::facts
