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
#include <fstream>
#include <stdexcept>
#include <string>

#include "examples/aoi_planes.h"
#include "examples/attributes.h"
#include "examples/object_reference.h"
#include "examples/second_process.h"

namespace {

using examples::Check;
using examples::Rows;
using examples::Say;
using pictures::Picture;
using platform::ComPtr;

constexpr LONG kMargin = 40;
constexpr LONG kColumns = 4;
constexpr LONG kRows = 3;
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
  using IAoi = examples::TypedAoi<Sample>;

  void MakeAoi() {
    aoi_ = examples::Create<IAoi>(examples::AoiOf<Sample>::kClass);
    const HRESULT early = aoi_->PutPixel(0, 0, 1);
    Say("object", "%s by class identifier", examples::AoiOf<Sample>::kName);
    Say("without a buffer", "%s", examples::Reason(early).c_str());
    Check(aoi_->put_BufferMargin(kMargin), "put_BufferMargin");
    Check(aoi_->CreatePlanes(picture_.channels, picture_.width, picture_.height), "CreatePlanes");
    LONG storedWidth = 0;
    LONG storedHeight = 0;
    Check(aoi_->get_BufferWidth(&storedWidth), "get_BufferWidth");
    Check(aoi_->get_BufferHeight(&storedHeight), "get_BufferHeight");
    Say("planes", "%d of %d x %d", int{examples::PlaneCount(*aoi_)}, picture_.width,
        picture_.height);
    Say("stored with margin", "%d x %d, margin %d", int{storedWidth}, int{storedHeight},
        int{kMargin});
  }

