// SPDX-License-Identifier: MIT
// The module, linked into the program and entered with the host, so that the fuzzer sees its
// branches and streams find its classes.
#pragma once

#include "fuzz/targets.h"
#include "platform/com_ptr.h"
#include "platform/platform.h"

namespace fuzz {

// What is larger is not written or copied: a stream may state more than there is time for.
inline constexpr ULONGLONG kMostSavedBytes = ULONGLONG{1} << 22;

// Once, before the first input.
void PublishModule();

// A new object, by one of its interfaces. The class is the module's and there is memory for it,
// else the program ends.
template <class I>
platform::ComPtr<I> Create(REFCLSID classId);

platform::ComPtr<IStream> StreamOf(Bytes bytes);

// Ends the program, which the fuzzer reports with its input, unless a promise holds.
void Require(bool holds, const char* promise);

// implementation details

void CreateObject(REFCLSID classId, REFIID iid, void** out);

template <class I>
platform::ComPtr<I> Create(REFCLSID classId) {
  platform::ComPtr<I> object;
  CreateObject(classId, platform::kIidOf<I>, object.PutVoid());
  return object;
}

}  // namespace fuzz
