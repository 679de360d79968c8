// SPDX-License-Identifier: MIT
// What no session shows of the example picture_road.
#include <gtest/gtest.h>

#include "pictures/picture_file.h"
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
    EXPECT_TRUE(said.ends_with(name + file + ": cannot be written\nexit 1\n")) << said;
  }
}

TEST(PictureFiles, ReadPicture_RefusesEveryFileWithoutItsLastPixel) {
  const TempFile file("picture.png");
  const std::string whole = FileContent(PICTURES "/rgb8.png");
  // The end mark takes 12 bytes. Of the lengths in the middle of the data some will do.
  for (std::size_t bytes = 0; bytes <= whole.size() - 12; ++bytes) {
    if (bytes > 64 && bytes < whole.size() - 64 && bytes % 37 != 0) continue;
    file.Write(whole.substr(0, bytes));
    EXPECT_THROW(pictures::ReadPicture<std::uint8_t>(file.path()), std::runtime_error) << bytes;
  }
}

}  // namespace
}  // namespace tests