  void PutChannelsIntoPlanes() {
    for (int channel = 0; channel < picture_.channels; ++channel) {
      const Rows<Sample> rows(*aoi_, channel);
      for (LONG y = 0; y < rows.height; ++y) {
        Sample* row = rows.Row(y);
        for (LONG x = 0; x < rows.width; ++x) row[x] = picture_.At(x, y)[channel];
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
    for (const auto& mode : kModes) {
      Check(aoi_->put_MarginMode(mode.mode), "put_MarginMode");
      Check(aoi_->FillMargins(), "FillMargins");
      Say("margins", "%-10s %s", mode.name,
          Write(std::string("margin_") + mode.name, kMargin).c_str());
    }
  }

  std::string Write(const std::string& name, LONG margin) {
    return pictures::WritePicture(folder_ + "/" + name, examples::PictureOf<Sample>(*aoi_, margin));
  }

  // The same pixels through the generic interface as double, and through pointers.
  void ReadBack() {
    const ComPtr<IAoiKLP> generic = aoi_.template As<IAoiKLP>();
    for (int channel = 0; channel < picture_.channels; ++channel) {
      const Rows<Sample> rows(*aoi_, channel);
      double byPixel = 0;
      double byPointer = 0;
      for (LONG y = 0; y < rows.height; ++y) {
        for (LONG x = 0; x < rows.width; ++x) {
          double value = 0;
          Check(generic->GetPixel(x, y, &value), "GetPixel");
          byPixel += value;
          byPointer += rows.Row(y)[x];
        }
      }
      const double count = double{1} * rows.width * rows.height;
      Say(("plane " + std::to_string(channel) + " mean").c_str(),
          "%.4f as double, %.4f through pointers: %s", byPixel / count, byPointer / count,
          byPixel == byPointer ? "equal" : "DIFFERENT");
    }
    double corner = 0;
    const HRESULT outside = generic->GetPixel(-kMargin - 1, 0, &corner);
    Say("beyond the margin", "refused with 0x%08X", static_cast<unsigned>(outside));
  }

  // Tiles are AOIs of their own on the same pixels: every second one inverts what it sees.
  void WorkOnTiles() {
    ComPtr<IAoi> tiles[kColumns * kRows];
    IAoi* made[kColumns * kRows] = {};
    Check(aoi_->SplitTiles(kColumns, kRows, made), "SplitTiles");
    for (int i = 0; i < kColumns * kRows; ++i) tiles[i].Attach(made[i]);
    for (int i = 0; i < kColumns * kRows; ++i) {
      if ((i % kColumns + i / kColumns) % 2 == 1) examples::Invert<Sample>(*tiles[i]);
    }
    Check(aoi_->FillMargins(), "FillMargins");
    Say("tiles", "%d x %d, every second inverted  %s", int{kColumns}, int{kRows},
        Write("tiles", kMargin).c_str());
  }

  void Describe() {
    const std::filesystem::path file(path_);
    const examples::Text name(file.stem().string());
    Check(aoi_->put_Name(name.Get()), "put_Name");
    const examples::Value tag(std::string("0.25 \u00B5m per pixel"));
    Check(aoi_->put_Tag(tag.Get()), "put_Tag");
    std::vector<double> histogram(kBins);
    const Rows<Sample> rows(*aoi_, 0);
    for (LONG y = 0; y < rows.height; ++y) {
      for (LONG x = 0; x < rows.width; ++x) {
        ++histogram[std::size_t{rows.Row(y)[x]} * kBins >> (8 * sizeof(Sample))];
      }
    }
    const auto attributes =
        examples::MakeAttributes(file.filename().string(), picture_.channels, histogram);
    Check(aoi_->put_AttributeMap(attributes.Get()), "put_AttributeMap");
    Say("described", "in this process");
    examples::SayDescription(*aoi_.template As<IAoiKLP>());
  }

  void Save() {
    Check(aoi_->put_MarshalFlags(MarshalBuffer), "put_MarshalFlags");
    Say("saved with margins", "%zu bytes", SavedBytes().size());
    Check(aoi_->put_MarshalFlags(MarshalRectangle), "put_MarshalFlags");
    const auto bytes = SavedBytes();
    const std::string path = folder_ + "/picture.aoi";
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    if (!file.flush()) throw std::runtime_error(path + ": cannot be written");
    Say("saved", "%zu bytes  %s", bytes.size(), path.c_str());
    ComPtr<IAoi> loaded;
    Check(OleLoadFromStream(examples::MemoryStream(bytes).Get(), platform::kIidOf<IAoi>,
                            loaded.PutVoid()),
          "OleLoadFromStream");
    Say("loaded back", "%s",
        examples::Checksum<Sample>(*loaded) == examples::Checksum<Sample>(*aoi_) ? "equal"
                                                                                 : "DIFFERENT");
  }

  std::vector<std::byte> SavedBytes() {
    const auto stream = examples::MemoryStream();
    Check(OleSaveToStream(aoi_.template As<IPersistStream>().Get(), stream.Get()),
          "OleSaveToStream");
    return examples::ContentOf(*stream);
  }

  void SendToSecondProcess() {
    const std::uint32_t before = examples::Checksum<Sample>(*aoi_);
    const auto reference = examples::ReferenceTo(*aoi_.template As<IAoiKLP>(), MSHCTX_LOCAL);
    Say("to a second process", "%zu bytes, checksum %08x", reference.size(), unsigned{before});
    examples::SecondProcess other({"--receive", folder_});
    other.Send(reference);
    if (const int code = other.WaitForEnd(); code != 0) {
      throw std::runtime_error("the second process ended with " + std::to_string(code));
    }
    const std::uint32_t after = examples::Checksum<Sample>(*aoi_);
    Say("own picture", "checksum %08x: %s", unsigned{after},
        after == before ? "not changed" : "CHANGED");
  }

  void ShareInProcess() {
    const auto reference = examples::ReferenceTo(*aoi_.template As<IAoiKLP>(), MSHCTX_INPROC);
    const auto same = examples::ObjectOf<IAoiKLP>(reference);
    Say("within the process", "%zu bytes, %s", reference.size(),
        same.Get() == aoi_.template As<IAoiKLP>().Get() ? "the same pointer"
                                                        : "A DIFFERENT POINTER");
  }

  Picture<Sample> picture_;
  std::string path_;
  std::string folder_;
  ComPtr<IAoi> aoi_;
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
void ChangeCopy(IAoiKLP& aoi, const std::string& folder) {
  const auto typed = ComPtr<IAoiKLP>(&aoi).As<examples::TypedAoi<Sample>>();
  Say("  checksum", "%08x", unsigned{examples::Checksum<Sample>(*typed)});
  examples::Invert<Sample>(*typed);
  Say("  inverted", "checksum %08x  %s", unsigned{examples::Checksum<Sample>(*typed)},
      pictures::WritePicture(folder + "/second_process", examples::PictureOf<Sample>(*typed))
          .c_str());
}

void Receive(const std::string& folder) {
  const auto aoi = examples::ObjectOf<IAoiKLP>(examples::ReceiveAll());
  Say("received", "in the second process");
  examples::SayDescription(*aoi);
  ElementTypeKLP type{};
  Check(aoi->get_ElementType(&type), "get_ElementType");
  if (type == ElementWord) {
    ChangeCopy<std::uint16_t>(*aoi, folder);
  } else {
    ChangeCopy<std::uint8_t>(*aoi, folder);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: picture_road PICTURE.png OUT_FOLDER\n");
    return 2;
  }
  if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 1;
  int status = 0;
  try {
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
  CoUninitialize();
  return status;
}
