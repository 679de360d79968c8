// SPDX-License-Identifier: MIT
// The road of a picture through the module, as a client drives it:
//   picture_road PICTURE.png OUT_FOLDER
// reads a picture, makes an AOI by its class identifier, puts the colour channels into planes with
// a margin, fills the margin in each mode, works on tiles, gives the picture a name, a tag and
// attributes, and saves it. Then a second process of this program
//   picture_road --receive OUT_FOLDER
// gets the AOI by value through a pipe, tells what came, and changes its own copy.
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

#include "examples/aoi_planes.h"
#include "examples/attributes.h"
#include "examples/object_reference.h"
#include "examples/report.h"
#include "examples/second_process.h"

namespace {

using examples::Say;
using pictures::Picture;
using rastelklp::AnyAoi;
using rastelklp::Aoi;

constexpr int kMargin = 40;
constexpr int kColumns = 4;
constexpr int kRows = 3;
constexpr std::size_t kBins = 8;

template <class Sample>
class Road {
 public:
  Road(const Picture<Sample>& picture, const std::string& path, std::string folder)
      : picture_(picture), path_(path), folder_(std::move(folder)) {}

  void Go() {
    MakeAoi();
    PutChannelsIntoPlanes();
    FillMargins();
    ReadBack();
    WorkOnTiles();
    Describe();
    Save();
    SendToSecondProcess();
    ShareInProcess();
  }

 private:
  void MakeAoi() {
    const bool isByte = sizeof(Sample) == 1;
    auto early = rastelklp::create<AnyAoi>(isByte ? CLSID_ByteAOIKLP : CLSID_WordAOIKLP);
    Say("object", "%s by class identifier", isByte ? "ByteAOIKLP" : "WordAOIKLP");
    try {
      early.pixel(0, 0, 1);
    } catch (const rastelklp::Error& error) {
      Say("without a buffer", "0x%08X %s", static_cast<unsigned>(error.code()),
          error.text().c_str());
    }
    aoi_ = Aoi<Sample>({picture_.width, picture_.height}, picture_.channels, kMargin);
    const auto stored = aoi_.plane(0, kMargin);
    Say("planes", "%d of %d x %d", aoi_.plane_count(), picture_.width, picture_.height);
    Say("stored with margin", "%d x %d, margin %d", stored.width(), stored.height(), kMargin);
  }

  void PutChannelsIntoPlanes() {
    for (int channel = 0; channel < picture_.channels; ++channel) {
      int y = 0;
      for (const auto row : aoi_.plane(channel)) {
        int x = 0;
        for (Sample& sample : row) sample = picture_.At(x++, y)[channel];
        ++y;
      }
    }
  }

  void FillMargins() {
    static constexpr struct {
      MarginModeKLP mode;
      const char* name;
    } kModes[] = {{MarginZero, "zero"},
                  {MarginPeriodic, "periodic"},
                  {MarginReplicate, "replicate"},
                  {MarginMirror, "mirror"}};
    for (const auto& [mode, name] : kModes) {
      aoi_.fill_margins(mode);
      Say("margins", "%-10s %s", name, Write(std::string("margin_") + name, kMargin).c_str());
    }
  }

  std::string Write(const std::string& name, int margin) {
    return pictures::WritePicture(folder_ + "/" + name, examples::PictureOf(aoi_, margin));
  }

  // The same pixels through the generic interface as double, and through pointers.
  void ReadBack() {
    const AnyAoi generic = aoi_;
    for (int channel = 0; channel < picture_.channels; ++channel) {
      rastelklp::check_hresult(generic->put_ActivePlane(channel));
      double byPixel = 0;
      double byPointer = 0;
      int y = 0;
      for (const auto row : aoi_.plane(channel)) {
        int x = 0;
        for (const Sample sample : row) {
          byPixel += generic.pixel(x++, y);
          byPointer += sample;
        }
        ++y;
      }
      const double count = double{1} * picture_.width * picture_.height;
      Say(("plane " + std::to_string(channel) + " mean").c_str(),
          "%.4f as double, %.4f through pointers: %s", byPixel / count, byPointer / count,
          byPixel == byPointer ? "equal" : "DIFFERENT");
    }
    try {
      generic.pixel(-kMargin - 1, 0);
    } catch (const rastelklp::Error& error) {
      Say("beyond the margin", "refused with 0x%08X", static_cast<unsigned>(error.code()));
    }
  }

  // Tiles are AOIs of their own on the same pixels: every second one inverts what it sees.
  void WorkOnTiles() {
    int i = 0;
    for (const auto& tile : aoi_.tiles(kColumns, kRows)) {
      if ((i % kColumns + i / kColumns) % 2 == 1) examples::Invert(tile);
      ++i;
    }
    aoi_.fill_margins(MarginMirror);
    Say("tiles", "%d x %d, every second inverted  %s", kColumns, kRows,
        Write("tiles", kMargin).c_str());
  }

