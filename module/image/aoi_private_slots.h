// SPDX-License-Identifier: MIT
// The slots behind the typed interface's last one, which no interface declares: clients of the same
// process that know the table call them by position. A class of their own keeps them there: had the
// implementation declared them, overrides of slots that only another of its interfaces has would
// come in between.
#pragma once

#include "platform/platform.h"

namespace rastel {

// Slots 70 to 77. Base: the typed interface.
template <class Base>
struct AoiPrivateSlots : Base {
  // As GetRect.
  virtual HRESULT STDMETHODCALLTYPE GetRectInternal(LONG* x, LONG* y, LONG* width,
                                                    LONG* height) = 0;
  // Load from a stream of one version that stands behind the version word, with the results of
  // LoadAoi.
  virtual HRESULT STDMETHODCALLTYPE LoadVersion256(IStream* stream) = 0;
  virtual HRESULT STDMETHODCALLTYPE LoadVersion257(IStream* stream) = 0;
  virtual HRESULT STDMETHODCALLTYPE LoadVersion258(IStream* stream) = 0;
  virtual HRESULT STDMETHODCALLTYPE LoadVersion259(IStream* stream) = 0;
  virtual HRESULT STDMETHODCALLTYPE LoadVersion512(IStream* stream) = 0;
  virtual HRESULT STDMETHODCALLTYPE LoadVersion513(IStream* stream) = 0;
  virtual HRESULT STDMETHODCALLTYPE LoadVersion514(IStream* stream) = 0;
};

}  // namespace rastel
