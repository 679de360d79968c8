// SPDX-License-Identifier: MIT
// The table of the catalogue: the one place that knows the classes of all families.
#include <array>

#include "interfaces/identifiers.h"
#include "module/attribute/attribute_classes.h"
#include "module/frame/catalogue.h"
#include "module/frame/class_scripts.h"
#include "module/image/aoi_classes.h"
#include "module/persist/stream_classes.h"
#include "module/vector/vector_classes.h"

namespace rastel {
namespace {

LPCOLESTR NoDescription() noexcept { return nullptr; }
const void* NoCategories() noexcept { return nullptr; }
void NoObjectMain(bool) noexcept {}

constexpr CatalogueRow LiveRow(const CLSID& classId, const char* name, WORD script,
                               platform::InstanceCreator instanceCreator) noexcept {
  return {&classId, name, script,         &UpdateRegistration, &CreateClassObject, instanceCreator,
          nullptr,  0,    &NoDescription, &NoCategories,       &NoObjectMain};
}

// Complete before any code of the module runs: the module's entry walks it.
constinit CatalogueRow rows[] = {
#define CLASS_ROW(script, name, creator, progId, version, description) \
  LiveRow(CLSID_##name, #name, script, &creator),
#include "module/class_rows.inc"
#undef CLASS_ROW
    {nullptr, nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr},
};

constexpr DWORD kFirstWords[] = {
#define CLASS_ROW(script, name, creator, progId, version, description) CLSID_##name.Data1,
#include "module/class_rows.inc"
#undef CLASS_ROW
};

// Where a row's number stands: a factor that gives every class a place of its own.
struct Places {
  static constexpr int kBits = 7;
  DWORD factor = 1;
  std::array<BYTE, std::size_t{1} << kBits> rows{};

  static constexpr std::size_t Of(DWORD firstWord, DWORD factor) noexcept {
    return DWORD{firstWord * factor} >> (32 - kBits);
  }
  constexpr bool TakeFactor(DWORD tried) noexcept {
    factor = tried;
    rows.fill(BYTE{std::size(kFirstWords)});
    for (BYTE row = 0; row < std::size(kFirstWords); ++row) {
      BYTE& place = rows[Of(kFirstWords[row], factor)];
      if (place != std::size(kFirstWords)) return false;
      place = row;
    }
    return true;
  }
};
constexpr Places kPlaces = [] {
  Places places;
  for (DWORD factor = 0x9E3779B1; !places.TakeFactor(factor); factor += 2) {
  }
  return places;
}();

}  // namespace

CatalogueRow* Catalogue() noexcept { return rows; }

CatalogueRow* FindRow(REFCLSID classId) noexcept {
  CatalogueRow& row = rows[kPlaces.rows[Places::Of(classId.Data1, kPlaces.factor)]];
  return row.classId && IsEqualCLSID(*row.classId, classId) ? &row : nullptr;
}

}  // namespace rastel
