// SPDX-License-Identifier: MIT
// The members of an interface that can be called late, read from its type information once, so that
// a late-bound call need not search for them every time: their names, and what their arguments are.
#pragma once

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "platform/platform.h"

namespace platform {

// What a parameter is to a late-bound caller: the type of an out parameter that a VARIANT can hold,
// or one of the two below.
inline constexpr VARTYPE kValueGoesIn = VT_EMPTY;
inline constexpr VARTYPE kPassedAsItStands = VT_PTR;

struct Member {
  static constexpr UINT kMostParameters = 8;

  BSTR name;
  UINT nameLength;
  DISPID id;
  WORD kind;  // INVOKE_FUNC, INVOKE_PROPERTYGET or INVOKE_PROPERTYPUT
  // Without the one that is returned. Of a member with more than kMostParameters none is known.
  UINT parameterCount;
  VARTYPE parameters[kMostParameters];

  std::basic_string_view<OLECHAR> View() const noexcept { return {name, nameLength}; }
};

class Members {
 public:
  // Keeps no reference. See IsWhole.
  explicit Members(ITypeInfo& info) noexcept {
    TYPEATTR* attributes = nullptr;
    if (FAILED(info.GetTypeAttr(&attributes))) return;
    const UINT functions = attributes->cFuncs;
    info.ReleaseTypeAttr(attributes);
    rows_.reset(new (std::nothrow) Member[functions]);
    const std::size_t places = std::bit_ceil(std::size_t{2} * functions + 1);
    places_.reset(new (std::nothrow) UINT[places]());
    lastPlace_ = places - 1;
    isWhole_ = rows_ && places_;
    for (UINT i = 0; isWhole_ && i < functions; ++i) isWhole_ = Read(info, i);
    for (UINT i = 0; isWhole_ && i < count_; ++i) {
      UINT& place = PlaceOf(rows_[i].View());
      if (place == 0) place = i + 1;
    }
  }
  Members(const Members&) = delete;
  Members& operator=(const Members&) = delete;
  ~Members() {
    for (UINT i = 0; i < count_; ++i) SysFreeString(rows_[i].name);
  }

  // False: there was no memory for all of them.
  bool IsWhole() const noexcept { return isWhole_; }

  // The member of exactly this name; DISPID_UNKNOWN where only the type information can tell.
  DISPID Find(std::basic_string_view<OLECHAR> name) const noexcept {
    const UINT place = PlaceOf(name);
    return place != 0 ? rows_[place - 1].id : DISPID_UNKNOWN;
  }
  // The one of these kinds; null when there is none.
  const Member* Find(DISPID id, WORD kinds) const noexcept {
    const Member* const row = std::find_if(begin(), end(), [&](const Member& member) {
      return member.id == id && (member.kind & kinds) != 0;
    });
    return row != end() ? row : nullptr;
  }

 private:
  // The place of a name in the hash, or the empty one where it would stand. A getter and a putter
  // share name and id.
  UINT& PlaceOf(std::basic_string_view<OLECHAR> name) const noexcept {
    // Names of one interface hardly agree in all of these.
    std::size_t hash = name.size();
    if (!name.empty()) {
      for (const OLECHAR unit : {name.front(), name[name.size() / 2], name.back()}) {
        hash = hash * 31 + unit;
      }
    }
    std::size_t at = hash & lastPlace_;
    while (places_[at] != 0 && !IsSame(rows_[places_[at] - 1], name)) at = (at + 1) & lastPlace_;
    return places_[at];
  }
  static bool IsSame(const Member& row, std::basic_string_view<OLECHAR> name) noexcept {
    return row.nameLength == name.size() &&
           std::memcmp(row.name, name.data(), name.size() * sizeof(OLECHAR)) == 0;
  }

  const Member* begin() const noexcept { return rows_.get(); }
  const Member* end() const noexcept { return rows_.get() + count_; }

  static VARTYPE Describe(const ELEMDESC& parameter) noexcept {
    if (parameter.tdesc.vt != VT_PTR) return kValueGoesIn;
    const VARTYPE type = parameter.tdesc.lptdesc->vt;
    const USHORT flags = parameter.paramdesc.wParamFlags;
    if ((flags & PARAMFLAG_FOUT) == 0) {
      // A pointer to anything but an object leads to elements, of which nobody knows how many.
      return type == VT_USERDEFINED ? kValueGoesIn : kPassedAsItStands;
    }
    const bool isHeld =
        (type >= VT_I2 && type <= VT_BSTR) || type == VT_BOOL || (type >= VT_I1 && type <= VT_UI8);
    return isHeld && (flags & PARAMFLAG_FIN) == 0 ? type : kPassedAsItStands;
  }

  // False: no memory.
  bool Read(ITypeInfo& info, UINT index) noexcept {
    FUNCDESC* function = nullptr;
    if (FAILED(info.GetFuncDesc(index, &function))) return false;
    const bool isRestricted = (function->wFuncFlags & FUNCFLAG_FRESTRICTED) != 0;
    Member row{nullptr, 0, function->memid, static_cast<WORD>(function->invkind), 0, {}};
    for (SHORT i = 0; i < function->cParams; ++i) {
      const ELEMDESC& parameter = function->lprgelemdescParam[i];
      if ((parameter.paramdesc.wParamFlags & PARAMFLAG_FRETVAL) != 0) continue;
      if (row.parameterCount < Member::kMostParameters) {
        row.parameters[row.parameterCount] = Describe(parameter);
      }
      ++row.parameterCount;
    }
    info.ReleaseFuncDesc(function);
    // Whether such names are told is left to the type information.
    if (isRestricted) return true;
    if (FAILED(info.GetDocumentation(row.id, &row.name, nullptr, nullptr, nullptr)) || !row.name) {
      return false;
    }
    row.nameLength = SysStringLen(row.name);
    rows_[count_++] = row;
    return true;
  }

  std::unique_ptr<Member[]> rows_;
  UINT count_ = 0;
  // Row numbers from 1 on, by the hashes of the names; 0 is an empty place, of which there are
  // some.
  std::unique_ptr<UINT[]> places_;
  std::size_t lastPlace_ = 0;
  bool isWhole_ = false;
};

}  // namespace platform
