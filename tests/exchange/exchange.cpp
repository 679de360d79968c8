// Carries AOIs from host to host: writes them into a folder, as streams with their class identifier
// and as object references for another process, or reads such a folder and checks what comes out.
//
//   exchange write FOLDER
//   exchange check FOLDER
//
// The module must be registered. The picture is the same everywhere, so the files that two hosts
// write can be compared byte by byte.
#include <cstring>
#include <fstream>
#include <iterator>

#include "examples/object_reference.h"
#include "interfaces/aoi.h"
#include "interfaces/attribute.h"
#include "interfaces/vector.h"

namespace {

using namespace examples;
using platform::ComPtr;

constexpr struct {
  const char* name;
  const CLSID& classId;
  ElementTypeKLP code;
  double first;
} kKinds[] = {
    {"byte", CLSID_ByteAOIKLP, ElementByte, 0},
    {"char", CLSID_CharAOIKLP, ElementChar, -128},
    {"word", CLSID_WordAOIKLP, ElementWord, 65400},
    {"short", CLSID_ShortAOIKLP, ElementShort, -300},
    {"dword", CLSID_DWordAOIKLP, ElementDWord, 4294967000.0},
    {"long", CLSID_LongAOIKLP, ElementLong, -2147483648.0},
    {"float", CLSID_FloatAOIKLP, ElementFloat, -1.5},
    {"double", CLSID_DoubleAOIKLP, ElementDouble, -0.1},
};
// Two planes in a margin of 1.
constexpr LONG kWidth = 10, kHeight = 5, kPlanes = 2;
constexpr char kName[] = "Ma\xC3\x9F \xCE\xA9";

void Expect(bool isTrue, const std::string& what) {
  if (!isTrue) throw std::runtime_error("differs: " + what);
}

double PixelOf(double first, LONG plane, LONG x, LONG y) {
  return first + plane * kWidth * kHeight + y * kWidth + x;
}

// Rectangle 6 by 2 at 2, 2 with margins 2, 1; a vector as tag; a map with a text and the vector.
ComPtr<IAoiKLP> Picture(std::size_t kind, MarshalFlagsKLP flags) {
  const auto aoi = Create<IAoiKLP>(kKinds[kind].classId);
  aoi->put_BufferMargin(1);
  Check(aoi->CreatePlanes(kPlanes, kWidth, kHeight), "CreatePlanes");
  for (LONG plane = 0; plane < kPlanes; ++plane) {
    aoi->put_ActivePlane(plane);
    for (LONG i = 0; i < kWidth * kHeight; ++i) {
      const LONG x = i % kWidth, y = i / kWidth;
      Check(aoi->PutPixel(x, y, PixelOf(kKinds[kind].first, plane, x, y)), "PutPixel");
    }
  }
  aoi->put_MarginMode(MarginPeriodic);
  Check(aoi->FillMargins(), "FillMargins");
  Check(aoi->SetRect(2, 2, 7, 3), "SetRect");
  Check(aoi->SetMargins(2, 1), "SetMargins");
  Check(aoi->put_Name(Text(std::string(kName)).Get()), "put_Name");
  aoi->put_MarshalFlags(flags);

  const auto vector = Create<IVectorKLP>(CLSID_DoubleVectorKLP);
  Check(vector->put_Count(3), "put_Count");
  Check(vector->Fill(0.25), "Fill");
  const Value object(vector.Get());
  Check(aoi->put_Tag(object.Get()), "put_Tag");
  const auto map = Create<IAttributeMapKLP>(CLSID_AttributeBstrMapKLP);
  Check(map->put_Value(Value(std::string("unit")).Get(), Value(std::string(kName)).Get()),
        "put_Value");
  Check(map->put_Value(Value(std::string("Vector")).Get(), object.Get()), "put_Value");
  Check(aoi->put_AttributeMap(map.Get()), "put_AttributeMap");
  return aoi;
}

double LastOf(const VARIANT& object) {
  double value = 0;
  Expect(object.vt == VT_UNKNOWN, "type of an object");
  const auto vector = ComPtr<IUnknown>(object.punkVal).As<IVectorKLP>();
  Expect(vector && vector->get_Value(2, &value) == S_OK, "a nested vector");
  return value;
}

void CheckPicture(IAoiKLP& aoi, std::size_t kind, MarshalFlagsKLP flags, const char* what) {
  const bool isBuffer = flags == MarshalBuffer;
  LONG x = -1, y = -1, width = -1, height = -1, marginX = -1, planes = -1;
  Check(aoi.GetRect(&x, &y, &width, &height), what);
  Check(aoi.get_MarginX(&marginX), what);
  aoi.get_PlaneCount(&planes);
  // The rectangle form comes to stand where its margins began.
  Expect(x == (isBuffer ? 2 : 0) && y == x && width == 6 && height == 2,
         std::string(what) + ": rectangle");
  Expect(marginX == (isBuffer ? 2 : 0) && planes == kPlanes,
         std::string(what) + ": margins, planes");
  for (LONG plane = 0; plane < kPlanes; ++plane) {
    aoi.put_ActivePlane(plane);
    for (LONG row = 0; row < height; ++row) {
      for (LONG column = 0; column < width; ++column) {
        double value = 0;
        Check(aoi.GetPixel(column, row, &value), what);
        const double stored = PixelOf(kKinds[kind].first, plane, column + (isBuffer ? 2 : 0),
                                      row + (isBuffer ? 2 : 1));
        Expect(value == stored, std::string(what) + ": pixels");
      }
    }
  }
  Text name;
  Check(aoi.get_Name(name.Put()), what);
  Expect(Utf8(name.Get()) == kName, std::string(what) + ": name");
  ElementTypeKLP code{};
  MarshalFlagsKLP travels{};
  aoi.get_ElementType(&code);
  aoi.get_MarshalFlags(&travels);
  Expect(code == kKinds[kind].code && travels == flags,
         std::string(what) + ": element type, flags");
  Value tag, value;
  Check(aoi.get_Tag(tag.Put()), what);
  ComPtr<IAttributeMapKLP> map;
  Check(aoi.get_AttributeMap(map.Put()), what);
  Expect(static_cast<bool>(map), std::string(what) + ": map");
  Check(map->get_Value(Value(std::string("Vector")).Get(), value.Put()), what);
  Expect(LastOf(tag.Get()) == 0.25 && LastOf(value.Get()) == 0.25,
         std::string(what) + ": tag, map");
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

int Run(bool isWriting, const std::string& folder) {
  int files = 0;
  for (std::size_t kind = 0; kind < std::size(kKinds); ++kind) {
    for (const MarshalFlagsKLP flags : {MarshalRectangle, MarshalBuffer}) {
      const std::string path =
          folder + "/" + kKinds[kind].name + (flags == MarshalBuffer ? "_buffer" : "_rect");
      const std::string saved = path + ".aoi";
      const std::string reference = path + ".reference";
      files += 2;
      if (isWriting) {
        const auto aoi = Picture(kind, flags);
        const auto stream = MemoryStream();
        Check(OleSaveToStream(aoi.As<IPersistStream>().Get(), stream.Get()), "OleSaveToStream");
        WriteFile(saved, ContentOf(*stream));
        WriteFile(reference, ReferenceTo(*aoi.Get(), MSHCTX_LOCAL));
        continue;
      }
      ComPtr<IAoiKLP> loaded;
      Check(OleLoadFromStream(MemoryStream(ReadFile(saved)).Get(), IID_IAoiKLP, loaded.PutVoid()),
            saved.c_str());
      CheckPicture(*loaded, kind, flags, saved.c_str());
      const auto arrived = ObjectOf<IAoiKLP>(ReadFile(reference));
      CheckPicture(*arrived, kind, flags, reference.c_str());
    }
  }
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  const bool isWriting = argc == 3 && std::strcmp(argv[1], "write") == 0;
  if (argc != 3 || (!isWriting && std::strcmp(argv[1], "check") != 0)) {
    std::fprintf(stderr, "usage: exchange write|check FOLDER\n");
    return 2;
  }
  if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 1;
  int exitCode = 0;
  try {
    const int files = Run(isWriting, argv[2]);
    std::printf("%d files %s\n", files, isWriting ? "written" : "read and checked");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "exchange: %s\n", error.what());
    exitCode = 1;
  }
  CoUninitialize();
  return exitCode;
}
