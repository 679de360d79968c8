// SPDX-License-Identifier: MIT
#include "tools/module_registration.h"

#include <cstdio>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "platform/module_file.h"
#include "platform/module_loader.h"
#include "tools/class_names.h"
#include "tools/loaded_object.h"
#include "tools/paths.h"

namespace tools {
namespace {

namespace fs = std::filesystem;
using platform::ComPtr;
using WideText = std::basic_string<OLECHAR>;

// The ending of the library stands behind the name that the module has without its own.
#ifdef _WIN32
constexpr const char* kLibraryEnding = ".tlb";
#else
constexpr const char* kLibraryEnding = "Types.so";
#endif

fs::path FullPath(const std::string& given) {
  if (!given.empty()) return fs::absolute(PathOf(given));
  const fs::path program = fs::path(platform::ModuleFileName(nullptr)).parent_path();
  for (const fs::path& folder : {program, program.parent_path() / "lib"}) {
    if (fs::exists(folder / kModuleFile)) return folder / kModuleFile;
  }
  throw std::runtime_error(std::string("there is no ") + kModuleFile +
                           " with this program: name the module");
}

// Whether a registered file is there, and not this one. What is gone was moved or deleted.
bool IsAnotherFile(const fs::path& registered, const fs::path& file) {
  std::error_code ignored;
  return fs::exists(registered, ignored) && !fs::equivalent(registered, file, ignored);
}

// Where registrations are kept; empty where the system keeps them, and where nobody does.
std::string RegistryFile() {
#ifdef _WIN32
  return {};
#else
  std::string file(HostRegistryFile(nullptr, 0) + 1, '\0');
  file.resize(HostRegistryFile(file.data(), static_cast<ULONG>(file.size())));
  return file;
#endif
}

// Runs what reads or changes registrations. A failure says where they are kept.
template <class Work>
auto WithRegistry(Work work) {
  const std::string file = RegistryFile();
  try {
    return work();
  } catch (const std::exception& error) {
    if (file.empty()) throw;
    throw std::runtime_error(std::string(error.what()) + " (registry: " + file + ")");
  }
}

void CallModule(const fs::path& module, const char* name) {
  const platform::LoadedModule loaded(module);
  auto* const operation = loaded.Export<HRESULT STDAPICALLTYPE()>(name);
  if (!operation) {
    throw std::runtime_error(
        Utf8(module) + (loaded.IsLoaded() ? ": is not a component module" : ": cannot be loaded"));
  }
  WithRegistry([&] { Check(operation(), Utf8(module) + ": " + name); });
}

// How type libraries are entered and removed.
struct LibraryOperations {
  decltype(&RegisterTypeLib) enter = &RegisterTypeLib;
  decltype(&UnRegisterTypeLib) remove = &UnRegisterTypeLib;
};
LibraryOperations& Operations() {
  static LibraryOperations operations;
  return operations;
}

// A type library.
class Library {
 public:
  // That beside a module, else the one in it, if there is one.
  static std::optional<Library> Of(const fs::path& module) {
    Library beside(module.parent_path() / (module.stem() += kLibraryEnding));
    if (fs::exists(beside.file_)) {
      Check(beside.Load(), beside.Name() + ": LoadTypeLibEx");
      return beside;
    }
    Library inside(module);
    return SUCCEEDED(inside.Load()) ? std::optional(inside) : std::nullopt;
  }

  std::string Name() const { return Utf8(file_); }

  void Register() {
    Check(Operations().enter(library_.Get(), wide_.data(), nullptr), Name() + ": RegisterTypeLib");
  }

