// Handlers for the XML Schema subset of a service description: global elements, named and
// anonymous complex and simple types, sequences, attributes, derivations and encoded arrays.
#ifndef CORVANE_WSDL_SCHEMA_H
#define CORVANE_WSDL_SCHEMA_H

#include "wsdl/handler.h"

#include <vector>

class WMSchemaHandler;
class WMSchemaComplexTypeHandler;
class WMSchemaSimpleTypeHandler;
class WMSequenceHandler;

class WMAttributeHandler : public WMWSDLEventHandler {
public:
    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;
    void ReadAttributes(const corvane::StartTag& tag) override;

    const WMString& GetName() const { return m_name; }
    const corvane::QName& GetType() const { return m_type; }
    const corvane::QName& GetRef() const { return m_ref; }

private:
    WMString m_name;
    corvane::QName m_type;
    corvane::QName m_ref;
};

// An `attribute` carrying `wsdl:arrayType`: the declaration of a SOAP-encoded array.
class WMArrayTypeAttrHandler : public WMAttributeHandler {
public:
    void ReadAttributes(const corvane::StartTag& tag) override;

    const corvane::QName& GetElementType() const { return m_elementType; }
    const WMString& GetDimensions() const { return m_dimensions; }
    unsigned int GetDimensionCount() const;

private:
    corvane::QName m_elementType;
    WMString m_dimensions;
};

// Holds what a type and its derivations have in common: attributes.
class WMSchemaAttributesOwner : public WMWSDLEventHandler {
public:
    const std::vector<std::unique_ptr<WMAttributeHandler>>& GetAttributes() const {
        return m_attributes;
    }

protected:
    WMAttributeHandler* AddAttribute(const corvane::StartTag& tag,
                                     std::unique_ptr<WMAttributeHandler> handler);

private:
    std::vector<std::unique_ptr<WMAttributeHandler>> m_attributes;
};

class WMSchemaElemHandler : public WMWSDLEventHandler {
public:
    WMSchemaElemHandler(WMSchemaHandler* schema, WMString name)
        : m_schema(schema), m_name(std::move(name)) {}
    ~WMSchemaElemHandler() override;

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;
    bool EndElement() override;
    void ReadAttributes(const corvane::StartTag& tag) override;

    const WMString& GetName() const { return m_name; }
    void SetName(WMString name) { m_name = std::move(name); }
    const corvane::QName& GetType() const { return m_type; }
    bool IsRef() const { return m_isRef; }

private:
    WMSchemaHandler* m_schema;
    WMString m_name;
    corvane::QName m_type;
    bool m_isRef = false;
    // Nested anonymous types, until the element ends and files them in the schema.
    std::unique_ptr<WMSchemaComplexTypeHandler> m_anonComplex;
    std::unique_ptr<WMSchemaSimpleTypeHandler> m_anonSimple;
};

// `sequence`; `all` and `choice` are read the same way.
class WMSequenceHandler : public WMWSDLEventHandler {
public:
    explicit WMSequenceHandler(WMSchemaHandler* schema) : m_schema(schema) {}

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;

    const std::vector<std::unique_ptr<WMSchemaElemHandler>>& GetElements() const {
        return m_elements;
    }

private:
    WMSchemaHandler* m_schema;
    std::vector<std::unique_ptr<WMSchemaElemHandler>> m_elements;
};

// `restriction` or `extension`: a base type with a sequence and attributes.
class WMDerivationHandler : public WMSchemaAttributesOwner {
public:
    WMDerivationHandler(WMSchemaHandler* schema, const char16_t* elementName)
        : m_schema(schema), m_elementName(elementName) {}

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;
    void ReadAttributes(const corvane::StartTag& tag) override;

    const corvane::QName& GetBase() const { return m_base; }
    const WMSequenceHandler* GetSequence() const { return m_sequence.get(); }
    bool IsExtension() const { return corvane::WStringView(m_elementName) == u"extension"; }
    // The `wsdl:arrayType` declaration of a restriction, or null.
    const WMArrayTypeAttrHandler* GetArrayType() const { return m_arrayType; }

protected:
    WMSchemaHandler* m_schema;
    const WMArrayTypeAttrHandler* m_arrayType = nullptr;

private:
    const char16_t* m_elementName;
    corvane::QName m_base;
    std::unique_ptr<WMSequenceHandler> m_sequence;
};

