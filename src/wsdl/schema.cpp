#include "wsdl/schema.h"

#include "platform/guid.h"
#include "wsdl/frame.h"

using corvane::AttrContext;
using corvane::QName;
using corvane::WStringView;

namespace {

// `all` and `choice` hold their elements like `sequence`: RPC/encoded descriptions commonly
// declare their structs with `all`, which would otherwise have no members.
bool IsSequenceLike(const WMString& ns, const WMString& localName) {
    return corvane::IsSchemaNS(ns) &&
           (localName == u"sequence" || localName == u"all" || localName == u"choice");
}

bool IsSchema(const WMString& ns, const WMString& localName, WStringView expected) {
    return localName == expected && corvane::IsSchemaNS(ns);
}

}  // namespace

WMWSDLEventHandler* WMAttributeHandler::StartChildElement(const WMString&, const WMString&,
                                                          const WMString&, const AttrContext&,
                                                          WMWSDLParseEventHandler&) {
    return nullptr;
}

void WMAttributeHandler::ReadAttributes(const AttrContext& attrs) {
    if (const WMString* name = attrs.Find(u"attributename")) {
        m_name = *name;
    }
    if (const WMString* type = attrs.Find(u"attributetype")) {
        m_type = attrs.Resolve(*type, u"type", u"attribute");
    }
    if (const WMString* ref = attrs.Find(u"attributeref")) {
        m_ref = attrs.Resolve(*ref, u"ref", u"attribute");
    }
}

void WMArrayTypeAttrHandler::ReadAttributes(const AttrContext& attrs) {
    WMAttributeHandler::ReadAttributes(attrs);
    const WMString* value = attrs.FindQualified(corvane::kWsdlNS, u"arrayType");
    if (!value) {
        return;
    }
    QName type = attrs.Resolve(*value, u"arrayType", u"attribute");
    // An array of arrays keeps its inner brackets in the item type name: int[][] is an array
    // of int[] with the dimension text [].
    std::size_t bracket = type.local.rfind(u'[');
    if (bracket != WMString::npos) {
        m_dimensions = type.local.substr(bracket);
        type.local.erase(bracket);
    }
    m_elementType = std::move(type);
}

unsigned int WMArrayTypeAttrHandler::GetDimensionCount() const {
    unsigned int dims = 1;
    for (char16_t c : m_dimensions) {
        if (c == u',') {
            ++dims;
        }
    }
    return dims;
}

WMAttributeHandler* WMSchemaAttributesOwner::AddAttribute(
    const AttrContext& attrs, std::unique_ptr<WMAttributeHandler> handler) {
    handler->SetTargetNS(GetTargetNS());
    handler->ReadAttributes(attrs);
    m_attributes.push_back(std::move(handler));
    return m_attributes.back().get();
}

WMSchemaElemHandler::~WMSchemaElemHandler() = default;

WMWSDLEventHandler* WMSchemaElemHandler::StartChildElement(const WMString& ns,
                                                           const WMString& localName,
                                                           const WMString&, const AttrContext&,
                                                           WMWSDLParseEventHandler& frame) {
    if (IsSchema(ns, localName, u"complexType")) {
        auto type = std::make_unique<WMSchemaComplexTypeHandler>(m_schema, WMString());
        type->SetTargetNS(GetTargetNS());
        return FillSlot(m_anonComplex, std::move(type), frame);
    }
    if (IsSchema(ns, localName, u"simpleType")) {
        auto type = std::make_unique<WMSchemaSimpleTypeHandler>(m_schema, WMString());
        type->SetTargetNS(GetTargetNS());
        return FillSlot(m_anonSimple, std::move(type), frame);
    }
    return nullptr;
}

bool WMSchemaElemHandler::EndElement() {
    // Anonymous types get a GUID name and join the schema's tables, so that the element's type
    // is found like any named type.
    if (m_anonComplex) {
        m_type =
            QName{m_schema->GetTargetNS(), m_schema->AddAnonymousType(std::move(m_anonComplex))};
        m_isRef = false;
    }
    if (m_anonSimple) {
        m_type =
            QName{m_schema->GetTargetNS(), m_schema->AddAnonymousType(std::move(m_anonSimple))};
        m_isRef = false;
    }
    return true;
}

void WMSchemaElemHandler::ReadAttributes(const AttrContext& attrs) {
    if (const WMString* type = attrs.Find(u"elementtype")) {
        m_type = attrs.Resolve(*type, u"type", u"element");
    } else if (const WMString* ref = attrs.Find(u"elementref")) {
        m_type = attrs.Resolve(*ref, u"ref", u"element");
        m_isRef = true;
    } else {
        m_type = QName{corvane::kXsdNS2001, u"anyType"};
    }
}

