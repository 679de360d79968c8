// SPDX-License-Identifier: MIT
// What every vector has whatever its elements are: the tags, and what the object says of itself.
#pragma once

#include "interfaces/enums.h"
#include "module/frame/boundary.h"
#include "module/frame/reports.h"
#include "module/vector/element_array.h"

namespace rastel {

class VectorState {
 public:
  VectorState(REFCLSID classId, ElementTypeKLP elementType) noexcept
      : m_ElementType(elementType), classId_(classId) {}

  REFCLSID ClassId() const noexcept { return classId_; }
  // Only VARIANT_TRUE means on.
  bool HasTags() const noexcept { return m_HasElementTags == VARIANT_TRUE; }

  // Reports 1121.
  HRESULT BadIndex() const noexcept;
  // Behind the index test of the elements; the tags may be fewer. Both raise CAtlException for a
  // value that cannot be copied; the put then leaves VT_ERROR with the code.
  HRESULT GetTag(LONG index, VARIANT* out) const;
  HRESULT PutTag(LONG index, const VARIANT& tag);
  HRESULT GetTagPointer(LONG* count, VARIANT** tags) noexcept;
  // put_HasElementTags. May raise.
  void SwitchTags(VARIANT_BOOL hasTags, LONG elementCount);

  // Written, and the newest that is read.
  const WORD m_StreamVersion = 0x0103;
  VARIANT_BOOL m_HasElementTags = 0;
  const ElementTypeKLP m_ElementType;
  ElementArray<VARIANT> m_ElementTags;

 private:
  bool HasTag(LONG index) const noexcept { return HasTags() && m_ElementTags.Has(index); }

  REFCLSID classId_;
};

}  // namespace rastel
