// Text-to-number and text-to-date readings used by the deserializers. Pure functions.
#ifndef CORVANE_SOAP_DESERIALIZER_TEXT_H
#define CORVANE_SOAP_DESERIALIZER_TEXT_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace corvane {

// Leading white space, optional sign, decimal digits; saturates at the 32-bit limits; 0 when no
// digit follows.
std::int32_t Wtol(std::u16string_view text);

// The number that starts the text, read as C strtof reads it in the "C" locale (white space,
// sign, decimal or hexadecimal form, infinity and NaN), independent of the process locale;
// 0 when no number starts the text.
float ScanFloat(std::u16string_view text);

// Automation date (days since 30 December 1899) of a "yyyy-mm-dd" text, or nothing when the
// text is not a valid calendar date between the years 100 and 9999.
std::optional<double> DateFromText(std::u16string_view text);

// Fraction of a day of a "hh:mm:ss" text, or nothing when it is not a valid time of day.
std::optional<double> TimeFromText(std::u16string_view text);

}  // namespace corvane

#endif
