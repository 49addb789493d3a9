#include "wsdl/handler.h"

#include <corvane/xml.h>

namespace corvane {

const WMString kWsdlNS = u"http://schemas.xmlsoap.org/wsdl/";
const WMString kWsdlSoapNS = u"http://schemas.xmlsoap.org/wsdl/soap/";
const WMString kXsdNS2001 = u"http://www.w3.org/2001/XMLSchema";
const WMString kXsdNS2000 = u"http://www.w3.org/2000/10/XMLSchema";
const WMString kXsdNS1999 = u"http://www.w3.org/1999/XMLSchema";
const WMString kSoapEncNS = u"http://schemas.xmlsoap.org/soap/encoding/";

bool IsSchemaNS(WStringView ns) {
    return ns == kXsdNS2001 || ns == kXsdNS2000 || ns == kXsdNS1999;
}

void ThrowSchemaError(WMString message) {
    throw new WMWebServicesDescFault(u"WSDL Schema Error", std::move(message));
}

void ThrowMissingAttribute(const char16_t* attr, const char16_t* elem, bool fullStop) {
    WMString message = u"Required attribute '";
    message += attr;
    message += u"' missing on element: '";
    message += elem;
    message += fullStop ? u"'." : u"'";
    ThrowSchemaError(std::move(message));
}

const WMString* AttrContext::Find(WStringView elemAttr) const {
    m_key.assign(m_elementNS);
    m_key.append(elemAttr);
    auto it = m_attributes.find(m_key);
    return it == m_attributes.end() ? nullptr : &it->second->GetValue();
}

const WMString* AttrContext::FindQualified(WStringView ns, WStringView local) const {
    m_key.assign(ns);
    m_key.append(local);
    auto it = m_attributes.find(m_key);
    return it == m_attributes.end() ? nullptr : &it->second->GetValue();
}

const WMString& AttrContext::Require(WStringView elemAttr, const char16_t* attr,
                                     const char16_t* elem, bool fullStop) const {
    const WMString* value = Find(elemAttr);
    if (!value) {
        ThrowMissingAttribute(attr, elem, fullStop);
    }
    return *value;
}

QName AttrContext::Resolve(const WMString& value, const char16_t* attr,
                           const char16_t* elem) const {
    std::size_t colon = value.find(u':');
    WStringView prefix;
    WStringView local = value;
    if (colon != WMString::npos) {
        prefix = WStringView(value).substr(0, colon);
        local = WStringView(value).substr(colon + 1);
    }
    auto it = m_prefixes.find(prefix);
    if (it == m_prefixes.end()) {
        WMString message = u"Unresolvable namespace for attribute '";
        message += attr;
        message += u"' on element: '";
        message += elem;
        message += u"'";
        ThrowSchemaError(std::move(message));
    }
    return QName{it->second, WMString(local)};
}

}  // namespace corvane

WMWSDLEventHandler::~WMWSDLEventHandler() = default;

bool WMWSDLEventHandler::EndElement() {
    return true;
}

void WMWSDLEventHandler::CharacterData(const WMString&) {}

void WMWSDLEventHandler::ReadAttributes(const corvane::AttrContext&) {}

void WMWSDLEventHandler::SetTargetNS(const WMString& ns) {
    m_targetNS = ns;
}

const WMString& WMWSDLEventHandler::GetTargetNS() const {
    return m_targetNS;
}
