// SPDX-License-Identifier: MIT
// Rows of a type library made from the slots of an interface: parameter types, directions and the
// call are derived from the C++ signature, the ids from the order; only names are written down.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/platform.h"
// Behind the platform's headers.
#include "host/types/tables.h"

namespace rastel::types {

inline constexpr WORD kIn = 1;
inline constexpr WORD kOut = 2;
inline constexpr WORD kReturned = 8;
inline constexpr WORD kFunction = 1;
inline constexpr WORD kGetter = 2;
inline constexpr WORD kPutter = 4;
inline constexpr WORD kRestricted = 1;

// The name of an interface or enumeration in the library.
template <class T>
inline constexpr const char* kTypeName = nullptr;

// The name of a parameter, with what its C++ type does not tell.
struct ParameterName {
  constexpr ParameterName(const char* itsName, VARTYPE itsPixels = VT_EMPTY,
                          VARTYPE itsElements = VT_EMPTY, bool hasSeveral = false) noexcept
      : name(itsName), pixels(itsPixels), elements(itsElements), several(hasSeveral) {}

  const char* name;
  VARTYPE pixels;    // a raw pointer into pixels or elements of this type
  VARTYPE elements;  // a SAFEARRAY with elements of this type
  bool several;      // room for as many values as other parameters say
};
constexpr ParameterName Pixels(VARTYPE type, const char* name) noexcept { return {name, type}; }
constexpr ParameterName ArrayOf(VARTYPE type, const char* name) noexcept {
  return {name, VT_EMPTY, type};
}
constexpr ParameterName Several(const char* name) noexcept {
  return {name, VT_EMPTY, VT_EMPTY, true};
}

// The type of a value in the library. A 16-bit integer is a truth value, unless it is a pixel.
template <class T>
constexpr HostTypeUse UseOf() noexcept {
  if constexpr (std::is_same_v<T, BSTR>) {
    return {VT_BSTR, false, 0, nullptr};
  } else if constexpr (std::is_same_v<T, SAFEARRAY*>) {
    return {VT_EMPTY, true, 0, nullptr};
  } else if constexpr (std::is_pointer_v<T>) {
    HostTypeUse use = UseOf<std::remove_pointer_t<T>>();
    ++use.pointers;
    return use;
  } else if constexpr (std::is_same_v<T, VARIANT>) {
    return {VT_VARIANT, false, 0, nullptr};
  } else if constexpr (std::is_enum_v<T> || std::is_class_v<T>) {
    static_assert(kTypeName<T> != nullptr);
    return {VT_USERDEFINED, false, 0, kTypeName<T>};
  } else if constexpr (std::is_floating_point_v<T>) {
    return {sizeof(T) == 4 ? VT_R4 : VT_R8, false, 0, nullptr};
  } else {
    static_assert(std::is_integral_v<T>);
    constexpr VARTYPE kSigned[] = {VT_EMPTY, VT_I1, VT_BOOL, VT_EMPTY, VT_I4};
    constexpr VARTYPE kUnsigned[] = {VT_EMPTY, VT_UI1, VT_UI2, VT_EMPTY, VT_UI4};
    return {(std::is_signed_v<T> ? kSigned : kUnsigned)[sizeof(T)], false, 0, nullptr};
  }
}

// Values that interfaces are: a pointer to one is an argument that goes in.
template <class T>
inline constexpr bool kIsInterface = std::is_base_of_v<IUnknown, std::remove_pointer_t<T>>;

template <class Parameter>
constexpr HostTypeParameter DescribeParameter(const ParameterName& name) noexcept {
  HostTypeParameter parameter{name.name, UseOf<Parameter>(), kIn};
  HostTypeUse& use = parameter.use;
  if (name.pixels != VT_EMPTY) {
    use.type = name.pixels;
    parameter.flags = use.pointers > 1 ? kOut : kIn;
  } else if (!kIsInterface<Parameter> && use.pointers > 0) {
    parameter.flags = kOut;
  }
  if (use.isArray) use.type = name.elements;
  return parameter;
}

inline constexpr std::size_t kMostParameters = 4;

// One slot, not yet numbered.
struct MemberRow {
  const char* name;
  WORD kind;
  WORD flags;
  WORD parameterCount;
  HostTypeParameter parameters[kMostParameters];
  HRESULT (*call)(void* instance, void* const* arguments);
};

template <class Parameter>
Parameter Take(void* argument) noexcept {
  Parameter value;
  std::memcpy(static_cast<void*>(&value), argument, sizeof(value));
  return value;
}

template <class Interface, class Slots, class... Parameters>
struct SlotCall {
  using Pointer = HRESULT (STDMETHODCALLTYPE Slots::*)(Parameters...);

