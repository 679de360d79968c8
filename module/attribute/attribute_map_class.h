// SPDX-License-Identifier: MIT
// The coclass of an attribute map.
#pragma once

#include "interfaces/identifiers.h"
#include "module/attribute/map_stream.h"
#include "module/frame/agile_object.h"

namespace rastel {

// Its template arguments are its row: class, typed interface, type of the keys, identifier of the
// interface.
template <const CLSID* ClassId, class ITyped, class Key, const IID* TypedId>
class CAttributeMapCoImpl
    : public platform::CComObjectRootEx<platform::CComMultiThreadModel>,
      public platform::CComCoClass<CAttributeMapCoImpl<ClassId, ITyped, Key, TypedId>, ClassId>,
      public ISupportErrorInfo,
      public DirtyFlagImplT<MapTraits<ClassId, ITyped, Key>,
                            CAttributeMapCoImpl<ClassId, ITyped, Key, TypedId>>,
      public AgileObject {
  using Root = platform::CComObjectRootEx<platform::CComMultiThreadModel>;
  using Map = CAttributeMapImpl<MapTraits<ClassId, ITyped, Key>, CAttributeMapCoImpl>;

 public:
  static constexpr bool kProtectFinalConstruct = true;

  static platform::QueryTable GetQueryTable() noexcept {
    static constexpr platform::QueryRow kRows[] = {
        platform::DirectRow<CAttributeMapCoImpl, ISupportErrorInfo>(),
        platform::DelegatedRow<CAttributeMapCoImpl, IMarshal,
                               &CAttributeMapCoImpl::m_pFreeThreadedMarshaler>(),
        platform::ChainRow<CAttributeMapCoImpl, Map>(),
        platform::DirectRow<CAttributeMapCoImpl, IDispatch, IAttributeMapKLP>(),
        platform::DirectRow<CAttributeMapCoImpl, IPersistStream>()};
    return kRows;
  }

  HRESULT FinalConstruct(IUnknown* controllingUnknown) noexcept {
    return this->CreateMarshaler(controllingUnknown);
  }
  void FinalRelease() noexcept { this->ReleaseMarshaler(); }
  void ReleaseContent() noexcept { this->ReleaseValues(); }

  void Lock() final { Root::Lock(); }
  void Unlock() final { Root::Unlock(); }

  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID iid) override {
    const bool isKnown = IsEqualIID(iid, IID_IAttributeMapKLP) || IsEqualIID(iid, *TypedId);
    return isKnown ? S_OK : S_FALSE;
  }

 protected:
  ~CAttributeMapCoImpl() = default;
};

}  // namespace rastel
