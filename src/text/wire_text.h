// Text as the standard wire mode sends and reads it: Unicode-correct UTF-8 and the charsets of
// HTTP answers. The exported UTF-8 functions keep their own, older rules.
#ifndef CORVANE_TEXT_WIRE_TEXT_H
#define CORVANE_TEXT_WIRE_TEXT_H

#include <corvane/types.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace corvane::detail {

// UTF-8 of `text`, a surrogate pair becoming one four-byte sequence. False at the first unpaired
// surrogate, whose position is stored in `bad`.
bool EncodeUtf8(WMString const& text, std::string& out, std::size_t& bad);

// Decodes `bytes` by a byte-order mark when one starts them (UTF-8, UTF-16 LE or BE), otherwise
// by `charset` (ASCII case ignored; empty means UTF-8): UTF-8, ISO-8859-1 and its aliases,
// US-ASCII, UTF-16 (big-endian without a mark), UTF-16LE, UTF-16BE. False with the reason in
// `error` for another charset or bytes that are not valid in it.
bool DecodeText(std::string_view bytes, std::string_view charset, WMString& out,
                std::string& error);

// The charset parameter of a Content-Type value, without quotes; empty when there is none.
std::string_view CharsetOf(std::string_view contentType);

}  // namespace corvane::detail

#endif
