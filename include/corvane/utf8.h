// Conversion between wide text (16-bit code units) and UTF-8.
//
// The conversion works on single code units: surrogate pairs are neither joined nor produced.
// A lone surrogate is written as its own 3-byte sequence, and 4- to 6-byte sequences decode to
// the low 16 bits of their value. Every function reports failure by returning 0; a string
// whose result would not fit in an int is refused that way too, without output.
#ifndef CORVANE_UTF8_H
#define CORVANE_UTF8_H

#include <corvane/types.h>

#include <string>

// Writes the encoding of `c` (1 to 3 bytes, no terminating zero) and returns its length;
// 0 when `out` is null.
CORVANE_API int WideCharToUTF8(char* out, WMChar c);

// Decodes one sequence at `in` into `*out` and returns the bytes consumed (1 to 6); 0 on a bad
// continuation byte, an over-long form, a lead byte of no known length or a null argument, in
// which case `*out` is not written. Continuation bytes are read until the sequence is complete
// or a byte that is not one appears, so the input must end with a non-continuation byte.
CORVANE_API int UTF8ToWideChar(WMChar* out, char const* in);

// Encodes `length` code units into a buffer obtained with malloc (no terminating zero) whose
// address goes to `*out`; the caller releases it with free. Returns the byte count; 0 without
// touching `*out` when `length` is 0, and 0 with `*out` null when the allocation fails.
CORVANE_API int WideStringToUTF8(WMChar const* text, unsigned long length, char** out);

// Empties `out` and appends the encoding of every code unit. The result counts a zero code unit
// as one byte but appends nothing for it, so it exceeds out.size() by the number of zero units.
CORVANE_API int WideStringToUTF8(WMString const& text, std::string& out);
CORVANE_API int WideStringToUTF8(WMChar const* text, unsigned long length, std::string& out);

// Empties `out`, decodes sequence after sequence and returns the number of code units produced;
// 0 for empty input, and 0 on the first bad sequence with `out` holding what was decoded before.
CORVANE_API int UTF8ToWideString(std::string const& in, WMString& out);
CORVANE_API int UTF8ToWideString(char const* in, unsigned long length, WMString& out);

#endif
