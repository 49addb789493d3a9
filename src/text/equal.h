// Equality of 16-bit texts through memcmp. The standard comparison of char16_t strings walks
// one code unit at a time; the namespace URIs and expanded names that the parsers compare are
// long and share long prefixes, so a vectorized compare matters there.
#ifndef CORVANE_TEXT_EQUAL_H
#define CORVANE_TEXT_EQUAL_H

#include <cstring>
#include <string_view>

namespace corvane {

inline bool TextEquals(std::u16string_view a, std::u16string_view b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(char16_t)) == 0);
}

// The same, as a function object for hash tables keyed by text.
struct TextEqualTo {
    bool operator()(std::u16string_view a, std::u16string_view b) const { return TextEquals(a, b); }
};

}  // namespace corvane

#endif
