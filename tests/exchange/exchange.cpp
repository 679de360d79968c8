// Carries AOIs from host to host: writes them into a folder, as streams with their class identifier
// and as object references for another process, or reads such a folder and checks what comes out.
//
//   exchange write FOLDER
//   exchange check FOLDER
//
// The module must be registered. The picture is the same everywhere, so the files that two hosts
// write can be compared byte by byte.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "interfaces/aoi.h"
#include "interfaces/attribute.h"
#include "interfaces/identifiers.h"
#include "interfaces/vector.h"
#include "platform/com_ptr.h"

namespace {

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
// Two planes of 10 by 5 in a margin of 1.
constexpr LONG kWidth = 10, kHeight = 5, kPlanes = 2;

void Check(HRESULT result, const std::string& what) {
  if (SUCCEEDED(result)) return;
  char code[16];
  std::snprintf(code, sizeof(code), "0x%08X", static_cast<unsigned>(result));
  throw std::runtime_error(what + ": " + code);
}
void Expect(bool isTrue, const std::string& what) {
  if (!isTrue) throw std::runtime_error("differs: " + what);
}

struct Value : VARIANT {
  Value() { VariantInit(this); }
  ~Value() { VariantClear(this); }
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;
};

class Text {
 public:
  explicit Text(const OLECHAR* text) : text_(SysAllocString(text)) {}
  ~Text() { SysFreeString(text_); }
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  BSTR Get() const { return text_; }

 private:
  BSTR text_;
};

template <class Interface>
ComPtr<Interface> Make(REFCLSID classId, const char* what) {
  ComPtr<Interface> object;
  Check(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, platform::kIidOf<Interface>,
                         object.PutVoid()),
        std::string("CoCreateInstance of ") + what);
  return object;
}

double PixelOf(double first, LONG plane, LONG x, LONG y) {
  return first + plane * kWidth * kHeight + y * kWidth + x;
}

// Rectangle 6 by 2 at 2, 2 with margins 2, 1; a vector as tag; a map with a text and the vector.
ComPtr<IAoiKLP> Picture(std::size_t kind, MarshalFlagsKLP flags) {
  const auto aoi = Make<IAoiKLP>(kKinds[kind].classId, kKinds[kind].name);
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
  Check(aoi->put_Name(Text(OLESTR("Ma\u00DF \u03A9")).Get()), "put_Name");
  aoi->put_MarshalFlags(flags);

  const auto vector = Make<IVectorKLP>(CLSID_DoubleVectorKLP, "a vector");
  Check(vector->put_Count(3), "put_Count");
  Check(vector->Fill(0.25), "Fill");
  Value object;
  object.vt = VT_DISPATCH;
  object.pdispVal = ComPtr<IVectorKLP>(vector).Detach();
  Check(aoi->put_Tag(object), "put_Tag");
  const auto map = Make<IAttributeMapKLP>(CLSID_AttributeBstrMapKLP, "a map");
  Value key, text;
  key.vt = text.vt = VT_BSTR;
  key.bstrVal = SysAllocString(OLESTR("Einheit"));
  text.bstrVal = SysAllocString(OLESTR("\u00B5m"));
  Check(map->put_Value(key, text), "put_Value");
  key.bstrVal[0] = 'e';
  Check(map->put_Value(key, object), "put_Value");
  Check(aoi->put_AttributeMap(map.Get()), "put_AttributeMap");
  return aoi;
}

double FirstOf(const VARIANT& object) {
  double value = 0;
  const auto vector = object.vt == VT_UNKNOWN ? ComPtr<IUnknown>(object.punkVal).As<IVectorKLP>()
                                              : ComPtr<IVectorKLP>();
  Expect(vector && vector->get_Value(2, &value) == S_OK, "a nested vector");
  return value;
}

