// The road of a picture through the module, as a client drives it:
//   picture_road PICTURE.png OUT_FOLDER
// reads a picture, makes an AOI by its class identifier, puts the colour channels into planes with
// a margin, fills the margin in each mode, reads pixels back as double and through pointers, works
// on a rectangle of the picture, and writes what the buffer holds, margins included.
#include <cstdint>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

#include "examples/picture_file.h"
#include "interfaces/aoi.h"
#include "interfaces/identifiers.h"
#include "platform/com_ptr.h"

namespace {

using examples::Picture;
using platform::ComPtr;

constexpr LONG kMargin = 40;

// One aligned line of the report.
template <class... Values>
void Say(const char* what, const char* format, Values... values) {
  std::printf("  %-22s ", what);
  std::printf(format, values...);
  std::printf("\n");
}

// The words of the thread's error object, or the bare code when there is none.
std::string Reason(HRESULT result) {
  char code[16];
  std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(result));
  std::string text = code;
  IErrorInfo* found = nullptr;
  if (GetErrorInfo(0, &found) != S_OK) return text;
  ComPtr<IErrorInfo> error;
  error.Attach(found);
  BSTR description = nullptr;
  if (SUCCEEDED(error->GetDescription(&description)) && description) {
    char narrow[512] = "";
    // A text that is longer than the room is left out: what is there of it need not end.
    if (WideCharToMultiByte(CP_ACP, 0, description, -1, narrow, sizeof narrow, nullptr, nullptr)) {
      text += std::string(" ") + narrow;
    }
    SysFreeString(description);
  }
  return text;
}

void Check(HRESULT result, const char* step) {
  if (FAILED(result)) throw std::runtime_error(std::string(step) + ": " + Reason(result));
}

// What the road needs to know about a pixel type.
template <class Sample>
struct AoiOf;
template <>
struct AoiOf<std::uint8_t> {
  using Interface = IByteAOIKLP;
  static constexpr const CLSID& kClass = CLSID_ByteAOIKLP;
  static constexpr const char* kName = "ByteAOIKLP";
};
template <>
struct AoiOf<std::uint16_t> {
  using Interface = IWordAOIKLP;
  static constexpr const CLSID& kClass = CLSID_WordAOIKLP;
  static constexpr const char* kName = "WordAOIKLP";
};

template <class Sample>
class Road {
 public:
  using IAoi = typename AoiOf<Sample>::Interface;

  Road(const Picture<Sample>& picture, std::string folder)
      : picture_(picture), folder_(std::move(folder)) {}

  void Go() {
    MakeAoi();
    PutChannelsIntoPlanes();
    FillMargins();
    ReadBack();
    WorkOnRectangle();
  }

 private:
  void MakeAoi() {
    Check(CoCreateInstance(AoiOf<Sample>::kClass, nullptr, CLSCTX_INPROC_SERVER,
                           platform::kIidOf<IAoi>, aoi_.PutVoid()),
          "CoCreateInstance");
    Check(aoi_->put_BufferMargin(kMargin), "put_BufferMargin");
    Check(aoi_->CreatePlanes(picture_.channels, picture_.width, picture_.height), "CreatePlanes");
    LONG planes = 0;
    LONG storedWidth = 0;
    LONG storedHeight = 0;
    Check(aoi_->get_PlaneCount(&planes), "get_PlaneCount");
    Check(aoi_->get_BufferWidth(&storedWidth), "get_BufferWidth");
    Check(aoi_->get_BufferHeight(&storedHeight), "get_BufferHeight");
    Say("object", "%s by class identifier", AoiOf<Sample>::kName);
    Say("planes", "%d of %d x %d", int{planes}, picture_.width, picture_.height);
    Say("stored with margin", "%d x %d, margin %d", int{storedWidth}, int{storedHeight},
        int{kMargin});
  }

  // A plane's rectangle as the pointer interface tells it.
  struct Rows {
    LONG width = 0;
    LONG height = 0;
    LONG lineSkip = 0;
    Sample* first = nullptr;

    Sample* Row(LONG y) const { return first + std::int64_t{y} * (width + lineSkip); }
  };

  static Rows RowsOf(IAoi& aoi, LONG plane) {
    Rows rows;
    Check(aoi.put_ActivePlane(plane), "put_ActivePlane");
    Check(aoi.GetAccess(&rows.width, &rows.height, &rows.lineSkip, &rows.first), "GetAccess");
    return rows;
  }

  void PutChannelsIntoPlanes() {
    for (int channel = 0; channel < picture_.channels; ++channel) {
      const Rows rows = RowsOf(*aoi_, channel);
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
                  {MarginMirror, "mirror"},
                  {MarginReplicate, "replicate"}};
    for (const auto& mode : kModes) {
      Check(aoi_->put_MarginMode(mode.mode), "put_MarginMode");
      Check(aoi_->FillMargins(), "FillMargins");
      Say("margins", "%-10s %s", mode.name,
          WriteBuffer(std::string("margin_") + mode.name).c_str());
    }
    Check(aoi_->put_MarginMode(MarginNone), "put_MarginMode");
    const double before = SumOfBuffer();
    Check(aoi_->FillMargins(), "FillMargins");
    Say("margins", "%-10s %s", "none", SumOfBuffer() == before ? "left as they were" : "CHANGED");
  }

