// Date and time texts read into automation dates, the same on every platform whatever the
// user's regional settings.
#ifndef CORVANE_PLATFORM_DATE_H
#define CORVANE_PLATFORM_DATE_H

#include <optional>
#include <string_view>

namespace corvane::platform {

// Automation date (days since 30 December 1899) of a "yyyy-mm-dd" text, or nothing when the
// text has another shape or is not a valid calendar date between the years 100 and 9999.
std::optional<double> DateFromText(std::u16string_view text);

// Fraction of a day of a "hh:mm:ss" text, or nothing when the text has another shape or is not
// a valid time of day.
std::optional<double> TimeFromText(std::u16string_view text);

}  // namespace corvane::platform

#endif
