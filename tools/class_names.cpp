// SPDX-License-Identifier: MIT
#include "tools/class_names.h"

#include <algorithm>
#include <iterator>

#include "interfaces/identifiers.h"

namespace tools {
namespace {

constexpr KnownClass kClasses[] = {
    {CLSID_ByteAOIKLP, "ByteAOIKLP", Family::kAoi, ElementByte},
    {CLSID_CharAOIKLP, "CharAOIKLP", Family::kAoi, ElementChar},
    {CLSID_WordAOIKLP, "WordAOIKLP", Family::kAoi, ElementWord},
    {CLSID_ShortAOIKLP, "ShortAOIKLP", Family::kAoi, ElementShort},
    {CLSID_DWordAOIKLP, "DWordAOIKLP", Family::kAoi, ElementDWord},
    {CLSID_LongAOIKLP, "LongAOIKLP", Family::kAoi, ElementLong},
    {CLSID_FloatAOIKLP, "FloatAOIKLP", Family::kAoi, ElementFloat},
    {CLSID_DoubleAOIKLP, "DoubleAOIKLP", Family::kAoi, ElementDouble},
    {CLSID_ByteVectorKLP, "ByteVectorKLP", Family::kVector, ElementByte},
    {CLSID_CharVectorKLP, "CharVectorKLP", Family::kVector, ElementChar},
    {CLSID_WordVectorKLP, "WordVectorKLP", Family::kVector, ElementWord},
    {CLSID_ShortVectorKLP, "ShortVectorKLP", Family::kVector, ElementShort},
    {CLSID_DWordVectorKLP, "DWordVectorKLP", Family::kVector, ElementDWord},
    {CLSID_LongVectorKLP, "LongVectorKLP", Family::kVector, ElementLong},
    {CLSID_FloatVectorKLP, "FloatVectorKLP", Family::kVector, ElementFloat},
    {CLSID_DoubleVectorKLP, "DoubleVectorKLP", Family::kVector, ElementDouble},
    {CLSID_VariantVectorKLP, "VariantVectorKLP", Family::kVector, ElementVariant},
    {CLSID_AttributeBstrMapKLP, "AttributeBstrMapKLP", Family::kMap, std::nullopt},
    {CLSID_AttributeLongMapKLP, "AttributeLongMapKLP", Family::kMap, std::nullopt},
    {CLSID_AttributeDoubleMapKLP, "AttributeDoubleMapKLP", Family::kMap, std::nullopt},
    {CLSID_AttributeEntryKLP, "AttributeEntryKLP", Family::kEntry, std::nullopt},
};

template <class Condition>
const KnownClass* FirstClass(Condition condition) {
  const auto found = std::find_if(std::begin(kClasses), std::end(kClasses), condition);
  return found == std::end(kClasses) ? nullptr : found;
}

}  // namespace

std::span<const KnownClass> KnownClasses() { return kClasses; }

const KnownClass* FindClass(REFCLSID classId) {
  return FirstClass([&](const KnownClass& row) { return IsEqualGUID(row.classId, classId); });
}

const KnownClass* FindClass(std::string_view name) {
  return FirstClass([&](const KnownClass& row) { return row.name == name; });
}

const KnownClass* FindClass(Family family, ElementTypeKLP elementType) {
  const auto known = KnownClasses();
  const auto found = std::find_if(known.begin(), known.end(), [&](const KnownClass& row) {
    return row.family == family && row.elementType == elementType;
  });
  return found == known.end() ? nullptr : &*found;
}

std::string ClassNames() {
  std::string names;
  for (const KnownClass& row : kClasses) {
    if (!names.empty()) names += ' ';
    names += row.name;
  }
  return names;
}

std::string IdentifierText(REFGUID identifier) {
  OLECHAR wide[39];
  const int units = StringFromGUID2(identifier, wide, 39);
  std::string text;
  for (int i = 0; i + 1 < units; ++i) text += static_cast<char>(wide[i]);
  return text;
}

std::string ClassName(REFCLSID classId) {
  const KnownClass* known = FindClass(classId);
  return known ? known->name : IdentifierText(classId);
}

std::string ClassText(REFCLSID classId) {
  const KnownClass* known = FindClass(classId);
  std::string text = known ? known->name + std::string(" ") : "";
  return text += IdentifierText(classId);
}

}  // namespace tools
