#include "wsdl/schema.h"

#include "platform/guid.h"
#include "wsdl/frame.h"

using corvane::QName;
using corvane::StartTag;
using corvane::WStringView;

namespace {

// `all` and `choice` hold their elements like `sequence`: RPC/encoded descriptions commonly
// declare their structs with `all`, which would otherwise have no members.
bool IsSequenceLike(const StartTag& tag) {
    return corvane::IsSchemaNS(tag.ns) &&
           (tag.local == u"sequence" || tag.local == u"all" || tag.local == u"choice");
}

}  // namespace

WMWSDLEventHandler* WMAttributeHandler::StartChildElement(const StartTag&,
                                                          WMWSDLParseEventHandler&) {
    return nullptr;
}

void WMAttributeHandler::ReadAttributes(const StartTag& tag) {
    if (auto name = tag.Find(u"attributename")) {
        m_name = *name;
    }
    if (auto type = tag.Find(u"attributetype")) {
        m_type = tag.Resolve(*type, u"type", u"attribute");
    }
    if (auto ref = tag.Find(u"attributeref")) {
        m_ref = tag.Resolve(*ref, u"ref", u"attribute");
    }
}

void WMArrayTypeAttrHandler::ReadAttributes(const StartTag& tag) {
    WMAttributeHandler::ReadAttributes(tag);
    auto value = tag.FindQualified(corvane::kWsdlNS, u"arrayType");
    if (!value) {
        return;
    }
    QName type = tag.Resolve(*value, u"arrayType", u"attribute");
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
    const StartTag& tag, std::unique_ptr<WMAttributeHandler> handler) {
    handler->InheritTargetNS(*this);
    handler->ReadAttributes(tag);
    m_attributes.push_back(std::move(handler));
    return m_attributes.back().get();
}

WMSchemaElemHandler::~WMSchemaElemHandler() = default;

