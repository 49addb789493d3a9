#include "wsdl/frame.h"

#include "wsdl/description.h"

namespace corvane::detail {

bool ImportChain::Contains(const WMString& loc) const {
    for (const ImportChain* link = this; link; link = link->parent) {
        if (link->location == loc) {
            return true;
        }
    }
    return false;
}

}  // namespace corvane::detail

WMWSDLEventHandler* WMWSDLNullHandler::StartChildElement(const WMString&, const WMString&,
                                                         const WMString&,
                                                         const corvane::AttrContext&,
                                                         WMWSDLParseEventHandler&) {
    return nullptr;
}

void WMWSDLParseEventHandler::StartDoc() {
    m_stack.push_back(m_root ? static_cast<WMWSDLEventHandler*>(m_root) : &m_null);
}

int WMWSDLParseEventHandler::StartElement(WMString const& ns, WMString const& localName,
                                          WMString const& qualifiedName,
                                          WMXMLAttributeMap& attributes, WMXMLElement*) {
    WMWSDLEventHandler* child = nullptr;
    if (!m_stack.empty()) {
        corvane::AttrContext attrs(attributes, m_prefixes, ns);
        child = m_stack.back()->StartChildElement(ns, localName, qualifiedName, attrs, *this);
    }
    m_stack.push_back(child ? child : &m_null);
    return 0;
}

bool WMWSDLParseEventHandler::EndElement(WMString const&, WMString const&, WMString const&,
                                         WMXMLElement*) {
    if (m_stack.empty()) {
        return true;
    }
    WMWSDLEventHandler* top = m_stack.back();
    if (top->EndElement()) {
        m_stack.pop_back();
        if (!m_adopted.empty() && m_adopted.back().get() == top) {
            m_adopted.pop_back();
        }
    }
    return true;
}

void WMWSDLParseEventHandler::Characters(WMString const& text) {
    if (!m_stack.empty()) {
        m_stack.back()->CharacterData(text);
    }
}

void WMWSDLParseEventHandler::StartNSMapping(WMString const& prefix, WMString const& uri) {
    m_prefixes.insert_or_assign(prefix, uri);
}

void WMWSDLParseEventHandler::EndNSMapping(WMString const& prefix) {
    auto it = m_prefixes.find(prefix);
    if (it != m_prefixes.end()) {
        m_prefixes.erase(it);
    }
}

WMWSDLEventHandler* WMWSDLParseEventHandler::Adopt(std::unique_ptr<WMWSDLEventHandler> handler) {
    m_adopted.push_back(std::move(handler));
    return m_adopted.back().get();
}
