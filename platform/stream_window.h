// SPDX-License-Identifier: MIT
// Streams that show their memory, on both hosts: IStreamWindow.
#pragma once

#include "platform/interface_id.h"
// Behind the platform's own headers.
#include "host/services/stream_window.h"

RASTEL_INTERFACE_ID(IStreamWindow);
