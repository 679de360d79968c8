// SPDX-License-Identifier: MIT
// The analysis of the station's record: reads it from the pipe and from the file, tells what is in
// it, changes it and writes it back.
//
//   station FILE | analysis FILE OUT PREVIEW
//
// PREVIEW is the picture in 8 bits.
//
// Next to that, where they are installed, the same record as a message of protobuf with a PNG.
#include <rastelklp/client.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

#ifdef WITH_PROTOBUF
#include "examples/record/by_protobuf.h"
#endif

namespace {

using Picture = rastelklp::Aoi<std::uint16_t>;

std::vector<std::byte> FromPipe() {
  std::vector<std::byte> all;
  std::byte chunk[65536];
  while (const std::size_t got = std::fread(chunk, 1, sizeof chunk, stdin)) {
    all.insert(all.end(), chunk, chunk + got);
  }
  return all;
}

// Between the two calibrated levels around it.
double Calibrated(const std::vector<rastelklp::Map::Entry>& table, double level) {
  const auto after = std::find_if(table.begin() + 1, table.end() - 1, [&](const auto& entry) {
    return entry.first.template as<double>() >= level;
  });
  const auto before = after - 1;
  const double x0 = before->first.as<double>(), y0 = before->second.as<double>();
  const double x1 = after->first.as<double>(), y1 = after->second.as<double>();
  return y0 + (level - x0) * (y1 - y0) / (x1 - x0);
}

// Puts the result into the record, which stays what it was otherwise.
void Analyse(const Picture& picture) {
  auto attributes = picture.attributes();
  const auto table = attributes["calibration"].as<rastelklp::Map>().entries();
  double sum = 0;
  for (const auto row : picture.plane()) {
    for (auto& pixel : row) {
      pixel = static_cast<std::uint16_t>(std::max(pixel - 512, 0));  // without the dark current
      sum += pixel;
    }
  }
  const double mean = Calibrated(table, sum / (640.0 * 480));
  char result[64];
  std::snprintf(result, sizeof result, "%.3f %s", mean,
                attributes["unit"].as<std::string>().c_str());
  auto histogram = attributes["histogram"].as<rastelklp::Vector<std::uint32_t>>();
  const auto bins = histogram.span();
  const int peak = static_cast<int>(std::max_element(bins.begin(), bins.end()) - bins.begin());
  histogram.tag(peak, "the peak");
  attributes["peak"] = peak;
  attributes["result"] = result;
}

rastelklp::Aoi<std::uint8_t> Preview(const Picture& picture) {
  rastelklp::Aoi<std::uint8_t> preview(picture.size());
  const auto from = picture.plane();
  const auto to = preview.plane();
  for (int y = 0; y < to.height(); ++y) {
    std::transform(from[y].begin(), from[y].end(), to[y].begin(),
                   [](std::uint16_t pixel) { return static_cast<std::uint8_t>(pixel >> 8); });
  }
  return preview;
}

void Say(const Picture& picture) {
  std::printf("  %s, %d x %d, %g s\n", picture.name().utf8().c_str(), picture.size().width,
              picture.size().height, picture.tag().as<double>());
  const auto attributes = picture.attributes();
  for (const auto& [key, value] : attributes.entries()) {
    const auto* const text = std::get_if<rastelklp::Text>(&value);
    std::printf("    %s%s%s\n", key.as<std::string>().c_str(), text ? ": " : "",
                text ? text->utf8().c_str() : "");
  }
}

// Median of 25, in milliseconds.
double TimeOf(auto operation) {
  std::vector<double> times;
  for (int i = 0; i < 25; ++i) {
    const auto start = std::chrono::steady_clock::now();
    operation();
    times.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
            .count());
  }
  std::nth_element(times.begin(), times.begin() + 12, times.end());
  return times[12];
}

void Compare(const Picture& picture) {
  const auto row = [](const char* name, std::size_t bytes, double save, double load) {
    std::printf("  %-24s %8zu bytes   save %6.2f ms   load %6.2f ms\n", name, bytes, save, load);
  };
  const auto bytes = rastelklp::save(picture);
  row("stream", bytes.size(), TimeOf([&] { rastelklp::save(picture); }),
      TimeOf([&] { rastelklp::load<Picture>(bytes); }));
#ifdef WITH_PROTOBUF
  const std::string message = SavedByProtobuf(picture);
  row("protobuf with a PNG", message.size(), TimeOf([&] { SavedByProtobuf(picture); }),
      TimeOf([&] { LoadedByProtobuf(message); }));
  // A record once loaded, like the other.
  const auto other = rastelklp::load<Picture>(rastelklp::save(LoadedByProtobuf(message)));
  std::printf("  %s\n", rastelklp::save(other) == bytes ? "both hold the same record"
                                                        : "NOT THE SAME RECORD");
#endif
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 4) {
    std::fprintf(stderr, "usage: station FILE | analysis FILE OUT PREVIEW\n");
    return 2;
  }
  const rastelklp::Session session;
  const auto piped = FromPipe();
  const auto picture = rastelklp::load<Picture>(piped);
  const bool isSame =
      rastelklp::save(rastelklp::load<Picture>(argv[1])) == rastelklp::save(picture);
  std::printf("from the pipe, %zu bytes; %s in the file\n", piped.size(),
              isSame ? "the same" : "OTHERS");
  Say(picture);
  Compare(picture);
  Analyse(picture);
  rastelklp::save(picture, argv[2]);
  rastelklp::save(Preview(picture), argv[3]);
  std::printf("written back\n");
  Say(picture);
  return isSame ? 0 : 1;
} catch (const std::exception& error) {
  std::fprintf(stderr, "analysis: %s\n", error.what());
  return 1;
}
