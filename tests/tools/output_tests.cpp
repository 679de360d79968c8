// SPDX-License-Identifier: MIT
// What the program says when nobody can hear it, and how much it looks at.
#include <gtest/gtest.h>

#include "tests/tools/shell.h"

#ifndef _WIN32
#include <sys/resource.h>
#include <sys/wait.h>

namespace tests {
namespace {

// The exit code of a line of the system's shell, in which RASTEL stands for the program.
int ExitCodeOf(std::string line) {
  const std::string program =
      std::filesystem::read_symlink("/proc/self/exe").replace_filename("rastel").string();
  for (std::size_t at = 0; (at = line.find("RASTEL")) != line.npos;) line.replace(at, 6, program);
  const int status = std::system(("bash -o pipefail -c '" + line + "' 2> errors").c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Output, ThatDoesNotArrive_IsAFailure) {
  Shell shell;
  shell.Run("bytes ByteVectorKLP 03 01  03 00 00 00  00 00  01 02 FF > a.vec");
  shell.Run("bytes ByteVectorKLP 03 01  00 00 03 00  00 00  30000x( 00 01 02 03 04 05 ) > b.vec");
  for (const char* line : {
           "RASTEL info a.vec > /dev/full",
           "RASTEL info --json a.vec > /dev/full",
           "RASTEL dump a.vec >&-",
           "RASTEL dump --all b.vec > /dev/full",
           "RASTEL dump --all b.vec | head -c 1",
           "RASTEL dump --all --json b.vec | head -c 1",
           "RASTEL upgrade a.vec - > /dev/full",
           "RASTEL upgrade a.vec /dev/full",
           "RASTEL sum - < a.vec > /dev/full",
           "RASTEL --help > /dev/full",
       }) {
    EXPECT_EQ(ExitCodeOf(line), 1) << line;
    EXPECT_NE(FileContent("errors").find("cannot be written"), std::string::npos) << line;
  }
  EXPECT_EQ(ExitCodeOf("RASTEL upgrade a.vec - | cmp - a.vec"), 0);
}

// Sparse files: three planes of 169 MB, and 10 GB of nothing that is known.
TEST(Input, ThatIsLarge_IsSteppedOver) {
  Shell shell;
  shell.Run(
      "bytes ByteAOIKLP 02 02  C8 32 00 00 C8 32 00 00  8x( 00 )  C8 32 00 00 C8 32 00 00  8x( 00 "
      ") "
      "03 00 00 00  00 00  4x( 00 )  8x( 00 )  8x( 00 )  00 > a.aoi");
  std::filesystem::resize_file("a.aoi", 16 + 61 + std::uintmax_t{13000} * 13000 * 3);
  EXPECT_EQ(ExitCodeOf("RASTEL info a.aoi | grep -q whole"), 0);
  EXPECT_EQ(ExitCodeOf("RASTEL dump a.aoi | grep -q whole"), 0);
  shell.Run("bytes 00 > b.aoi");
  std::filesystem::resize_file("b.aoi", 10'000'000'000);
  EXPECT_EQ(ExitCodeOf("RASTEL info b.aoi"), 1);
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  EXPECT_LT(usage.ru_maxrss, 250'000) << "kB; a sanitizer needs more than the program";
}

}  // namespace
}  // namespace tests
#endif
