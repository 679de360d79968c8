// SPDX-License-Identifier: MIT
// The registry as text, in UTF-8, one line each:
//
//   rastelhost registry 1
//   key 1 "CLSID"
//   key 2 "{0D43FE01-F093-11CF-8940-00A0C9054228}"
//   value 1 "" text "A class"
//   value 4 "Count" number 42
//   value 3 "Mask" bytes "00ff"
//   end 5 2f86e1b1d6f24b0c
//
// A key says how deep it lies; values belong to the key before them, or to the root. The number of
// a value is its type. Texts (of REG_SZ and REG_EXPAND_SZ, without their terminator) and numbers
// (of REG_DWORD) are written as such, everything else as bytes. In texts and names \\, \" and \u
// with four hexadecimal digits stand for what could not be written: control characters and lone
// surrogates. Keys and values stand in the order of their names. The last line counts the lines
// between the first and itself, and holds the 64-bit FNV-1a sum of all bytes before it.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "host/registry/tree.h"

namespace host {

inline constexpr std::size_t kMostRegistryTextBytes = 64u << 20;

std::string WriteRegistryText(const RegistryKey& root);

// Null when the text is not whole or not sound in every part. May throw std::bad_alloc.
RegistryKeyPointer ReadRegistryText(std::string_view text);

}  // namespace host
