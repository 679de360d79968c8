// SPDX-License-Identifier: MIT
// Resources of a module. On Windows they lie in the DLL, put there by the resource compiler; the
// embedded host is handed a table of rows when the module is loaded, and gives it back before the
// module goes. The rows and what they point to stay where they are in between.
#pragma once

#include <cstddef>

#include "platform/platform.h"

namespace platform {

#ifdef _WIN32

struct Resource {
  LPCOLESTR type;  // null: the type is a number
  UINT typeNumber;
  UINT number;
  WORD language;
  const void* bytes;
  DWORD size;
};
inline void OfferResources(HINSTANCE, const Resource*, std::size_t) noexcept {}
inline void WithdrawResources(HINSTANCE) noexcept {}

#else

using Resource = HostResource;
// One per module, as its visibility is hidden.
inline HostResourceRows offeredResources{};
inline void OfferResources(HINSTANCE module, const Resource* rows, std::size_t count) noexcept {
  HostRemoveResources(&offeredResources);
  offeredResources = {module, rows, count, nullptr};
  HostAddResources(&offeredResources);
}
inline void WithdrawResources(HINSTANCE) noexcept { HostRemoveResources(&offeredResources); }

#endif

// The type number of strings: each row is one string under its own number, UTF-16 units without a
// terminator.
inline constexpr UINT kStringResource = 6;
// The type number of pictures: the bytes of a bitmap file behind the header of the file.
inline constexpr UINT kBitmapResource = 2;

}  // namespace platform
