// Fuzz target of the XML parser. The first byte chooses how the rest becomes wide text: even,
// as 16-bit code units (little-endian pairs); odd, through the UTF-8 decoder. The text is
// parsed in event mode and in tree mode; a tree that parses is written out, parsed again and
// must come back with the same names, attributes and texts.
#include <corvane/utf8.h>
#include <corvane/xml_parser.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

class NullHandler : public WMXMLEventHandler {
public:
    int StartElement(WMString const&, WMString const&, WMString const&, WMXMLAttributeMap&,
                     WMXMLElement*) override {
        return 0;
    }
};

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
    if (lost(element.GetText()) || lost(element.GetDefaultNS())) {
        return true;
    }
    for (auto const& entry : element.GetNSPrefixMap()) {
        if (lost(entry.second)) {
            return true;
        }
    }
    auto const empty = element.GetNSPrefixMap().find(WMString());
    if (empty != element.GetNSPrefixMap().end() && empty->second != element.GetDefaultNS()) {
        return true;
    }
    for (auto const& entry : element.GetAttributeMap()) {
        if (lost(entry.second->GetValue())) {
            return true;
        }
    }
    for (WMXMLElement const* child : element.GetChildElements()) {
        if (Unwritable(*child)) {
            return true;
        }
    }
    return false;
}

void ExpectSame(WMXMLElement const& a, WMXMLElement const& b) {
    bool same = a.GetQualifiedName() == b.GetQualifiedName() &&
                a.GetNamespaceURI() == b.GetNamespaceURI() &&
                a.GetLocalName() == b.GetLocalName() && a.GetText() == b.GetText() &&
                a.GetAttributeMap().size() == b.GetAttributeMap().size() &&
                a.GetChildElements().size() == b.GetChildElements().size();
    if (same) {
        auto other = b.GetAttributeMap().begin();
        for (auto const& entry : a.GetAttributeMap()) {
            same = same && entry.first == other->first &&
                   entry.second->GetQualifiedName() == other->second->GetQualifiedName() &&
                   entry.second->GetValue() == other->second->GetValue();
            ++other;
        }
    }
    if (!same) {
        std::abort();
    }
    for (std::size_t i = 0; i < a.GetChildElements().size(); ++i) {
        ExpectSame(*a.GetChildElements()[i], *b.GetChildElements()[i]);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    WMString text;
    if (data[0] & 1) {
        UTF8ToWideString(std::string(reinterpret_cast<char const*>(data + 1), size - 1), text);
    } else {
        for (std::size_t i = 1; i + 1 < size; i += 2) {
            text += static_cast<WMChar>(data[i] | (data[i + 1] << 8));
        }
    }

    WMXMLParser events;
    events.SetBuildTree(false);
    NullHandler handler;
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
    ExpectSame(*tree.GetDocRoot(), *again.GetDocRoot());
    return 0;
}
