// SPDX-License-Identifier: MIT
// The stream of a vector.
//
//   version   u16  0x0103
//   n         i32  elements
//   flag      i16  HasElementTags as it stands; only FF FF means on
//   elements       numbers: the array as it lies in memory. VARIANTs: n tagged records
//   m         i32  tags, with the flag on only; may differ from n
//   tags           m tagged records
//
// Read, but not written any more:
//
//   0x0102  tags are plain records
//   0x0101  the same, and the elements of a Variant vector are VARIANTs of 24 bytes as they lay in
//           memory. Values that own nothing are taken over, all others become VT_EMPTY.
//   0x0100  no flag; numbers by one Read each, VARIANTs as plain records; m and the tags, as plain
//           records, always. HasElementTags stays as it is.
//
// A load works on the live object and takes nothing back: what was read up to a failure stays.
#pragma once

#include "module/persist/stream_reader.h"
#include "module/vector/vector_state.h"

namespace rastel {

// The numbers of a vector in one Read or Write without a copy; no call for an empty array. Raise
// std::exception: "can't read vector to stream" for a failing Read, "can't write vector to stream"
// for a failing Write, "insufficient file size" for one that moves another number of bytes, and
// without a call for more than 0xFFFFFFFF bytes.
void ReadElementBlock(StreamReader& reader, ElementBlock& elements);
void WriteElementBlock(StreamWriter& writer, const ElementBlock& elements);

// S_OK, or
//   0x80040463     reports 1123: unknown version; the stream stands behind it
//   0x80020009     reports "insufficient file size", "can't read vector to stream" (0x0102,
//                  0x0103), "Insufficient file size" (0x0101), any std::exception that the elements
//                  raise (0x0102, 0x0103) and, in 0x0103, the tags: "vector too long" for a
//                  negative m, "bad allocation" for an absent class's data that finds no room
//   the stream's code for version, counts and flag; a plain record's failure
// Tagged records that fail go to the debug output and are passed over. Raises std::length_error and
// std::bad_alloc where n, or m in the older versions, cannot be had, CAtlException and _com_error.
HRESULT LoadVector(VectorState& state, ElementBlock& elements, IStream* stream);
HRESULT LoadVector(VectorState& state, ElementArray<VARIANT>& elements, IStream* stream);

// S_OK, or
//   0x80020009     reports "insufficient file size", "can't write vector to stream"
//   the stream's code for version, counts and flag
// Records that fail go to the debug output. Raises CAtlException and _com_error.
HRESULT SaveVector(VectorState& state, ElementBlock& elements, IStream* stream);
HRESULT SaveVector(VectorState& state, ElementArray<VARIANT>& elements, IStream* stream);

}  // namespace rastel
