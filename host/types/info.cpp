// SPDX-License-Identifier: MIT
#include "host/types/info.h"

#include <new>

#include "host/classes/creation.h"
#include "host/types/function_descriptions.h"
#include "host/types/invocation.h"
#include "host/types/names.h"
#include "host/types/standard_types.h"

namespace host {
namespace {

constexpr UINT kInterfaceBehind = 0xFFFFFFFF;  // index -1 of the implemented types
constexpr HREFTYPE kAsInterface = 1;
constexpr HREFTYPE kStandard = 2;

const HostType& Standard(DWORD index) noexcept { return StandardTypes().types[index]; }

// Parameters that have names in the library: what a put takes has none.
UINT NamedParameters(const HostTypeMember& member) noexcept {
  return member.parameterCount - (member.kind == INVOKE_PROPERTYPUT ? 1u : 0u);
}

}  // namespace

class TypeInfo final : public CountedObject<TypeInfo, Serves<ITypeInfo, IID_ITypeInfo>> {
  friend CountedObject;

 public:
  TypeInfo(TypeLibrary& library, DWORD index, bool asInterface) noexcept
      : library_(library),
        index_(index),
        row_(library.type(index)),
        asInterface_(asInterface && row_.kind == kHostDualInterface) {
    library_.AddRef();
  }

  STDMETHODIMP GetTypeAttr(TYPEATTR** attributes) override {
    if (attributes == nullptr) return E_INVALIDARG;
    auto* made = new (std::nothrow) TYPEATTR{};
    *attributes = made;
    if (made == nullptr) return E_OUTOFMEMORY;
    if (row_.id != nullptr) made->guid = *row_.id;
    made->memidConstructor = made->memidDestructor = MEMBERID_NIL;
    made->typekind = asInterface_ ? TKIND_INTERFACE : static_cast<TYPEKIND>(row_.kind);
    made->cbSizeInstance = sizeof(void*);
    made->cbAlignment = sizeof(void*);
    if (HasSlots()) {
      const WORD slots = IsDispatchView() ? HostBaseSlots(kHostDualInterface) : SlotCount();
      made->cFuncs = static_cast<WORD>(MemberCount());
      made->cImplTypes = row_.id != nullptr && *row_.id == IID_IUnknown ? 0 : 1;
      made->cbSizeVft = static_cast<WORD>(slots * sizeof(void*));
      if (row_.kind == kHostDualInterface) {
        made->wTypeFlags = TYPEFLAG_FDUAL | TYPEFLAG_FDISPATCHABLE;
        if (asInterface_) made->wTypeFlags |= TYPEFLAG_FOLEAUTOMATION;
      }
    } else if (row_.kind == kHostClass) {
      made->cImplTypes = static_cast<WORD>(row_.interfaceCount);
      made->wTypeFlags = TYPEFLAG_FCANCREATE;
    } else {
      made->cVars = static_cast<WORD>(row_.constantCount);
      made->cbSizeInstance = made->cbAlignment = sizeof(LONG);
    }
    return S_OK;
  }

  STDMETHODIMP_(void) ReleaseTypeAttr(TYPEATTR* attributes) override { delete attributes; }

  STDMETHODIMP GetTypeComp(ITypeComp** out) override {
    if (out == nullptr) return E_INVALIDARG;
    *out = nullptr;
    return E_NOTIMPL;
  }

  STDMETHODIMP GetFuncDesc(UINT index, FUNCDESC** description) override {
    if (description == nullptr) return E_INVALIDARG;
    *description = nullptr;
    if (!HasSlots() || index >= MemberCount()) return TYPE_E_ELEMENTNOTFOUND;
    *description = NewFunctionDescription(MemberAt(index), IsDispatchView(), [&](const char* name) {
      return static_cast<HREFTYPE>(library_.Find(name) << 2);
    });
    return *description != nullptr ? S_OK : E_OUTOFMEMORY;
  }

  STDMETHODIMP_(void) ReleaseFuncDesc(FUNCDESC* description) override {
    DeleteFunctionDescription(description);
  }

  STDMETHODIMP GetVarDesc(UINT index, VARDESC** description) override {
    if (description == nullptr) return E_INVALIDARG;
    *description = nullptr;
    if (index >= row_.constantCount) return TYPE_E_ELEMENTNOTFOUND;
    *description = NewConstantDescription(kFirstConstantId + static_cast<MEMBERID>(index),
                                          row_.constants[index].value);
    return *description != nullptr ? S_OK : E_OUTOFMEMORY;
  }

  STDMETHODIMP_(void) ReleaseVarDesc(VARDESC* description) override {
    DeleteConstantDescription(description);
  }

