// SPDX-License-Identifier: MIT
#include "tools/loaded_vector.h"

#include "interfaces/vector.h"
#include "tools/element_types.h"

namespace tools {
namespace {

platform::ComPtr<IVectorKLP> VectorOf(const LoadedObject& object) {
  auto vector = object.As<IVectorKLP>();
  if (!vector) throw ComFailure("IVectorKLP", E_NOINTERFACE);
  return vector;
}

struct State {
  ElementTypeKLP type{};
  LONG count = 0;
  VARIANT_BOOL hasTags = 0;
  LONG tagCount = 0;
};

State StateOf(const LoadedObject& object) {
  const auto vector = VectorOf(object);
  State state;
  VARIANT* tags = nullptr;
  Check(vector->get_ElementType(&state.type), "get_ElementType");
  Check(vector->get_Count(&state.count), "get_Count");
  Check(vector->get_HasElementTags(&state.hasTags), "get_HasElementTags");
  Check(vector->GetTagPointer(&state.tagCount, &tags), "GetTagPointer");
  return state;
}

}  // namespace

void AddVectorAnswers(const LoadedObject& object, Answers& answers) {
  const State state = StateOf(object);
  const ElementKind* kind = FindElementKind(state.type);
  const auto code = static_cast<std::int32_t>(state.type);
  answers.Add("element type",
              kind ? std::string(kind->name) + ", " + kind->words : "code " + NumberText(code),
              "elementType", kind ? Json(kind->name) : Json(code));
  answers.Add("elements", NumberText(std::int32_t{state.count}), "elementCount", state.count);
  std::string tags = "off";
  if (state.hasTags == VARIANT_TRUE) {
    tags = "on, " + NumberText(std::int32_t{state.tagCount});
  } else if (state.hasTags != 0) {
    tags += ", the flag is " + HexText(static_cast<std::uint16_t>(state.hasTags), 4);
  }
  answers.Add("tags", tags, "tags",
              {{"isOn", state.hasTags == VARIANT_TRUE}, {"count", state.tagCount}});
}

bool IsVectorInStep(const LoadedObject& object, const VectorHead& head) {
  const State state = StateOf(object);
  const LONG tags = head.flag ? head.tagCount.value_or(0) : 0;
  return object.BytesLeft() == 0 && state.count == head.count && state.tagCount == tags;
}

void ShowHiddenTags(const LoadedObject& object) {
  Check(VectorOf(object)->put_HasElementTags(VARIANT_TRUE), "put_HasElementTags");
}

}  // namespace tools
