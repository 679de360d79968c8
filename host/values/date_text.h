// SPDX-License-Identifier: MIT
// Dates to text, in the form of English (United States).
#pragma once

#include "host/base/results.h"
#include "host/values/ascii_text.h"

namespace host {

// The days of 1/1/100 and of the day after 12/31/9999, counted from 30 December 1899.
inline constexpr double kFirstDay = -657434;
inline constexpr double kEndDay = 2958466;

// Whether a date lies in the years 100 to 9999; the fraction of a negative one counts forward.
constexpr bool IsDateInRange(DATE date) noexcept { return date > kFirstDay - 1 && date < kEndDay; }

// "1/1/2000 6:00:00 AM", rounded to the second: only the date when the time is midnight, only the
// time when the day is 30 December 1899. E_INVALIDARG outside the years 100 to 9999 and for NaN.
HRESULT AppendDate(DATE date, AsciiText* text) noexcept;

}  // namespace host
