// An event handler that writes every event as one line of text, for comparing event orders,
// and the small text builders the XML suites share.
#ifndef CORVANE_TESTS_XML_RECORDER_H
#define CORVANE_TESTS_XML_RECORDER_H

#include <corvane/xml_parser.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

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

class Recorder : public WMXMLEventHandler {
public:
    std::vector<std::string> events;

    void StartDoc() override { events.push_back("startdoc"); }
    void EndDoc() override { events.push_back("enddoc"); }
    int StartElement(WMString const& ns, WMString const& localName, WMString const& qname,
                     WMXMLAttributeMap& attributes, WMXMLElement*) override {
        std::string line = "start {" + Narrow(ns) + "}" + Narrow(localName) + " " + Narrow(qname);
        for (auto const& entry : attributes) {
            line += " [" + Narrow(entry.first) + "=" + Narrow(entry.second->GetValue()) + "]";
        }
        events.push_back(line);
        return 0;
    }
    bool EndElement(WMString const&, WMString const&, WMString const& qname,
                    WMXMLElement*) override {
        events.push_back("end " + Narrow(qname));
        return true;
    }
    void Characters(WMString const& text) override { events.push_back("text " + Narrow(text)); }
    void FatalError(int line) override { events.push_back("fatal " + std::to_string(line)); }
    void PI(WMString const& target, WMString const& data) override {
        events.push_back("pi " + Narrow(target) + "|" + Narrow(data));
    }
    void StartNSMapping(WMString const& prefix, WMString const& uri) override {
        events.push_back("ns " + Narrow(prefix) + "=" + Narrow(uri));
    }
    void EndNSMapping(WMString const& prefix) override {
        events.push_back("endns " + Narrow(prefix));
    }
};

#endif
