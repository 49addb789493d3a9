// Runs one text through WMXMLParser and the internal reader, in tree and in event mode, and
// describes every observable result of each as text: the events with their strings, the error
// line, every element of the tree with its names, attributes (all their strings) and text, and
// each element written out with no parent (as literal texts are taken). Shared by the
// differential test and the fuzz target.
#ifndef CORVANE_TESTS_XML_READER_DIFF_H
#define CORVANE_TESTS_XML_READER_DIFF_H

#include <corvane/utf8.h>
#include <corvane/xml_parser.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "xml/reader.h"

namespace readerdiff {

using corvane::detail::XMLAttr;
using corvane::detail::XMLDocument;
using corvane::detail::XMLNode;

inline void Put(std::string& out, std::u16string_view text) {
    static char const digits[] = "0123456789abcdef";
    for (char16_t c : text) {
        if (c >= 0x20 && c < 0x7f && c != '\\' && c != '|') {
            out += static_cast<char>(c);
        } else {
            out += '\\';
            for (int shift = 12; shift >= 0; shift -= 4) {
                out += digits[(c >> shift) & 0xf];
            }
        }
    }
}

inline std::string Join(std::initializer_list<std::u16string_view> parts) {
    std::string out;
    for (std::u16string_view part : parts) {
        Put(out, part);
        out += '|';
    }
    return out;
}

// Elements written out (with no parent) are compared for at most this many elements of a
// document, since each costs the size of its subtree.
constexpr int kMaxWritten = 300;

class ParserSide : public WMXMLEventHandler {
public:
    std::vector<std::string> events;

    int StartElement(WMString const& ns, WMString const& localName, WMString const& qname,
                     WMXMLAttributeMap& attributes, WMXMLElement*) override {
        events.push_back("start " + Join({ns, localName, qname}) + Attributes(attributes));
        return 0;
    }
    bool EndElement(WMString const&, WMString const&, WMString const& qname,
                    WMXMLElement*) override {
        events.push_back("end " + Join({qname}));
        return true;
    }
    void Characters(WMString const& text) override { events.push_back("text " + Join({text})); }
    void EndDoc() override { events.push_back("enddoc"); }
    void FatalError(int line) override { events.push_back("fatal " + std::to_string(line)); }
    void PI(WMString const& target, WMString const& data) override {
        events.push_back("pi " + Join({target, data}));
    }
    void StartNSMapping(WMString const& prefix, WMString const& uri) override {
        events.push_back("ns " + Join({prefix, uri}));
    }
    void EndNSMapping(WMString const& prefix) override {
        events.push_back("endns " + Join({prefix}));
    }

    static std::string Attributes(WMXMLAttributeMap const& attributes) {
        std::string out;
        for (auto const& entry : attributes) {
            WMXMLAttribute const& a = *entry.second;
            out += " [" +
                   Join({entry.first, a.GetQualifiedName(), a.GetNamespaceURI(), a.GetLocalName(),
                         a.GetElementNS(), a.GetElementName(), a.GetValue()}) +
                   "]";
        }
        return out;
    }

    static void Describe(WMXMLElement const& element, int& written, std::string& out) {
        out += "<" +
               Join({element.GetNamespaceURI(), element.GetLocalName(), element.GetQualifiedName(),
                     element.GetText()}) +
               Attributes(element.GetAttributeMap());
        if (written++ < kMaxWritten) {
            out += " " + Join({element.Serialize(nullptr)});
        }
        for (WMXMLElement const* child : element.GetChildElements()) {
            Describe(*child, written, out);
        }
        out += ">";
    }
};

class ReaderSide : public corvane::detail::XMLReadEvents {
public:
    std::vector<std::string> events;

