// SPDX-License-Identifier: MIT
// Arrays of keys for clients.
#pragma once

#include <cstddef>

#include "module/frame/exceptions.h"
#include "platform/platform.h"

namespace rastel {

// A new array of count elements from 0 on, which are zero. It is destroyed, with what was put into
// it, unless it is given away.
class KeyArray {
 public:
  // Raises _com_error E_OUTOFMEMORY.
  KeyArray(VARTYPE type, std::size_t count);
  ~KeyArray();
  KeyArray(const KeyArray&) = delete;
  KeyArray& operator=(const KeyArray&) = delete;

  void* Elements() const noexcept { return elements_; }
  SAFEARRAY* Detach() noexcept;

 private:
  SAFEARRAY* array_ = nullptr;
  void* elements_ = nullptr;
};

// out: make(key) for the key of each of count attributes, which gives an Element that the array
// owns. Raises as make and KeyArray.
template <class Element, class Attributes, class Make>
void GiveKeys(VARTYPE type, std::size_t count, Attributes&& attributes, Make make,
              SAFEARRAY** out) {
  KeyArray array(type, count);
  auto* element = static_cast<Element*>(array.Elements());
  for (const auto& attribute : attributes) *element++ = make(attribute.Key());
  *out = array.Detach();
}

}  // namespace rastel
