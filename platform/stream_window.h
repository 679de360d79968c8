// SPDX-License-Identifier: MIT
// Streams that show their memory, on both hosts: IStreamWindow.
#pragma once

#include "platform/platform.h"
// Behind the platform's own headers.
#include "host/services/stream_window.h"
