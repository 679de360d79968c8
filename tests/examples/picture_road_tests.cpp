// The example programs, run as their users run them, on small pictures of every kind. What they
// write is compared with a model of the margins that works pixel by pixel.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <type_traits>

#include "pictures/picture_file.h"
#include "tests/support/child_process.h"
#include "tests/support/host_kind.h"
#include "tests/support/registry_file.h"
#include "tests/support/temp_file.h"

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

// A portable any-map of 16 bits: PGM, PPM or PAM.
Picture<std::uint16_t> ReadAnyMap(const std::string& path) {
  Picture<std::uint16_t> picture;
  std::ifstream file(path, std::ios::binary);
  std::string word;
  int most = 0;
  file >> word;
  if (word == "P7") {
    while (file >> word && word != "ENDHDR") {
      if (word == "WIDTH") file >> picture.width;
      if (word == "HEIGHT") file >> picture.height;
      if (word == "DEPTH") file >> picture.channels;
      if (word == "MAXVAL") file >> most;
    }
  } else {
    picture.channels = word == "P5" ? 1 : word == "P6" ? 3 : 0;
    file >> picture.width >> picture.height >> most;
  }
  EXPECT_EQ(most, 65535) << path;
  file.get();
  for (int high = file.get(); high >= 0; high = file.get()) {
    picture.samples.push_back(static_cast<std::uint16_t>(high << 8 | file.get()));
  }
  return picture;
}

template <class Sample>
Picture<Sample> ReadBack(const std::string& path) {
  if constexpr (std::is_same_v<Sample, std::uint16_t>) {
    return ReadAnyMap(path);
  } else {
    return pictures::ReadPicture<Sample>(path);
  }
}

ChildResult RunExample(const char* program, const std::vector<std::string>& arguments) {
  const ChildResult child =
      RunProgram(std::filesystem::absolute(program).make_preferred().string(), arguments);
  for (const char* crash : {"Sanitizer", "runtime error", "Unhandled exception"}) {
    EXPECT_EQ(child.output.find(crash), child.output.npos) << child.output;
  }
  return child;
}

std::string PathOf(const char* name) { return std::string(PICTURES) + name + ".png"; }