WMWSDLEventHandler* WMSequenceHandler::StartChildElement(const WMString& ns,
                                                         const WMString& localName, const WMString&,
                                                         const AttrContext& attrs,
                                                         WMWSDLParseEventHandler&) {
    if (!IsSchema(ns, localName, u"element")) {
        return nullptr;
    }
    // An element declared by `ref` has no name of its own; it is known by the referenced
    // element's name, as in an instance document.
    WMString name;
    if (const WMString* value = attrs.Find(u"elementname")) {
        name = *value;
    }
    auto element = std::make_unique<WMSchemaElemHandler>(m_schema, std::move(name));
    element->SetTargetNS(GetTargetNS());
    element->ReadAttributes(attrs);
    if (element->GetName().empty() && element->IsRef()) {
        element->SetName(element->GetType().local);
    }
    m_elements.push_back(std::move(element));
    return m_elements.back().get();
}

WMWSDLEventHandler* WMDerivationHandler::StartChildElement(const WMString& ns,
                                                           const WMString& localName,
                                                           const WMString&,
                                                           const AttrContext& attrs,
                                                           WMWSDLParseEventHandler& frame) {
    if (IsSequenceLike(ns, localName)) {
        auto sequence = std::make_unique<WMSequenceHandler>(m_schema);
        sequence->SetTargetNS(GetTargetNS());
        return FillSlot(m_sequence, std::move(sequence), frame);
    }
    if (IsSchema(ns, localName, u"attribute")) {
        return AddAttribute(attrs, std::make_unique<WMAttributeHandler>());
    }
    return nullptr;
}

void WMDerivationHandler::ReadAttributes(const AttrContext& attrs) {
    if (const WMString* base = attrs.Find(WMString(m_elementName) + u"base")) {
        m_base = attrs.Resolve(*base, u"base", m_elementName);
    }
}

WMWSDLEventHandler* WMRestrictionHandler::StartChildElement(const WMString& ns,
                                                            const WMString& localName,
                                                            const WMString& qName,
                                                            const AttrContext& attrs,
                                                            WMWSDLParseEventHandler& frame) {
    if (IsSchema(ns, localName, u"attribute") &&
        attrs.FindQualified(corvane::kWsdlNS, u"arrayType")) {
        auto* attribute = static_cast<WMArrayTypeAttrHandler*>(
            AddAttribute(attrs, std::make_unique<WMArrayTypeAttrHandler>()));
        if (!m_arrayType) {
            m_arrayType = attribute;
        }
        return attribute;
    }
    return WMDerivationHandler::StartChildElement(ns, localName, qName, attrs, frame);
}

WMWSDLEventHandler* WMContentHandler::StartChildElement(const WMString& ns,
                                                        const WMString& localName, const WMString&,
                                                        const AttrContext& attrs,
                                                        WMWSDLParseEventHandler& frame) {
    std::unique_ptr<WMDerivationHandler> derivation;
    if (IsSchema(ns, localName, u"restriction")) {
        derivation = std::make_unique<WMRestrictionHandler>(m_schema);
    } else if (IsSchema(ns, localName, u"extension")) {
        derivation = std::make_unique<WMExtensionHandler>(m_schema);
    } else {
        return nullptr;
    }
    derivation->SetTargetNS(GetTargetNS());
    derivation->ReadAttributes(attrs);
    return FillSlot(m_derivation, std::move(derivation), frame);
}

WMWSDLEventHandler* WMSchemaComplexTypeHandler::StartChildElement(const WMString& ns,
                                                                  const WMString& localName,
                                                                  const WMString&,
                                                                  const AttrContext& attrs,
                                                                  WMWSDLParseEventHandler& frame) {
    if (IsSequenceLike(ns, localName)) {
        auto sequence = std::make_unique<WMSequenceHandler>(m_schema);
        sequence->SetTargetNS(GetTargetNS());
        return FillSlot(m_sequence, std::move(sequence), frame);
    }
    if (IsSchema(ns, localName, u"complexContent")) {
        auto content = std::make_unique<WMComplexContentHandler>(m_schema);
        content->SetTargetNS(GetTargetNS());
        return FillSlot(m_complexContent, std::move(content), frame);
    }
    if (IsSchema(ns, localName, u"simpleContent")) {
        auto content = std::make_unique<WMSimpleContentHandler>(m_schema);
        content->SetTargetNS(GetTargetNS());
        return FillSlot(m_simpleContent, std::move(content), frame);
    }
    if (IsSchema(ns, localName, u"attribute")) {
        return AddAttribute(attrs, std::make_unique<WMAttributeHandler>());
    }
    return nullptr;
}

