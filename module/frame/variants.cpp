// SPDX-License-Identifier: MIT
#include "module/frame/variants.h"

namespace rastel {

HRESULT ReplaceVariant(VARIANT& target, const VARIANT& source) noexcept {
  if (&target == &source) return S_OK;
  VARIANT copy{};
  // The platform does not say const; it reads the source only.
  HRESULT result = VariantCopy(&copy, const_cast<VARIANT*>(&source));
  if (FAILED(result)) return result;
  VARIANT displaced = std::exchange(target, copy);
  result = VariantClear(&displaced);
  if (FAILED(result)) {
    // Refused before anything was released: the old value goes back.
    copy = std::exchange(target, displaced);
    VariantClear(&copy);
  }
  return result;
}

HRESULT ReplaceVariantOrMark(VARIANT& target, const VARIANT& source) noexcept {
  const HRESULT result = ReplaceVariant(target, source);
  if (FAILED(result)) {
    VARIANT displaced = std::exchange(target, ErrorVariant(result));
    VariantClear(&displaced);
  }
  return result;
}

HRESULT MoveVariantTo(VARIANT* out, VARIANT& from) noexcept {
  VARIANT displaced = *out;
  const VARIANT value = std::exchange(from, VARIANT{});
  *out = value;
  const HRESULT result = VariantClear(&displaced);
  if (FAILED(result)) {
    *out = displaced;
    from = value;
  }
  return result;
}

}  // namespace rastel
