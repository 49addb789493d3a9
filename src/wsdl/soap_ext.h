// Records of the SOAP binding extension elements (soap:binding, soap:operation, soap:body,
// soap:header, soap:headerfault, soap:fault, soap:address).
#ifndef CORVANE_WSDL_SOAP_EXT_H
#define CORVANE_WSDL_SOAP_EXT_H

#include "wsdl/handler.h"

#include <vector>

// A record knows no children unless said otherwise.
class WMSOAPBindingExt : public WMWSDLEventHandler {
public:
    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;
};

class WMSOAPBindingBindingExt : public WMSOAPBindingExt {
public:
    void ReadAttributes(const corvane::StartTag& tag) override;

    const WMString& GetStyle() const { return m_style; }
    const WMString& GetTransport() const { return m_transport; }

private:
    WMString m_style;
    WMString m_transport;
};

class WMSOAPBindingOpExt : public WMSOAPBindingExt {
public:
    void ReadAttributes(const corvane::StartTag& tag) override;

    // In double quotes when the attribute was present, empty when it was absent.
    const WMString& GetSOAPAction() const { return m_soapAction; }
    const WMString& GetStyle() const { return m_style; }

private:
    WMString m_soapAction;
    WMString m_style;
};

class WMSOAPBindingBodyExt : public WMSOAPBindingExt {
public:
    void ReadAttributes(const corvane::StartTag& tag) override;

    const WMString& GetParts() const { return m_parts; }
    const WMString& GetUse() const { return m_use; }
    const WMString& GetEncodingStyle() const { return m_encodingStyle; }
    const WMString& GetNamespace() const { return m_namespace; }

private:
    WMString m_parts;
    WMString m_use;
    WMString m_encodingStyle;
    WMString m_namespace;
};

// soap:header and soap:headerfault share their fields; they differ in the element name that
// prefixes the attribute keys and in whether soap:headerfault children are accepted.
class WMSOAPBindingHeaderFaultExt : public WMSOAPBindingExt {
public:
    WMSOAPBindingHeaderFaultExt()
        : WMSOAPBindingHeaderFaultExt(u"headerfault", u"soap:headerfault") {}

    void ReadAttributes(const corvane::StartTag& tag) override;

    const corvane::QName& GetMessage() const { return m_message; }
    const WMString& GetPart() const { return m_part; }
    const WMString& GetUse() const { return m_use; }
    const WMString& GetEncodingStyle() const { return m_encodingStyle; }
    const WMString& GetNamespace() const { return m_namespace; }

protected:
    WMSOAPBindingHeaderFaultExt(const char16_t* localName, const char16_t* displayName)
        : m_localName(localName), m_displayName(displayName) {}

private:
    const char16_t* m_localName;
    const char16_t* m_displayName;
    corvane::QName m_message;
    WMString m_part;
    WMString m_use;
    WMString m_encodingStyle;
    WMString m_namespace;
};

class WMSOAPBindingHeaderExt : public WMSOAPBindingHeaderFaultExt {
public:
    WMSOAPBindingHeaderExt() : WMSOAPBindingHeaderFaultExt(u"header", u"soap:header") {}

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;

    const std::vector<std::unique_ptr<WMSOAPBindingHeaderFaultExt>>& GetHeaderFaults() const {
        return m_headerFaults;
    }

private:
    std::vector<std::unique_ptr<WMSOAPBindingHeaderFaultExt>> m_headerFaults;
};

class WMSOAPBindingFaultExt : public WMSOAPBindingExt {
public:
    void ReadAttributes(const corvane::StartTag& tag) override;

    const WMString& GetName() const { return m_name; }
    const WMString& GetUse() const { return m_use; }
    const WMString& GetEncodingStyle() const { return m_encodingStyle; }
    const WMString& GetNamespace() const { return m_namespace; }

private:
    WMString m_name;
    WMString m_use;
    WMString m_encodingStyle;
    WMString m_namespace;
};

class WMSOAPAddressExt : public WMSOAPBindingExt {
public:
    void ReadAttributes(const corvane::StartTag& tag) override;

    const WMString& GetLocation() const { return m_location; }

private:
    WMString m_location;
};

#endif
