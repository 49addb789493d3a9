// Built-in values as the standard wire mode writes and reads them: each by its schema type, in
// the lexical forms of XML Schema. The default mode keeps its own rules (every value typed as a
// string, "%f" numbers, single-precision reads); nothing here is used there.
#ifndef CORVANE_SOAP_STANDARD_VALUES_H
#define CORVANE_SOAP_STANDARD_VALUES_H

#include <corvane/types.h>
#include <corvane/values.h>

#include <string>
#include <string_view>

namespace corvane::detail {

// Reads `text`, the content of an element whose type is the built-in type `typeName` (of XML
// Schema or of the SOAP encoding; matched by local name), into `result`:
//   boolean                      long 0 or 1, from true, false, 1 or 0
//   byte ... int, unsigned...    long when the value fits 32 bits, otherwise a string of its
//   long, integer and the rest   digits (canonical: no "+", no leading zeros); range-checked
//   float                        double holding the float value (read at single precision)
//   double                       double
//   decimal                      double when it holds the value exactly, otherwise a string
//                                of the text (an exponent is accepted and gives a double)
//   base64Binary, hexBinary      string of one character (U+0000 to U+00FF) per byte
//   dateTime, date, time         string: the text, checked (zone kept as written)
//   anything else                string: the text as it is
// Every type but the text ones has its surrounding whitespace removed first. False, with a
// short reason in `reason`, when the text is no value of the type; `result` is then unchanged.
bool ReadStandardValue(std::u16string_view typeName, std::u16string_view text,
                       WMSOAPStructMember& result, WMString& reason);

// For the deserializers, after ReadStandardValue refused `text`: throws a new WMSOAPFault with
// `faultCode` and a string naming `element`, the type, the text and the reason.
[[noreturn]] void ThrowBadValue(std::u16string_view typeName, std::u16string_view text,
                                std::u16string_view element, std::u16string_view faultCode,
                                WMString const& reason);

// Appends the text of `value` (not of kind SOAP_NONE) as a value of the built-in type
// `typeName`, the reverse of ReadStandardValue: what it reads, this writes back to the same
// value. Floating-point numbers take the shortest form that reads back exactly (float ones as
// float), INF, -INF and NaN spelled as XML Schema spells them. False when the value cannot be
// one of the type: a fraction or an out-of-range number for an integer type, a character above
// U+00FF for a binary type, a text that is not of the type for a number, boolean or date type,
// a struct or array.
bool WriteStandardValue(std::u16string_view typeName, WMSOAPStructMember& value, WMString& out);

// Whether a request's SOAPAction header `received` (as received, quotes included) names the
// operation whose WSDL soapAction is `expected` (kept quoted) in the standard wire mode: with
// or without the quotes, empty, or as "namespace#method", which several toolkits send by
// default. The method element identifies the call anyway; an action naming something else is
// still refused, since the client meant another operation.
bool StandardActionMatches(WMString const& expected, WMString const& received,
                           WMString const& methodNS, WMString const& method);

// An automation date (days since 30 December 1899, time of day as the fraction) as UTC text of
// a schema dateTime ("2000-01-01T12:00:00Z"), date or time. False outside the years 100 to 9999.
enum class DateForm { DateTime, Date, Time };
bool AutomationDateText(double date, DateForm form, std::string& out);

}  // namespace corvane::detail

#endif
