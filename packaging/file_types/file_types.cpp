// SPDX-License-Identifier: MIT
// Writes the file types of streams for file managers: the class identifiers in front of a stream
// are what it is known by, and each family has an extension.
#include <cstdio>
#include <cstring>
#include <string_view>

#include "interfaces/identifiers.h"

namespace {

struct Class {
  std::string_view creator;
  const CLSID& identifier;
};
constexpr Class kClasses[] = {
#define CLASS_ROW(script, name, creator, progId, version, description) {#creator, CLSID_##name},
#include "module/class_rows.inc"
#undef CLASS_ROW
};

struct Type {
  // What the creators of its classes begin with.
  std::string_view creators;
  const char* name;
  // Null where there are no files of their own.
  const char* extension;
  const char* english;
  const char* german;
};
constexpr Type kTypes[] = {
    {"CreateAoi<", "-aoi", "aoi", "AOI image", "AOI-Bild"},
    {"CreateVector<", "-vector", "klpv", "vector", "Vektor"},
    {"CreateAttributeMap<", "-map", "klpm", "attribute map", "Attributliste"},
    {"CreateAttributeEntry", "", nullptr, "object stream", "Objektstrom"},
};

void PrintMagic(const CLSID& identifier) {
  unsigned char bytes[sizeof(CLSID)];
  std::memcpy(bytes, &identifier, sizeof(bytes));
  std::printf("      <match type=\"string\" offset=\"0\" value=\"");
  for (const unsigned byte : bytes) std::printf("\\x%02x", byte);
  std::printf("\"/>\n");
}

}  // namespace

int main() {
  std::printf(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<mime-info xmlns=\"http://www.freedesktop.org/standards/shared-mime-info\">\n");
  for (const Type& type : kTypes) {
    std::printf("  <mime-type type=\"application/x-rastelklp%s\">\n", type.name);
    std::printf("    <comment>RastelKLP %s</comment>\n", type.english);
    std::printf("    <comment xml:lang=\"de\">RastelKLP-%s</comment>\n", type.german);
    if (type.extension) std::printf("    <sub-class-of type=\"application/x-rastelklp\"/>\n");
    std::printf("    <magic priority=\"80\">\n");
    for (const Class& each : kClasses) {
      if (each.creator.starts_with(type.creators)) PrintMagic(each.identifier);
    }
    std::printf("    </magic>\n");
    if (type.extension) std::printf("    <glob pattern=\"*.%s\"/>\n", type.extension);
    std::printf("  </mime-type>\n");
  }
  std::printf("</mime-info>\n");
}
