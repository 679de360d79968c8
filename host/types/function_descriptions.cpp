// SPDX-License-Identifier: MIT
#include "host/types/function_descriptions.h"

#include <cstdlib>
#include <new>

namespace host {
namespace {

// Two levels of pointers and an array.
constexpr std::size_t kMostInnerTypes = 3;

struct ConstantDescription {
  VARDESC description;
  VARIANT value;
};

}  // namespace

FUNCDESC* NewFunctionDescription(const HostTypeMember& member, bool asDispatch,
                                 const std::function<HREFTYPE(const char*)>& referenceOf) noexcept {
  const std::size_t count = member.parameterCount;
  static_assert(alignof(FUNCDESC) == alignof(ELEMDESC) && alignof(ELEMDESC) == alignof(TYPEDESC));
  void* block = std::calloc(
      1, sizeof(FUNCDESC) + count * sizeof(ELEMDESC) + kMostInnerTypes * count * sizeof(TYPEDESC));
  if (block == nullptr) return nullptr;
  auto* const made = static_cast<FUNCDESC*>(block);
  auto* const elements = reinterpret_cast<ELEMDESC*>(made + 1);
  auto* inner = reinterpret_cast<TYPEDESC*>(elements + count);

  for (std::size_t i = 0; i < count; ++i) {
    const HostTypeParameter& parameter = member.parameters[i];
    TYPEDESC type{};
    type.vt = parameter.use.type;
    if (type.vt == VT_USERDEFINED) type.hreftype = referenceOf(parameter.use.name);
    const auto put = [&](VARTYPE around) {
      *inner = type;
      type.lptdesc = inner++;
      type.vt = around;
    };
    if (parameter.use.isArray) put(VT_SAFEARRAY);
    for (int level = 0; level < parameter.use.pointers; ++level) put(VT_PTR);
    elements[i].tdesc = type;
    elements[i].paramdesc.wParamFlags = parameter.flags;
  }
  made->memid = member.id;
  made->lprgelemdescParam = count > 0 ? elements : nullptr;
  made->funckind = asDispatch ? FUNC_DISPATCH : FUNC_PUREVIRTUAL;
  made->invkind = static_cast<INVOKEKIND>(member.kind);
  made->callconv = CC_STDCALL;
  made->cParams = static_cast<SHORT>(count);
  made->oVft = static_cast<SHORT>(member.slot * sizeof(void*));
  made->wFuncFlags = member.flags;
  made->elemdescFunc.tdesc.vt = VT_HRESULT;
  if (asDispatch) {
    made->elemdescFunc.tdesc.vt = VT_VOID;
    if (count > 0 && (member.parameters[count - 1].flags & PARAMFLAG_FRETVAL) != 0) {
      made->elemdescFunc.tdesc = *elements[count - 1].tdesc.lptdesc;
      --made->cParams;
    }
  }
  return made;
}

void DeleteFunctionDescription(FUNCDESC* description) noexcept { std::free(description); }

VARDESC* NewConstantDescription(MEMBERID id, LONG value) noexcept {
  auto* made = new (std::nothrow) ConstantDescription{};
  if (made == nullptr) return nullptr;
  made->value.vt = VT_I4;
  made->value.lVal = value;
  made->description.memid = id;
  made->description.lpvarValue = &made->value;
  made->description.elemdescVar.tdesc.vt = VT_INT;
  made->description.varkind = VAR_CONST;
  return &made->description;
}

void DeleteConstantDescription(VARDESC* description) noexcept {
  delete reinterpret_cast<ConstantDescription*>(description);
}

}  // namespace host
