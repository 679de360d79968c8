// SPDX-License-Identifier: MIT
#include "module/image/aoi_classes.h"

#include <cstdint>

#include "module/image/aoi_interface.h"

namespace rastel {
namespace {

// The rows of the family: pixel type, pixel type of pointer parameters, interface, class.
template <ElementTypeKLP Code>
struct AoiOf;

template <class T, class U, class ITyped, const CLSID* ClassId, ElementTypeKLP Code>
using AoiRow =
    CCoRastelAoi<T, U, ITyped, InterfaceId<ITyped>::value, ClassId, &LIBID_RASTEL_KLP_Lib, Code>;

template <>
struct AoiOf<ElementByte> {
  using Class = AoiRow<std::uint8_t, std::uint8_t, IByteAOIKLP, &CLSID_ByteAOIKLP, ElementByte>;
};
// Pixels are signed, pointers to them are not.
template <>
struct AoiOf<ElementChar> {
  using Class = AoiRow<std::int8_t, std::uint8_t, ICharAOIKLP, &CLSID_CharAOIKLP, ElementChar>;
};
template <>
struct AoiOf<ElementWord> {
  using Class = AoiRow<std::uint16_t, std::uint16_t, IWordAOIKLP, &CLSID_WordAOIKLP, ElementWord>;
};
template <>
struct AoiOf<ElementShort> {
  using Class = AoiRow<std::int16_t, std::int16_t, IShortAOIKLP, &CLSID_ShortAOIKLP, ElementShort>;
};
template <>
struct AoiOf<ElementDWord> {
  using Class =
      AoiRow<std::uint32_t, std::uint32_t, IDWordAOIKLP, &CLSID_DWordAOIKLP, ElementDWord>;
};
template <>
struct AoiOf<ElementLong> {
  using Class = AoiRow<std::int32_t, std::int32_t, ILongAOIKLP, &CLSID_LongAOIKLP, ElementLong>;
};
template <>
struct AoiOf<ElementFloat> {
  using Class = AoiRow<float, float, IFloatAOIKLP, &CLSID_FloatAOIKLP, ElementFloat>;
};
template <>
struct AoiOf<ElementDouble> {
  using Class = AoiRow<double, double, IDoubleAOIKLP, &CLSID_DoubleAOIKLP, ElementDouble>;
};

}  // namespace

template <ElementTypeKLP Code>
HRESULT CreateAoi(IUnknown* outer, REFIID iid, void** out) noexcept {
  return platform::CreateObject<typename AoiOf<Code>::Class>(outer, iid, out);
}

template HRESULT CreateAoi<ElementByte>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateAoi<ElementChar>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateAoi<ElementWord>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateAoi<ElementShort>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateAoi<ElementDWord>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateAoi<ElementLong>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateAoi<ElementFloat>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateAoi<ElementDouble>(IUnknown*, REFIID, void**) noexcept;

}  // namespace rastel
