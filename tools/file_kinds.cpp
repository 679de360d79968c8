// SPDX-License-Identifier: MIT
#include "tools/file_kinds.h"

#include <cctype>
#include <string_view>

namespace tools {
namespace {

using namespace std::string_view_literals;

constexpr const char* kImport = ": rastel import makes an AOI of it";
constexpr const char* kConvert = ": other programs make a PNG of it, which rastel import reads";
constexpr const char* kUnpack = ": it has to be unpacked first";
constexpr const char* kNothing = "";

struct Kind {
  std::string_view beginning;
  // At the eighth byte, where the beginning alone is that of many.
  std::string_view further;
  const char* name;
  const char* advice;
};

constexpr Kind kKinds[] = {
    {"\x89PNG\r\n\x1A\n"sv, "", "a PNG picture", kImport},
    {"\xFF\xD8\xFF"sv, "", "a JPEG picture", kImport},
    {"II*\0"sv, "", "a TIFF picture", kImport},
    {"MM\0*"sv, "", "a TIFF picture", kImport},
    {"II+\0"sv, "", "a TIFF picture", kImport},
    {"MM\0+"sv, "", "a TIFF picture", kImport},
    {"#?RADIANCE"sv, "", "an HDR picture", kImport},
    {"\x93NUMPY"sv, "", "a NumPy array", kImport},
    {"BM"sv, "", "a BMP picture", kImport},
    {"GIF8"sv, "", "a GIF picture", kConvert},
    {"RIFF"sv, "WEBP"sv, "a WebP picture", kConvert},
    {"\0\0\0\x0CjP  "sv, "", "a JPEG 2000 picture", kConvert},
    {"\x89HDF\r\n\x1A\n"sv, "", "an HDF5 file", kNothing},
    {"%PDF-"sv, "", "a PDF document", kNothing},
    {"\x7F"
     "ELF"sv,
     "", "a program or library", kNothing},
    {"MZ"sv, "", "a program or library", kNothing},
    {"\x1F\x8B"sv, "", "compressed by gzip", kUnpack},
    {"PK\3\4"sv, "", "a ZIP archive", kUnpack},
};

}  // namespace

std::string ForeignKind(Bytes file) {
  const std::string_view text(reinterpret_cast<const char*>(file.data()), file.size());
  for (const Kind& kind : kKinds) {
    if (text.starts_with(kind.beginning) &&
        (kind.further.empty() || (text.size() > 8 && text.substr(8).starts_with(kind.further)))) {
      return std::string(kind.name) + kind.advice;
    }
  }
  // Portable any-maps: P, a digit or F, and a blank.
  const bool isAnyMap = text.size() > 2 && text[0] == 'P' &&
                        "1234567Ff"sv.find(text[1]) != std::string_view::npos &&
                        std::isspace(static_cast<unsigned char>(text[2]));
  return isAnyMap ? std::string("a portable any-map") + kImport : "";
}

}  // namespace tools
