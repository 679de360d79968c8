// SPDX-License-Identifier: MIT
// The block of pixels behind an AOI, for bindings of other languages, whose memory is looked after
// by other means than a caller's word. Private: no type library and no proxy tells of it, it serves
// callers of the same process alone, and another version of the module may have another one, under
// another identifier. Every AOI of the module answers it.
#pragma once

#include "interfaces/enums.h"
#include "platform/interface_id.h"

// Planes of rows without gaps, plane behind plane: each has height + 2 * margin rows of width +
// 2 * margin pixels.
struct ImageBlockKLP {
  void* pixels;  // the first stored pixel of plane 0, margins included
  LONG planes, width, height, margin;
  ElementTypeKLP elementType;
};

inline constexpr IID IID_IImageBufferKLP{
    0xB2ACDB1A, 0x84B2, 0x4ACE, {0xB2, 0xE5, 0x21, 0xCC, 0x1B, 0xA8, 0xBE, 0xDE}};

struct IImageBufferKLP : IUnknown {
  // out: the whole block, to be read and written as long as some AOI holds the buffer; its element
  // type is the one that the pixels have, whatever a stream has stated. E_POINTER for a null
  // pointer; 0x8004045A without a buffer; E_FAIL for one without pixels; E_INVALIDARG if its sizes
  // have wrapped, so that not all of the rows are there.
  virtual HRESULT STDMETHODCALLTYPE GetBlock(ImageBlockKLP* block) = 0;
  // Binds a fresh buffer that looks at the block, like AttachPlanes, and keeps the owner of that
  // memory: the buffer takes a count on it and releases it, on any thread, when the last AOI has
  // let go. E_POINTER for a null block or owner; E_INVALIDARG for another element type, a margin
  // below 0 or above a size, sizes that would wrap: nothing has changed then. Else what
  // AttachPlanes gives.
  virtual HRESULT STDMETHODCALLTYPE AttachBlock(const ImageBlockKLP* block, IUnknown* owner) = 0;
};
RASTEL_INTERFACE_ID(IImageBufferKLP);
