#include "wsdl/handler.h"

#include <algorithm>

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

bool StartTag::Key::Equals(const Key& other) const {
    if (size() != other.size()) {
        return false;
    }
    // Walk both piece lists in step, comparing the longest run both have left.
    int i = 0;
    int j = 0;
    std::size_t at = 0;
    std::size_t otherAt = 0;
    for (;;) {
        while (i < 3 && at == part[i].size()) {
            ++i;
            at = 0;
        }
        while (j < 3 && otherAt == other.part[j].size()) {
            ++j;
            otherAt = 0;
        }
        if (i == 3 || j == 3) {
            return true;
        }
        const std::size_t n = std::min(part[i].size() - at, other.part[j].size() - otherAt);
        if (part[i].substr(at, n) != other.part[j].substr(otherAt, n)) {
            return false;
        }
        at += n;
        otherAt += n;
    }
}

WStringView StartTag::Require(WStringView elemAttr, const char16_t* attr, const char16_t* elem,
                              bool fullStop) const {
    std::optional<WStringView> value = Find(elemAttr);
    if (!value) {
        ThrowMissingAttribute(attr, elem, fullStop);
    }
    return *value;
}

QName StartTag::Resolve(WStringView value, const char16_t* attr, const char16_t* elem) const {
    std::size_t colon = value.find(u':');
    WStringView prefix;
    WStringView local = value;
    if (colon != WStringView::npos) {
        prefix = value.substr(0, colon);
        local = value.substr(colon + 1);
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

void WMWSDLEventHandler::CharacterData(corvane::WStringView) {}

void WMWSDLEventHandler::ReadAttributes(const corvane::StartTag&) {}

void WMWSDLEventHandler::SetTargetNS(corvane::WStringView ns) {
    m_targetNS = std::make_shared<const WMString>(ns);
}

const WMString& WMWSDLEventHandler::GetTargetNS() const {
    static const WMString none;
    return m_targetNS ? *m_targetNS : none;
}