  // False: it is not registered, or if not forced, it is another file that is.
  bool Unregister(bool isForced) {
    TLIBATTR* attributes = nullptr;
    Check(library_->GetLibAttr(&attributes), Name() + ": GetLibAttr");
    const TLIBATTR copy = *attributes;
    library_->ReleaseTLibAttr(attributes);
    BSTR registered = nullptr;
    const HRESULT found = QueryPathOfRegTypeLib(copy.guid, copy.wMajorVerNum, copy.wMinorVerNum,
                                                copy.lcid, &registered);
    if (FAILED(found)) return false;
    const fs::path place = registered;
    SysFreeString(registered);
    if (!isForced && IsAnotherFile(place, file_)) return false;
    // The platform reads the library at its place to know what to remove.
    if (!fs::exists(place)) Register();
    Check(Operations().remove(copy.guid, copy.wMajorVerNum, copy.wMinorVerNum, copy.lcid,
                              copy.syskind),
          Name() + ": UnRegisterTypeLib");
    return true;
  }

 private:
  explicit Library(const fs::path& file) : file_(file), wide_(file.string<OLECHAR>()) {}
  HRESULT Load() { return LoadTypeLibEx(wide_.c_str(), REGKIND_NONE, library_.Put()); }

  fs::path file_;
  WideText wide_;
  ComPtr<ITypeLib> library_;
};

// The versioned ProgID; empty when there is none.
std::string ProgId(const KnownClass& known) {
  LPOLESTR text = nullptr;
  const HRESULT result = ProgIDFromCLSID(known.classId, &text);
  if (result == REGDB_E_CLASSNOTREG) return {};
  Check(result, "ProgIDFromCLSID");
  const std::string progId = Utf8(text);
  CoTaskMemFree(text);
  return progId;
}

// The module of a class; empty when none is registered.
fs::path ModuleFile(const KnownClass& known) {
  OLECHAR identifier[39];
  StringFromGUID2(known.classId, identifier, 39);
  const WideText path = WideText(OLESTR("CLSID\\")) + identifier + OLESTR("\\InprocServer32");
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return {};
  WideText text(32768, OLECHAR{});
  auto bytes = static_cast<DWORD>((text.size() - 1) * sizeof(OLECHAR));
  const LSTATUS status = RegQueryValueExW(key, nullptr, nullptr, nullptr,
                                          reinterpret_cast<BYTE*>(text.data()), &bytes);
  RegCloseKey(key);
  return status == ERROR_SUCCESS ? fs::path(text.c_str()) : fs::path();
}

#ifdef _WIN32
// Headers of older systems leave them out.
extern "C" HRESULT WINAPI RegisterTypeLibForUser(ITypeLib*, OLECHAR*, OLECHAR*);
extern "C" HRESULT WINAPI UnRegisterTypeLibForUser(REFGUID, WORD, WORD, LCID, SYSKIND);
#endif

#ifndef _WIN32

// Puts `relative` in the place of the module's folder, where the text of a key, or of one below it,
// begins with that.
void MakeRelative(HKEY key, const std::string& moduleFolder, const std::string& relative) {
  OLECHAR text[4096];
  DWORD type = REG_NONE, bytes = sizeof(text);
  const bool isText = RegQueryValueExW(key, nullptr, nullptr, &type, reinterpret_cast<BYTE*>(text),
                                       &bytes) == ERROR_SUCCESS &&
                      type == REG_SZ;
  const std::string old = isText ? Utf8(fs::path(text)) : std::string();
  if (old == moduleFolder || old.starts_with(moduleFolder + '/')) {
    const WideText changed = fs::path(relative + old.substr(moduleFolder.size())).string<OLECHAR>();
    Check(HRESULT_FROM_WIN32(static_cast<DWORD>(RegSetValueExW(
              key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(changed.c_str()),
              static_cast<DWORD>((changed.size() + 1) * sizeof(OLECHAR))))),
          old);
  }
  OLECHAR name[256];
  for (DWORD index = 0;; ++index) {
    DWORD units = 256;
    if (RegEnumKeyExW(key, index, name, &units, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      return;
    }
    HKEY below = nullptr;
    if (RegOpenKeyExW(key, name, 0, KEY_ALL_ACCESS, &below) != ERROR_SUCCESS) continue;
    MakeRelative(below, moduleFolder, relative);
    RegCloseKey(below);
  }
}

#endif

}  // namespace

void RegisterForUser() {
#ifdef _WIN32
  HKEY classes = nullptr;
  const auto check = [](LONG error) {
    Check(HRESULT_FROM_WIN32(static_cast<DWORD>(error)), "the user's classes");
  };
  check(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Classes", 0, nullptr, 0, KEY_ALL_ACCESS,
                        nullptr, &classes, nullptr));
  check(RegOverridePredefKey(HKEY_CLASSES_ROOT, classes));
  RegCloseKey(classes);
  Operations() = {&RegisterTypeLibForUser, &UnRegisterTypeLibForUser};
#endif
}

bool ServeOwnModule() {
  fs::path file;
  try {
    file = FullPath("");
  } catch (const std::runtime_error&) {
    return false;
  }
  // Never destroyed, as factories of it stay registered up to the end.
  static const auto* const module = new platform::LoadedModule(file);
  auto* const getClassObject =
      module->Export<HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**)>("DllGetClassObject");
  if (!getClassObject) return false;
  for (const KnownClass& known : KnownClasses()) {
    ComPtr<IUnknown> factory;
    DWORD cookie = 0;
    Check(getClassObject(known.classId, IID_IUnknown, factory.PutVoid()), "DllGetClassObject");
    Check(CoRegisterClassObject(known.classId, factory.Get(), CLSCTX_INPROC_SERVER,
                                REGCLS_MULTIPLEUSE, &cookie),
          "CoRegisterClassObject");
  }
  return true;
}