void CheckPicture(IAoiKLP& aoi, std::size_t kind, MarshalFlagsKLP flags, const std::string& what) {
  const bool isBuffer = flags == MarshalBuffer;
  LONG x = -1, y = -1, width = -1, height = -1, marginX = -1, planes = -1;
  Check(aoi.GetRect(&x, &y, &width, &height), what);
  Check(aoi.get_MarginX(&marginX), what);
  aoi.get_PlaneCount(&planes);
  // The rectangle form comes to stand where its margins began.
  Expect(x == (isBuffer ? 2 : 0) && y == x && width == 6 && height == 2, what + ": rectangle");
  Expect(marginX == (isBuffer ? 2 : 0) && planes == kPlanes, what + ": margins, planes");
  for (LONG plane = 0; plane < kPlanes; ++plane) {
    aoi.put_ActivePlane(plane);
    for (LONG row = 0; row < height; ++row) {
      for (LONG column = 0; column < width; ++column) {
        double value = 0;
        Check(aoi.GetPixel(column, row, &value), what);
        const double stored = PixelOf(kKinds[kind].first, plane, column + (isBuffer ? 2 : 0),
                                      row + (isBuffer ? 2 : 1));
        Expect(value == stored, what + ": pixels");
      }
    }
  }
  BSTR name = nullptr;
  Check(aoi.get_Name(&name), what);
  const std::basic_string<OLECHAR> owned(name, SysStringLen(name));
  SysFreeString(name);
  Expect(owned == OLESTR("Ma\u00DF \u03A9"), what + ": name");
  ElementTypeKLP code{};
  MarshalFlagsKLP travels{};
  aoi.get_ElementType(&code);
  aoi.get_MarshalFlags(&travels);
  Expect(code == kKinds[kind].code && travels == flags, what + ": element type, flags");
  Value tag, key, value;
  Check(aoi.get_Tag(&tag), what);
  Expect(FirstOf(tag) == 0.25, what + ": tag");
  ComPtr<IAttributeMapKLP> map;
  Check(aoi.get_AttributeMap(map.Put()), what);
  Expect(static_cast<bool>(map), what + ": map");
  key.vt = VT_BSTR;
  key.bstrVal = SysAllocString(OLESTR("einheit"));
  Check(map->get_Value(key, &value), what);
  Expect(FirstOf(value) == 0.25, what + ": value in the map");
}

ComPtr<IStream> MemoryStream(const std::string& content) {
  ComPtr<IStream> stream;
  Check(CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()), "CreateStreamOnHGlobal");
  Check(stream->Write(content.data(), static_cast<ULONG>(content.size()), nullptr), "Write");
  Check(stream->Seek({}, STREAM_SEEK_SET, nullptr), "Seek");
  return stream;
}

void WriteFile(const std::string& path, IStream& stream) {
  ULARGE_INTEGER size{};
  Check(stream.Seek({}, STREAM_SEEK_CUR, &size), "Seek");
  Check(stream.Seek({}, STREAM_SEEK_SET, nullptr), "Seek");
  std::vector<char> content(static_cast<std::size_t>(size.QuadPart));
  Check(stream.Read(content.data(), static_cast<ULONG>(content.size()), nullptr), "Read");
  std::ofstream file(path, std::ios::binary);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

ComPtr<IStream> ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  return MemoryStream({std::istreambuf_iterator<char>(file), {}});
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
        const auto stream = MemoryStream("");
        Check(OleSaveToStream(aoi.As<IPersistStream>().Get(), stream.Get()), saved);
        WriteFile(saved, *stream);
        const auto marshalled = MemoryStream("");
        Check(CoMarshalInterface(marshalled.Get(), IID_IAoiKLP, aoi.Get(), MSHCTX_LOCAL, nullptr,
                                 MSHLFLAGS_NORMAL),
              reference);
        WriteFile(reference, *marshalled);
        continue;
      }
      ComPtr<IAoiKLP> loaded, arrived;
      Check(OleLoadFromStream(ReadFile(saved).Get(), IID_IAoiKLP, loaded.PutVoid()), saved);
      CheckPicture(*loaded, kind, flags, saved);
      Check(CoUnmarshalInterface(ReadFile(reference).Get(), IID_IAoiKLP, arrived.PutVoid()),
            reference);
      CheckPicture(*arrived, kind, flags, reference);
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
