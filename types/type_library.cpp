// SPDX-License-Identifier: MIT
#include "types/type_library.h"

#include "types/aoi_members.h"
#include "types/attribute_members.h"
#include "types/table_checks.h"
#include "types/vector_members.h"

namespace rastel::types {
namespace {

template <class I>
constexpr bool kIsDual = std::is_base_of_v<IDispatch, I>;
template <class I, auto MakeRows>
constexpr auto kRows = MakeRows();

enum class Family { TYPE, AOI, VECTOR, MAP, ENTRY, ENUM };
constexpr struct {
  Family family;
  std::string_view name;
  const char* text;
} kHelp[] = {
#define HELP(family, name, text) {Family::family, #name, text},
#include "interfaces/help.inc"
#undef HELP
};

// What has no row cannot be compiled.
constexpr const char* HelpOn(Family family, std::string_view name) {
  for (const auto& row : kHelp) {
    if (row.family == family && row.name == name) return row.text;
  }
  throw "no help";
}

template <class I, auto MakeRows, Family kFamily>
constexpr auto kMembers = [] {
  auto members = Number(kRows<I, MakeRows>, kIsDual<I> ? 7 : 3);
  for (HostTypeMember& member : members) member.text = HelpOn(kFamily, member.name);
  return members;
}();

template <class I, Family kFamily, auto MakeRows>
constexpr HostType Interface() {
  constexpr auto& members = kMembers<I, MakeRows, kFamily>;
  static_assert(members.back().slot + 1 == I::kSlotCount);
  return {kIsDual<I> ? kHostDualInterface : kHostInterface,
          kTypeName<I>,
          &platform::kIidOf<I>,
          members.data(),
          members.size(),
          nullptr,
          0,
          nullptr,
          0,
          HelpOn(Family::TYPE, kTypeName<I>)};
}
template <class I, VARTYPE Pixel>
constexpr HostType Aoi() {
  return Interface<I, Family::AOI, &TypedAoiRows<I, Pixel>>();
}
template <class I, VARTYPE Element>
constexpr HostType Vector() {
  return Interface<I, Family::VECTOR, &TypedVectorRows<I, Element>>();
}
template <class I, auto MakeRows>
constexpr HostType Map() {
  return Interface<I, Family::MAP, MakeRows>();
}

template <class Enumeration, std::size_t Count>
constexpr HostType Enumerate(const HostTypeConstant (&constants)[Count]) noexcept {
  // What crosses in memory is 32 bits.
  static_assert(sizeof(Enumeration) == sizeof(LONG));
  return {
      kHostEnumeration, kTypeName<Enumeration>, nullptr, nullptr, 0, constants, Count, nullptr, 0};
}
// The first interface is what IDispatch of the class answers.
template <class... I>
constexpr const char* kInterfaceNames[] = {kTypeName<I>...};
template <class... I>
constexpr HostType Class(const char* name, const CLSID& id) {
  return {kHostClass,
          name,
          &id,
          nullptr,
          0,
          nullptr,
          0,
          kInterfaceNames<I...>,
          sizeof...(I),
          HelpOn(Family::TYPE, name)};
}
template <class I>
constexpr HostType AoiClass(const char* name, const CLSID& id) {
  return Class<I, IAoiKLP>(name, id);
}
template <class I>
constexpr HostType VectorClass(const char* name, const CLSID& id) {
  return Class<I, IVectorKLP, IMarshalBehaviourKLP>(name, id);
}
template <class I>
constexpr HostType MapClass(const char* name, const CLSID& id) {
  return Class<IAttributeMapKLP, I>(name, id);
}

constexpr HostTypeConstant kElementTypes[] = {
    {"ElementByte", ElementByte},      {"ElementChar", ElementChar},
    {"ElementWord", ElementWord},      {"ElementShort", ElementShort},
    {"ElementDWord", ElementDWord},    {"ElementLong", ElementLong},
    {"ElementFloat", ElementFloat},    {"ElementDouble", ElementDouble},
    {"ElementVariant", ElementVariant}};
constexpr HostTypeConstant kMarginModes[] = {{"MarginNone", MarginNone},
                                             {"MarginZero", MarginZero},
                                             {"MarginPeriodic", MarginPeriodic},
                                             {"MarginMirror", MarginMirror},
                                             {"MarginReplicate", MarginReplicate}};
constexpr HostTypeConstant kMarshalFlags[] = {{"MarshalRectangle", MarshalRectangle},
                                              {"MarshalBuffer", MarshalBuffer}};
constexpr HostTypeConstant kMarshalBehaviours[] = {{"MarshalByReference", MarshalByReference},
                                                   {"MarshalByValue", MarshalByValue}};
constexpr HostTypeConstant kKeyKinds[] = {
    {"KeyKindBstr", KeyKindBstr}, {"KeyKindLong", KeyKindLong}, {"KeyKindDouble", KeyKindDouble}};

constexpr HostType kTypes[] = {
    Enumerate<ElementTypeKLP>(kElementTypes),
    Enumerate<MarginModeKLP>(kMarginModes),
    Enumerate<MarshalFlagsKLP>(kMarshalFlags),
    Enumerate<MarshalBehaviourKLP>(kMarshalBehaviours),
    Enumerate<KeyKindKLP>(kKeyKinds),
    // Pixel pointers are declared as a proxy carries them: signed, and the signed bytes as
    // characters.
    Interface<IAoiKLP, Family::AOI, &GenericAoiRows>(),
    Aoi<IByteAOIKLP, VT_UI1>(),
    Aoi<ICharAOIKLP, VT_I1>(),
    Aoi<IWordAOIKLP, VT_I2>(),
    Aoi<IShortAOIKLP, VT_I2>(),
    Aoi<IDWordAOIKLP, VT_I4>(),
    Aoi<ILongAOIKLP, VT_I4>(),
    Aoi<IFloatAOIKLP, VT_R4>(),
    Aoi<IDoubleAOIKLP, VT_R8>(),
    Interface<IVectorKLP, Family::VECTOR, &GenericVectorRows>(),
    Vector<IByteVectorKLP, VT_UI1>(),
    Vector<ICharVectorKLP, VT_I1>(),
    Vector<IWordVectorKLP, VT_UI2>(),
    Vector<IShortVectorKLP, VT_I2>(),
    Vector<IDWordVectorKLP, VT_UI4>(),
    Vector<ILongVectorKLP, VT_I4>(),
    Vector<IFloatVectorKLP, VT_R4>(),
    Vector<IDoubleVectorKLP, VT_R8>(),
    Vector<IVariantVectorKLP, VT_VARIANT>(),
    Interface<IMarshalBehaviourKLP, Family::VECTOR, &MarshalBehaviourRows>(),
    Map<IAttributeMapKLP, &RemovingMapRows<IAttributeMapKLP, VT_VARIANT>>(),
    Map<IAttributeBstrMapKLP, &RemovingMapRows<IAttributeBstrMapKLP, VT_BSTR>>(),
    Map<IAttributeLongMapKLP, &NumericMapRows<IAttributeLongMapKLP, VT_I4>>(),
    Map<IAttributeDoubleMapKLP, &NumericMapRows<IAttributeDoubleMapKLP, VT_R8>>(),
    Interface<IAttributeEntryKLP, Family::ENTRY, &EntryRows>(),
    Interface<IEnumAttributeEntryKLP, Family::ENUM, &EnumeratorRows>(),
    AoiClass<IByteAOIKLP>("ByteAOIKLP", CLSID_ByteAOIKLP),
    AoiClass<IWordAOIKLP>("WordAOIKLP", CLSID_WordAOIKLP),
    AoiClass<IDWordAOIKLP>("DWordAOIKLP", CLSID_DWordAOIKLP),
    AoiClass<IFloatAOIKLP>("FloatAOIKLP", CLSID_FloatAOIKLP),
    AoiClass<IDoubleAOIKLP>("DoubleAOIKLP", CLSID_DoubleAOIKLP),
    AoiClass<ICharAOIKLP>("CharAOIKLP", CLSID_CharAOIKLP),
    AoiClass<IShortAOIKLP>("ShortAOIKLP", CLSID_ShortAOIKLP),
    AoiClass<ILongAOIKLP>("LongAOIKLP", CLSID_LongAOIKLP),
    VectorClass<IByteVectorKLP>("ByteVectorKLP", CLSID_ByteVectorKLP),
    VectorClass<IShortVectorKLP>("ShortVectorKLP", CLSID_ShortVectorKLP),
    VectorClass<ILongVectorKLP>("LongVectorKLP", CLSID_LongVectorKLP),
    VectorClass<IFloatVectorKLP>("FloatVectorKLP", CLSID_FloatVectorKLP),
    VectorClass<IDoubleVectorKLP>("DoubleVectorKLP", CLSID_DoubleVectorKLP),
    VectorClass<ICharVectorKLP>("CharVectorKLP", CLSID_CharVectorKLP),
    VectorClass<IWordVectorKLP>("WordVectorKLP", CLSID_WordVectorKLP),
    VectorClass<IDWordVectorKLP>("DWordVectorKLP", CLSID_DWordVectorKLP),
    VectorClass<IVariantVectorKLP>("VariantVectorKLP", CLSID_VariantVectorKLP),
    MapClass<IAttributeBstrMapKLP>("AttributeBstrMapKLP", CLSID_AttributeBstrMapKLP),
    MapClass<IAttributeLongMapKLP>("AttributeLongMapKLP", CLSID_AttributeLongMapKLP),
    MapClass<IAttributeDoubleMapKLP>("AttributeDoubleMapKLP", CLSID_AttributeDoubleMapKLP),
    Class<IAttributeEntryKLP>("AttributeEntryKLP", CLSID_AttributeEntryKLP),
};

constexpr HostTypeLibrary kLibrary{kHostTypeForm,
                                   1,
                                   0,
                                   &LIBID_RASTEL_KLP_Lib,
                                   "RASTEL_KLP_Lib",
                                   "Rastel KLP 1.0 Type Library",
                                   kTypes,
                                   std::size(kTypes)};

static_assert(TablesHold(kLibrary));

}  // namespace

const HostTypeLibrary& TypeLibrary() noexcept { return kLibrary; }

}  // namespace rastel::types
