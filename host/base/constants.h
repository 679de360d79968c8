// The platform's constants, flags and enumerations, made of the rows in result_codes.inc and
// constants.inc. Part of host/base/types.h.
#pragma once

#include "host/base/types.h"

#define RESULT_CODE(name, bits) inline constexpr HRESULT name = MakeResult(bits);
#include "host/base/result_codes.inc"
#undef RESULT_CODE

#define CONSTANT(type, name, value) inline constexpr type name = value;
#define ENUMERATION(name, type) enum name : type {
#define ENUMERATOR(name, value) name = value,
#define END_ENUMERATION }
#include "host/base/constants.inc"
#undef CONSTANT
#undef ENUMERATION
#undef ENUMERATOR
#undef END_ENUMERATION
