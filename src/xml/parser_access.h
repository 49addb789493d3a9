// In-place parsing for the library's own readers. ParseXML copies its text first, since a
// handler could change the caller's string while it is read; the readers whose handlers never
// touch the text (the SOAP deserializers) skip that copy of a whole envelope.
#ifndef CORVANE_XML_PARSER_ACCESS_H
#define CORVANE_XML_PARSER_ACCESS_H

#include <corvane/xml_parser.h>

namespace corvane::detail {

struct XMLParserAccess {
    static void ParseInPlace(WMXMLParser& parser, WMString const& text,
                             WMXMLEventHandler* handler) {
        parser.Parse(text, handler);
    }
    // The parser's line count, for a reader that reads in its place and goes on counting.
    static int& Line(WMXMLParser& parser) { return parser.m_line; }
};

}  // namespace corvane::detail

#endif