  STDMETHODIMP GetNames(MEMBERID member, BSTR* names, UINT room, UINT* count) override {
    if (names == nullptr || count == nullptr) return E_INVALIDARG;
    *count = 0;
    const DWORD constant = static_cast<DWORD>(member) - kFirstConstantId;
    const HostTypeMember* found =
        FindMember([member](const HostTypeMember& row) { return row.id == member; });
    if (found == nullptr && constant >= row_.constantCount) return TYPE_E_ELEMENTNOTFOUND;
    return TypeCall([&] {
      const UINT wanted = found != nullptr ? 1 + NamedParameters(*found) : 1;
      for (; *count < room && *count < wanted; ++*count) {
        const char* name = found == nullptr ? row_.constants[constant].name
                           : *count == 0    ? found->name
                                            : found->parameters[*count - 1].name;
        names[*count] = NewText(name);
        if (names[*count] != nullptr) continue;
        while (*count > 0) SysFreeString(names[--*count]);
        return E_OUTOFMEMORY;
      }
      return S_OK;
    });
  }

  STDMETHODIMP GetRefTypeOfImplType(UINT index, HREFTYPE* type) override {
    if (type == nullptr) return E_INVALIDARG;
    if (index == kInterfaceBehind) {
      if (row_.kind != kHostDualInterface) return TYPE_E_ELEMENTNOTFOUND;
      // From either view the other one.
      *type = index_ << 2 | (asInterface_ ? 0 : kAsInterface);
      return S_OK;
    }
    if (row_.kind == kHostClass) {
      if (index >= row_.interfaceCount) return TYPE_E_ELEMENTNOTFOUND;
      *type = library_.Find(row_.interfaces[index]) << 2;
      return S_OK;
    }
    if (index != 0 || !HasSlots() || *row_.id == IID_IUnknown) return TYPE_E_ELEMENTNOTFOUND;
    *type = (row_.kind == kHostDualInterface ? kDispatchType : kUnknownType) << 2 | kStandard;
    return S_OK;
  }

  STDMETHODIMP GetImplTypeFlags(UINT index, INT* flags) override {
    if (flags == nullptr) return E_INVALIDARG;
    *flags = 0;
    if (row_.kind == kHostClass) {
      if (index >= row_.interfaceCount) return TYPE_E_ELEMENTNOTFOUND;
      if (index == 0) *flags = IMPLTYPEFLAG_FDEFAULT;
      return S_OK;
    }
    return HasSlots() && index == 0 ? S_OK : TYPE_E_ELEMENTNOTFOUND;
  }

  STDMETHODIMP GetRefTypeInfo(HREFTYPE type, ITypeInfo** out) override {
    if (out == nullptr) return E_INVALIDARG;
    *out = nullptr;
    return TypeCall([&] {
      TypeLibrary& library = (type & kStandard) != 0 ? TypeLibrary::Standard() : library_;
      const DWORD index = type >> 2;
      if (index >= library.tables().typeCount) return TYPE_E_ELEMENTNOTFOUND;
      *out = new TypeInfo(library, index, (type & kAsInterface) != 0);
      return S_OK;
    });
  }

  STDMETHODIMP GetIDsOfNames(LPOLESTR* names, UINT count, MEMBERID* ids) override {
    if (names == nullptr || ids == nullptr || count == 0) return E_INVALIDARG;
    for (UINT i = 0; i < count; ++i) {
      if (names[i] == nullptr) return E_INVALIDARG;
    }
    for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
    const HostTypeMember* found =
        FindMember([&](const HostTypeMember& row) { return SameName(names[0], row.name); });
    if (found == nullptr) {
      for (DWORD i = 0; i < row_.constantCount; ++i) {
        if (!SameName(names[0], row_.constants[i].name)) continue;
        ids[0] = kFirstConstantId + static_cast<MEMBERID>(i);
        return count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
      }
      return DISP_E_UNKNOWNNAME;
    }
    ids[0] = found->id;
    HRESULT result = S_OK;
    for (UINT i = 1; i < count; ++i) {
      for (UINT p = 0; p < NamedParameters(*found) && ids[i] == DISPID_UNKNOWN; ++p) {
        if (SameName(names[i], found->parameters[p].name)) ids[i] = static_cast<MEMBERID>(p);
      }
      if (ids[i] == DISPID_UNKNOWN) result = DISP_E_UNKNOWNNAME;
    }
    return result;
  }

  STDMETHODIMP Invoke(void* instance, MEMBERID member, WORD flags, DISPPARAMS* params,
                      VARIANT* result, EXCEPINFO* exception, UINT* badArgument) override {
    if (instance == nullptr || params == nullptr || params->cNamedArgs > params->cArgs ||
        (params->cArgs > 0 && params->rgvarg == nullptr) ||
        (params->cNamedArgs > 0 && params->rgdispidNamedArgs == nullptr)) {
      return E_INVALIDARG;
    }
    const HostTypeMember* found = FindMember([=](const HostTypeMember& row) {
      return row.id == member && (row.kind & flags) != 0 &&
             (row.flags & FUNCFLAG_FRESTRICTED) == 0 && row.call != nullptr;
    });
    if (found == nullptr) return DISP_E_MEMBERNOTFOUND;
    return TypeCall([&] {
      return InvokeMember(library_, *found, instance, *params, result, exception, badArgument);
    });
  }

