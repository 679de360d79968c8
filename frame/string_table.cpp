#include "frame/string_table.h"

#include <iterator>

#include "platform/resources.h"

namespace rastel {
namespace {

constexpr WORD kEnglishUnitedStates = 0x0409;

#define STRING_ROW(number, text)            \
  {nullptr,      platform::kStringResource, \
   number,       kEnglishUnitedStates,      \
   OLESTR(text), sizeof(OLESTR(text)) - sizeof(OLECHAR)},
constexpr platform::Resource kStrings[] = {
#include "frame/string_table_rows.inc"
};
#undef STRING_ROW

}  // namespace

void OfferStringTable(HINSTANCE module) noexcept {
  platform::OfferResources(module, kStrings, std::size(kStrings));
}

void WithdrawStringTable(HINSTANCE module) noexcept { platform::WithdrawResources(module); }

}  // namespace rastel
