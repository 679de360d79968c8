// SPDX-License-Identifier: MIT
// What makes an object agile: within the process it crosses threads as a plain pointer, which its
// free-threaded marshaler hands over. Objects of all classes have one.
#pragma once

#include <utility>

#include "platform/marshaler.h"
#include "platform/platform.h"

namespace rastel {

class AgileObject {
 protected:
  // Makes the marshaler on the object's controlling unknown, as the last step of its creation.
  HRESULT CreateMarshaler(IUnknown* controllingUnknown) noexcept {
    return platform::PlaceMarshaler(room_, controllingUnknown, &m_pFreeThreadedMarshaler);
  }
  void ReleaseMarshaler() noexcept {
    IUnknown* const marshaler = std::exchange(m_pFreeThreadedMarshaler, nullptr);
    if (marshaler) marshaler->Release();
  }
  ~AgileObject() { ReleaseMarshaler(); }

  IUnknown* m_pFreeThreadedMarshaler = nullptr;

 private:
  platform::MarshalerRoom room_;
};

}  // namespace rastel
