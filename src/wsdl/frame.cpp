#include "wsdl/frame.h"

#include "wsdl/description.h"
#include "xml/reader.h"

namespace corvane::detail {

bool ImportChain::Contains(const WMString& loc) const {
    for (const ImportChain* link = this; link; link = link->parent) {
        if (link->location == loc) {
            return true;
        }
    }
    return false;
}

namespace {

using corvane::WStringView;

// The start tag of a node of the internal reader. Attributes are found under the keys
// WMXMLElement files them by, collisions included: a prefixed attribute under its URI and local
// name, an unprefixed one under the element's URI, the element's local name and its own name.
class NodeTag final : public corvane::StartTag {
public:
    NodeTag(const XMLNode& node, const WMWSDLParseEventHandler& frame)
        : StartTag(node.ns->uri, node.Local(), node.qname, frame.Prefixes()), m_node(node) {}

private:
    std::optional<WStringView> Lookup(const Key& key) const override {
        // A key that starts with the element's own URI record (every Find does) matches an
        // unprefixed attribute exactly when the rest is the element's and attribute's names.
        const bool elementNS = key.part[0].data() == ns.data() && key.part[0].size() == ns.size();
        const Key rest{{key.part[1], key.part[2], {}}};
        // Handlers ask with the element's own local name as the stem ("element", "name"), or
        // with it joined to the attribute's name ("elementname").
        const WStringView stem =
            key.part[2].empty() ? key.part[1].substr(0, local.size()) : key.part[1];
        const WStringView name =
            key.part[2].empty() ? key.part[1].substr(stem.size()) : key.part[2];
        const bool ownStem = elementNS && TextEquals(stem, local);
        for (std::uint32_t i = 0; i < m_node.attrCount; ++i) {
            const XMLAttr& attr = m_node.attrs[i];
            bool found;
            if (attr.prefixed) {
                found = key.Equals(Key{{attr.ns->uri, attr.Local(), {}}});
            } else if (ownStem) {
                // Names of one length mostly differ in their first unit ("name", "type").
                found = attr.qname.size() == name.size() && attr.qname[0] == name[0] &&
                        TextEquals(attr.qname, name);
            } else if (elementNS) {
                found = rest.Equals(Key{{local, attr.qname, {}}});
            } else {
                found = key.Equals(Key{{ns, local, attr.qname}});
            }
            if (found) {
                return attr.value;
            }
        }
        return std::nullopt;
    }

    const XMLNode& m_node;
};

// Feeds the frame exactly what WMXMLParser's events fed it: the mappings around each element,
// the start tag, the text once after the children (only when there is some), the end.
class FrameEvents final : public XMLReadEvents {
public:
    explicit FrameEvents(WMWSDLParseEventHandler& frame) : m_frame(frame) {}

    void StartElement(const XMLNode& element, const XMLNode*) override {
        NodeTag tag(element, m_frame);
        m_frame.StartElement(tag);
    }
    void EndElement(const XMLNode& element, const XMLNode*) override {
        if (!element.text.empty()) {
            m_frame.Characters(element.text);
        }
        m_frame.EndElement();
    }
    void PI(WStringView, WStringView) override {}
    void StartMappings(const XMLNode& element, const XMLNode* parent) override {
        ForEachNewMapping(element, parent, [this](WStringView prefix, WStringView uri) {
            m_frame.StartNSMapping(prefix, uri);
        });
    }
    void EndMappings(const XMLNode& element, const XMLNode* parent) override {
        ForEachNewMapping(element, parent, [this](WStringView prefix, WStringView) {
            m_frame.EndNSMapping(prefix);
        });
    }

private:
    WMWSDLParseEventHandler& m_frame;
};

thread_local DocumentReader t_reader = nullptr;

}  // namespace

// Why a load through the internal reader cannot be told from one through WMXMLParser:
// - The reader accepts and refuses the same texts with the same line, depth limit and copy
//   budget, and reports its events at the same points of the text, so a bad document fails
//   after the same handler calls, and the first fault a handler throws is the same one.
// - FrameEvents turns those events into the same frame calls: ForEachNewMapping gives the
//   mappings in WMXMLParser's order with its quirks (the root's default namespace twice, an
//   inherited prefix bound again not reported), so the flat prefix map holds the same bindings
//   at every start tag, and qualified-name values resolve alike.
// - NodeTag answers each attribute lookup as XMLNode::FindAttribute does, by the joined
//   expanded key, collisions and repeated attributes included, without building the key.
// - Handlers copy what they keep: the views of a start tag die with the element in event mode.
// - A syntax error comes back as false with its line rather than thrown, and the loader words
//   it as before; everything else a handler throws passes through unchanged.
bool ReadDocument(const WMString& text, WMWSDLParseEventHandler& frame, int& line) {
    FrameEvents events(frame);
    XMLDocument document;
    frame.StartDoc();
    return document.Read(text, line, false, &events);
}

DocumentReader ExchangeDocumentReader(DocumentReader reader) {
    DocumentReader previous = t_reader;
    t_reader = reader;
    return previous;
}

DocumentReader CurrentDocumentReader() {
    return t_reader ? t_reader : &ReadDocument;
}

}  // namespace corvane::detail

WMWSDLEventHandler* WMWSDLNullHandler::StartChildElement(const corvane::StartTag&,
                                                         WMWSDLParseEventHandler&) {
    return nullptr;
}

void WMWSDLParseEventHandler::StartDoc() {
    m_stack.push_back(m_root ? static_cast<WMWSDLEventHandler*>(m_root) : &m_null);
}

void WMWSDLParseEventHandler::StartElement(const corvane::StartTag& tag) {
    WMWSDLEventHandler* child = nullptr;
    if (!m_stack.empty()) {
        child = m_stack.back()->StartChildElement(tag, *this);
    }
    m_stack.push_back(child ? child : &m_null);
}

void WMWSDLParseEventHandler::EndElement() {
    if (m_stack.empty()) {
        return;
    }
    WMWSDLEventHandler* top = m_stack.back();
    if (top->EndElement()) {
        m_stack.pop_back();
        if (!m_adopted.empty() && m_adopted.back().get() == top) {
            m_adopted.pop_back();
        }
    }
}

void WMWSDLParseEventHandler::Characters(corvane::WStringView text) {
    if (!m_stack.empty()) {
        m_stack.back()->CharacterData(text);
    }
}

void WMWSDLParseEventHandler::StartNSMapping(corvane::WStringView prefix,
                                             corvane::WStringView uri) {
    m_prefixes.Bind(prefix, uri);
}

void WMWSDLParseEventHandler::EndNSMapping(corvane::WStringView prefix) {
    m_prefixes.Unbind(prefix);
}

WMWSDLEventHandler* WMWSDLParseEventHandler::Adopt(std::unique_ptr<WMWSDLEventHandler> handler) {
    m_adopted.push_back(std::move(handler));
    return m_adopted.back().get();
}
