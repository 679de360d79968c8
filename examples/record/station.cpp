// SPDX-License-Identifier: MIT
// A measuring station: writes its record, a picture with everything that belongs to it, to a file
// and to its standard output, which is a pipe to the analysis. Run on Windows; the same source runs
// here.
//
//   station FILE         writes
//   station --read FILE  tells what the analysis made of it
#include <rastelklp/client.h>

#include <cstdio>
#include <string>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

namespace {

using Picture = rastelklp::Aoi<std::uint16_t>;

constexpr int kBins = 64;

// A sample under a lamp, with noise that is the same every time.
Picture Measured() {
  Picture picture({640, 480});
  std::uint32_t noise = 1;
  int y = -240;
  for (const auto row : picture.plane()) {
    int x = -320;
    for (auto& pixel : row) {
      noise = noise * 1664525 + 1013904223;
      const int light = 40000 - (x * x + y * y) / 4;
      const bool isSample = (x / 40 + y / 40) % 2 == 0 && x * x + y * y < 48000;
      pixel = static_cast<std::uint16_t>((isSample ? light / 3 : light) +
                                         static_cast<int>(noise >> 22));
      ++x;
    }
    ++y;
  }
  return picture;
}

rastelklp::Vector<std::uint32_t> Histogram(const Picture& picture) {
  rastelklp::Vector<std::uint32_t> histogram(kBins);
  const auto bins = histogram.span();
  for (const auto row : picture.plane()) {
    for (const auto pixel : row) ++bins[pixel * kBins >> 16];
  }
  histogram.tag(0, "dark");
  histogram.tag(kBins - 1, "bright");
  return histogram;
}

void Write(const char* path) {
  Picture picture = Measured();
  picture.name("Pr\u00FCfstand 2");
  picture.tag(0.25);  // seconds
  picture.attributes(rastelklp::Map{
      {"calibration", rastelklp::Map{{0.0, 0.0}, {20000.0, 3.1}, {40000.0, 6.4}, {65535.0, 11.0}}},
      {"histogram", Histogram(picture)},
      {"unit", "\u00B5W/mm\u00B2"}});
  rastelklp::save(picture, path);
  const auto bytes = rastelklp::save(picture);
#ifdef _WIN32
  _setmode(_fileno(stdout), _O_BINARY);
#endif
  if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() || std::fflush(stdout)) {
    throw rastelklp::Error(STG_E_WRITEFAULT, "nobody reads the pipe");
  }
}

void Read(const char* path) {
  const auto picture = rastelklp::load<Picture>(path);
  const auto attributes = picture.attributes();
  std::printf("  %s: %s, %s\n", picture.name().utf8().c_str(),
              attributes["result"].as<std::string>().c_str(),
              attributes["histogram"]
                  .as<rastelklp::Vector<std::uint32_t>>()
                  .tag(attributes["peak"].as<int>())
                  .as<std::string>()
                  .c_str());
}

}  // namespace

int main(int argc, char** argv) try {
  const bool isReading = argc == 3 && argv[1] == std::string("--read");
  if (argc != 2 && !isReading) {
    std::fprintf(stderr, "usage: station [--read] FILE\n");
    return 2;
  }
  const rastelklp::Session session;
  isReading ? Read(argv[2]) : Write(argv[1]);
} catch (const std::exception& error) {
  std::fprintf(stderr, "station: %s\n", error.what());
  return 1;
}