  STDMETHODIMP GetDocumentation(MEMBERID member, BSTR* name, BSTR* text, DWORD* helpContext,
                                BSTR* helpFile) override {
    const char* found = nullptr;
    const char* foundText = nullptr;
    const DWORD constant = static_cast<DWORD>(member) - kFirstConstantId;
    if (member == MEMBERID_NIL) {
      found = row_.name;
      foundText = row_.text;
    } else if (constant < row_.constantCount) {
      found = row_.constants[constant].name;
    } else if (const HostTypeMember* row =
                   FindMember([member](const HostTypeMember& r) { return r.id == member; })) {
      found = row->name;
      foundText = row->text;
    }
    if (found == nullptr) return TYPE_E_ELEMENTNOTFOUND;
    return TypeCall(
        [&] { return GiveDocumentation(found, foundText, name, text, helpContext, helpFile); });
  }

  STDMETHODIMP GetDllEntry(MEMBERID, INVOKEKIND, BSTR* library, BSTR* name,
                           WORD* ordinal) override {
    if (library != nullptr) *library = nullptr;
    if (name != nullptr) *name = nullptr;
    if (ordinal != nullptr) *ordinal = 0;
    return TYPE_E_BADMODULEKIND;
  }

  STDMETHODIMP AddressOfMember(MEMBERID, INVOKEKIND, void** address) override {
    if (address == nullptr) return E_INVALIDARG;
    *address = nullptr;
    return TYPE_E_BADMODULEKIND;
  }

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    if (row_.kind != kHostClass) return E_INVALIDARG;
    return CoCreateInstance(*row_.id, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER, iid,
                            out);
  }

  STDMETHODIMP GetMops(MEMBERID, BSTR* text) override {
    if (text == nullptr) return E_INVALIDARG;
    *text = nullptr;
    return TYPE_E_ELEMENTNOTFOUND;
  }

  STDMETHODIMP GetContainingTypeLib(ITypeLib** out, UINT* index) override {
    if (out == nullptr && index == nullptr) return E_INVALIDARG;
    if (out != nullptr) {
      library_.AddRef();
      *out = &library_;
    }
    if (index != nullptr) *index = index_;
    return S_OK;
  }

 private:
  ~TypeInfo() { library_.Release(); }

  bool IsDispatchView() const noexcept { return row_.kind == kHostDualInterface && !asInterface_; }
  bool HasSlots() const noexcept {
    return row_.kind == kHostInterface || row_.kind == kHostDualInterface;
  }
  // Slots of the table, those of the bases included.
  WORD SlotCount() const noexcept {
    if (row_.memberCount > 0) return static_cast<WORD>(row_.members[row_.memberCount - 1].slot + 1);
    return HostBaseSlots(row_.kind);
  }

  // Members that GetFuncDesc counts.
  UINT MemberCount() const noexcept { return IsDispatchView() ? SlotCount() : row_.memberCount; }

  const HostTypeMember& MemberAt(UINT index) const noexcept {
    if (!IsDispatchView()) return row_.members[index];
    const UINT unknownSlots = HostBaseSlots(kHostInterface);
    const UINT dispatchSlots = HostBaseSlots(kHostDualInterface);
    if (index < unknownSlots) return Standard(kUnknownType).members[index];
    if (index < dispatchSlots) return Standard(kDispatchType).members[index - unknownSlots];
    return row_.members[index - dispatchSlots];
  }

  // The first member that a predicate takes, of this type and then of its bases; null when there is
  // none.
  template <class Predicate>
  const HostTypeMember* FindMember(Predicate&& predicate) const {
    const auto search = [&](const HostType& type) -> const HostTypeMember* {
      for (DWORD i = 0; i < type.memberCount; ++i) {
        if (predicate(type.members[i])) return &type.members[i];
      }
      return nullptr;
    };
    const HostTypeMember* found = search(row_);
    if (found == nullptr && row_.kind == kHostDualInterface) {
      found = search(Standard(kDispatchType));
    }
    if (found == nullptr && HasSlots()) found = search(Standard(kUnknownType));
    return found;
  }

  TypeLibrary& library_;
  const DWORD index_;
  const HostType& row_;
  const bool asInterface_;
};

ITypeInfo* NewTypeInfo(TypeLibrary& library, DWORD index, bool asInterface) {
  return new TypeInfo(library, index, asInterface);
}

}  // namespace host
