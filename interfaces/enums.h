// SPDX-License-Identifier: MIT
// The enumerations that cross interfaces. Each is 32 bits in memory and 16 bits on the wire of a
// proxy; a slot that does not test its argument keeps any 32-bit value.
#pragma once

#include <cstdint>

// What an AOI's pixels or a vector's elements are. 8 is not used.
enum ElementTypeKLP : std::int32_t {
  ElementByte = 0,     // unsigned 8 bit
  ElementChar = 1,     // signed 8 bit
  ElementWord = 2,     // unsigned 16 bit
  ElementShort = 3,    // signed 16 bit
  ElementDWord = 4,    // unsigned 32 bit
  ElementLong = 5,     // signed 32 bit
  ElementFloat = 6,    // 32-bit IEEE float
  ElementDouble = 7,   // 64-bit IEEE float
  ElementVariant = 9,  // VARIANT, vectors only
};

// What FillMargins puts into the margin of a buffer.
enum MarginModeKLP : std::int32_t {
  MarginNone = 0,       // nothing: the margin is left as it is
  MarginZero = 1,       // zeros
  MarginPeriodic = 2,   // the image repeated, from the opposite edge on
  MarginMirror = 3,     // the image mirrored at its edge, with the edge pixel doubled
  MarginReplicate = 4,  // the nearest edge pixel
};

// How much of an AOI travels when it is saved or duplicated.
enum MarshalFlagsKLP : std::int32_t {
  MarshalRectangle = 0,  // the rectangle, of the selected planes
  MarshalBuffer = 1,     // the whole buffer, margins included
};

// How a vector crosses the boundary of a process.
enum MarshalBehaviourKLP : std::int32_t {
  MarshalByReference = 8,  // as the same object, everywhere
  MarshalByValue = 16,     // as a copy outside the process
};

// The type of an attribute map's keys.
enum KeyKindKLP : std::int32_t {
  KeyKindBstr = 0,    // text
  KeyKindLong = 1,    // 32-bit signed
  KeyKindDouble = 2,  // 64-bit float
};
