// SPDX-License-Identifier: MIT
#include "host/values/date_text.h"

#include <charconv>
#include <cmath>

namespace host {
namespace {

constexpr int kSecondsPerDay = 86400;
// Below this fraction of a day a time is midnight.
constexpr double kMidnight = 1e-12;

void AppendNumber(int value, std::size_t minimumDigits, AsciiText* text) noexcept {
  std::array<char, 12> buffer;
  const char* end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
  const auto digits = static_cast<std::size_t>(end - buffer.data());
  for (std::size_t i = digits; i < minimumDigits; ++i) text->Append('0');
  text->Append(std::string_view(buffer.data(), digits));
}

// Month, day and year of a day count, by whole eras of 400 years that begin on a first of March.
void AppendCalendarDay(int day, AsciiText* text) noexcept {
  constexpr int kDaysPerEra = 146097;
  constexpr int kDaysFromYearZero = 693899;  // 1 March of the year 0 to 30 December 1899
  const int days = day + kDaysFromYearZero;  // never negative from the year 100 on
  const int era = days / kDaysPerEra;
  const int dayOfEra = days % kDaysPerEra;
  const int yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / (kDaysPerEra - 1)) / 365;
  const int dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const int monthFromMarch = (5 * dayOfYear + 2) / 153;
  const int month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
  AppendNumber(month, 1, text);
  text->Append('/');
  AppendNumber(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1, 1, text);
  text->Append('/');
  AppendNumber(era * 400 + yearOfEra + (month <= 2 ? 1 : 0), 1, text);
}

void AppendTime(int seconds, AsciiText* text) noexcept {
  const int hour = seconds / 3600;
  AppendNumber(hour % 12 == 0 ? 12 : hour % 12, 1, text);
  text->Append(':');
  AppendNumber(seconds / 60 % 60, 2, text);
  text->Append(':');
  AppendNumber(seconds % 60, 2, text);
  text->Append(hour < 12 ? " AM" : " PM");
}

}  // namespace

HRESULT AppendDate(DATE date, AsciiText* text) noexcept {
  if (!IsDateInRange(date)) return E_INVALIDARG;
  const double whole = std::trunc(date);
  const double fraction = std::fabs(date - whole);
  int day = static_cast<int>(whole);
  int seconds = static_cast<int>(std::floor(fraction * kSecondsPerDay + 0.5));
  if (seconds == kSecondsPerDay) {
    seconds = 0;
    ++day;
    if (day >= static_cast<int>(kEndDay)) return E_INVALIDARG;
  }
  // Which parts are shown is decided by the value before rounding.
  const bool showDate = whole != 0;
  const bool showTime = !showDate || fraction >= kMidnight;
  if (showDate) AppendCalendarDay(day, text);
  if (showDate && showTime) text->Append(' ');
  if (showTime) AppendTime(seconds, text);
  return S_OK;
}

}  // namespace host
