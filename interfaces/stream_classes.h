// SPDX-License-Identifier: MIT
// Which classes streams may name: for programs that load what strangers have made. Private, like
// image_buffer.h: no type library and no proxy tells of it. Every class object of the module
// answers it, and all of them speak for the module as a whole.
#pragma once

#include "platform/interface_id.h"

inline constexpr IID IID_IStreamClassesKLP{
    0x817E1E33, 0xE984, 0x4829, {0x9F, 0x90, 0x11, 0x00, 0x25, 0x88, 0x81, 0x36}};

struct IStreamClassesKLP : IUnknown {
  // From now on, in every thread, what a stream names is made only where it is a class of the
  // module or one of these; all others are as if they were not registered: their data stay what
  // they are and are saved again. It holds wherever the module makes what a stream names, in copies
  // of values as well, so a program names the classes of its own that it puts into values. Takes
  // the place of what was said before, and keeps the module loaded. `classes` is copied, and kept
  // until the module goes, so this is for a program's beginning and not for every load; null for
  // none with a count of 0. E_POINTER for null and a count; E_OUTOFMEMORY: nothing has changed.
  virtual HRESULT STDMETHODCALLTYPE AllowOnly(const CLSID* classes, ULONG count) = 0;
  // Every class that is registered, which is how it begins. E_OUTOFMEMORY.
  virtual HRESULT STDMETHODCALLTYPE AllowAll() = 0;
  // OleLoadFromStream, by the same rule: REGDB_E_CLASSNOTREG for a class that is not allowed, and
  // the stream stands behind its identifier.
  virtual HRESULT STDMETHODCALLTYPE LoadFromStream(IStream* stream, REFIID iid, void** out) = 0;
};
RASTEL_INTERFACE_ID(IStreamClassesKLP);