  template <Pointer Member>
  static HRESULT Call(void* instance, void* const* arguments) {
    return CallWith<Member>(instance, arguments, std::index_sequence_for<Parameters...>());
  }
  template <Pointer Member, std::size_t... Index>
  static HRESULT CallWith(void* instance, [[maybe_unused]] void* const* arguments,
                          std::index_sequence<Index...>) {
    return (static_cast<Interface*>(instance)->*Member)(Take<Parameters>(arguments[Index])...);
  }

  static constexpr MemberRow Describe(
      const char* name, const std::array<ParameterName, sizeof...(Parameters)>& names) noexcept {
    static_assert(sizeof...(Parameters) <= kMostParameters);
    MemberRow row{name, kFunction, 0, sizeof...(Parameters), {}, nullptr};
    const std::string_view full = name;
    if (full.starts_with("get_") || full.starts_with("put_")) {
      row.kind = full.starts_with("get_") ? kGetter : kPutter;
      row.name += 4;
    }
    std::size_t index = 0;
    ((row.parameters[index] = DescribeParameter<Parameters>(names[index]), ++index), ...);
    // A single out argument that stands last is what the call returns. Nobody who binds late can
    // make room for several values, so no such call gets through.
    std::size_t outs = 0;
    for (std::size_t i = 0; i < index; ++i) {
      outs += (row.parameters[i].flags & kOut) != 0 ? 1 : 0;
      if (names[i].several) row.flags = kRestricted;
    }
    if (outs == 1 && row.flags == 0 && (row.parameters[index - 1].flags & kOut) != 0) {
      row.parameters[index - 1].flags |= kReturned;
    }
    return row;
  }
};

template <class Interface, class Slots, class... Parameters>
constexpr SlotCall<Interface, Slots, Parameters...> CallOf(
    HRESULT (STDMETHODCALLTYPE Slots::*)(Parameters...)) noexcept {
  return {};
}

// The row of one slot: its C++ name, and the names of its parameters.
template <class Interface, auto Member, class... Names>
constexpr MemberRow Row(const char* name, Names... names) noexcept {
  constexpr auto kCall = CallOf<Interface>(Member);
  MemberRow row = kCall.Describe(name, {ParameterName(names)...});
  row.call = &decltype(kCall)::template Call<Member>;
  return row;
}

template <std::size_t... Counts>
constexpr auto Join(const std::array<MemberRow, Counts>&... groups) noexcept {
  std::array<MemberRow, (Counts + ...)> rows{};
  std::size_t at = 0;
  const auto append = [&](const auto& group) {
    for (const MemberRow& row : group) rows[at++] = row;
  };
  (append(groups), ...);
  return rows;
}

// The rows in slot order, with their slots and ids. A getter and a putter share the id; Value is
// the default property, 0, and all others count from 1.
template <std::size_t Count>
constexpr std::array<HostTypeMember, Count> Number(const std::array<MemberRow, Count>& rows,
                                                   int firstSlot) noexcept {
  std::array<HostTypeMember, Count> members{};
  DISPID lastId = 0;
  for (std::size_t i = 0; i < Count; ++i) {
    const MemberRow& row = rows[i];
    members[i] = {row.name,
                  0,
                  row.kind,
                  row.flags,
                  static_cast<WORD>(static_cast<std::size_t>(firstSlot) + i),
                  row.parameterCount,
                  row.parameters,
                  row.call};
    if (std::string_view(row.name) == "Value") continue;
    for (std::size_t k = 0; k < i && members[i].id == 0; ++k) {
      if (std::string_view(row.name) == members[k].name) members[i].id = members[k].id;
    }
    if (members[i].id == 0) members[i].id = ++lastId;
  }
  return members;
}

}  // namespace rastel::types
