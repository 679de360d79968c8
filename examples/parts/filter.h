// SPDX-License-Identifier: MIT
/* What the parts have agreed on: one interface and the identifiers of two classes that have it. For
 * C, and for C++ from 17 on. */
#pragma once

#ifdef __cplusplus
#include "platform/platform.h"

struct IPictureFilter : IDispatch {
  /* Changes the pixels of an AOI of bytes, in all planes. By name it is Apply, too. */
  virtual HRESULT STDMETHODCALLTYPE Apply(IDispatch* picture) = 0;
};
#else
#include "rastelklp.h"

typedef struct IPictureFilter IPictureFilter;
struct IPictureFilterVtbl {
  IDISPATCH_SLOTS(IPictureFilter)
  HRESULT (*Apply)(IPictureFilter* self, IDispatch* picture);
};
struct IPictureFilter {
  const struct IPictureFilterVtbl* lpVtbl;
};
#endif

static const IID IID_IPictureFilter = {
    0x6E2C9A11, 0x5D0B, 0x4F3E, {0x9C, 0x57, 0x21, 0x8E, 0x40, 0xB3, 0x7A, 0x15}};
/* "Parts.Soften" */
static const CLSID CLSID_Soften = {
    0x6E2C9A12, 0x5D0B, 0x4F3E, {0x9C, 0x57, 0x21, 0x8E, 0x40, 0xB3, 0x7A, 0x15}};
/* "Parts.Stretch" */
static const CLSID CLSID_Stretch = {
    0x6E2C9A13, 0x5D0B, 0x4F3E, {0x9C, 0x57, 0x21, 0x8E, 0x40, 0xB3, 0x7A, 0x15}};
