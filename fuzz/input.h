// SPDX-License-Identifier: MIT
// Numbers drawn from the bytes of an input; zeros when they are used up.
#pragma once

#include <limits>

#include "fuzz/targets.h"
#include "platform/platform.h"

namespace fuzz {

class Input {
 public:
  explicit Input(Bytes bytes) : rest_(bytes) {}

  bool IsEmpty() const { return rest_.empty(); }
  Bytes Rest() const { return rest_; }

  unsigned Byte() {
    if (rest_.empty()) return 0;
    const unsigned byte = rest_[0];
    rest_ = rest_.subspan(1);
    return byte;
  }
  unsigned Below(std::size_t end) { return Byte() % static_cast<unsigned>(end); }

  // Mostly small, negative ones too; now and then one at which sizes wrap.
  LONG Number() {
    static constexpr LONG kVast[] = {0x7FFFFFFF, -0x7FFFFFFF - 1, 0x10000, 0xFFFF,
                                     0x40000000, 0x7FFFFFFE,      -65536,  46341};
    const unsigned byte = Byte();
    if (byte >= 248) return kVast[byte - 248];
    return byte < 200 ? static_cast<LONG>(byte % 40) : static_cast<LONG>(byte) - 224;
  }
  DOUBLE Real() {
    static constexpr DOUBLE kSpecial[] = {-0.0, 1e300, -1e300, 255.5, 4294967296.0, -2147483649.0};
    const unsigned byte = Byte();
    if (byte == 255) return std::numeric_limits<DOUBLE>::quiet_NaN();
    if (byte == 254) return std::numeric_limits<DOUBLE>::infinity();
    return byte >= 248 ? kSpecial[byte - 248] : static_cast<DOUBLE>(byte) / 4;
  }

 private:
  Bytes rest_;
};

}  // namespace fuzz
