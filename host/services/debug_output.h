// SPDX-License-Identifier: MIT
// Debug texts. They go to one sink of the process; without one they are dropped.
#pragma once

#include "host/base/scalars.h"

// Hands a terminated text to the sink. Null is nothing, "" is passed on. Changes no state of the
// caller. Several threads may be in the sink at the same time.
RASTEL_HOST_API void OutputDebugStringA(LPCSTR text) noexcept;

using HostDebugSink = void (*)(const char* text, void* context);

// Replaces the sink; null makes the host silent again. When the call returns, the previous sink is
// not running on any other thread and is not called any more, so its context may be destroyed.
// Inside a sink the call does not wait for the sinks that are running. Sinks must not throw.
RASTEL_HOST_API void HostSetDebugSink(HostDebugSink sink, void* context) noexcept;
