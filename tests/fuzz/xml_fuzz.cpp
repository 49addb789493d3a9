// Fuzz target of the XML parser. The input becomes wide text by readerdiff::FuzzText. The text is
// parsed in event mode and in tree mode; a tree that parses is written out, parsed again and
// must come back with the same names, attributes and texts.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "../xml/reader_diff.h"

namespace {

bool Parses(WMXMLParser& parser, WMString const& text, WMXMLEventHandler* handler) {
    try {
        parser.ParseXML(text, handler);
        return true;
    } catch (int) {
        return false;
    }
}

// Trees the written form cannot carry are not compared: U+0000 reads as the end of the input,
// a CR (from "&#13;") is written as it is and reads back as LF, and a declaration "xmlns:"
// binds the empty prefix without changing the default namespace, while the written form
// declares the empty prefix as the default namespace.
bool Unwritable(WMXMLElement const& element) {
    auto const lost = [](WMString const& text) {
        return text.find_first_of(u"\0\r", 0, 2) != WMString::npos;
    };
    auto const& prefixes = element.GetNSPrefixMap();
    auto const& attributes = element.GetAttributeMap();
    auto const& children = element.GetChildElements();
    auto const empty = prefixes.find(WMString());
    return lost(element.GetText()) || lost(element.GetDefaultNS()) ||
           (empty != prefixes.end() && empty->second != element.GetDefaultNS()) ||
           std::any_of(prefixes.begin(), prefixes.end(),
                       [&](auto const& entry) { return lost(entry.second); }) ||
           std::any_of(attributes.begin(), attributes.end(),
                       [&](auto const& entry) { return lost(entry.second->GetValue()); }) ||
           std::any_of(children.begin(), children.end(),
                       [](WMXMLElement const* child) { return Unwritable(*child); });
}

// Names, texts and attributes (key, name, value) of a tree: what writing and reading keep.
std::string Shape(WMXMLElement const& element) {
    std::string out = "<" + readerdiff::Join({element.GetQualifiedName(), element.GetNamespaceURI(),
                                              element.GetLocalName(), element.GetText()});
    for (auto const& entry : element.GetAttributeMap()) {
        out += " " + readerdiff::Join(
                         {entry.first, entry.second->GetQualifiedName(), entry.second->GetValue()});
    }
    for (WMXMLElement const* child : element.GetChildElements()) {
        out += Shape(*child);
    }
    return out + ">";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    WMString const text = readerdiff::FuzzText(data, size);
    WMXMLParser events;
    events.SetBuildTree(false);
    readerdiff::ParserSide handler;
    Parses(events, text, &handler);

    WMXMLParser tree;
    if (!Parses(tree, text, nullptr) || Unwritable(*tree.GetDocRoot())) {
        return 0;
    }
    WMString written;
    tree.SerializeXML(written);
    WMXMLParser again;
    if (!Parses(again, written, nullptr)) {
        std::abort();
    }
    if (Shape(*tree.GetDocRoot()) != Shape(*again.GetDocRoot())) {
        std::abort();
    }
    return 0;
}
