// Character classes of the XML reader. The classification is fixed here rather than taken
// from the C library, whose wide-character tests depend on the process locale.
#ifndef CORVANE_XML_CHARS_H
#define CORVANE_XML_CHARS_H

namespace corvane {
namespace detail {

// Space as the wide-character space test knows it: the C0 spaces, NEL, NBSP and the Unicode
// space separators.
inline bool IsXMLSpace(char16_t c) {
    if (c <= 0x20) {
        return c == 0x20 || (c >= 0x09 && c <= 0x0D);
    }
    if (c < 0x85) {
        return false;
    }
    return c == 0x85 || c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200A) || c == 0x2028 ||
           c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

// Letters: ASCII and Latin-1 letters, and every code unit above Latin-1 outside the blocks of
// combining marks, punctuation, symbols, surrogates, private use and specials.
inline bool IsLetter(char16_t c) {
    if (c < 0x80) {
        return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
    }
    if (c < 0x100) {
        return c == 0xAA || c == 0xB5 || c == 0xBA || (c >= 0xC0 && c != 0xD7 && c != 0xF7);
    }
    return !(c >= 0x0300 && c <= 0x036F) && !(c >= 0x2000 && c <= 0x2BFF) &&
           !(c >= 0x3000 && c <= 0x303F) && !(c >= 0xD800 && c <= 0xF8FF) && c < 0xFFF0;
}

inline bool IsNameStart(char16_t c) {
    return IsLetter(c) || c == u'_' || c == u':';
}

inline bool IsNameChar(char16_t c) {
    return IsLetter(c) || (c >= u'0' && c <= u'9') || c == u'_' || c == u'.' || c == u':' ||
           c == u'-';
}

inline bool IsControl(char16_t c) {
    return c < 0x20 || (c >= 0x7F && c <= 0x9F);
}

}  // namespace detail
}  // namespace corvane

#endif
