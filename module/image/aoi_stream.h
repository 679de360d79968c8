// SPDX-License-Identifier: MIT
// The stream of an AOI, version 514, the one that is written:
//
//   version                    u16  514
//   total width, total height  i32  the rectangle and its margins on both sides
//   X, Y, Width, Height        i32  the rectangle
//   MarginX, MarginY           i32
//   planes                     i32
//   flags                      u16  MarshalFlags
//   element type               u32
//   name                            N u32, N u32 again, N UTF-16 units
//   tag                             a tagged record
//   map                             1 byte, 0 for none, else 1, class identifier and its own stream
//   pixels, flags bit 0 clear       each selected plane: total height rows of total width pixels
//   pixels, flags bit 0 set         P, B, C i32: the buffer's planes, stored row length, stored
//                                   rows; then each plane: B * C pixels from the plane's first
//                                   image pixel on
//
// Read, but not written any more:
//
//   513  no map, and the tag is a plain record
//   512  neither tag nor map
//   259  u32 total width, total height, X, Y, Width, Height; i16 MarginX, MarginY, planes, flags;
//        with bit 0 set i16 P, u32 B, u32 C; pixels
//   258  as 259 without flags
//   257  as 258, but X, Y, Width, Height are i16
//   256  i16 width, i16 height; pixels of one plane; i16 X, Y, Width, Height, MarginX, MarginY. The
//        buffer's rows are rounded up to a multiple of 4 pixels, those of the stream are not.
//
// The pixels are those of the class that reads; the element type is kept and never compared. A load
// takes the stream's rows for the rows of its new buffer, which they are without a buffer margin.
// Pixels go between stream and buffer without a copy: one Write for a row of a rectangle, one for
// a plane of a buffer; one Read for a row up to 259 and for a plane from 512 on.
#pragma once

#include "module/image/aoi.h"
#include "platform/platform.h"

namespace rastel {

enum class AoiStreamVersion : std::int16_t {
  k256 = 256,
  k257 = 257,
  k258 = 258,
  k259 = 259,
  k512 = 512,
  k513 = 513,
  k514 = 514,
};

// Loads into an AOI of pixels of so many bytes, in any state, whose buffer becomes a new one; with
// a version given, what stands behind the version word. S_OK, or
//   0x80040460         reports 1120: unknown version; the stream stands behind it
//   the stream's code  a field that cannot be read. What was read up to there may be in the AOI:
//                      tag, map, element type and flags before the fields of the buffer form, the
//                      pixels before the rectangle of version 256
//   E_FAIL             a name that is longer than its first length says
//   E_OUTOFMEMORY      a name that cannot be had
//   E_ACCESSDENIED     objects nested too deep
// Raises std::bad_alloc and std::length_error for a buffer that cannot be had, CAtlException.
// Passed over: what a tag or map raises as _com_error, which goes to the debug output; failures of
// the bind, of reading pixels, and of placing rectangle and margins. A pixel that was not delivered
// is 0. An object in the map's place that is no map is let go.
// In the rectangle form of versions from 259 on the AOI comes to stand at 0, 0, without margins.
HRESULT LoadAoi(AoiState& state, std::size_t pixelBytes, IStream* stream);
HRESULT LoadAoi(AoiState& state, std::size_t pixelBytes, IStream* stream, AoiStreamVersion version);

// Writes the newest version. S_OK, also without a buffer, which is reported and passed over, and
// whatever tag, map and pixels give; E_ACCESSDENIED for objects nested too deep; the stream's code
// for any other field. Raises CAtlException for a tag that cannot be copied, std::bad_alloc.
HRESULT SaveAoi(const AoiState& state, IStream* stream);

// What SaveAoi may write, in bytes: an estimate. The rectangle form is counted without its margins,
// the buffer form as if it were the rectangle with margins. Results and raises as SaveAoi, without
// a stream.
HRESULT EstimateAoi(const AoiState& state, ULONGLONG* bytes);

}  // namespace rastel
