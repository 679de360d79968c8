// SPDX-License-Identifier: MIT
#include "module/vector/vector_classes.h"

#include <cstdint>

#include "module/vector/com_vector.h"

namespace rastel {
namespace {

// The rows of the family: element type, its second form, interface, class.
template <ElementTypeKLP Code>
struct VectorOf;

template <class T, class S, class ITyped, const CLSID* ClassId, ElementTypeKLP Code>
using VectorRow =
    CCoRastelVector<T, S, ITyped, Code, InterfaceId<ITyped>::value, ClassId, &LIBID_RASTEL_KLP_Lib>;

template <>
struct VectorOf<ElementByte> {
  using Class =
      VectorRow<std::uint8_t, std::uint8_t, IByteVectorKLP, &CLSID_ByteVectorKLP, ElementByte>;
};
template <>
struct VectorOf<ElementChar> {
  using Class =
      VectorRow<std::int8_t, std::uint8_t, ICharVectorKLP, &CLSID_CharVectorKLP, ElementChar>;
};
template <>
struct VectorOf<ElementWord> {
  using Class =
      VectorRow<std::uint16_t, std::uint16_t, IWordVectorKLP, &CLSID_WordVectorKLP, ElementWord>;
};
template <>
struct VectorOf<ElementShort> {
  using Class =
      VectorRow<std::int16_t, std::int16_t, IShortVectorKLP, &CLSID_ShortVectorKLP, ElementShort>;
};
template <>
struct VectorOf<ElementDWord> {
  using Class =
      VectorRow<std::uint32_t, std::uint32_t, IDWordVectorKLP, &CLSID_DWordVectorKLP, ElementDWord>;
};
template <>
struct VectorOf<ElementLong> {
  using Class =
      VectorRow<std::int32_t, std::int32_t, ILongVectorKLP, &CLSID_LongVectorKLP, ElementLong>;
};
template <>
struct VectorOf<ElementFloat> {
  using Class = VectorRow<float, float, IFloatVectorKLP, &CLSID_FloatVectorKLP, ElementFloat>;
};
template <>
struct VectorOf<ElementDouble> {
  using Class = VectorRow<double, double, IDoubleVectorKLP, &CLSID_DoubleVectorKLP, ElementDouble>;
};
template <>
struct VectorOf<ElementVariant> {
  using Class =
      VectorRow<VARIANT, VARIANT, IVariantVectorKLP, &CLSID_VariantVectorKLP, ElementVariant>;
};

}  // namespace

template <ElementTypeKLP Code>
HRESULT CreateVector(IUnknown* outer, REFIID iid, void** out) noexcept {
  return platform::CreateObject<typename VectorOf<Code>::Class>(outer, iid, out);
}

template HRESULT CreateVector<ElementByte>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateVector<ElementChar>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateVector<ElementWord>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateVector<ElementShort>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateVector<ElementDWord>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateVector<ElementLong>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateVector<ElementFloat>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateVector<ElementDouble>(IUnknown*, REFIID, void**) noexcept;
template HRESULT CreateVector<ElementVariant>(IUnknown*, REFIID, void**) noexcept;

}  // namespace rastel
