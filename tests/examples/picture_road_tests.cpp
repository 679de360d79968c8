// SPDX-License-Identifier: MIT
// What no session shows of the example picture_road.
#include <gtest/gtest.h>

#include "tests/support/host_kind.h"
#include "tests/tools/shell.h"

namespace tests {
namespace {

TEST(PictureRoad, NoticesAFullDisk) {
  if (!kEmbeddedHost) GTEST_SKIP() << "no file here stands for a full disk";
  Shell shell;
  shell.Run("rastel register");
  for (const std::string name : {"rgb8", "rgb16"}) {
    const std::string file = name == "rgb8" ? "/margin_zero.png" : "/margin_zero.ppm";
    std::filesystem::create_directory(name);
    std::filesystem::create_symlink("/dev/full", name + file);
    shell.Run("cp tests/data/pictures/" + name + ".png .");
    const std::string said = shell.Run("picture_road " + name + ".png " + name);
    EXPECT_TRUE(
        said.ends_with(name + file + ": cannot be written: No space left on device\nexit 1\n"))
        << said;
  }
}

}  // namespace
}  // namespace tests
