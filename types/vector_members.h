// SPDX-License-Identifier: MIT
// The members of the ten vector interfaces and of the marshal behaviour, in the slot groups of
// interfaces/vector.h.
#pragma once

#include "interfaces/marshal_behaviour.h"
#include "interfaces/vector.h"
#include "types/type_names.h"

namespace rastel::types {

template <class I>
constexpr auto VectorValueRows() noexcept {
  return std::array{
      Row<I, &I::get_Value>("get_Value", "index", "value"),
      Row<I, &I::put_Value>("put_Value", "index", "value"),
      Row<I, &I::get_ElementTag>("get_ElementTag", "index", "tag"),
      Row<I, &I::put_ElementTag>("put_ElementTag", "index", "tag"),
      Row<I, &I::get_Count>("get_Count", "count"),
      Row<I, &I::put_Count>("put_Count", "count"),
  };
}

template <class I>
constexpr auto VectorContentRows() noexcept {
  return std::array{
      Row<I, &I::GetTagPointer>("GetTagPointer", "count", Pixels(VT_VARIANT, "tags")),
      Row<I, &I::Clone>("Clone", "clone"),
      Row<I, &I::get_HasElementTags>("get_HasElementTags", "hasTags"),
      Row<I, &I::put_HasElementTags>("put_HasElementTags", "hasTags"),
      Row<I, &I::get_ElementType>("get_ElementType", "type"),
      Row<I, &I::DeepCopy>("DeepCopy", "copy"),
      Row<I, &I::Clear>("Clear"),
      Row<I, &I::Fill>("Fill", "value"),
      Row<I, &I::ResizeAll>("ResizeAll", "count"),
      Row<I, &I::SetCount>("SetCount", "count"),
  };
}

// E is the type of the elements.
template <class I, VARTYPE E>
constexpr auto TypedVectorRows() noexcept {
  return Join(VectorValueRows<I>(),
              std::array{Row<I, &I::GetPointer>("GetPointer", "count", Pixels(E, "elements"))},
              VectorContentRows<I>());
}

constexpr auto GenericVectorRows() noexcept {
  return Join(VectorValueRows<IVectorKLP>(), VectorContentRows<IVectorKLP>());
}

constexpr auto MarshalBehaviourRows() noexcept {
  using I = IMarshalBehaviourKLP;
  return std::array{
      Row<I, &I::get_MarshalBehaviour>("get_MarshalBehaviour", "behaviour"),
      Row<I, &I::put_MarshalBehaviour>("put_MarshalBehaviour", "behaviour"),
  };
}

}  // namespace rastel::types
