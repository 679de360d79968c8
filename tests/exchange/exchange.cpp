// Carries AOIs from host to host: writes them into a folder, as streams with their class identifier
// and as object references for another process, or reads such a folder and tells what is in it.
//
//   exchange write FOLDER
//   exchange read FOLDER
//
// The module must be registered. The pictures are the same everywhere, so the files that two hosts
// write can be compared byte by byte, and what each reads in the other's files as text.
#include <fstream>
#include <iterator>

#include "examples/aoi_planes.h"
#include "examples/attributes.h"
#include "examples/object_reference.h"
#include "interfaces/vector.h"

namespace {

using namespace examples;
using platform::ComPtr;

constexpr struct {
  const char* name;
  const CLSID& classId;
  double first;  // the pixels count up from it, through both planes
} kKinds[] = {
    {"byte", CLSID_ByteAOIKLP, 0},
    {"char", CLSID_CharAOIKLP, -128},
    {"word", CLSID_WordAOIKLP, 65400},
    {"short", CLSID_ShortAOIKLP, -300},
    {"dword", CLSID_DWordAOIKLP, 4294967000.0},
    {"long", CLSID_LongAOIKLP, -2147483648.0},
    {"float", CLSID_FloatAOIKLP, -1.5},
    {"double", CLSID_DoubleAOIKLP, -0.1},
};
constexpr struct {
  const char* name;
  MarshalFlagsKLP flags;
} kForms[] = {{"_rect", MarshalRectangle}, {"_buffer", MarshalBuffer}};
constexpr LONG kWidth = 10, kHeight = 5, kPlanes = 2;

// Two planes in a margin of 1; a rectangle with margins of its own; a vector as tag; maps in a map.
ComPtr<IAoiKLP> Picture(REFCLSID classId, double first, MarshalFlagsKLP flags) {
  const auto aoi = Create<IAoiKLP>(classId);
  Check(aoi->put_BufferMargin(1), "put_BufferMargin");
  Check(aoi->CreatePlanes(kPlanes, kWidth, kHeight), "CreatePlanes");
  for (LONG i = 0; i < kPlanes * kWidth * kHeight; ++i) {
    Check(aoi->put_ActivePlane(i / (kWidth * kHeight)), "put_ActivePlane");
    Check(aoi->PutPixel(i % kWidth, i / kWidth % kHeight, first + i), "PutPixel");
  }
  Check(aoi->put_MarginMode(MarginPeriodic), "put_MarginMode");
  Check(aoi->FillMargins(), "FillMargins");
  Check(aoi->SetRect(2, 2, 7, 3), "SetRect");
  Check(aoi->SetMargins(2, 1), "SetMargins");
  Check(aoi->put_Name(Text(std::string("Ma\u00DF \u03A9")).Get()), "put_Name");
  Check(aoi->put_MarshalFlags(flags), "put_MarshalFlags");
  const auto vector = Create<IVectorKLP>(CLSID_FloatVectorKLP);
  Check(vector->put_Count(3), "put_Count");
  Check(vector->Fill(0.25), "Fill");
  Check(aoi->put_Tag(Value(vector.Get()).Get()), "put_Tag");
  Check(aoi->put_AttributeMap(MakeAttributes("\u00B5m", kPlanes, {0.5, 7}).Get()),
        "put_AttributeMap");
  return aoi;
}

void SayPicture(const std::string& file, IAoiKLP& aoi) {
  std::printf("%s\n", file.c_str());
  SayDescription(aoi);
  LONG width = 0, height = 0, marginX = 0, marginY = 0;
  ElementTypeKLP type{};
  MarshalFlagsKLP flags{};
  Check(aoi.get_Width(&width), "get_Width");
  Check(aoi.get_Height(&height), "get_Height");
  Check(aoi.get_MarginX(&marginX), "get_MarginX");
  Check(aoi.get_MarginY(&marginY), "get_MarginY");
  Check(aoi.get_ElementType(&type), "get_ElementType");
  Check(aoi.get_MarshalFlags(&flags), "get_MarshalFlags");
  Say("  margins", "%d, %d", int{marginX}, int{marginY});
  Say("  type, flags", "%d, %d", int{type}, int{flags});
  for (LONG plane = 0; plane < PlaneCount(aoi); ++plane) {
    Check(aoi.put_ActivePlane(plane), "put_ActivePlane");
    std::string pixels;
    for (LONG i = 0; i < width * height; ++i) {
      double value = 0;
      char text[32];
      Check(aoi.GetPixel(i % width, i / width, &value), "GetPixel");
      std::snprintf(text, sizeof text, " %.10g", value);
      pixels += text;
    }
    Say("  pixels", "%s", pixels.c_str() + 1);
  }
}

void WriteFile(const std::string& path, const std::vector<std::byte>& content) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(content.data()),
             static_cast<std::streamsize>(content.size()));
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

std::vector<std::byte> ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  const std::string content{std::istreambuf_iterator<char>(file), {}};
  const auto* bytes = reinterpret_cast<const std::byte*>(content.data());
  return {bytes, bytes + content.size()};
}

void Run(bool isWriting, const std::string& folder) {
  for (const auto& kind : kKinds) {
    for (const auto& form : kForms) {
      const std::string file = std::string(kind.name) + form.name;
      const std::string saved = folder + "/" + file + ".aoi";
      const std::string reference = folder + "/" + file + ".reference";
      if (isWriting) {
        const auto aoi = Picture(kind.classId, kind.first, form.flags);
        const auto stream = MemoryStream();
        Check(OleSaveToStream(aoi.As<IPersistStream>().Get(), stream.Get()), "OleSaveToStream");
        WriteFile(saved, ContentOf(*stream));
        WriteFile(reference, ReferenceTo(*aoi.Get(), MSHCTX_LOCAL));
      } else {
        ComPtr<IAoiKLP> loaded;
        Check(OleLoadFromStream(MemoryStream(ReadFile(saved)).Get(), IID_IAoiKLP, loaded.PutVoid()),
              saved.c_str());
        SayPicture(file + ".aoi", *loaded);
        SayPicture(file + ".reference", *ObjectOf<IAoiKLP>(ReadFile(reference)));
      }
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc == 3 ? argv[1] : "";
  if (command != "write" && command != "read") {
    std::fprintf(stderr, "usage: exchange write|read FOLDER\n");
    return 2;
  }
  if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 1;
  int exitCode = 0;
  try {
    Run(command == "write", argv[2]);
  } catch (const std::exception& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "exchange: %s\n", error.what());
    exitCode = 1;
  }
  CoUninitialize();
  return exitCode;
}
