#include "soap/parse_handlers.h"

#include <corvane/message.h>

#include <memory>

#include "soap/deserializer_text.h"
#include "text/equal.h"

namespace corvane {

namespace {

WMString Key(std::u16string_view ns, std::u16string_view localName) {
    WMString key;
    key.reserve(ns.size() + localName.size());
    key.append(ns);
    key.append(localName);
    return key;
}

// Makes room for one more entry ahead of creating it, so that appending the new owned pointer
// cannot throw and lose it; the capacity still grows geometrically.
template <class T>
void RoomForOne(std::vector<T>& list) {
    if (list.size() == list.capacity()) {
        list.reserve(list.empty() ? 4 : 2 * list.capacity());
    }
}

// Attribute keys that do not depend on the element, built once.
struct FixedKeys {
    WMString encodingStyle = Key(soapuri::kEnvelope, u"encodingStyle");
    WMString mustUnderstand = Key(soapuri::kEnvelope, u"mustUnderstand");
    WMString actor = Key(soapuri::kEnvelope, u"actor");
    WMString arrayType = Key(soapuri::kEncoding, u"arrayType");
    WMString offset = Key(soapuri::kEncoding, u"offset");
    WMString root = Key(soapuri::kEncoding, u"root");
    WMString nil2001 = Key(soapuri::kXSI2001, u"nil");
    WMString null1999 = Key(soapuri::kXSI1999, u"null");
    WMString nil2000 = Key(soapuri::kXSI2000, u"nil");
    WMString type2001 = Key(soapuri::kXSI2001, u"type");
    WMString type1999 = Key(soapuri::kXSI1999, u"type");
    WMString type2000 = Key(soapuri::kXSI2000, u"type");
};

FixedKeys const& Keys() {
    static FixedKeys const keys;
    return keys;
}

WMXMLAttribute const* Find(WMXMLAttributeMap const& attributes, WMString const& key) {
    auto const it = attributes.find(key);
    return it == attributes.end() ? nullptr : it->second;
}

// Copies the attribute's value into `out` when present.
bool Read(WMXMLAttributeMap const& attributes, WMString const& key, WMString& out) {
    WMXMLAttribute const* attribute = Find(attributes, key);
    if (attribute == nullptr) {
        return false;
    }
    out = attribute->GetValue();
    return true;
}

// The URI bound to a prefix. A default namespace bound to the empty URI counts as undeclared:
// the parser reports the root's default namespace even when the document declares none.
WMString const* LookUpPrefix(NSMap const& nsMap, WMString const& prefix) {
    auto const it = nsMap.find(prefix);
    if (it == nsMap.end() || (prefix.empty() && it->second.empty())) {
        return nullptr;
    }
    return &it->second;
}

}  // namespace

URIText& URIText::operator=(WMString const& text) {
    static WMString const known[] = {WMString(soapuri::kEncoding), WMString(soapuri::kEnvelope),
                                     WMString(soapuri::kXSD2001), WMString(soapuri::kXSD1999),
                                     WMString(soapuri::kXSD2000)};
    for (WMString const& uri : known) {
        if (TextEquals(text, uri)) {
            m_known = &uri;
            m_own.clear();
            return *this;
        }
    }
    m_known = nullptr;
    m_own = text;
    return *this;
}

void ThrowSOAPFault(std::u16string_view code, WMString const& text, bool flag) {
    throw new WMSOAPFault(WMString(code), text, flag);
}

WMSOAPEventHandler::~WMSOAPEventHandler() = default;

bool WMSOAPEventHandler::EndElement(WMString const&, WMString const&, WMString const&,
                                    WMXMLElement*) {
    return true;
}

void WMSOAPEventHandler::Characters(WMString const&) {}

bool WMSOAPCharacterHandler::EndElement(WMString const&, WMString const&, WMString const&,
                                        WMXMLElement*) {
    delete this;
    return true;
}

bool WMSOAPElemHandler::EndElement(WMString const&, WMString const&, WMString const&,
                                   WMXMLElement* element) {
    m_element = element;
    return true;
}

void WMSOAPElemHandler::ProcessAttributes(WMXMLAttributeMap& attributes, NSMap const&) {
    if (WMXMLAttribute const* style = Find(attributes, Keys().encodingStyle)) {
        m_encodingStyle = style->GetValue();
    }
}

void WMSOAPElemHandler::MakeEncodingExplicit(WMXMLElement* element) const {
    if (element == nullptr || m_encodingStyle.empty() ||
        Find(element->GetAttributeMap(), Keys().encodingStyle) != nullptr) {
        return;
    }
    // Fails only when the element binds SOAP-ENV to another URI; it then keeps its own form.
    element->SetAttribute(u"SOAP-ENV:encodingStyle", WMString(soapuri::kEnvelope),
                          m_encodingStyle.Get());
}

WMSOAPParamHandler::RareFields const WMSOAPParamHandler::kNoRareFields;

WMSOAPParamHandler::~WMSOAPParamHandler() {
    for (WMSOAPParamHandler* child : m_children) {
        delete child;
    }
}

WMSOAPParamHandler* WMSOAPParamHandler::NewParam(WMString const& ns, WMString const& localName,
                                                 WMXMLAttributeMap& attributes,
                                                 NSMap const& nsMap) {
    auto child = std::make_unique<WMSOAPParamHandler>(ns, localName, m_ids);
    child->SetEncodingStyle(m_encodingStyle);
    child->ProcessAttributes(attributes, nsMap);
    if (!child->GetId().empty() && m_ids != nullptr) {
        m_ids->emplace(child->GetId(), child.get());
    }
    return child.release();
}

WMSOAPEventHandler* WMSOAPParamHandler::StartElement(WMString const& ns, WMString const& localName,
                                                     WMString const&, WMXMLAttributeMap& attributes,
                                                     NSMap const& nsMap, WMXMLElement*) {
    RoomForOne(m_children);
    WMSOAPParamHandler* child = NewParam(ns, localName, attributes, nsMap);
    m_children.push_back(child);
    return child;
}

namespace {

// The attributes a parameter element may carry, found in one pass over its map (most elements
// have one or two attributes, so this beats a look-up per key).
struct ParamAttributes {
    WMXMLAttribute const* encodingStyle = nullptr;
    WMXMLAttribute const* id = nullptr;
    WMXMLAttribute const* href = nullptr;
    WMXMLAttribute const* arrayType = nullptr;
    WMXMLAttribute const* offset = nullptr;
    WMXMLAttribute const* root = nullptr;
    WMXMLAttribute const* nil2001 = nullptr;
    WMXMLAttribute const* null1999 = nullptr;
    WMXMLAttribute const* nil2000 = nullptr;
    WMXMLAttribute const* type2001 = nullptr;
    WMXMLAttribute const* type1999 = nullptr;
    WMXMLAttribute const* type2000 = nullptr;
};

// Whether `key` is `first` + `second` + `third`, without building the concatenation.
bool KeyIs(std::u16string_view key, std::u16string_view first, std::u16string_view second,
           std::u16string_view third) {
    return key.size() == first.size() + second.size() + third.size() &&
           TextEquals(key.substr(0, first.size()), first) &&
           TextEquals(key.substr(first.size(), second.size()), second) &&
           TextEquals(key.substr(first.size() + second.size()), third);
}

ParamAttributes ScanParamAttributes(WMXMLAttributeMap const& attributes, WMString const& ns,
                                    WMString const& localName) {
    FixedKeys const& keys = Keys();
    ParamAttributes found;
    for (auto const& entry : attributes) {
        WMString const& key = entry.first;
        WMXMLAttribute const* attribute = entry.second;
        if (KeyIs(key, ns, localName, u"id")) {
            found.id = attribute;
        } else if (KeyIs(key, ns, localName, u"href")) {
            found.href = attribute;
        } else if (TextEquals(key, keys.encodingStyle)) {
            found.encodingStyle = attribute;
        } else if (TextEquals(key, keys.arrayType)) {
            found.arrayType = attribute;
        } else if (TextEquals(key, keys.offset)) {
            found.offset = attribute;
        } else if (TextEquals(key, keys.root)) {
            found.root = attribute;
        } else if (TextEquals(key, keys.nil2001)) {
            found.nil2001 = attribute;
        } else if (TextEquals(key, keys.null1999)) {
            found.null1999 = attribute;
        } else if (TextEquals(key, keys.nil2000)) {
            found.nil2000 = attribute;
        } else if (TextEquals(key, keys.type2001)) {
            found.type2001 = attribute;
        } else if (TextEquals(key, keys.type1999)) {
            found.type1999 = attribute;
        } else if (TextEquals(key, keys.type2000)) {
            found.type2000 = attribute;
        }
    }
    return found;
}

// The first attribute present, or null.
WMXMLAttribute const* FirstOf(std::initializer_list<WMXMLAttribute const*> candidates) {
    for (WMXMLAttribute const* candidate : candidates) {
        if (candidate != nullptr) {
            return candidate;
        }
    }
    return nullptr;
}

}  // namespace

void WMSOAPParamHandler::ProcessAttributes(WMXMLAttributeMap& attributes, NSMap const& nsMap) {
    ParamAttributes const found = ScanParamAttributes(attributes, m_ns, m_localName);
    if (found.encodingStyle != nullptr) {
        m_encodingStyle = found.encodingStyle->GetValue();
    }
    if (found.id != nullptr) {
        WritableRare().id = found.id->GetValue();
    }
    if (found.href != nullptr) {
        WritableRare().href = found.href->GetValue();
    }

    if (found.arrayType != nullptr) {
        WMString const& text = found.arrayType->GetValue();
        auto const colon = text.find(u':');
        if (colon != WMString::npos) {
            WMString const* uri = LookUpPrefix(nsMap, text.substr(0, colon));
            if (uri == nullptr) {
                ThrowSOAPFault(u"SOAP-ENV:Client", readfault::kArrayTypePrefix, true);
            }
            RareFields& rare = WritableRare();
            rare.arrayTypeNS = *uri;
            rare.arrayType.assign(text, colon + 1, WMString::npos);
        } else {
            WMString const* uri = LookUpPrefix(nsMap, WMString());
            if (uri == nullptr) {
                ThrowSOAPFault(u"SOAP-ENV:Client", readfault::kArrayTypeDefault, true);
            }
            RareFields& rare = WritableRare();
            rare.arrayTypeNS = *uri;
            // Deliberately the type name, which is still empty here: `type` is read below.
            rare.arrayType = m_typeName;
        }
    }

    if (found.offset != nullptr) {
        RareFields& rare = WritableRare();
        rare.offsetText = found.offset->GetValue();
        auto const bracket = rare.offsetText.find(u'[');
        if (bracket == WMString::npos) {
            ThrowSOAPFault(u"SOAP-ENV:Client", readfault::kOffset, true);
        }
        std::u16string_view rest(rare.offsetText);
        rest.remove_prefix(bracket + 1);
        // Only the first dimension may carry an offset; the others must read as 0.
        bool first = true;
        while (true) {
            auto const comma = rest.find(u',');
            std::int32_t const position = Wtol(rest.substr(0, comma));
            if (!first && position != 0) {
                ThrowSOAPFault(u"SOAP-ENV:Client", readfault::kOffset, true);
            }
            rare.offsets.push_back(first ? position : 0);
            first = false;
            if (comma == std::u16string_view::npos) {
                break;
            }
            rest.remove_prefix(comma + 1);
        }
        // The parse records no dimensions, so without an href the counts never agree and the
        // attribute is refused, deliberately.
        if (rare.href.empty() && rare.offsets.size() != rare.dimensions.size()) {
            ThrowSOAPFault(u"SOAP-ENV:Client", readfault::kOffset, true);
        }
    }

    if (found.root != nullptr) {
        WritableRare().root = found.root->GetValue();
    }

    if (WMXMLAttribute const* nil = FirstOf({found.nil2001, found.null1999, found.nil2000})) {
        WritableRare().nullValue = nil->GetValue();
    }

    if (WMXMLAttribute const* type = FirstOf({found.type2001, found.type1999, found.type2000})) {
        WMString const& text = type->GetValue();
        auto const colon = text.find(u':');
        if (colon != WMString::npos) {
            WMString const* uri = LookUpPrefix(nsMap, text.substr(0, colon));
            if (uri == nullptr) {
                ThrowSOAPFault(u"SOAP-ENV:Client", readfault::kTypePrefix, true);
            }
            m_typeNS = *uri;
            m_typeName.assign(text, colon + 1, WMString::npos);
        } else {
            WMString const* uri = LookUpPrefix(nsMap, WMString());
            if (uri == nullptr) {
                ThrowSOAPFault(u"SOAP-ENV:Client", readfault::kTypeDefault, true);
            }
            m_typeNS = *uri;
            m_typeName = text;
        }
    }
}

WMSOAPEventHandler* WMSOAPHeaderElemHandler::StartElement(
    WMString const& ns, WMString const& localName, WMString const& qName,
    WMXMLAttributeMap& attributes, NSMap const& nsMap, WMXMLElement* element) {
    // A literal entry keeps its content as XML only.
    if (m_encodingStyle.empty()) {
        return nullptr;
    }
    return WMSOAPParamHandler::StartElement(ns, localName, qName, attributes, nsMap, element);
}

bool WMSOAPHeaderElemHandler::EndElement(WMString const& ns, WMString const& localName,
                                         WMString const& qName, WMXMLElement* element) {
    MakeEncodingExplicit(element);
    return WMSOAPParamHandler::EndElement(ns, localName, qName, element);
}

void WMSOAPHeaderElemHandler::ProcessAttributes(WMXMLAttributeMap& attributes, NSMap const& nsMap) {
    WMSOAPParamHandler::ProcessAttributes(attributes, nsMap);
    WMString text;
    // Only "1" sets the flag; "true" leaves it unset, deliberately.
    m_mustUnderstand = Read(attributes, Keys().mustUnderstand, text) && text == u"1";
    Read(attributes, Keys().actor, m_actor);
}

WMSOAPFaultHandler::~WMSOAPFaultHandler() {
    delete m_detail;
}

WMSOAPEventHandler* WMSOAPFaultHandler::StartElement(WMString const& ns, WMString const& localName,
                                                     WMString const&, WMXMLAttributeMap& attributes,
                                                     NSMap const& nsMap, WMXMLElement*) {
    if (localName == u"faultcode") {
        return new WMSOAPCharacterHandler(&m_faultcode);
    }
    if (localName == u"faultstring") {
        return new WMSOAPCharacterHandler(&m_faultstring);
    }
    if (localName == u"faultactor") {
        return new WMSOAPCharacterHandler(&m_faultactor);
    }
    if (localName == u"detail" && m_detail == nullptr) {
        m_detail = NewParam(ns, localName, attributes, nsMap);
        return m_detail;
    }
    return nullptr;
}

WMSOAPHeaderHandler::~WMSOAPHeaderHandler() {
    for (WMSOAPHeaderElemHandler* entry : m_entries) {
        delete entry;
    }
}

WMSOAPEventHandler* WMSOAPHeaderHandler::StartElement(WMString const& ns, WMString const& localName,
                                                      WMString const&,
                                                      WMXMLAttributeMap& attributes,
                                                      NSMap const& nsMap, WMXMLElement*) {
    auto entry = std::make_unique<WMSOAPHeaderElemHandler>(ns, localName, &m_ids);
    entry->SetEncodingStyle(m_encodingStyle);
    entry->ProcessAttributes(attributes, nsMap);
    if (!entry->GetId().empty()) {
        m_ids.emplace(entry->GetId(), entry.get());
    }
    RoomForOne(m_entries);
    m_entries.push_back(entry.release());
    return m_entries.back();
}

WMSOAPBodyHandlerBase::~WMSOAPBodyHandlerBase() {
    for (WMSOAPParamHandler* element : m_independent) {
        delete element;
    }
}

bool WMSOAPBodyHandlerBase::EndElement(WMString const& ns, WMString const& localName,
                                       WMString const& qName, WMXMLElement* element) {
    MakeEncodingExplicit(element);
    return WMSOAPElemHandler::EndElement(ns, localName, qName, element);
}

WMSOAPEventHandler* WMSOAPBodyHandlerBase::AddIndependent(WMString const& ns,
                                                          WMString const& localName,
                                                          WMXMLAttributeMap& attributes,
                                                          NSMap const& nsMap) {
    auto element = std::make_unique<WMSOAPParamHandler>(ns, localName, &m_ids);
    element->SetEncodingStyle(m_encodingStyle);
    element->ProcessAttributes(attributes, nsMap);
    if (!element->GetId().empty()) {
        m_ids.emplace(element->GetId(), element.get());
    }
    RoomForOne(m_independent);
    m_independent.push_back(element.release());
    return m_independent.back();
}

bool WMSOAPBodyHandlerBase::IsMethodElement(WMXMLAttributeMap& attributes) {
    WMString root;
    return !Read(attributes, Keys().root, root) || root != u"0";
}

template <class T>
T* WMSOAPBodyHandlerBase::NewMethodHandler(WMString const& ns, WMString const& localName,
                                           WMXMLAttributeMap& attributes, NSMap const& nsMap) {
    auto handler = std::make_unique<T>(ns, localName, &m_ids);
    handler->SetEncodingStyle(m_encodingStyle);
    handler->ProcessAttributes(attributes, nsMap);
    return handler.release();
}

WMSOAPRequestBodyHandler::~WMSOAPRequestBodyHandler() {
    delete m_request;
}

WMSOAPEventHandler* WMSOAPRequestBodyHandler::StartElement(WMString const& ns,
                                                           WMString const& localName,
                                                           WMString const&,
                                                           WMXMLAttributeMap& attributes,
                                                           NSMap const& nsMap, WMXMLElement*) {
    if (m_request == nullptr && IsMethodElement(attributes)) {
        m_request = NewMethodHandler<WMSOAPRequestHandler>(ns, localName, attributes, nsMap);
        return m_request;
    }
    return AddIndependent(ns, localName, attributes, nsMap);
}

WMSOAPResponseBodyHandler::~WMSOAPResponseBodyHandler() {
    delete m_response;
    delete m_fault;
}

WMSOAPEventHandler* WMSOAPResponseBodyHandler::StartElement(WMString const& ns,
                                                            WMString const& localName,
                                                            WMString const&,
                                                            WMXMLAttributeMap& attributes,
                                                            NSMap const& nsMap, WMXMLElement*) {
    if (ns == soapuri::kEnvelope && localName == u"Fault") {
        if (m_fault != nullptr) {
            return nullptr;
        }
        m_faultSeen = true;
        m_fault = NewMethodHandler<WMSOAPFaultHandler>(ns, localName, attributes, nsMap);
        return m_fault;
    }
    if (m_response == nullptr && IsMethodElement(attributes)) {
        m_response = NewMethodHandler<WMSOAPResponseHandler>(ns, localName, attributes, nsMap);
        return m_response;
    }
    return AddIndependent(ns, localName, attributes, nsMap);
}

WMSOAPParseEventHandler::~WMSOAPParseEventHandler() {
    ClearStack();
}

void WMSOAPParseEventHandler::ClearStack() {
    for (WMSOAPEventHandler* handler : m_stack) {
        if (handler->DeletesItself()) {
            delete handler;
        }
    }
    m_stack.clear();
}

void WMSOAPParseEventHandler::Reset() {
    ClearStack();
    m_nsMap.clear();
    m_elements = 0;
}

void WMSOAPParseEventHandler::StartDoc() {
    // A parse abandoned by a fault leaves its stack and prefixes behind; start clean.
    Reset();
    m_stack.push_back(m_root != nullptr ? m_root : &m_null);
}

int WMSOAPParseEventHandler::StartElement(WMString const& ns, WMString const& localName,
                                          WMString const& qName, WMXMLAttributeMap& attributes,
                                          WMXMLElement* element) {
    ++m_elements;
    WMSOAPEventHandler* top = m_stack.empty() ? &m_null : m_stack.back();
    WMSOAPEventHandler* next =
        top->StartElement(ns, localName, qName, attributes, m_nsMap, element);
    m_stack.push_back(next != nullptr ? next : &m_null);
    return 0;
}

bool WMSOAPParseEventHandler::EndElement(WMString const& ns, WMString const& localName,
                                         WMString const& qName, WMXMLElement* element) {
    if (m_stack.empty()) {
        return true;
    }
    if (m_stack.back()->EndElement(ns, localName, qName, element)) {
        m_stack.pop_back();
    }
    return true;
}

void WMSOAPParseEventHandler::Characters(WMString const& text) {
    if (!m_stack.empty()) {
        m_stack.back()->Characters(text);
    }
}

void WMSOAPParseEventHandler::StartNSMapping(WMString const& prefix, WMString const& uri) {
    m_nsMap[prefix] = uri;
}

void WMSOAPParseEventHandler::EndNSMapping(WMString const& prefix) {
    m_nsMap.erase(prefix);
}

WMSOAPParamHandler* FindReferencedElement(WMString const& href, IdTable const& body,
                                          IdTable const& header) {
    return FindById(href, body, header);
}

}  // namespace corvane
