// The module in the hands of the system's script host, which knows nothing but ProgIDs and names.
#include <gtest/gtest.h>

#include "tests/support/child_process.h"
#include "tests/support/registered_module.h"

namespace tests {
namespace {

TEST(ScriptHost, DrivesObjectsByName) {
  const RegisteredModule registered;
  ASSERT_EQ(registered.Result(), S_OK);
  const ChildResult script = RunProgram("C:\\windows\\system32\\cscript.exe", {"//nologo", SCRIPT});
  EXPECT_EQ(script.exitCode, 0);
  EXPECT_EQ(script.output,
            "80040459 AOIKLP.ByteKLP.2: Rasteldata: Die uebergebenen Koordinaten sind kleiner "
            "null.\r\n");
}

}  // namespace
}  // namespace tests