class WMRestrictionHandler : public WMDerivationHandler {
public:
    explicit WMRestrictionHandler(WMSchemaHandler* schema)
        : WMDerivationHandler(schema, u"restriction") {}

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;
};

class WMExtensionHandler : public WMDerivationHandler {
public:
    explicit WMExtensionHandler(WMSchemaHandler* schema)
        : WMDerivationHandler(schema, u"extension") {}
};

// `complexContent` or `simpleContent`: holds one derivation.
class WMContentHandler : public WMWSDLEventHandler {
public:
    explicit WMContentHandler(WMSchemaHandler* schema) : m_schema(schema) {}

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;

    const WMDerivationHandler* GetDerivation() const { return m_derivation.get(); }

private:
    WMSchemaHandler* m_schema;
    std::unique_ptr<WMDerivationHandler> m_derivation;
};

class WMComplexContentHandler : public WMContentHandler {
public:
    using WMContentHandler::WMContentHandler;
};

class WMSimpleContentHandler : public WMContentHandler {
public:
    using WMContentHandler::WMContentHandler;
};

class WMSchemaComplexTypeHandler : public WMSchemaAttributesOwner {
public:
    WMSchemaComplexTypeHandler(WMSchemaHandler* schema, WMString name)
        : m_schema(schema), m_name(std::move(name)) {}

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;

    const WMString& GetName() const { return m_name; }
    void SetName(WMString name) { m_name = std::move(name); }

    const WMSequenceHandler* GetSequence() const { return m_sequence.get(); }
    const WMComplexContentHandler* GetComplexContent() const { return m_complexContent.get(); }
    const WMSimpleContentHandler* GetSimpleContent() const { return m_simpleContent.get(); }
    // The sequence of the type itself, else the one of its derivation.
    const WMSequenceHandler* GetEffectiveSequence() const;

    // The encoded-array declaration of the type's restriction: a type is an encoded array
    // exactly when this is not null.
    const WMArrayTypeAttrHandler* GetArrayType() const;
    bool IsArray() const { return GetArrayType() != nullptr; }

private:
    WMSchemaHandler* m_schema;
    WMString m_name;
    std::unique_ptr<WMSequenceHandler> m_sequence;
    std::unique_ptr<WMComplexContentHandler> m_complexContent;
    std::unique_ptr<WMSimpleContentHandler> m_simpleContent;
};

class WMSchemaSimpleTypeHandler : public WMWSDLEventHandler {
public:
    WMSchemaSimpleTypeHandler(WMSchemaHandler* schema, WMString name)
        : m_schema(schema), m_name(std::move(name)) {}

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;

    const WMString& GetName() const { return m_name; }
    void SetName(WMString name) { m_name = std::move(name); }
    // Only the base of the restriction is kept: no query reads enumerations or facets.
    const WMRestrictionHandler* GetRestriction() const { return m_restriction.get(); }

private:
    WMSchemaHandler* m_schema;
    WMString m_name;
    std::unique_ptr<WMRestrictionHandler> m_restriction;
};

class WMSchemaHandler : public WMWSDLEventHandler {
public:
    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;
    void ReadAttributes(const corvane::StartTag& tag) override;

    bool IsElementFormQualified() const { return m_elementFormQualified; }
    const corvane::HandlerTable<WMSchemaElemHandler>& GetElements() const { return m_elements; }
    const corvane::HandlerTable<WMSchemaComplexTypeHandler>& GetComplexTypes() const {
        return m_complexTypes;
    }
    const corvane::HandlerTable<WMSchemaSimpleTypeHandler>& GetSimpleTypes() const {
        return m_simpleTypes;
    }

    // Lookups by local name; a hit counts only when its target namespace is `ns`.
    const WMSchemaElemHandler* FindElement(corvane::WStringView local,
                                           corvane::WStringView ns) const;
    const WMSchemaComplexTypeHandler* FindComplexType(corvane::WStringView local,
                                                      corvane::WStringView ns) const;

    // Files an anonymous type under a fresh GUID name and returns the name.
    WMString AddAnonymousType(std::unique_ptr<WMSchemaComplexTypeHandler> type);
    WMString AddAnonymousType(std::unique_ptr<WMSchemaSimpleTypeHandler> type);

private:
    bool m_elementFormQualified = false;
    corvane::HandlerTable<WMSchemaElemHandler> m_elements;
    corvane::HandlerTable<WMSchemaComplexTypeHandler> m_complexTypes;
    corvane::HandlerTable<WMSchemaSimpleTypeHandler> m_simpleTypes;
};

#endif
