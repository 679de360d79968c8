// SPDX-License-Identifier: MIT
// The members of the attribute maps, their entries and the enumerator, in the slot groups of
// interfaces/attribute.h.
#pragma once

#include "interfaces/attribute.h"
#include "types/type_names.h"

namespace rastel::types {

// K is the type of the keys in the array that get_Keys gives.
template <class I, VARTYPE K>
constexpr auto MapValueRows() noexcept {
  return std::array{
      Row<I, &I::get_Keys>("get_Keys", ArrayOf(K, "keys")),
      Row<I, &I::put_Value>("put_Value", "key", "value"),
      Row<I, &I::get_Value>("get_Value", "key", "value"),
  };
}

template <class I>
constexpr auto MapContentRows() noexcept {
  return std::array{
      Row<I, &I::Exists>("Exists", "key", "exists"),
      Row<I, &I::Clear>("Clear"),
      Row<I, &I::put_OverrideMode>("put_OverrideMode", "replace"),
      Row<I, &I::get_OverrideMode>("get_OverrideMode", "replace"),
      Row<I, &I::get_KeyKind>("get_KeyKind", "kind"),
      Row<I, &I::get_Count>("get_Count", "count"),
      Row<I, &I::Clone>("Clone", "clone"),
      Row<I, &I::GetEnumerator>("GetEnumerator", "enumerator"),
  };
}

template <class I, VARTYPE K>
constexpr auto RemovingMapRows() noexcept {
  return Join(MapValueRows<I, K>(), std::array{Row<I, &I::Remove>("Remove", "key")},
              MapContentRows<I>());
}

template <class I, VARTYPE K>
constexpr auto NumericMapRows() noexcept {
  return Join(MapValueRows<I, K>(), MapContentRows<I>());
}

constexpr auto EntryRows() noexcept {
  using I = IAttributeEntryKLP;
  return std::array{
      Row<I, &I::get_Key>("get_Key", "key"),
      Row<I, &I::get_Value>("get_Value", "value"),
      Row<I, &I::put_Value>("put_Value", "value"),
  };
}

constexpr auto EnumeratorRows() noexcept {
  using I = IEnumAttributeEntryKLP;
  return std::array{
      Row<I, &I::Next>("Next", "count", Several("entries"), "fetched"),
      Row<I, &I::Skip>("Skip", "count"),
      Row<I, &I::Reset>("Reset"),
      Row<I, &I::Clone>("Clone", "clone"),
  };
}

}  // namespace rastel::types
