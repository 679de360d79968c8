// SPDX-License-Identifier: MIT
#include "module/attribute/attribute_classes.h"

#include "module/attribute/attribute_map_class.h"

namespace rastel {
namespace {

// The rows of the family: class, interface, key.
template <KeyKindKLP Kind>
struct MapOf;

template <>
struct MapOf<KeyKindBstr> {
  using Class = CAttributeMapCoImpl<&CLSID_AttributeBstrMapKLP, IAttributeBstrMapKLP, BSTR,
                                    &IID_IAttributeBstrMapKLP>;
};
template <>
struct MapOf<KeyKindLong> {
  using Class = CAttributeMapCoImpl<&CLSID_AttributeLongMapKLP, IAttributeLongMapKLP, LONG,
                                    &IID_IAttributeLongMapKLP>;
};
template <>
struct MapOf<KeyKindDouble> {
  using Class = CAttributeMapCoImpl<&CLSID_AttributeDoubleMapKLP, IAttributeDoubleMapKLP, DOUBLE,
                                    &IID_IAttributeDoubleMapKLP>;
};

}  // namespace

template <KeyKindKLP Kind>
HRESULT CreateAttributeMap(IUnknown* outer, REFIID iid, void** out) noexcept {
  return platform::CreateObject<typename MapOf<Kind>::Class>(outer, iid, out);
}

template HRESULT CreateAttributeMap<KeyKindBstr>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateAttributeMap<KeyKindLong>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateAttributeMap<KeyKindDouble>(IUnknown*, REFIID, void**) noexcept;

}  // namespace rastel
