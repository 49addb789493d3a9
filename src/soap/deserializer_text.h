// Text-to-number and text-to-date readings used by the deserializers. The number readings are
// pure functions; the date readings are the platform's.
#ifndef CORVANE_SOAP_DESERIALIZER_TEXT_H
#define CORVANE_SOAP_DESERIALIZER_TEXT_H

#include <cstdint>
#include <string_view>

#include "platform/date.h"

namespace corvane {

// Leading white space, optional sign, decimal digits; saturates at the 32-bit limits; 0 when no
// digit follows.
std::int32_t Wtol(std::u16string_view text);

// The number that starts the text, read as C strtof reads it in the "C" locale (white space,
// sign, decimal or hexadecimal form, infinity and NaN), independent of the process locale;
// 0 when no number starts the text.
float ScanFloat(std::u16string_view text);

// "yyyy-mm-dd" and "hh:mm:ss" texts to automation dates and day fractions.
using platform::DateFromText;
using platform::TimeFromText;

}  // namespace corvane

#endif
