// SPDX-License-Identifier: MIT
// What a part defines; part.cpp makes a module of it.
#pragma once

#include "examples/parts/filter.h"

struct Part {
  const CLSID& classId;
  const OLECHAR* progId;
};
extern const Part kPart;

// Apply of IPictureFilter.
HRESULT ApplyPart(IDispatch& picture) noexcept;