#ifndef _WIN32

void WritePackage(const std::string& path, const std::string& package) {
  const fs::path module = FullPath(path), file = fs::absolute(PathOf(package));
  fs::create_directories(file.parent_path());
  fs::remove(file);
  Check(HostUseRegistryFile(file.c_str()), Utf8(file));
  RegisterModule(path);
  const std::string folder = Utf8(module.parent_path());
  const std::string relative = Utf8(fs::relative(module.parent_path(), file.parent_path()));
  MakeRelative(HKEY_CLASSES_ROOT, folder, relative.starts_with('.') ? relative : "./" + relative);
}

#endif

void RegisterModule(const std::string& path) {
  const fs::path module = FullPath(path);
  std::optional<Library> library = Library::Of(module);
#ifndef _WIN32
  if (RegistryFile().empty()) {
    throw std::runtime_error(
        Utf8(module) +
        ": there is no file to keep its classes in: set HOME, XDG_DATA_HOME or "
        "RASTEL_HOST_REGISTRY");
  }
#endif
  if (library) WithRegistry([&] { library->Register(); });
  CallModule(module, "DllRegisterServer");
  if (library) std::printf("%s: type library registered\n", library->Name().c_str());
  std::printf("%s: classes registered\n", Utf8(module).c_str());
}

void UnregisterModule(const std::string& path, bool isForced) {
  const fs::path module = FullPath(path);
  for (const KnownClass& known : KnownClasses()) {
    const fs::path registered = ModuleFile(known);
    if (!isForced && IsAnotherFile(registered, module)) {
      throw std::runtime_error(Utf8(module) + ": registered is " + Utf8(registered) +
                               " (--force removes it all the same)");
    }
  }
  CallModule(module, "DllUnregisterServer");
  std::printf("%s: classes removed\n", Utf8(module).c_str());
  std::optional<Library> library = Library::Of(module);
  if (library && library->Unregister(isForced)) {
    std::printf("%s: type library removed\n", library->Name().c_str());
  }
}

std::vector<RegisteredClass> RegisteredClasses() {
  std::vector<RegisteredClass> classes;
  for (const KnownClass& known : KnownClasses()) {
    const std::string progId = WithRegistry([&] { return ProgId(known); });
    if (progId.empty()) continue;
    const fs::path file = ModuleFile(known);
    std::error_code ignored;
    classes.push_back({&known, progId, Utf8(file), fs::exists(file, ignored)});
  }
  return classes;
}

}  // namespace tools