const WMSequenceHandler* WMSchemaComplexTypeHandler::GetEffectiveSequence() const {
    if (m_sequence) {
        return m_sequence.get();
    }
    for (const WMContentHandler* content :
         {static_cast<const WMContentHandler*>(m_complexContent.get()),
          static_cast<const WMContentHandler*>(m_simpleContent.get())}) {
        if (content && content->GetDerivation() && content->GetDerivation()->GetSequence()) {
            return content->GetDerivation()->GetSequence();
        }
    }
    return nullptr;
}

const WMArrayTypeAttrHandler* WMSchemaComplexTypeHandler::GetArrayType() const {
    for (const WMContentHandler* content :
         {static_cast<const WMContentHandler*>(m_complexContent.get()),
          static_cast<const WMContentHandler*>(m_simpleContent.get())}) {
        if (content && content->GetDerivation() && content->GetDerivation()->GetArrayType()) {
            return content->GetDerivation()->GetArrayType();
        }
    }
    return nullptr;
}

WMWSDLEventHandler* WMSchemaSimpleTypeHandler::StartChildElement(const WMString& ns,
                                                                 const WMString& localName,
                                                                 const WMString&,
                                                                 const AttrContext& attrs,
                                                                 WMWSDLParseEventHandler& frame) {
    if (!IsSchema(ns, localName, u"restriction")) {
        return nullptr;
    }
    auto restriction = std::make_unique<WMRestrictionHandler>(m_schema);
    restriction->SetTargetNS(GetTargetNS());
    restriction->ReadAttributes(attrs);
    return FillSlot(m_restriction, std::move(restriction), frame);
}

WMWSDLEventHandler* WMSchemaHandler::StartChildElement(const WMString& ns,
                                                       const WMString& localName, const WMString&,
                                                       const AttrContext& attrs,
                                                       WMWSDLParseEventHandler& frame) {
    if (!corvane::IsSchemaNS(ns)) {
        return nullptr;
    }
    if (localName == u"element") {
        const WMString& name = attrs.Require(u"elementname", u"name", u"element", true);
        auto element = std::make_unique<WMSchemaElemHandler>(this, name);
        element->SetTargetNS(GetTargetNS());
        element->ReadAttributes(attrs);
        return FileHandler(m_elements, name, std::move(element), frame);
    }
    if (localName == u"complexType") {
        const WMString& name = attrs.Require(u"complexTypename", u"name", u"complexType", true);
        auto type = std::make_unique<WMSchemaComplexTypeHandler>(this, name);
        type->SetTargetNS(GetTargetNS());
        return FileHandler(m_complexTypes, name, std::move(type), frame);
    }
    if (localName == u"simpleType") {
        const WMString& name = attrs.Require(u"simpleTypename", u"name", u"simpleType", true);
        auto type = std::make_unique<WMSchemaSimpleTypeHandler>(this, name);
        type->SetTargetNS(GetTargetNS());
        return FileHandler(m_simpleTypes, name, std::move(type), frame);
    }
    return nullptr;
}

void WMSchemaHandler::ReadAttributes(const AttrContext& attrs) {
    SetTargetNS(attrs.Require(u"schematargetNamespace", u"targetNamespace", u"schema", false));
    const WMString* form = attrs.Find(u"schemaelementFormDefault");
    m_elementFormQualified = form && *form == u"qualified";
}

const WMSchemaElemHandler* WMSchemaHandler::FindElement(WStringView local, WStringView ns) const {
    const WMSchemaElemHandler* element = corvane::FindIn(m_elements, local);
    return element && element->GetTargetNS() == ns ? element : nullptr;
}

const WMSchemaComplexTypeHandler* WMSchemaHandler::FindComplexType(WStringView local,
                                                                   WStringView ns) const {
    const WMSchemaComplexTypeHandler* type = corvane::FindIn(m_complexTypes, local);
    return type && corvane::TextEquals(type->GetTargetNS(), ns) ? type : nullptr;
}

namespace {

WMString NewAnonymousTypeName() {
    // The registry form is "{" + 36 characters + "}"; the name is what lies between the braces.
    return corvane::platform::NewGuidText().substr(1, 36);
}

}  // namespace

WMString WMSchemaHandler::AddAnonymousType(std::unique_ptr<WMSchemaComplexTypeHandler> type) {
    WMString name = NewAnonymousTypeName();
    type->SetName(name);
    m_complexTypes.Insert(name, type);
    return name;
}

WMString WMSchemaHandler::AddAnonymousType(std::unique_ptr<WMSchemaSimpleTypeHandler> type) {
    WMString name = NewAnonymousTypeName();
    type->SetName(name);
    m_simpleTypes.Insert(name, type);
    return name;
}
