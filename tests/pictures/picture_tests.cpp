// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <random>
#include <sstream>

#include "pictures/exif_directories.h"
#include "pictures/picture_io.h"
#include "tests/support/hash.h"
#include "tests/support/temp_file.h"

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace tests {
namespace {

using namespace pictures;

struct Whole {
  PictureHeader header;
  std::string samples;
};

// In two blocks, the second of one row.
Whole ReadWhole(const std::string& path, const ReadRequest& request = {}) {
  ByteSource source(path);
  const auto reader = OpenPicture(source, request);
  Whole whole{reader->header(), std::string(reader->header().Bytes(), '\0')};
  auto* samples = reinterpret_cast<std::byte*>(whole.samples.data());
  const int rows = whole.header.height * (whole.header.isPlanar ? whole.header.channels : 1);
  reader->ReadRows(rows - 1, samples);
  reader->ReadRows(1, samples + whole.samples.size() - whole.header.RowBytes());
  return whole;
}

std::string Encoded(const Whole& whole, const std::string& extension) {
  MemorySink sink;
  const auto writer = OutputFormat::Of(extension).Create(whole.header, sink);
  const auto* samples = reinterpret_cast<const std::byte*>(whole.samples.data());
  writer->WriteRows(1, samples);
  writer->WriteRows(whole.header.height - 1, samples + whole.header.RowBytes());
  writer->Finish();
  return sink.bytes();
}

Whole Random(PixelType type, int channels) {
  Whole whole;
  whole.header.type = type;
  whole.header.width = 13;
  whole.header.height = 5;
  whole.header.channels = channels;
  whole.header.resolution = {72, 36, Resolution::Unit::kInch};
  std::mt19937 random(7);
  whole.samples.resize(whole.header.Bytes());
  std::generate(whole.samples.begin(), whole.samples.end(),
                [&] { return static_cast<char>(random()); });
  return whole;
}

bool IsBuilt(const std::string& extension) {
  try {
    Encoded(Random(PixelType::kByte, 1), extension);
    return true;
  } catch (const std::runtime_error&) {
    return false;
  }
}

TEST(Pictures, EveryKindOfPngComesInAndGoesOutAsItIs) {
  std::ifstream list(PICTURES "/kinds/samples.txt");
  int kinds = 0;
  for (std::string line; std::getline(list, line); ++kinds) {
    std::istringstream words(line);
    std::string name;
    int width = 0, height = 0, channels = 0, bits = 0;
    std::uint64_t hash = 0;
    words >> name >> width >> height >> channels >> bits >> hash;
    SCOPED_TRACE(name);
    const Whole first = ReadWhole(PICTURES "/kinds/" + name + ".png");
    EXPECT_EQ(first.header.width, width);
    EXPECT_EQ(first.header.height, height);
    EXPECT_EQ(first.header.channels, channels);
    EXPECT_EQ(BytesOf(first.header.type) * 8, static_cast<std::size_t>(bits));
    EXPECT_EQ(HashOf(first.samples), hash);
    const TempFile file("again.png");
    file.Write(Encoded(first, ".png"));
    const Whole again = ReadWhole(file.path());
    EXPECT_EQ(again.samples, first.samples);
    EXPECT_EQ(again.header.bits, first.header.bits);
  }
  EXPECT_EQ(kinds, 36);
}

TEST(Pictures, EveryFormatKeepsSamplesOfEveryTypeItHas) {
  for (const std::string extension :
       {".png", ".pgm", ".ppm", ".pam", ".pfm", ".tif", ".npy", ".raw"}) {
    const OutputFormat format = OutputFormat::Of(extension);
    if (!IsBuilt(extension) && extension == ".tif") continue;
    for (const PixelTypeRow& row : kPixelTypes) {
      for (int channels = 1; channels <= 5; ++channels) {
        SCOPED_TRACE(std::string(row.name) + extension + ' ' + std::to_string(channels));
        if (!format.Has(row.type)) continue;
        const Whole whole = Random(row.type, channels);
        const TempFile file("picture" + extension);
        try {
          file.Write(Encoded(whole, extension));
        } catch (const std::runtime_error& error) {
          EXPECT_NE(std::string(error.what()).find(" planes; "), std::string::npos);
          continue;
        }
        ReadRequest request;
        if (extension == ".raw") request.raw = {13, 5, channels, row.type};
        const Whole again = ReadWhole(file.path(), request);
        EXPECT_EQ(again.samples, whole.samples);
        EXPECT_EQ(again.header.type, row.type);
        EXPECT_EQ(again.header.channels, channels);
        EXPECT_EQ(again.header.resolution.x > 0, format.Keeps("resolution"));
      }
    }
  }
}

// The end mark of a PNG takes 12 bytes; of the lengths in the middle of a file some will do.
TEST(Pictures, NoFileIsReadWithoutItsLastPixel) {
  for (const std::string extension : {".png", ".ppm", ".pam", ".tif", ".npy"}) {
    if (!IsBuilt(extension)) continue;
    const std::string whole = Encoded(Random(PixelType::kByte, 3), extension);
    const TempFile file("picture");
    for (std::size_t bytes = 0; bytes < whole.size() - (extension == ".png" ? 12 : 0);
         bytes += bytes < 32 || bytes > whole.size() - 32 ? 1 : 13) {
      file.Write(whole.substr(0, bytes));
      EXPECT_THROW(ReadWhole(file.path()), std::runtime_error) << extension << bytes;
    }
  }
}

// A first directory with a text, and EXIF with a number at another place, two inside, and a
// directory below it.
Block ExifBlock(bool isTurned) {
  Block block;
  const auto put = [&](int bytes, std::initializer_list<unsigned> numbers) {
    for (const unsigned number : numbers) {
      for (int i = 0; i < bytes; ++i) {
        block.push_back(static_cast<std::uint8_t>(number >> 8 * (isTurned ? bytes - 1 - i : i)));
      }
    }
  };
  const auto field = [&](unsigned tag, unsigned type, unsigned count, unsigned value) {
    put(2, {tag, type});
    put(4, {count, value});
  };
  put(2, {isTurned ? 0x4D4Du : 0x4949u, 42});
  put(4, {8});
  put(2, {2});
  field(0x010F, 2, 5, 38);
  field(0x8769, 4, 1, 44);
  put(4, {0});
  put(1, {'M', 'a', 'k', 'e', 0, 0});
  put(2, {3});
  field(0x829A, 5, 1, 86);
  put(2, {0x8827, 3, 0, 0, 400, 0});
  block[isTurned ? block.size() - 5 : block.size() - 8] = 1;  // how many numbers
  field(0xA005, 4, 1, 94);
  put(4, {0, 1, 250});
  put(2, {1});
  field(1, 4, 1, 7);
  put(4, {0});
  return block;
}

TEST(Exif, IsNotAsLargeAsASparseFileStates) {
  // One value of 80 MB.
  const TempFile file("tiff");
  file.Write(std::string("II*\0\x08\0\0\0\1\0\x86\x92\7\0\0\0\0\5\x1A\0\0\0\0\0\0\0", 26));
  std::filesystem::resize_file(file.path(), 100 << 20);
  ByteSource source(file.path());
  EXPECT_TRUE(GatherExif(source, {8, 0}).empty());
}

TEST(Exif, GoesIntoFilesAndComesOutOfThem) {
  const TempFile file("tiff");
  Block first;
  for (const bool isTurned : {false, true}) {
    const Block block = ExifBlock(isTurned);
    EXPECT_EQ(ExifText(block, 0x010F), "Make");
    for (const bool isBig : {false, true}) {
      Block whole{'I', 'I', static_cast<std::uint8_t>(isBig ? 43 : 42), 0, 8, 0, 0, 0};
      if (isBig) whole.resize(16);
      Block placed;
      const ExifPlaces places = PlaceExif(block, isBig, whole.size(), placed);
      whole.insert(whole.end(), placed.begin(), placed.end());
      file.Write({reinterpret_cast<const char*>(whole.data()), whole.size()});
      ByteSource source(file.path());
      const Block gathered = GatherExif(source, {places.exif, 0});
      if (first.empty()) first = gathered;
      EXPECT_EQ(gathered.size(), 94u);
      EXPECT_EQ(gathered, first);
      EXPECT_TRUE(GatherExif(source, {whole.size() - 1, 0}).empty());
    }
    for (std::size_t bytes = 0; bytes < block.size() - 4; ++bytes) {
      Block out;
      PlaceExif({block.begin(), block.begin() + static_cast<std::ptrdiff_t>(bytes)}, false, 8, out);
      EXPECT_TRUE(out.empty()) << bytes;
    }
  }
}

#ifndef _WIN32
TEST(OutputFiles, LeaveNothingHalfBehind) {
  const TempFile file("out.bin");
  file.Write("old");
  for (const int signal : {0, SIGINT, SIGTERM, SIGHUP}) {
    const pid_t child = fork();
    if (child == 0) {
      OutputFile out(file.path());
      out.Write("new", 3);
      out.Flush();
      if (signal != 0) raise(signal);
      // Unwound, as behind a failure.
      out.~OutputFile();
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WIFSIGNALED(status) ? WTERMSIG(status) : 0, signal);
    EXPECT_EQ(file.Content(), "old");
    const std::filesystem::directory_iterator entries(file.folder());
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 1);
  }
}
#endif

}  // namespace
}  // namespace tests
