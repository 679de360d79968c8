// SPDX-License-Identifier: MIT
// The platform's constants, flags and enumerations, made of the rows in constants.inc.
#pragma once

#include "host/base/results.h"

// Other libraries of C define these too, with the same values.
#ifndef FALSE
#define FALSE 0
#endif
#ifndef TRUE
#define TRUE 1
#endif

#define CONSTANT(type, name, value) inline constexpr type name = value;
#define ENUMERATION(name, type) enum name : type {
#define ENUMERATOR(name, value) name = value,
#define END_ENUMERATION }
#include "host/base/constants.inc"
#undef CONSTANT
#undef ENUMERATION
#undef ENUMERATOR
#undef END_ENUMERATION