  // The whole stored buffer as a picture. The interior pointer steps back over the margin, which
  // lies in the same memory.
  std::string WriteBuffer(const std::string& name) {
    Picture<Sample> stored{
        picture_.width + 2 * kMargin, picture_.height + 2 * kMargin, picture_.channels, {}};
    stored.samples.resize(static_cast<std::size_t>(stored.width) *
                          static_cast<std::size_t>(stored.height) *
                          static_cast<std::size_t>(stored.channels));
    for (int channel = 0; channel < stored.channels; ++channel) {
      const Rows rows = RowsOf(*aoi_, channel);
      for (int y = 0; y < stored.height; ++y) {
        const Sample* row = rows.Row(y - kMargin) - kMargin;
        for (int x = 0; x < stored.width; ++x) stored.At(x, y)[channel] = row[x];
      }
    }
    return examples::WritePicture(folder_ + "/" + name, stored);
  }

  double SumOfBuffer() {
    double sum = 0;
    for (int channel = 0; channel < picture_.channels; ++channel) {
      const Rows rows = RowsOf(*aoi_, channel);
      for (LONG y = -kMargin; y < rows.height + kMargin; ++y) {
        for (LONG x = -kMargin; x < rows.width + kMargin; ++x) sum += rows.Row(y)[x];
      }
    }
    return sum;
  }

  // The same pixels through the generic interface as double, and through pointers.
  void ReadBack() {
    const ComPtr<IAoiKLP> generic = aoi_.template As<IAoiKLP>();
    for (int channel = 0; channel < picture_.channels; ++channel) {
      const Rows rows = RowsOf(*aoi_, channel);
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
    Check(generic->GetPixel(-kMargin, -kMargin, &corner), "GetPixel");
    Say("margin corner", "%.0f at (%d, %d)", corner, int{-kMargin}, int{-kMargin});
    const HRESULT outside = generic->GetPixel(-kMargin - 1, 0, &corner);
    Say("beyond the margin", "refused with 0x%08X", static_cast<unsigned>(outside));
  }

  // A sibling looks at the middle of the same pixels and inverts them there.
  void WorkOnRectangle() {
    ComPtr<IAoi> middle;
    Check(aoi_->Clone(middle.Put()), "Clone");
    const LONG left = picture_.width / 4;
    const LONG top = picture_.height / 4;
    Check(middle->SetRect(left, top, left + picture_.width / 2 - 1, top + picture_.height / 2 - 1),
          "SetRect");
    // Alpha, the last of an even number of channels, stays.
    const int colours = picture_.channels - (picture_.channels % 2 == 0 ? 1 : 0);
    for (int channel = 0; channel < colours; ++channel) {
      const Rows rows = RowsOf(*middle, channel);
      for (LONG y = 0; y < rows.height; ++y) {
        Sample* row = rows.Row(y);
        for (LONG x = 0; x < rows.width; ++x) row[x] = static_cast<Sample>(~row[x]);
      }
    }
    LONG x = 0;
    LONG y = 0;
    LONG width = 0;
    LONG height = 0;
    Check(middle->GetRect(&x, &y, &width, &height), "GetRect");
    Check(aoi_->put_MarginMode(MarginMirror), "put_MarginMode");
    Check(aoi_->FillMargins(), "FillMargins");
    const std::string file = WriteBuffer("rectangle");
    Say("rectangle inverted", "%d x %d at (%d, %d)  %s", int{width}, int{height}, int{x}, int{y},
        file.c_str());
  }

  Picture<Sample> picture_;
  std::string folder_;
  ComPtr<IAoi> aoi_;
};

template <class Sample>
void Travel(const std::string& path, const std::string& folder) {
  const Picture<Sample> picture = examples::ReadPicture<Sample>(path);
  std::printf("%s\n", path.c_str());
  Say("picture", "%d x %d, %d channel%s of %d bit", picture.width, picture.height, picture.channels,
      picture.channels == 1 ? "" : "s", static_cast<int>(8 * sizeof(Sample)));
  if (picture.width < kMargin || picture.height < kMargin) {
    throw std::runtime_error(path + ": smaller than the margin of " + std::to_string(kMargin));
  }
  Road<Sample>(picture, folder).Go();
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
    if (examples::HasSixteenBits(argv[1])) {
      Travel<std::uint16_t>(argv[1], argv[2]);
    } else {
      Travel<std::uint8_t>(argv[1], argv[2]);
    }
  } catch (const std::exception& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "picture_road: %s\n", error.what());
    status = 1;
  }
  CoUninitialize();
  return status;
}
