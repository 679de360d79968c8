// SPDX-License-Identifier: MIT
// Which host the tests run on, for the few expectations in which the two differ on purpose.
#pragma once

namespace tests {

#ifdef _WIN32
inline constexpr bool kEmbeddedHost = false;
#else
inline constexpr bool kEmbeddedHost = true;
#endif

}  // namespace tests
