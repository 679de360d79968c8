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

void AddMapAnswers(const LoadedObject& object, Answers& answers) {
  const auto map = MapOf(object);
  KeyKindKLP kind{};
  VARIANT_BOOL replaces = VARIANT_FALSE;
  Check(map->get_KeyKind(&kind), "get_KeyKind");
  Check(map->get_OverrideMode(&replaces), "get_OverrideMode");
  const char* const keys = kind == KeyKindBstr   ? "texts"
                           : kind == KeyKindLong ? "signed 32 bit"
                                                 : "64-bit float";
  const LONG count = CountOf(*map);
  answers.Add("keys", keys, "keys", keys);
  answers.Add("override mode", replaces ? "on" : "off", "overrides", replaces != VARIANT_FALSE);
  answers.Add("attributes", NumberText(std::int32_t{count}), "attributeCount", count);
}

bool IsMapInStep(const LoadedObject& object, const MapHead& head) {
  const auto map = MapOf(object);
  return object.BytesLeft() == 0 && static_cast<ULONG>(CountOf(*map)) == head.count;
}

}  // namespace tools
