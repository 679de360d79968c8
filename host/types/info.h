// One type of a loaded type library. A dual interface has two views: by default the dispatch
// interface, whose members return their last out argument and which lists the members of IDispatch
// too; behind it, as implemented type -1, the interface with its slots.
#pragma once

#include "host/types/library.h"

namespace host {

// The ids of an enumeration's constants.
inline constexpr MEMBERID kFirstConstantId = 0x40000000;

class TypeInfo final : public CountedObject<TypeInfo, Serves<ITypeInfo, IID_ITypeInfo>> {
  friend CountedObject;

 public:
  TypeInfo(TypeLibrary& library, DWORD index, bool asInterface) noexcept;

  STDMETHODIMP GetTypeAttr(TYPEATTR** attributes) override;
  STDMETHODIMP GetTypeComp(ITypeComp** out) override;
  STDMETHODIMP GetFuncDesc(UINT index, FUNCDESC** description) override;
  STDMETHODIMP GetVarDesc(UINT index, VARDESC** description) override;
  STDMETHODIMP GetNames(MEMBERID member, BSTR* names, UINT room, UINT* count) override;
  STDMETHODIMP GetRefTypeOfImplType(UINT index, HREFTYPE* type) override;
  STDMETHODIMP GetImplTypeFlags(UINT index, INT* flags) override;
  STDMETHODIMP GetIDsOfNames(LPOLESTR* names, UINT count, MEMBERID* ids) override;
  STDMETHODIMP Invoke(void* instance, MEMBERID member, WORD flags, DISPPARAMS* params,
                      VARIANT* result, EXCEPINFO* exception, UINT* badArgument) override;
  STDMETHODIMP GetDocumentation(MEMBERID member, BSTR* name, BSTR* text, DWORD* helpContext,
                                BSTR* helpFile) override;
  STDMETHODIMP GetDllEntry(MEMBERID member, INVOKEKIND kind, BSTR* library, BSTR* name,
                           WORD* ordinal) override;
  STDMETHODIMP GetRefTypeInfo(HREFTYPE type, ITypeInfo** out) override;
  STDMETHODIMP AddressOfMember(MEMBERID member, INVOKEKIND kind, void** address) override;
  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
  STDMETHODIMP GetMops(MEMBERID member, BSTR* text) override;
  STDMETHODIMP GetContainingTypeLib(ITypeLib** out, UINT* index) override;
  STDMETHODIMP_(void) ReleaseTypeAttr(TYPEATTR* attributes) override;
  STDMETHODIMP_(void) ReleaseFuncDesc(FUNCDESC* description) override;
  STDMETHODIMP_(void) ReleaseVarDesc(VARDESC* description) override;

 private:
  ~TypeInfo() { library_.Release(); }

  bool IsDispatchView() const noexcept { return row_.kind == kHostDualInterface && !asInterface_; }
  bool HasSlots() const noexcept {
    return row_.kind == kHostInterface || row_.kind == kHostDualInterface;
  }
  // Slots of the table, those of the bases included.
  WORD SlotCount() const noexcept;
  // Members that GetFuncDesc counts.
  UINT MemberCount() const noexcept;
  const HostTypeMember& MemberAt(UINT index) const noexcept;
  // The first member that a predicate takes, of this type and then of its bases; null when there is
  // none.
  template <class Predicate>
  const HostTypeMember* FindMember(Predicate&& predicate) const;

  TypeLibrary& library_;
  const DWORD index_;
  const HostType& row_;
  const bool asInterface_;
};

}  // namespace host
