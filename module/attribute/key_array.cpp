// SPDX-License-Identifier: MIT
#include "module/attribute/key_array.h"

#include <utility>

namespace rastel {

KeyArray::KeyArray(VARTYPE type, std::size_t count) {
  if (count > 0xFFFFFFFF) _com_issue_error(E_OUTOFMEMORY);
  SAFEARRAYBOUND bound{};
  bound.cElements = static_cast<ULONG>(count);
  array_ = SafeArrayCreate(type, 1, &bound);
  if (!array_) _com_issue_error(E_OUTOFMEMORY);
  // Of a new array this does not fail.
  SafeArrayAccessData(array_, &elements_);
}

KeyArray::~KeyArray() {
  if (SAFEARRAY* const array = Detach()) SafeArrayDestroy(array);
}

SAFEARRAY* KeyArray::Detach() noexcept {
  if (array_) SafeArrayUnaccessData(array_);
  return std::exchange(array_, nullptr);
}

}  // namespace rastel