WMWSDLEventHandler* WMSchemaElemHandler::StartChildElement(const StartTag& tag,
                                                           WMWSDLParseEventHandler& frame) {
    if (tag.IsSchema(u"complexType")) {
        auto type = std::make_unique<WMSchemaComplexTypeHandler>(m_schema, WMString());
        type->InheritTargetNS(*this);
        return FillSlot(m_anonComplex, std::move(type), frame);
    }
    if (tag.IsSchema(u"simpleType")) {
        auto type = std::make_unique<WMSchemaSimpleTypeHandler>(m_schema, WMString());
        type->InheritTargetNS(*this);
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

void WMSchemaElemHandler::ReadAttributes(const StartTag& tag) {
    if (auto type = tag.Find(u"elementtype")) {
        m_type = tag.Resolve(*type, u"type", u"element");
    } else if (auto ref = tag.Find(u"elementref")) {
        m_type = tag.Resolve(*ref, u"ref", u"element");
        m_isRef = true;
    } else {
        m_type = QName{corvane::NamespaceText::Kept(corvane::kXsdNS2001), u"anyType"};
    }
}

WMWSDLEventHandler* WMSequenceHandler::StartChildElement(const StartTag& tag,
                                                         WMWSDLParseEventHandler&) {
    if (!tag.IsSchema(u"element")) {
        return nullptr;
    }
    // An element declared by `ref` has no name of its own; it is known by the referenced
    // element's name, as in an instance document.
    WMString name;
    if (auto value = tag.Find(u"elementname")) {
        name = *value;
    }
    auto element = std::make_unique<WMSchemaElemHandler>(m_schema, std::move(name));
    element->InheritTargetNS(*this);
    element->ReadAttributes(tag);
    if (element->GetName().empty() && element->IsRef()) {
        element->SetName(element->GetType().local);
    }
    m_elements.push_back(std::move(element));
    return m_elements.back().get();
}

WMWSDLEventHandler* WMDerivationHandler::StartChildElement(const StartTag& tag,
                                                           WMWSDLParseEventHandler& frame) {
    if (IsSequenceLike(tag)) {
        auto sequence = std::make_unique<WMSequenceHandler>(m_schema);
        sequence->InheritTargetNS(*this);
        return FillSlot(m_sequence, std::move(sequence), frame);
    }
    if (tag.IsSchema(u"attribute")) {
        return AddAttribute(tag, std::make_unique<WMAttributeHandler>());
    }
    return nullptr;
}

void WMDerivationHandler::ReadAttributes(const StartTag& tag) {
    if (auto base = tag.Find(m_elementName, u"base")) {
        m_base = tag.Resolve(*base, u"base", m_elementName);
    }
}

WMWSDLEventHandler* WMRestrictionHandler::StartChildElement(const StartTag& tag,
                                                            WMWSDLParseEventHandler& frame) {
    if (tag.IsSchema(u"attribute") && tag.FindQualified(corvane::kWsdlNS, u"arrayType")) {
        auto* attribute = static_cast<WMArrayTypeAttrHandler*>(
            AddAttribute(tag, std::make_unique<WMArrayTypeAttrHandler>()));
        if (!m_arrayType) {
            m_arrayType = attribute;
        }
        return attribute;
    }
    return WMDerivationHandler::StartChildElement(tag, frame);
}

WMWSDLEventHandler* WMContentHandler::StartChildElement(const StartTag& tag,
                                                        WMWSDLParseEventHandler& frame) {
    std::unique_ptr<WMDerivationHandler> derivation;
    if (tag.IsSchema(u"restriction")) {
        derivation = std::make_unique<WMRestrictionHandler>(m_schema);
    } else if (tag.IsSchema(u"extension")) {
        derivation = std::make_unique<WMExtensionHandler>(m_schema);
    } else {
        return nullptr;
    }
    derivation->InheritTargetNS(*this);
    derivation->ReadAttributes(tag);
    return FillSlot(m_derivation, std::move(derivation), frame);
}

WMWSDLEventHandler* WMSchemaComplexTypeHandler::StartChildElement(const StartTag& tag,
                                                                  WMWSDLParseEventHandler& frame) {
    if (IsSequenceLike(tag)) {
        auto sequence = std::make_unique<WMSequenceHandler>(m_schema);
        sequence->InheritTargetNS(*this);
        return FillSlot(m_sequence, std::move(sequence), frame);
    }
    if (tag.IsSchema(u"complexContent")) {
        auto content = std::make_unique<WMComplexContentHandler>(m_schema);
        content->InheritTargetNS(*this);
        return FillSlot(m_complexContent, std::move(content), frame);
    }
    if (tag.IsSchema(u"simpleContent")) {
        auto content = std::make_unique<WMSimpleContentHandler>(m_schema);
        content->InheritTargetNS(*this);
        return FillSlot(m_simpleContent, std::move(content), frame);
    }
    if (tag.IsSchema(u"attribute")) {
        return AddAttribute(tag, std::make_unique<WMAttributeHandler>());
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

WMWSDLEventHandler* WMSchemaSimpleTypeHandler::StartChildElement(const StartTag& tag,
                                                                 WMWSDLParseEventHandler& frame) {
    if (!tag.IsSchema(u"restriction")) {
        return nullptr;
    }
    auto restriction = std::make_unique<WMRestrictionHandler>(m_schema);
    restriction->InheritTargetNS(*this);
    restriction->ReadAttributes(tag);
    return FillSlot(m_restriction, std::move(restriction), frame);
}

WMWSDLEventHandler* WMSchemaHandler::StartChildElement(const StartTag& tag,
                                                       WMWSDLParseEventHandler& frame) {
    if (!corvane::IsSchemaNS(tag.ns)) {
        return nullptr;
    }
    if (tag.local == u"element") {
        WStringView name = tag.Require(u"elementname", u"name", u"element", true);
        auto element = std::make_unique<WMSchemaElemHandler>(this, WMString(name));
        element->InheritTargetNS(*this);
        element->ReadAttributes(tag);
        return FileHandler(m_elements, name, std::move(element), frame);
    }
    if (tag.local == u"complexType") {
        WStringView name = tag.Require(u"complexTypename", u"name", u"complexType", true);
        auto type = std::make_unique<WMSchemaComplexTypeHandler>(this, WMString(name));
        type->InheritTargetNS(*this);
        return FileHandler(m_complexTypes, name, std::move(type), frame);
    }
    if (tag.local == u"simpleType") {
        WStringView name = tag.Require(u"simpleTypename", u"name", u"simpleType", true);
        auto type = std::make_unique<WMSchemaSimpleTypeHandler>(this, WMString(name));
        type->InheritTargetNS(*this);
        return FileHandler(m_simpleTypes, name, std::move(type), frame);
    }
    return nullptr;
}

void WMSchemaHandler::ReadAttributes(const StartTag& tag) {
    SetTargetNS(tag.Require(u"schematargetNamespace", u"targetNamespace", u"schema", false));
    auto form = tag.Find(u"schemaelementFormDefault");
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
