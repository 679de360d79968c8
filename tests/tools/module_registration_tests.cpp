// rastel register, unregister and classes, as an installer and its user run them.
#include <gmock/gmock.h>

#include "interfaces/identifiers.h"
#include "platform/com_ptr.h"
#include "platform/module_file.h"
#include "tests/support/registered_text.h"
#include "tests/tools/rastel_program.h"

namespace tests {
namespace {

using testing::HasSubstr;
using testing::Not;

class RastelRegistration : public Rastel {
 protected:
  ~RastelRegistration() override { Output({"unregister"}, 0); }

  std::string Output(const std::vector<std::string>& arguments, int exitCode) {
    const ChildResult result = Run(arguments);
    EXPECT_EQ(result.exitCode, exitCode) << testing::PrintToString(arguments) << result.output;
    return result.output;
  }
  static HRESULT LoadLibraryByIdentifier() {
    platform::ComPtr<ITypeLib> library;
    return LoadRegTypeLib(LIBID_RASTEL_KLP_Lib, 1, 0, 0, library.Put());
  }
};

TEST_F(RastelRegistration, Register_MakesClassesAndTypeLibraryFound) {
  EXPECT_EQ(Output({"classes"}, 1), "0 of 21 classes are registered\n");
  for (int round = 0; round < 2; ++round) {
    EXPECT_THAT(Output({"register"}, 0),
                testing::ContainsRegex("library registered\n.*classes reg"));
    platform::ComPtr<IUnknown> object;
    EXPECT_EQ(CoCreateInstance(CLSID_AttributeEntryKLP, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                               object.PutVoid()),
              S_OK);
    EXPECT_EQ(LoadLibraryByIdentifier(), S_OK);
  }
  const std::string classes = Output({"classes"}, 0);
  EXPECT_THAT(classes, HasSubstr("AOIKLP.ByteKLP.2                   ByteAOIKLP            "));
  EXPECT_THAT(classes, HasSubstr("RastelKLP.AttributeDoubleMapKLP.1  AttributeDoubleMapKLP "));
  EXPECT_EQ(std::count(classes.begin(), classes.end(), '\n'), 22);
  EXPECT_THAT(classes, HasSubstr("\n21 of 21 classes are registered\n"));
  EXPECT_THAT(classes, Not(HasSubstr("(missing)")));

  EXPECT_THAT(Output({"unregister"}, 0),
              testing::ContainsRegex("classes rem.*\n.*library removed"));
  EXPECT_EQ(LoadLibraryByIdentifier(), platform::ResultCode(0x8002801Du));
  EXPECT_FALSE(HasKey(OLESTR("AOIKLP.ByteKLP")));
  EXPECT_THAT(Output({"unregister"}, 0), Not(HasSubstr("library removed"))) << "nothing left to do";
}

// A module elsewhere, without a library beside it, that is deleted while it is registered.
TEST_F(RastelRegistration, Classes_TellsWhereModulesLie) {
  const TempFile module("RastelKLP.dll");
  std::filesystem::copy_file(platform::ModuleFileName(ModuleClient::Get().Handle()), module.path());
  EXPECT_THAT(Output({"register", module.path()}, 0), Not(HasSubstr("library")));
  const std::string line = "VectorKLP.ByteKLP.2                ByteVectorKLP         ";
  EXPECT_THAT(Output({"classes"}, 0), testing::ContainsRegex(line + ".*RastelKLP.dll\n"));
  std::filesystem::remove(module.path());
  EXPECT_THAT(Output({"classes"}, 0), testing::ContainsRegex(line + ".*RastelKLP.dll .missing."));
}

TEST_F(RastelRegistration, WhatIsNoModule_IsSaidInOneLine) {
  const TempFile file("text");
  file.Write("no module");
  for (const char* command : {"register", "unregister"}) {
    for (const std::string& path : {file.path(), file.folder() + "/missing"}) {
      const std::string said = Output({command, path}, 1);
      EXPECT_THAT(said, HasSubstr("cannot be loaded"));
      EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
    }
  }
  Output({"register", file.path(), file.path()}, 2);
  Output({"classes", "all"}, 2);
}

}  // namespace
}  // namespace tests
