// SPDX-License-Identifier: MIT
#include "module/attribute/key_hash.h"

#include "platform/platform.h"

namespace rastel {

HashSecret NewHashSecret() noexcept {
  GUID random{};
  // Without one, where the system has put the thread's stack is the secret that is left.
  if (FAILED(CoCreateGuid(&random))) {
    const auto place = reinterpret_cast<std::uintptr_t>(&random);
    return {Fold(place, 0x9E3779B97F4A7C15), Fold(place, 0xC2B2AE3D27D4EB4F)};
  }
  HashSecret secret;
  static_assert(sizeof(secret) == sizeof(random));
  std::memcpy(&secret, &random, sizeof(secret));
  return secret;
}

}  // namespace rastel
