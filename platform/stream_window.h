// SPDX-License-Identifier: MIT
// Streams that show their memory, on both hosts: IStreamWindow.
#pragma once

#include "platform/platform.h"
// Behind the platform's own headers.
#include "host/services/stream_window.h"

namespace platform {

// Null for a stream without memory to show, and for one that answers whatever it is asked.
inline IStreamWindow* WindowOf(IStream* stream) noexcept {
  void* found = nullptr;
  if (!stream || FAILED(stream->QueryInterface(IID_IStreamWindow, &found))) return nullptr;
  if (found != stream) return static_cast<IStreamWindow*>(found);
  stream->Release();
  return nullptr;
}

}  // namespace platform
