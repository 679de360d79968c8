// SPDX-License-Identifier: MIT
// Reports of the example clients on the console.
#pragma once

#include <cstdio>

namespace examples {

// One aligned line.
template <class... Values>
void Say(const char* what, const char* format, Values... values) {
  std::printf("  %-22s ", what);
  // A format without values is a text.
  if constexpr (sizeof...(values) > 0) {
    std::printf(format, values...);
  } else {
    std::fputs(format, stdout);
  }
  std::printf("\n");
}

}  // namespace examples
