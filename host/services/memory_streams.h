// SPDX-License-Identifier: MIT
// Streams over memory that grows as it is written.
//
// A stream and its clones share their bytes, which live as long as any of them; each has a position
// of its own. Any thread may call any of them: one lock per shared block keeps every single call
// whole. Sizes and positions end below 4 GiB. A read that falls short, also at the end, is S_OK
// with the smaller count. What was never written reads as zero.
#pragma once

#include "host/base/interfaces.h"

// Makes an empty stream at position 0; the caller owns one reference. There are no global memory
// handles on this host, so the stream always owns its memory and releases it with the last stream.
// E_INVALIDARG: null out, or a handle that is not null. E_OUTOFMEMORY.
RASTEL_HOST_API HRESULT STDAPICALLTYPE CreateStreamOnHGlobal(HGLOBAL memory, BOOL deleteOnRelease,
                                                             IStream** out);
