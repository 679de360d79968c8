// SPDX-License-Identifier: MIT
// What an object answers to QueryInterface, as data: an ordered array of rows that is walked from
// the top; the first row whose identifier matches answers. The first row is the object's identity
// and answers IUnknown, so it must be a direct one.
#pragma once

#include <span>

#include "platform/interface_id.h"

namespace platform {

struct QueryRow {
  // Null: the row is asked for every identifier and may pass (a chain into another table).
  const IID* iid;
  // Direct rows: the address of the interface inside the object. No reference is taken.
  IUnknown* (*cast)(void* object);
  // Other rows: answers with a reference, or says why not.
  HRESULT (*delegate)(void* object, REFIID iid, void** out);
};

using QueryTable = std::span<const QueryRow>;

namespace query_detail {

// Via: the base through which an interface is reached where several bases hold it.
template <class Object, class Interface, class Via>
IUnknown* Cast(void* object) noexcept {
  return static_cast<Interface*>(static_cast<Via*>(static_cast<Object*>(object)));
}

template <class Object, auto Member>
HRESULT DelegateTo(void* object, REFIID iid, void** out) noexcept {
  IUnknown* inner = static_cast<Object*>(object)->*Member;
  return inner ? inner->QueryInterface(iid, out) : E_NOINTERFACE;
}

}  // namespace query_detail

// A row that hands out a base of the object: Interface, reached through the base Via.
template <class Object, class Interface, class Via = Interface>
constexpr QueryRow DirectRow() noexcept {
  return {InterfaceId<Interface>::value, &query_detail::Cast<Object, Interface, Via>, nullptr};
}

// A row that hands the question to an inner object held in a member of type IUnknown*.
template <class Object, class Interface, auto Member>
constexpr QueryRow DelegatedRow() noexcept {
  return {InterfaceId<Interface>::value, nullptr, &query_detail::DelegateTo<Object, Member>};
}

// The row that answers without help of another table or object; null when none does.
inline const QueryRow* FindDirectRow(QueryTable table, REFIID iid) noexcept {
  if (IsEqualIID(iid, IID_IUnknown)) return &table.front();
  for (const QueryRow& row : table) {
    if (!row.iid) return nullptr;
    if (IsEqualIID(*row.iid, iid)) return row.cast ? &row : nullptr;
  }
  return nullptr;
}

// Walks the table. Null out: E_POINTER; nothing found: E_NOINTERFACE and null. A delegated row's
// failure ends the walk, a chain's does not.
inline HRESULT InternalQueryInterface(void* object, QueryTable table, REFIID iid,
                                      void** out) noexcept {
  if (!out) return E_POINTER;
  *out = nullptr;
  const bool isIdentity = IsEqualIID(iid, IID_IUnknown);
  for (const QueryRow& row : table) {
    const bool isChain = row.iid == nullptr;
    if (!isIdentity && !isChain && !IsEqualIID(*row.iid, iid)) continue;
    if (row.cast) {
      IUnknown* found = row.cast(object);
      found->AddRef();
      *out = found;
      return S_OK;
    }
    const HRESULT result = row.delegate(object, iid, out);
    if (result == S_OK || (!isChain && FAILED(result))) return result;
  }
  return E_NOINTERFACE;
}

// A row that goes on in the table of a base of the object.
template <class Object, class Base>
constexpr QueryRow ChainRow() noexcept {
  return {nullptr, nullptr, [](void* object, REFIID iid, void** out) -> HRESULT {
            return InternalQueryInterface(static_cast<Base*>(static_cast<Object*>(object)),
                                          Base::BaseQueryTable(), iid, out);
          }};
}

}  // namespace platform
