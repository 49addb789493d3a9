// The small text builders the XML suites share.
#ifndef CORVANE_TESTS_XML_RECORDER_H
#define CORVANE_TESTS_XML_RECORDER_H

#include <corvane/xml_parser.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "support/support.h"

using corvane::test::Narrow;
using corvane::test::Widen;

inline WMString Repeat(std::u16string_view piece, std::size_t count) {
    WMString out;
    out.reserve(piece.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        out += piece;
    }
    return out;
}

// Parses `text` with a fresh parser and returns the thrown line, or 0 when the parse succeeds.
inline int ErrorLine(WMString const& text, bool buildTree = true) {
    WMXMLParser parser;
    parser.SetBuildTree(buildTree);
    try {
        parser.ParseXML(text, nullptr);
    } catch (int line) {
        return line;
    }
    return 0;
}

#endif
