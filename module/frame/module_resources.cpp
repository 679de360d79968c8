// SPDX-License-Identifier: MIT
#include "module/frame/module_resources.h"

#include <iterator>

#include "platform/resources.h"

namespace rastel {
namespace {

constexpr WORD kGerman = 0x0407;
constexpr WORD kEnglishUnitedStates = 0x0409;
constexpr WORD kToolboxBitmap = 100;

constexpr BYTE kToolboxBytes[] = {
#include "registration/toolbox_bitmap.inc"
};

#define SCRIPT_ROW(number, text) {OLESTR("REGISTRY"), 0, number, kGerman, text, sizeof(text) - 1},
#define STRING_ROW(number, text)            \
  {nullptr,      platform::kStringResource, \
   number,       kEnglishUnitedStates,      \
   OLESTR(text), sizeof(OLESTR(text)) - sizeof(OLECHAR)},
constexpr platform::Resource kResources[] = {
    {nullptr, platform::kBitmapResource, kToolboxBitmap, kGerman, kToolboxBytes,
     sizeof kToolboxBytes},
#include "module/frame/string_table_rows.inc"
#include "registration/script_rows.inc"
};
#undef STRING_ROW
#undef SCRIPT_ROW

}  // namespace

void OfferModuleResources(HINSTANCE module) noexcept {
  platform::OfferResources(module, kResources, std::size(kResources));
}

void WithdrawModuleResources(HINSTANCE module) noexcept { platform::WithdrawResources(module); }

}  // namespace rastel
