// Byte-level text handling of the server helper: HTTP bodies and headers to wide text and back.
#ifndef CORVANE_SOAP_SERVER_TEXT_H
#define CORVANE_SOAP_SERVER_TEXT_H

#include <corvane/types.h>

#include <string>
#include <string_view>

namespace corvane {

// Strict UTF-8 (no over-long forms, no encoded surrogates, nothing above U+10FFFF; characters
// above U+FFFF become surrogate pairs). Bytes that are not valid UTF-8 as a whole are read as
// ISO-8859-1, one character per byte, since that is what Corvane's own client sends.
WMString DecodeHTTPText(std::string_view bytes);

// Strict UTF-8 alone: false, and `text` empty, when the bytes are not valid UTF-8 as a whole.
bool DecodeStrictUTF8(std::string_view bytes, WMString& text);

// Appends the UTF-8 form of `text` to `out`, joining surrogate pairs; a lone surrogate, which
// UTF-8 cannot carry, becomes U+FFFD.
void AppendUTF8(std::u16string_view text, std::string& out);
// The same without the replacement: false, with `out` as it was, when `text` holds a lone
// surrogate.
bool AppendStrictUTF8(std::u16string_view text, std::string& out);

}  // namespace corvane

#endif
