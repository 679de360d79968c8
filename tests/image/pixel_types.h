// Runs one test body over all eight pixel types.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>

#include "image/com_image.h"

namespace tests {

template <class T>
struct PixelType {
  using Type = T;
};

struct NoOwner;
template <class T>
using Image = rastel::ComImage<NoOwner, T>;

// Calls test(PixelType<T>{}) for each type; a failure names it.
template <class Test>
void ForAllPixelTypes(const Test& test) {
  const auto run = [&](const char* name, auto type) {
    SCOPED_TRACE(name);
    test(type);
  };
  run("Byte", PixelType<std::uint8_t>{});
  run("Char", PixelType<std::int8_t>{});
  run("Word", PixelType<std::uint16_t>{});
  run("Short", PixelType<std::int16_t>{});
  run("DWord", PixelType<std::uint32_t>{});
  run("Long", PixelType<std::int32_t>{});
  run("Float", PixelType<float>{});
  run("Double", PixelType<double>{});
}

// A pixel value that differs between neighbours and uses the bytes of its type; never 0.
template <class T>
T PixelValue(std::int64_t number) {
  constexpr std::uint64_t kPrime = sizeof(T) == 1 ? 127 : sizeof(T) == 2 ? 32749 : 16777213;
  const auto value = static_cast<T>(
      (static_cast<std::uint64_t>(number) * (sizeof(T) == 1 ? 1 : 40503)) % (kPrime - 1) + 1);
  if constexpr (std::is_floating_point_v<T>) {
    return value / 3;
  } else {
    return value;
  }
}

}  // namespace tests
