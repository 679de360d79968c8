// What the embedded host does with tables that do not hold together, and with a library that nobody
// needs any more.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "host/types/table_checks.h"
#include "interfaces/identifiers.h"
#include "platform/com_ptr.h"
#include "tests/support/registered_module.h"
#include "tests/support/temp_file.h"

namespace tests {
namespace {

// One interface, one enumeration and one class, to be spoilt.
struct Tables {
  HostTypeParameter parameters[2] = {{"mode", {VT_USERDEFINED, false, 0, "Mode"}, 1},
                                     {"self", {VT_USERDEFINED, false, 2, "IOne"}, 10}};
  HostTypeMember members[1] = {{"Act", 1, 1, 0, 7, 2, parameters, nullptr}};
  HostTypeConstant constants[1] = {{"Off", 0}};
  const char* interfaces[1] = {"IOne"};
  GUID id{1, 2, 3, {}};
  HostType types[3] = {{kHostEnumeration, "Mode", nullptr, nullptr, 0, constants, 1, nullptr, 0},
                       {kHostDualInterface, "IOne", &id, members, 1, nullptr, 0, nullptr, 0},
                       {kHostClass, "One", &id, nullptr, 0, nullptr, 0, interfaces, 1}};
  HostTypeLibrary library{sizeof(HostTypeLibrary), 1, 0, &id, "OneLib", nullptr, types, 3};
};

TEST(TypeTables, ThatDoNotHoldTogether_AreRefused) {
  const std::string longName(300, 'x');
  const std::function<void(Tables&)> faults[] = {
      [](Tables& t) { t.library.structureBytes -= 8; },
      [](Tables& t) { t.library.id = nullptr; },
      [](Tables& t) { t.library.name = nullptr; },
      [](Tables& t) { t.library.types = nullptr; },
      [](Tables& t) { t.library.typeCount = 0xFFFFFFFF; },
      [](Tables& t) { t.types[1].name = "Mode"; },
      [](Tables& t) { t.types[1].name = ""; },
      [](Tables& t) { t.types[1].name = "B\xC3\xB6se"; },
      [&](Tables& t) { t.types[1].name = longName.c_str(); },
      [](Tables& t) { t.types[1].id = nullptr; },
      [](Tables& t) { t.types[1].kind = 6; },
      [](Tables& t) { t.types[1].members = nullptr; },
      [](Tables& t) { t.types[1].memberCount = 0x10000; },
      [](Tables& t) { t.types[0].constants = nullptr; },
      [](Tables& t) { t.constants[0].name = nullptr; },
      [](Tables& t) { t.types[2].interfaces = nullptr; },
      [](Tables& t) { t.interfaces[0] = "Mode"; },
      [](Tables& t) { t.interfaces[0] = nullptr; },
      [](Tables& t) { t.members[0].slot = 8; },
      [](Tables& t) { t.members[0].kind = 3; },
      [](Tables& t) { t.members[0].kind = INVOKE_PROPERTYPUT; },
      [](Tables& t) { t.members[0].parameters = nullptr; },
      [](Tables& t) { t.members[0].parameterCount = 33; },
      [](Tables& t) { t.parameters[0].name = nullptr; },
      [](Tables& t) { t.parameters[0].flags = 0; },
      [](Tables& t) { t.parameters[0].flags = PARAMFLAG_FOUT; },
      [](Tables& t) { t.parameters[0].flags = PARAMFLAG_FIN | PARAMFLAG_FRETVAL; },
      [](Tables& t) { t.parameters[0].use.name = "Other"; },
      [](Tables& t) { t.parameters[0].use.name = "One"; },
      [](Tables& t) { t.parameters[0].use.type = VT_I4; },
      [](Tables& t) {
        t.parameters[0].use = {VT_LPSTR, false, 0, nullptr};
      },
      [](Tables& t) {
        t.parameters[0].use = {VT_I4, false, 3, nullptr};
      },
      [](Tables& t) {
        t.parameters[0].use = {VT_USERDEFINED, false, 0, "IOne"};
      },
      [](Tables& t) { t.parameters[1].use.pointers = 1; },
  };
  EXPECT_TRUE(host::TypeTablesHold(Tables().library));
  for (std::size_t i = 0; i < std::size(faults); ++i) {
    Tables tables;
    faults[i](tables);
    EXPECT_FALSE(host::TypeTablesHold(tables.library)) << i;
  }
}

// A copy, as the module that other tests have loaded keeps the types it has used.
TEST(TypeLibraryFile, IsLetGoWithTheLastReference) {
  const TempFile copy("types");
  std::filesystem::copy_file(TypeLibraryFile(), copy.path(),
                             std::filesystem::copy_options::overwrite_existing);
  const auto isLoaded = [&] {
    void* module = dlopen(copy.path().c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (module) dlclose(module);
    return module != nullptr;
  };
  platform::ComPtr<ITypeLib> library;
  platform::ComPtr<ITypeInfo> info;
  ASSERT_EQ(LoadTypeLibEx(std::filesystem::path(copy.path()).string<OLECHAR>().c_str(),
                          REGKIND_NONE, library.Put()),
            S_OK);
  ASSERT_EQ(library->GetTypeInfoOfGuid(IID_IVectorKLP, info.Put()), S_OK);
  library = nullptr;
  EXPECT_TRUE(isLoaded());
  info = nullptr;
  EXPECT_FALSE(isLoaded());
}

}  // namespace
}  // namespace tests
