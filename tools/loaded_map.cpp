// SPDX-License-Identifier: MIT
#include "tools/loaded_map.h"

#include "interfaces/attribute.h"

namespace tools {
namespace {

platform::ComPtr<IAttributeMapKLP> MapOf(const LoadedObject& object) {
  auto map = object.As<IAttributeMapKLP>();
  if (!map) throw ComFailure("IAttributeMapKLP", E_NOINTERFACE);
  return map;
}

LONG CountOf(IAttributeMapKLP& map) {
  LONG count = 0;
  Check(map.get_Count(&count), "get_Count");
  return count;
}

}  // namespace

std::vector<std::pair<const char*, std::string>> MapAnswers(const LoadedObject& object) {
  const auto map = MapOf(object);
  KeyKindKLP kind{};
  VARIANT_BOOL replaces = VARIANT_FALSE;
  Check(map->get_KeyKind(&kind), "get_KeyKind");
  Check(map->get_OverrideMode(&replaces), "get_OverrideMode");
  const char* const keys = kind == KeyKindBstr   ? "texts"
                           : kind == KeyKindLong ? "signed 32 bit"
                                                 : "64-bit float";
  return {{"keys", keys},
          {"attributes", NumberText(std::int32_t{CountOf(*map)})},
          {"override mode", replaces ? "on" : "off"}};
}

bool IsMapInStep(const LoadedObject& object, const MapHead& head) {
  const auto map = MapOf(object);
  return object.BytesLeft() == 0 && static_cast<ULONG>(CountOf(*map)) == head.count;
}

}  // namespace tools
