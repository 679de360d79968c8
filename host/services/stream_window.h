// SPDX-License-Identifier: MIT
// Streams whose bytes lie in memory: a caller who moves many small fields looks at that memory
// instead of calling for each of them. Private: no type library and no proxy tells of it, it serves
// callers of the same process alone, and another version may have another one, under another
// identifier. Memory streams of this host answer it; those of the system do not on Windows, where
// this file is included behind the system's own headers, for streams of clients.
#pragma once

#ifndef _WIN32
#include "host/base/interfaces.h"
#endif

// QueryInterface gives it without a reference of its own: whoever asks holds the stream, and asks
// for every Save and Load.
//
// A window lies at the stream's position, and there is one at a time. While it is open the bytes
// are locked: other threads that call the stream or a clone wait. Whoever has opened it calls
// neither, and nothing that might, closes it soon, and does so on the same thread.
//
// What went through a window is as if single calls had moved it. Where a window cannot be had, or
// is too small, a Read or Write says why, and moves what there is.
struct IStreamWindow {
  // Opens a window of *count bytes, at least `least`, to be written from the front on; there is
  // room for `hoped` if that costs no failure. A failure: no window, and nothing has changed.
  virtual HRESULT STDMETHODCALLTYPE OpenToWrite(ULONG least, ULONGLONG hoped, BYTE** bytes,
                                                ULONG* count) = 0;
  // Opens a window on bytes to come, which are only read. *count may be less than there is, and is
  // 0 where the next bytes do not lie in memory and at the end. E_FAIL: no window.
  virtual HRESULT STDMETHODCALLTYPE OpenToRead(const BYTE** bytes, ULONG* count) = 0;
  // Closes the window behind so many bytes from its front on, where the stream then stands.
  virtual void STDMETHODCALLTYPE CloseWindow(ULONG moved) = 0;
};
inline constexpr IID IID_IStreamWindow{
    0x4E7C5B0E, 0x61D8, 0x4B43, {0x9A, 0x27, 0xD4, 0x0C, 0x8F, 0x35, 0xE2, 0x16}};
