// SPDX-License-Identifier: MIT
// The names of interfaces and enumerations in the type library.
#pragma once

#include "interfaces/aoi.h"
#include "interfaces/attribute.h"
#include "interfaces/marshal_behaviour.h"
#include "interfaces/vector.h"
#include "types/member_rows.h"

namespace rastel::types {

template <>
inline constexpr const char* kTypeName<ElementTypeKLP> = "ElementTypeKLP";
template <>
inline constexpr const char* kTypeName<MarginModeKLP> = "MarginModeKLP";
template <>
inline constexpr const char* kTypeName<MarshalFlagsKLP> = "MarshalFlagsKLP";
template <>
inline constexpr const char* kTypeName<MarshalBehaviourKLP> = "MarshalBehaviourKLP";
template <>
inline constexpr const char* kTypeName<KeyKindKLP> = "KeyKindKLP";
template <>
inline constexpr const char* kTypeName<IAoiKLP> = "IAoiKLP";
template <>
inline constexpr const char* kTypeName<IByteAOIKLP> = "IByteAOIKLP";
template <>
inline constexpr const char* kTypeName<ICharAOIKLP> = "ICharAOIKLP";
template <>
inline constexpr const char* kTypeName<IWordAOIKLP> = "IWordAOIKLP";
template <>
inline constexpr const char* kTypeName<IShortAOIKLP> = "IShortAOIKLP";
template <>
inline constexpr const char* kTypeName<IDWordAOIKLP> = "IDWordAOIKLP";
template <>
inline constexpr const char* kTypeName<ILongAOIKLP> = "ILongAOIKLP";
template <>
inline constexpr const char* kTypeName<IFloatAOIKLP> = "IFloatAOIKLP";
template <>
inline constexpr const char* kTypeName<IDoubleAOIKLP> = "IDoubleAOIKLP";
template <>
inline constexpr const char* kTypeName<IVectorKLP> = "IVectorKLP";
template <>
inline constexpr const char* kTypeName<IByteVectorKLP> = "IByteVectorKLP";
template <>
inline constexpr const char* kTypeName<ICharVectorKLP> = "ICharVectorKLP";
template <>
inline constexpr const char* kTypeName<IWordVectorKLP> = "IWordVectorKLP";
template <>
inline constexpr const char* kTypeName<IShortVectorKLP> = "IShortVectorKLP";
template <>
inline constexpr const char* kTypeName<IDWordVectorKLP> = "IDWordVectorKLP";
template <>
inline constexpr const char* kTypeName<ILongVectorKLP> = "ILongVectorKLP";
template <>
inline constexpr const char* kTypeName<IFloatVectorKLP> = "IFloatVectorKLP";
template <>
inline constexpr const char* kTypeName<IDoubleVectorKLP> = "IDoubleVectorKLP";
template <>
inline constexpr const char* kTypeName<IVariantVectorKLP> = "IVariantVectorKLP";
template <>
inline constexpr const char* kTypeName<IMarshalBehaviourKLP> = "IMarshalBehaviourKLP";
template <>
inline constexpr const char* kTypeName<IAttributeMapKLP> = "IAttributeMapKLP";
template <>
inline constexpr const char* kTypeName<IAttributeBstrMapKLP> = "IAttributeBstrMapKLP";
template <>
inline constexpr const char* kTypeName<IAttributeLongMapKLP> = "IAttributeLongMapKLP";
template <>
inline constexpr const char* kTypeName<IAttributeDoubleMapKLP> = "IAttributeDoubleMapKLP";
template <>
inline constexpr const char* kTypeName<IAttributeEntryKLP> = "IAttributeEntryKLP";
template <>
inline constexpr const char* kTypeName<IEnumAttributeEntryKLP> = "IEnumAttributeEntryKLP";

}  // namespace rastel::types
