// SPDX-License-Identifier: MIT
// The members of an interface that can be called late, read from its type information once, so that
// a late-bound call need not search for them every time: their names, and what their arguments are.
#pragma once

#include <algorithm>
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
    isWhole_ = rows_ != nullptr;
    for (UINT i = 0; isWhole_ && i < functions; ++i) isWhole_ = Read(info, i);
    std::sort(rows_.get(), rows_.get() + count_,
              [](const Member& a, const Member& b) { return a.View() < b.View(); });
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
    const Member* const row = std::lower_bound(
        begin(), end(), name, [](const Member& a, const auto& b) { return a.View() < b; });
    return row != end() && row->View() == name ? row->id : DISPID_UNKNOWN;
  }
  // The one of these kinds; null when there is none.
  const Member* Find(DISPID id, WORD kinds) const noexcept {
    const Member* const row = std::find_if(begin(), end(), [&](const Member& member) {
      return member.id == id && (member.kind & kinds) != 0;
    });
    return row != end() ? row : nullptr;
  }

 private:
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
  bool isWhole_ = false;
};

}  // namespace platform