std::string FileContent(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The lines behind the one that starts with `from`, up to the one that starts with `to`.
std::string Between(const std::string& text, const std::string& from, const std::string& to) {
  const std::size_t start = text.find('\n', text.find("  " + from + " ")) + 1;
  return text.substr(start, text.find("  " + to + " ", start) - start);
}

class Examples : public testing::Test {
 protected:
  Examples() {
    UseRegistryFile(registry_.path());
    const ChildResult entered = RunExample(RASTEL, {"register", RASTEL_MODULE});
    EXPECT_EQ(entered.exitCode, 0) << entered.output;
  }
  ~Examples() override {
    const ChildResult removed = RunExample(RASTEL, {"unregister", RASTEL_MODULE});
    EXPECT_EQ(removed.exitCode, 0) << removed.output;
    UseRegistryFile("");
  }

  template <class Sample>
  void TakeThrough(const PictureRow& row) {
    SCOPED_TRACE(row.name);
    const TempFile out;
    const ChildResult child = RunExample(PICTURE_ROAD, {PathOf(row.name), out.folder()});
    EXPECT_EQ(child.exitCode, 0) << child.output;
    for (const char* wrong : {"DIFFERENT", "CHANGED", "picture_road:"}) {
      EXPECT_EQ(child.output.find(wrong), child.output.npos) << child.output;
    }
    EXPECT_THAT(child.output, testing::HasSubstr("not changed"));
    EXPECT_THAT(child.output, testing::HasSubstr("the same pointer"));
    // Both processes tell the same of the picture.
    const std::string described = Between(child.output, "described", "saved with margins");
    EXPECT_THAT(described, testing::HasSubstr(std::string("source: ") + row.name + ".png"));
    EXPECT_THAT(described, testing::HasSubstr("planes: a map of " + std::to_string(row.channels)));
    EXPECT_EQ(described, Between(child.output, "received", "  checksum"));
    for (const auto& [file, margin, source, inverts] : kWritten) {
      SCOPED_TRACE(file);
      const auto expected = Expected<Sample>(row, margin, source, inverts);
      const auto written = ReadBack<Sample>(out.folder() + "/" + file + row.ending);
      EXPECT_EQ(written.width, expected.width);
      EXPECT_EQ(written.height, expected.height);
      EXPECT_EQ(written.channels, expected.channels);
      EXPECT_TRUE(written.samples == expected.samples);
    }
  }

  const TempFile registry_{"registry"};
};

TEST_F(Examples, PictureRoad_GoesAllTheWay) {
  for (const PictureRow& row : {PictureRow{"grey8", 48, 44, 1, ".png"},
                                {"grey_alpha8", 48, 44, 2, ".png"},
                                {"rgb8", 40, 40, 3, ".png"},
                                {"rgba8", 44, 48, 4, ".png"}}) {
    TakeThrough<std::uint8_t>(row);
  }
  for (const PictureRow& row : {PictureRow{"grey16", 48, 44, 1, ".pgm"},
                                {"grey_alpha16", 41, 45, 2, ".pam"},
                                {"rgb16", 48, 44, 3, ".ppm"},
                                {"rgba16", 45, 41, 4, ".pam"}}) {
    TakeThrough<std::uint16_t>(row);
  }
}

TEST_F(Examples, PictureRoad_SaysWhatIsWrong) {
  const TempFile folder("picture.png");
  const std::string whole = FileContent(PathOf("grey16"));
  std::string vast = whole;
  vast.replace(16, 8, "\x01\x00\x00\x00\x01\x00\x00\x00", 8);
  const std::string missing = folder.folder() + "/missing";
  const struct {
    const char* what;
    std::string content;  // of a picture file that comes first among the arguments; none when empty
    std::vector<std::string> arguments;
    int exitCode;
    const char* message;
  } rows[] = {
      {"no arguments", "", {}, 2, "usage: picture_road PICTURE.png OUT_FOLDER"},
      {"one argument", "", {PathOf("grey8")}, 2, "usage: "},
      {"three arguments", "", {PathOf("grey8"), "a", "b"}, 2, "usage: "},
      {"missing picture", "", {missing, missing}, 1, "missing: no such file"},
      {"not a picture", "P5 1 1 255 a", {missing}, 1, "not a whole picture"},
      {"part of the signature", whole.substr(0, 5), {missing}, 1, "not a whole picture"},
      {"signature", whole.substr(0, 8), {missing}, 1, "not a whole picture"},
      {"half a header", whole.substr(0, 20), {missing}, 1, "not a whole picture"},
      {"header", whole.substr(0, 33), {missing}, 1, "not a whole picture"},
      {"half the data", whole.substr(0, whole.size() / 2), {missing}, 1, "not a whole picture"},
      {"no end", whole.substr(0, whole.size() - 12), {missing}, 1, "not a whole picture"},
      {"vast sizes", vast, {missing}, 1, "not a whole picture"},
      {"too narrow", "", {PathOf("too_narrow"), missing}, 1, "smaller than the margin of 40"},
      {"too low", "", {PathOf("too_low"), missing}, 1, "smaller than the margin of 40"},
      {"no folder, 8 bit", "", {PathOf("rgb8"), missing}, 1, "margin_zero.png: cannot be written"},
      {"no folder, 16 bit", "", {PathOf("rgb16"), missing}, 1, "margin_zero.ppm: cannot be writ"},
  };
  for (const auto& [what, content, arguments, exitCode, message] : rows) {
    SCOPED_TRACE(what);
    std::vector<std::string> all = arguments;
    if (!content.empty()) {
      folder.Write(content);
      all.insert(all.begin(), folder.path());
    }
    const ChildResult child = RunExample(PICTURE_ROAD, all);
    EXPECT_EQ(child.exitCode, exitCode);
    EXPECT_NE(child.output.find(message), child.output.npos) << child.output;
  }
  folder.Write("");
  const ChildResult empty = RunExample(PICTURE_ROAD, {folder.path(), missing});
  EXPECT_EQ(empty.exitCode, 1);
  EXPECT_NE(empty.output.find("not a whole picture"), empty.output.npos) << empty.output;
}

TEST(PictureFiles, ReadPicture_RefusesEveryFileWithoutItsLastPixel) {
  const TempFile file("picture.png");
  const std::string whole = FileContent(PathOf("rgb8"));
  // The end mark takes 12 bytes. Of the lengths in the middle of the data some will do.
  for (std::size_t bytes = 0; bytes <= whole.size() - 12; ++bytes) {
    if (bytes > 64 && bytes < whole.size() - 64 && bytes % 37 != 0) continue;
    file.Write(whole.substr(0, bytes));
    EXPECT_THROW(pictures::ReadPicture<std::uint8_t>(file.path()), std::runtime_error) << bytes;
  }
}

TEST_F(Examples, PictureRoad_NoticesAFullDisk) {
  if (!kEmbeddedHost) GTEST_SKIP() << "no file here stands for a full disk";
  for (const char* name : {"margin_zero.png", "margin_zero.ppm"}) {
    SCOPED_TRACE(name);
    const TempFile out(name);
    std::filesystem::create_symlink("/dev/full", out.path());
    const bool isWide = std::string_view(name).ends_with("ppm");
    const ChildResult child =
        RunExample(PICTURE_ROAD, {PathOf(isWide ? "rgb16" : "rgb8"), out.folder()});
    EXPECT_EQ(child.exitCode, 1);
    EXPECT_NE(child.output.find(std::string(name) + ": cannot be written"), child.output.npos)
        << child.output;
  }
}

TEST_F(Examples, PictureRoad_NeedsTheClassRegistered) {
  EXPECT_EQ(RunExample(RASTEL, {"unregister", RASTEL_MODULE}).exitCode, 0);
  const TempFile out;
  const ChildResult child = RunExample(PICTURE_ROAD, {PathOf("grey8"), out.folder()});
  EXPECT_EQ(child.exitCode, 1);
  EXPECT_NE(child.output.find("picture_road: CoCreateInstance: 0x80040154"), child.output.npos)
      << child.output;
}

}  // namespace
}  // namespace tests
