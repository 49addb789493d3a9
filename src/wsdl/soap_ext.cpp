#include "wsdl/soap_ext.h"

#include "wsdl/frame.h"

using corvane::StartTag;

namespace {

void ReadOptional(const StartTag& tag, const char16_t* element, const char16_t* attr,
                  WMString& field) {
    if (auto value = tag.Find(element, attr)) {
        field = *value;
    }
}

// The encoding attributes soap:body and soap:fault share.
void ReadEncoding(const StartTag& tag, const char16_t* element, WMString& use,
                  WMString& encodingStyle, WMString& ns) {
    ReadOptional(tag, element, u"use", use);
    ReadOptional(tag, element, u"encodingStyle", encodingStyle);
    ReadOptional(tag, element, u"namespace", ns);
}

}  // namespace

WMWSDLEventHandler* WMSOAPBindingExt::StartChildElement(const StartTag&, WMWSDLParseEventHandler&) {
    return nullptr;
}

void WMSOAPBindingBindingExt::ReadAttributes(const StartTag& tag) {
    ReadOptional(tag, u"binding", u"style", m_style);
    ReadOptional(tag, u"binding", u"transport", m_transport);
}

void WMSOAPBindingOpExt::ReadAttributes(const StartTag& tag) {
    // Kept in the quoted form of the SOAPAction HTTP header, which is also the form a received
    // action is compared in.
    if (auto action = tag.Find(u"operationsoapAction")) {
        m_soapAction.assign(1, u'"');
        m_soapAction.append(*action);
        m_soapAction.push_back(u'"');
    }
    ReadOptional(tag, u"operation", u"style", m_style);
}

void WMSOAPBindingBodyExt::ReadAttributes(const StartTag& tag) {
    ReadOptional(tag, u"body", u"parts", m_parts);
    ReadEncoding(tag, u"body", m_use, m_encodingStyle, m_namespace);
}

void WMSOAPBindingHeaderFaultExt::ReadAttributes(const StartTag& tag) {
    auto find = [&](const char16_t* attr) { return tag.Find(m_localName, attr); };
    std::optional<corvane::WStringView> message = find(u"message");
    if (!message) {
        corvane::ThrowMissingAttribute(u"message", m_displayName, false);
    }
    std::optional<corvane::WStringView> part = find(u"part");
    if (!part) {
        corvane::ThrowMissingAttribute(u"part", m_displayName, false);
    }
    m_part = *part;
    std::optional<corvane::WStringView> use = find(u"use");
    if (!use) {
        corvane::ThrowMissingAttribute(u"use", m_displayName, false);
    }
    m_use = *use;
    m_message = tag.Resolve(*message, u"message", m_displayName);
    if (auto style = find(u"encodingStyle")) {
        m_encodingStyle = *style;
    }
    if (auto ns = find(u"namespace")) {
        m_namespace = *ns;
    }
}

WMWSDLEventHandler* WMSOAPBindingHeaderExt::StartChildElement(const StartTag& tag,
                                                              WMWSDLParseEventHandler&) {
    if (!tag.Is(corvane::kWsdlSoapNS, u"headerfault")) {
        return nullptr;
    }
    auto record = std::make_unique<WMSOAPBindingHeaderFaultExt>();
    record->InheritTargetNS(*this);
    record->ReadAttributes(tag);
    m_headerFaults.push_back(std::move(record));
    return m_headerFaults.back().get();
}

void WMSOAPBindingFaultExt::ReadAttributes(const StartTag& tag) {
    ReadOptional(tag, u"fault", u"name", m_name);
    ReadEncoding(tag, u"fault", m_use, m_encodingStyle, m_namespace);
}

void WMSOAPAddressExt::ReadAttributes(const StartTag& tag) {
    m_location = tag.Require(u"addresslocation", u"location", u"soap:address", false);
}
