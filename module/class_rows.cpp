// SPDX-License-Identifier: MIT
// The table of the catalogue: the one place that knows the classes of all families.
#include "interfaces/identifiers.h"
#include "module/attribute/attribute_classes.h"
#include "module/frame/catalogue.h"
#include "module/frame/class_scripts.h"
#include "module/image/aoi_classes.h"
#include "module/vector/vector_classes.h"

namespace rastel {
namespace {

LPCOLESTR NoDescription() noexcept { return nullptr; }
const void* NoCategories() noexcept { return nullptr; }
void NoObjectMain(bool) noexcept {}

constexpr CatalogueRow LiveRow(const CLSID& classId, const char* name, WORD script,
                               platform::InstanceCreator instanceCreator) noexcept {
  return {&classId,
          classId.Data1,
          name,
          script,
          &UpdateRegistration,
          &platform::CreateClassObject,
          instanceCreator,
          nullptr,
          0,
          &NoDescription,
          &NoCategories,
          &NoObjectMain};
}

// Complete before any code of the module runs: the module's entry walks it.
constinit CatalogueRow rows[] = {
#define CLASS_ROW(script, name, creator, progId, version, description) \
  LiveRow(CLSID_##name, #name, script, &creator),
#include "module/class_rows.inc"
#undef CLASS_ROW
    {nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr},
};

}  // namespace

CatalogueRow* Catalogue() noexcept { return rows; }

}  // namespace rastel
