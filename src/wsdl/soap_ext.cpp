#include "wsdl/soap_ext.h"

#include "wsdl/frame.h"

using corvane::AttrContext;

namespace {

void ReadOptional(const AttrContext& attrs, corvane::WStringView key, WMString& field) {
    if (const WMString* value = attrs.Find(key)) {
        field = *value;
    }
}

}  // namespace

WMWSDLEventHandler* WMSOAPBindingExt::StartChildElement(const WMString&, const WMString&,
                                                        const WMString&, const AttrContext&,
                                                        WMWSDLParseEventHandler&) {
    return nullptr;
}

void WMSOAPBindingBindingExt::ReadAttributes(const AttrContext& attrs) {
    ReadOptional(attrs, u"bindingstyle", m_style);
    ReadOptional(attrs, u"bindingtransport", m_transport);
}

void WMSOAPBindingOpExt::ReadAttributes(const AttrContext& attrs) {
    // Kept in the quoted form of the SOAPAction HTTP header, which is also the form a received
    // action is compared in.
    if (const WMString* action = attrs.Find(u"operationsoapAction")) {
        m_soapAction.assign(1, u'"');
        m_soapAction.append(*action);
        m_soapAction.push_back(u'"');
    }
    ReadOptional(attrs, u"operationstyle", m_style);
}

void WMSOAPBindingBodyExt::ReadAttributes(const AttrContext& attrs) {
    ReadOptional(attrs, u"bodyparts", m_parts);
    ReadOptional(attrs, u"bodyuse", m_use);
    ReadOptional(attrs, u"bodyencodingStyle", m_encodingStyle);
    ReadOptional(attrs, u"bodynamespace", m_namespace);
}

void WMSOAPBindingHeaderFaultExt::ReadAttributes(const AttrContext& attrs) {
    WMString key = m_localName;
    const std::size_t stem = key.size();
    auto find = [&](const char16_t* attr) {
        key.resize(stem);
        key += attr;
        return attrs.Find(key);
    };
    const WMString* message = find(u"message");
    if (!message) {
        corvane::ThrowMissingAttribute(u"message", m_displayName, false);
    }
    const WMString* part = find(u"part");
    if (!part) {
        corvane::ThrowMissingAttribute(u"part", m_displayName, false);
    }
    m_part = *part;
    const WMString* use = find(u"use");
    if (!use) {
        corvane::ThrowMissingAttribute(u"use", m_displayName, false);
    }
    m_use = *use;
    m_message = attrs.Resolve(*message, u"message", m_displayName);
    if (const WMString* style = find(u"encodingStyle")) {
        m_encodingStyle = *style;
    }
    if (const WMString* ns = find(u"namespace")) {
        m_namespace = *ns;
    }
}

WMWSDLEventHandler* WMSOAPBindingHeaderExt::StartChildElement(const WMString& ns,
                                                              const WMString& localName,
                                                              const WMString&,
                                                              const AttrContext& attrs,
                                                              WMWSDLParseEventHandler&) {
    if (ns != corvane::kWsdlSoapNS || localName != u"headerfault") {
        return nullptr;
    }
    auto record = std::make_unique<WMSOAPBindingHeaderFaultExt>();
    record->SetTargetNS(GetTargetNS());
    record->ReadAttributes(attrs);
    m_headerFaults.push_back(std::move(record));
    return m_headerFaults.back().get();
}

void WMSOAPBindingFaultExt::ReadAttributes(const AttrContext& attrs) {
    ReadOptional(attrs, u"faultname", m_name);
    ReadOptional(attrs, u"faultuse", m_use);
    ReadOptional(attrs, u"faultencodingStyle", m_encodingStyle);
    ReadOptional(attrs, u"faultnamespace", m_namespace);
}

void WMSOAPAddressExt::ReadAttributes(const AttrContext& attrs) {
    m_location = attrs.Require(u"addresslocation", u"location", u"soap:address", false);
}