    void StartMappings(XMLNode const& element, XMLNode const* parent) override {
        corvane::detail::ForEachNewMapping(
            element, parent, [this](std::u16string_view prefix, std::u16string_view uri) {
                events.push_back("ns " + Join({prefix, uri}));
            });
    }
    void EndMappings(XMLNode const& element, XMLNode const* parent) override {
        corvane::detail::ForEachNewMapping(element, parent,
                                           [this](std::u16string_view prefix, std::u16string_view) {
                                               events.push_back("endns " + Join({prefix}));
                                           });
    }
    void StartElement(XMLNode const& element, XMLNode const*) override {
        events.push_back("start " + Join({element.ns->uri, element.Local(), element.qname}) +
                         Attributes(element));
    }
    void EndElement(XMLNode const& element, XMLNode const*) override {
        if (!element.text.empty()) {
            events.push_back("text " + Join({element.text}));
        }
        events.push_back("end " + Join({element.qname}));
    }
    void PI(std::u16string_view target, std::u16string_view data) override {
        events.push_back("pi " + Join({target, data}));
    }

    // The attributes as WMXMLParser hands them over: in key order, with the element's names on
    // the unprefixed ones.
    static std::string Attributes(XMLNode const& element) {
        std::vector<std::pair<WMString, XMLAttr const*>> sorted;
        for (std::uint32_t i = 0; i < element.attrCount; ++i) {
            WMString key;
            element.AppendKey(element.attrs[i], key);
            sorted.emplace_back(key, &element.attrs[i]);
        }
        std::sort(sorted.begin(), sorted.end(),
                  [](auto const& a, auto const& b) { return a.first < b.first; });
        std::string out;
        for (auto const& entry : sorted) {
            XMLAttr const& a = *entry.second;
            std::u16string_view const elementNS = a.prefixed ? u"" : element.ns->uri;
            std::u16string_view const elementName = a.prefixed ? u"" : element.Local();
            out += " [" +
                   Join({entry.first, a.qname, a.ns->uri, a.Local(), elementNS, elementName,
                         a.value}) +
                   "]";
        }
        return out;
    }

    static void Describe(XMLNode const& element, int& written, std::string& out) {
        out += "<" + Join({element.ns->uri, element.Local(), element.qname, element.text}) +
               Attributes(element);
        if (written++ < kMaxWritten) {
            WMString text;
            corvane::detail::SerializeNode(element, nullptr, text);
            out += " " + Join({text});
        }
        for (XMLNode const* child = element.firstChild; child; child = child->nextSibling) {
            Describe(*child, written, out);
        }
        out += ">";
    }
};

// The text a fuzz input stands for: the first byte chooses how the rest becomes wide text,
// as in xml_fuzz: even, 16-bit code units (little-endian pairs); odd, through UTF-8.
inline WMString FuzzText(std::uint8_t const* data, std::size_t size) {
    WMString text;
    if (size == 0) {
        return text;
    }
    if (data[0] & 1) {
        UTF8ToWideString(std::string(reinterpret_cast<char const*>(data + 1), size - 1), text);
    } else {
        for (std::size_t i = 1; i + 1 < size; i += 2) {
            text += static_cast<WMChar>(data[i] | (data[i + 1] << 8));
        }
    }
    return text;
}

// The events, one a line, then the tree.
template <class Side, class Node>
std::string Lines(std::vector<std::string> const& events, Node const* root) {
    std::string out;
    for (std::string const& event : events) {
        out += event + "\n";
    }
    if (root != nullptr) {
        int written = 0;
        Side::Describe(*root, written, out);
    }
    return out;
}

// Everything observable of one parse in one mode, as text.
inline std::string ParserResult(WMString const& text, bool buildTree) {
    ParserSide side;
    WMXMLParser parser;
    parser.SetBuildTree(buildTree);
    try {
        parser.ParseXML(text, &side);
    } catch (int line) {
        side.events.push_back("thrown " + std::to_string(line));
    }
    return Lines<ParserSide>(side.events, parser.GetDocRoot());
}

inline std::string ReaderResult(WMString const& text, bool buildTree) {
    ReaderSide side;
    XMLDocument document;
    int line = 1;
    if (document.Read(text, line, buildTree, &side)) {
        side.events.push_back("enddoc");
    } else {
        side.events.push_back("fatal " + std::to_string(line));
        side.events.push_back("thrown " + std::to_string(line));
    }
    return Lines<ReaderSide>(side.events, document.Root());
}

}  // namespace readerdiff

#endif
