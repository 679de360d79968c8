// The module in the hands of the system's script host, which knows nothing but ProgIDs and names.
#include <gtest/gtest.h>

#include "tests/support/child_process.h"
#include "tests/support/registered_module.h"

namespace tests {
namespace {

TEST(ScriptHost, DrivesObjectsByName) {
  const RegisteredModule registered;
  ASSERT_EQ(registered.Result(), S_OK);
  const struct {
    const char* script;
    const char* output;
  } rows[] = {
      {"objects.vbs",
       "AOIKLP.ByteKLP.2: 80040459 Rasteldata: Die uebergebenen Koordinaten sind kleiner "
       "null.\n"
       "a number as a key: 80020009 invalid key type\n"
       "an integer as a key: 80020009 invalid key type. expected VT_INT\n"
       "no picture: 80070057 Invalid parameter.\n"
       "not a map: 1AE Class doesn't support Automation\n"},
      {"objects.js", "80040459 Rasteldata: Die uebergebenen Koordinaten sind kleiner null.\n"}};
  for (const auto& row : rows) {
    ChildResult script = RunProgram("C:\\windows\\system32\\cscript.exe",
                                    {"//nologo", std::string(SCRIPTS "/") + row.script});
    std::erase(script.output, '\r');
    EXPECT_EQ(script.exitCode, 0) << row.script;
    EXPECT_EQ(script.output, row.output);
  }
}

}  // namespace
}  // namespace tests
