// The names of an interface's members, read from its type information once, so that a late-bound
// caller need not search for them by every call.
#pragma once

#include <algorithm>
#include <memory>
#include <new>
#include <string_view>

#include "platform/platform.h"

namespace platform {

class MemberNames {
 public:
  // Keeps no reference. Names that cannot be had are left out, for want of memory all of them.
  explicit MemberNames(ITypeInfo& info) noexcept {
    TYPEATTR* attributes = nullptr;
    if (FAILED(info.GetTypeAttr(&attributes))) return;
    const UINT functions = attributes->cFuncs;
    info.ReleaseTypeAttr(attributes);
    rows_.reset(new (std::nothrow) Row[functions]);
    if (!rows_) return;
    for (UINT i = 0; i < functions; ++i) Read(info, i);
    std::sort(rows_.get(), rows_.get() + count_,
              [](const Row& a, const Row& b) { return a.View() < b.View(); });
  }
  MemberNames(const MemberNames&) = delete;
  MemberNames& operator=(const MemberNames&) = delete;
  ~MemberNames() {
    for (UINT i = 0; i < count_; ++i) SysFreeString(rows_[i].name);
  }

  // The member of exactly this name; DISPID_UNKNOWN where only the type information can tell.
  DISPID Find(std::basic_string_view<OLECHAR> name) const noexcept {
    const Row* const end = rows_.get() + count_;
    const Row* const row =
        std::lower_bound(static_cast<const Row*>(rows_.get()), end, name,
                         [](const Row& a, const auto& b) { return a.View() < b; });
    return row != end && row->View() == name ? row->member : DISPID_UNKNOWN;
  }

 private:
  struct Row {
    BSTR name;
    DISPID member;
    std::basic_string_view<OLECHAR> View() const noexcept { return {name, SysStringLen(name)}; }
  };

  void Read(ITypeInfo& info, UINT index) noexcept {
    FUNCDESC* function = nullptr;
    if (FAILED(info.GetFuncDesc(index, &function))) return;
    const DISPID member = function->memid;
    // Whether such names are told is left to the type information.
    const bool isRestricted = (function->wFuncFlags & FUNCFLAG_FRESTRICTED) != 0;
    info.ReleaseFuncDesc(function);
    // The setter of a property stands behind its getter under the same name.
    if (isRestricted || (count_ > 0 && rows_[count_ - 1].member == member)) return;
    BSTR name = nullptr;
    if (SUCCEEDED(info.GetDocumentation(member, &name, nullptr, nullptr, nullptr)) && name) {
      rows_[count_++] = {name, member};
    }
  }

  std::unique_ptr<Row[]> rows_;
  UINT count_ = 0;
};

}  // namespace platform
