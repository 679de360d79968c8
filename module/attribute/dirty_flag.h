// SPDX-License-Identifier: MIT
// Whether an object was changed since it was loaded or saved.
#pragma once

#include "platform/platform.h"

namespace rastel::ORVA {

class DirtyFlagInterface {
 public:
  virtual void ClearDirty() = 0;
  virtual void SetDirty() = 0;
  virtual bool IsDirtyFlag() = 0;  // nothing calls it; it stays as one of the four
  // S_OK if the flag is set, else S_FALSE.
  virtual HRESULT GetDirtyResult() = 0;

 protected:
  ~DirtyFlagInterface() = default;
};

}  // namespace rastel::ORVA
