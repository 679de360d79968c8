// What the example picture_road writes of small pictures of every kind, compared with a model of
// the margins that works pixel by pixel.
#include <gtest/gtest.h>

#include <algorithm>

#include "pictures/picture_file.h"
#include "tests/support/host_kind.h"
#include "tests/tools/shell.h"

namespace tests {
namespace {

using pictures::Picture;

constexpr int kMargin = 40;

struct PictureRow {
  const char* name;
  int width;
  int height;
  int channels;
  const char* ending;  // of what the program writes
};

// What tests/data/pictures/make_pictures.py put into the files.
template <class Sample>
Sample SampleAt(int x, int y, int channel) {
  const int value = (x * 1237 + y * 2459 + channel * 9973 + x * y * 17) & 0xFFFF;
  return static_cast<Sample>(sizeof(Sample) == 1 ? value >> 8 : value);
}

// Where the margin takes pixel i of a line of n from; -1: from nowhere, it is 0.
using Source = int (*)(int i, int n);
int Mirrored(int i, int n) { return i < 0 ? -1 - i : i >= n ? 2 * n - 1 - i : i; }
// Whether the colours of a pixel are inverted.
using Inverts = bool (*)(int x, int y, const PictureRow& row);
bool Never(int, int, const PictureRow&) { return false; }
bool InSecondTile(int x, int y, const PictureRow& row) {
  return (std::min(x / (row.width / 4), 3) + std::min(y / (row.height / 3), 2)) % 2 == 1;
}

constexpr struct {
  const char* file;
  int margin;
  Source source;
  Inverts inverts;
} kWritten[] = {
    {"margin_zero", kMargin, [](int i, int n) { return i < 0 || i >= n ? -1 : i; }, Never},
    {"margin_periodic", kMargin, [](int i, int n) { return (i + n) % n; }, Never},
    {"margin_replicate", kMargin, [](int i, int n) { return std::clamp(i, 0, n - 1); }, Never},
    {"margin_mirror", kMargin, Mirrored, Never},
    {"tiles", kMargin, Mirrored, InSecondTile},
    // The other process has the rectangle alone and inverts it once more.
    {"second_process", 0, Mirrored,
     [](int x, int y, const PictureRow& row) { return !InSecondTile(x, y, row); }},
};

template <class Sample>
Picture<Sample> Expected(const PictureRow& row, int margin, Source source, Inverts inverts) {
  Picture<Sample> stored{row.width + 2 * margin, row.height + 2 * margin, row.channels, {}};
  const int colours = row.channels % 2 == 0 ? row.channels - 1 : row.channels;
  for (int y = 0; y < stored.height; ++y) {
    for (int x = 0; x < stored.width; ++x) {
      const int fromX = source(x - margin, row.width);
      const int fromY = source(y - margin, row.height);
      for (int c = 0; c < row.channels; ++c) {
        const Sample sample =
            fromX < 0 || fromY < 0 ? Sample{0} : SampleAt<Sample>(fromX, fromY, c);
        const bool isInverted = c < colours && inverts(fromX, fromY, row);
        stored.samples.push_back(isInverted ? static_cast<Sample>(~sample) : sample);
      }
    }
  }
  return stored;
}

// Of 16 bits are portable any-maps: the samples, high byte first, behind a head that the session
// shows.
bool Holds(const std::string& path, const Picture<std::uint16_t>& expected) {
  std::string samples;
  for (const std::uint16_t sample : expected.samples) {
    samples += static_cast<char>(sample >> 8);
    samples += static_cast<char>(sample & 0xFF);
  }
  return FileContent(path).ends_with(samples);
}

bool Holds(const std::string& path, const Picture<std::uint8_t>& expected) {
  const auto written = pictures::ReadPicture<std::uint8_t>(path);
  return written.width == expected.width && written.height == expected.height &&
         written.channels == expected.channels && written.samples == expected.samples;
}

template <class Sample>
void ExpectWritten(const PictureRow& row) {
  for (const auto& [file, margin, source, inverts] : kWritten) {
    const std::string path = row.name + std::string("/") + file + row.ending;
    EXPECT_TRUE(Holds(path, Expected<Sample>(row, margin, source, inverts))) << path;
  }
}

TEST(PictureRoad, GoesAllTheWay) {
  const std::string text = FileContent(PICTURES "/picture_road.txt");
  Shell shell;
  EXPECT_EQ(shell.Play(text), text);
  for (const PictureRow& row : {PictureRow{"grey8", 48, 44, 1, ".png"},
                                {"grey_alpha8", 48, 44, 2, ".png"},
                                {"rgb8", 40, 40, 3, ".png"},
                                {"rgba8", 44, 48, 4, ".png"}}) {
    ExpectWritten<std::uint8_t>(row);
  }
  for (const PictureRow& row : {PictureRow{"grey16", 48, 44, 1, ".pgm"},
                                {"grey_alpha16", 41, 45, 2, ".pam"},
                                {"rgb16", 48, 44, 3, ".ppm"},
                                {"rgba16", 45, 41, 4, ".pam"}}) {
    ExpectWritten<std::uint16_t>(row);
  }
}

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
