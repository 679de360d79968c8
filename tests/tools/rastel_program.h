// The program rastel, run by a test, with files and a registry of its own.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/module_client.h"
#include "tests/support/registry_file.h"
#include "tests/support/streams.h"
#include "tests/support/temp_file.h"

namespace tests {

inline std::string Content(const std::string& hex) {
  const std::vector<BYTE> bytes = BytesOf(hex);
  return std::string(bytes.begin(), bytes.end());
}

class Rastel : public testing::Test {
 protected:
  Rastel() { UseRegistryFile(registry_.path()); }
  ~Rastel() override { UseRegistryFile(""); }

  ChildResult Run(std::vector<std::string> arguments, const std::string& bareClass = "") {
    if (!bareClass.empty()) arguments.insert(arguments.end(), {"--class", bareClass});
    // Beside the test program, wherever the host runs it from.
    const std::filesystem::path program =
        std::filesystem::path(ThisProgram()).replace_filename(RASTEL_PROGRAM_NAME);
    ChildResult result = RunProgram(program.string(), arguments);
    EXPECT_TRUE(result.hasStarted);
    EXPECT_FALSE(result.hasTimedOut);
    std::erase(result.output, '\r');
    return result;
  }

  const TempFile registry_{"registry"};
  const TempFile in_{"in"};
  const std::string out_ = in_.folder() + "/out";
};

// With the module registered for the program.
class RastelWithModule : public Rastel {
 protected:
  RastelWithModule() { EXPECT_EQ(ModuleClient::Get().RegisterServer(), S_OK); }
  ~RastelWithModule() override { ModuleClient::Get().UnregisterServer(); }
};

}  // namespace tests
