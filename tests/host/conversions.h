// Conversions of VARIANTs for tests, with the result or the failure as text.
#pragma once

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "tests/host/values.h"
#include "tests/support/host_kind.h"

namespace tests {

inline constexpr double kInfinity = std::numeric_limits<double>::infinity();
inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// The result of a conversion, or what the failure is called. In place gives the same.
inline std::string Converted(const VARIANT& from, VARTYPE type, USHORT flags = 0) {
  VARIANT source = from;
  Value target(Text("old"));
  const HRESULT hr = VariantChangeType(&target, &source, flags, type);
  if (FAILED(hr)) {
    EXPECT_EQ(Show(*target), "old") << "kept on failure";
    return Show(hr);
  }
  EXPECT_EQ(target->vt, type);
  return Show(*target);
}

inline std::string ConvertedText(std::string_view text, VARTYPE type) {
  Value source(Text(text));
  const std::string separate = Converted(*source, type);
  const HRESULT hr = VariantChangeType(&source, &source, 0, type);
  EXPECT_EQ(FAILED(hr) ? Show(hr) : Show(*source), separate) << "in place";
  if (FAILED(hr)) {
    EXPECT_EQ(Show(*source), text);
  }
  return separate;
}

}  // namespace tests