  void Describe() {
    const std::filesystem::path file(path_);
    aoi_.name(file.stem().string());
    aoi_.tag("0.25 \u00B5m per pixel");
    std::vector<double> histogram(kBins);
    for (const auto row : aoi_.plane(0)) {
      for (const Sample sample : row) {
        ++histogram[std::size_t{sample} * kBins >> (8 * sizeof(Sample))];
      }
    }
    aoi_.attributes(
        examples::MakeAttributes(file.filename().string(), picture_.channels, histogram));
    Say("described", "in this process");
    examples::SayDescription(aoi_);
  }

  void Save() {
    rastelklp::check_hresult(aoi_->put_MarshalFlags(MarshalBuffer));
    Say("saved with margins", "%zu bytes", rastelklp::save(aoi_).size());
    rastelklp::check_hresult(aoi_->put_MarshalFlags(MarshalRectangle));
    const std::filesystem::path path = folder_ + "/picture.aoi";
    rastelklp::save(aoi_, path);
    Say("saved", "%ju bytes  %s", std::uintmax_t{std::filesystem::file_size(path)},
        path.string().c_str());
    const auto loaded = rastelklp::load<Aoi<Sample>>(path);
    Say("loaded back", "%s",
        examples::Checksum(loaded) == examples::Checksum(aoi_) ? "equal" : "DIFFERENT");
  }

  void SendToSecondProcess() {
    const std::uint32_t before = examples::Checksum(aoi_);
    const auto reference = examples::ReferenceTo(aoi_.template as<IAoiKLP>(), MSHCTX_LOCAL);
    Say("to a second process", "%zu bytes, checksum %08x", reference.size(), unsigned{before});
    examples::SecondProcess other({"--receive", folder_});
    other.Send(reference);
    if (const int code = other.WaitForEnd(); code != 0) {
      throw std::runtime_error("the second process ended with " + std::to_string(code));
    }
    const std::uint32_t after = examples::Checksum(aoi_);
    Say("own picture", "checksum %08x: %s", unsigned{after},
        after == before ? "not changed" : "CHANGED");
  }

  void ShareInProcess() {
    const auto generic = aoi_.template as<IAoiKLP>();
    const auto reference = examples::ReferenceTo(generic, MSHCTX_INPROC);
    Say("within the process", "%zu bytes, %s", reference.size(),
        examples::ObjectOf<IAoiKLP>(reference) == generic ? "the same pointer"
                                                          : "A DIFFERENT POINTER");
  }

  Picture<Sample> picture_;
  std::string path_;
  std::string folder_;
  Aoi<Sample> aoi_ = nullptr;
};

template <class Sample>
void Travel(const std::string& path, const std::string& folder) {
  const Picture<Sample> picture = pictures::ReadPicture<Sample>(path);
  std::printf("%s\n", path.c_str());
  Say("picture", "%d x %d, %d channel%s of %d bit", picture.width, picture.height, picture.channels,
      picture.channels == 1 ? "" : "s", static_cast<int>(8 * sizeof(Sample)));
  if (picture.width < kMargin || picture.height < kMargin) {
    throw std::runtime_error(path + ": smaller than the margin of " + std::to_string(kMargin));
  }
  Road<Sample>(picture, path, folder).Go();
}

// The second process: what comes through the pipe is an object of its own.
template <class Sample>
void ChangeCopy(const Aoi<Sample>& aoi, const std::string& folder) {
  Say("  checksum", "%08x", unsigned{examples::Checksum(aoi)});
  examples::Invert(aoi);
  Say("  inverted", "checksum %08x  %s", unsigned{examples::Checksum(aoi)},
      pictures::WritePicture(folder + "/second_process", examples::PictureOf(aoi)).c_str());
}

void Receive(const std::string& folder) {
  const auto aoi = examples::ObjectOf<AnyAoi>(examples::ReceiveAll());
  Say("received", "in the second process");
  examples::SayDescription(aoi);
  if (const auto wide = aoi.try_as<Aoi<std::uint16_t>>()) {
    ChangeCopy(wide, folder);
  } else {
    ChangeCopy(aoi.as<Aoi<std::uint8_t>>(), folder);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: picture_road PICTURE.png OUT_FOLDER\n");
    return 2;
  }
  int status = 0;
  try {
    const rastelklp::Session session;
    if (argv[1] == std::string("--receive")) {
      Receive(argv[2]);
    } else if (pictures::HasSixteenBits(argv[1])) {
      Travel<std::uint16_t>(argv[1], argv[2]);
    } else {
      Travel<std::uint8_t>(argv[1], argv[2]);
    }
  } catch (const std::exception& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "picture_road: %s\n", error.what());
    status = 1;
  }
  std::fflush(stdout);
  return status;
}
