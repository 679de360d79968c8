// SPDX-License-Identifier: MIT
#include "module/vector/vector_state.h"

#include "module/frame/debug_texts.h"
#include "module/frame/variants.h"
#include "module/vector/variant_elements.h"

namespace rastel {
namespace {

HRESULT NoTag() noexcept {
  OutputDebugStringA(debug_texts::kVectorFail);
  return E_FAIL;
}

}  // namespace

HRESULT VectorState::BadIndex() const noexcept {
  return Report(classId_, Message::BadVectorElement);
}

HRESULT VectorState::GetTag(LONG index, VARIANT* out) const {
  if (!HasTag(index)) return NoTag();
  VARIANT copy;
  const HRESULT result = CopyElement(m_ElementTags, index, &copy);
  if (FAILED(result)) AtlThrow(result);
  // An out VARIANT that cannot be cleared gets nothing.
  if (out) MoveVariantTo(out, copy);
  VariantClear(&copy);
  return S_OK;
}

HRESULT VectorState::PutTag(LONG index, const VARIANT& tag) {
  if (!HasTag(index)) return NoTag();
  if (m_ElementTags.IsAt(index, &tag)) return S_OK;
  VARIANT copy{};
  HRESULT result = VariantCopy(&copy, const_cast<VARIANT*>(&tag));
  if (FAILED(result)) copy = ErrorVariant(result);
  // The object in the tag was called and may have taken the place away.
  if (!HasTag(index)) {
    VariantClear(&copy);
    return NoTag();
  }
  VARIANT displaced = m_ElementTags.Exchange(index, copy);
  const HRESULT cleared = VariantClear(&displaced);
  if (FAILED(cleared) && SUCCEEDED(result)) {
    // Refused before anything was released, so the place is still there.
    result = cleared;
    copy = m_ElementTags.Exchange(index, ErrorVariant(cleared));
    VariantClear(&copy);
  }
  if (FAILED(result)) AtlThrow(result);
  return S_OK;
}

HRESULT VectorState::GetTagPointer(LONG* count, VARIANT** tags) noexcept {
  if (!count || !tags) return E_POINTER;
  const bool any = HasTags() && m_ElementTags.Count() > 0;
  *count = any ? m_ElementTags.Count() : 0;
  *tags = any ? m_ElementTags.Data() : nullptr;
  return any ? S_OK : S_FALSE;
}

void VectorState::SwitchTags(VARIANT_BOOL hasTags, LONG elementCount) {
  if (hasTags == m_HasElementTags) return;
  ElementChange tags(m_ElementTags);
  tags.Resize(hasTags == 0 ? 0 : elementCount);
  m_HasElementTags = hasTags;
}

}  // namespace rastel
