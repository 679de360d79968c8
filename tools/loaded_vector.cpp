// SPDX-License-Identifier: MIT
#include "tools/loaded_vector.h"

#include "interfaces/vector.h"

namespace tools {
namespace {

platform::ComPtr<IVectorKLP> VectorOf(const LoadedObject& object) {
  auto vector = object.As<IVectorKLP>();
  if (!vector) throw ComFailure("IVectorKLP", E_NOINTERFACE);
  return vector;
}

}  // namespace

VectorAnswers AskVector(const LoadedObject& object) {
  const auto vector = VectorOf(object);
  VectorAnswers answers;
  VARIANT* tags = nullptr;
  Check(vector->get_ElementType(&answers.type), "get_ElementType");
  Check(vector->get_Count(&answers.count), "get_Count");
  Check(vector->get_HasElementTags(&answers.hasTags), "get_HasElementTags");
  Check(vector->GetTagPointer(&answers.tagCount, &tags), "GetTagPointer");
  return answers;
}

bool IsVectorInStep(const LoadedObject& object, const VectorHead& head) {
  const VectorAnswers answers = AskVector(object);
  const LONG tags = head.flag ? head.tagCount.value_or(0) : 0;
  return object.BytesLeft() == 0 && answers.count == head.count && answers.tagCount == tags;
}

void ShowHiddenTags(const LoadedObject& object) {
  Check(VectorOf(object)->put_HasElementTags(VARIANT_TRUE), "put_HasElementTags");
}

}  // namespace tools
