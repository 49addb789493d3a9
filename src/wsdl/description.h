// The handlers of the WSDL 1.1 elements and the root of a description. A parsed document is the
// tree of these objects; the query layer walks it.
#ifndef CORVANE_WSDL_DESCRIPTION_H
#define CORVANE_WSDL_DESCRIPTION_H

#include "wsdl/handler.h"
#include "wsdl/schema.h"
#include "wsdl/soap_ext.h"

#include <vector>

class WMMessagePartHandler : public WMWSDLEventHandler {
public:
    explicit WMMessagePartHandler(corvane::WStringView name) : m_name(name) {}

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;
    void ReadAttributes(const corvane::StartTag& tag) override;

    const WMString& GetName() const { return m_name; }
    const corvane::QName& GetElement() const { return m_element; }
    const corvane::QName& GetType() const { return m_type; }

private:
    WMString m_name;
    corvane::QName m_element;
    corvane::QName m_type;
};

class WMMessageHandler : public WMWSDLEventHandler {
public:
    explicit WMMessageHandler(corvane::WStringView name) : m_name(name) {}

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;

    const WMString& GetName() const { return m_name; }
    // Sorted by name, whatever the order in the document.
    const corvane::HandlerTable<WMMessagePartHandler>& GetParts() const { return m_parts; }
    // The part read first in the document (the return value of an operation), or null.
    const WMMessagePartHandler* GetFirstPart() const { return m_firstPart; }

private:
    WMString m_name;
    corvane::HandlerTable<WMMessagePartHandler> m_parts;
    const WMMessagePartHandler* m_firstPart = nullptr;
};

// `input`, `output` or `fault` of a port-type operation: a name and a message.
class WMOperationMessageHandler : public WMWSDLEventHandler {
public:
    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;
    void ReadAttributes(const corvane::StartTag& tag) override;

    const WMString& GetName() const { return m_name; }
    const corvane::QName& GetMessage() const { return m_message; }

protected:
    explicit WMOperationMessageHandler(const char16_t* elementName) : m_elementName(elementName) {}

private:
    const char16_t* m_elementName;
    WMString m_name;
    corvane::QName m_message;
};

class WMInputHandler : public WMOperationMessageHandler {
public:
    WMInputHandler() : WMOperationMessageHandler(u"input") {}
};

class WMOutputHandler : public WMOperationMessageHandler {
public:
    WMOutputHandler() : WMOperationMessageHandler(u"output") {}
};

class WMFaultHandler : public WMOperationMessageHandler {
public:
    WMFaultHandler() : WMOperationMessageHandler(u"fault") {}
    void ReadAttributes(const corvane::StartTag& tag) override;
};

class WMOperationHandler : public WMWSDLEventHandler {
public:
    explicit WMOperationHandler(corvane::WStringView name) : m_name(name) {}

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;
    void ReadAttributes(const corvane::StartTag& tag) override;

    const WMString& GetName() const { return m_name; }
    const WMString& GetParameterOrder() const { return m_parameterOrder; }
    // Part name to its position in `parameterOrder`, in code-unit order of the names: one
    // array per operation rather than a tree node per name.
    const std::vector<std::pair<WMString, long>>& GetParamIndex() const { return m_paramIndex; }
    // The position of `part` in `parameterOrder`, or null.
    const long* FindParam(corvane::WStringView part) const;
    const WMInputHandler* GetInput() const { return m_input.get(); }
    const WMOutputHandler* GetOutput() const { return m_output.get(); }
    const corvane::HandlerTable<WMFaultHandler>& GetFaults() const { return m_faults; }

private:
    WMString m_name;
    WMString m_parameterOrder;
    std::vector<std::pair<WMString, long>> m_paramIndex;
    std::unique_ptr<WMInputHandler> m_input;
    std::unique_ptr<WMOutputHandler> m_output;
    corvane::HandlerTable<WMFaultHandler> m_faults;
};

class WMPortTypeHandler : public WMWSDLEventHandler {
public:
    explicit WMPortTypeHandler(corvane::WStringView name) : m_name(name) {}

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;

    const WMString& GetName() const { return m_name; }
    const corvane::HandlerTable<WMOperationHandler>& GetOperations() const { return m_operations; }

private:
    WMString m_name;
    corvane::HandlerTable<WMOperationHandler> m_operations;
};

// `input` or `output` of a binding operation: its soap:body and soap:header records.
class WMSOAPMessageBindingHandler : public WMWSDLEventHandler {
public:
    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;

    const WMSOAPBindingBodyExt* GetBody() const { return m_body.get(); }
    // In document order.
    const std::vector<std::unique_ptr<WMSOAPBindingHeaderExt>>& GetHeaders() const {
        return m_headers;
    }

private:
    std::unique_ptr<WMSOAPBindingBodyExt> m_body;
    std::vector<std::unique_ptr<WMSOAPBindingHeaderExt>> m_headers;
};

class WMSOAPInputHandler : public WMSOAPMessageBindingHandler {};
class WMSOAPOutputHandler : public WMSOAPMessageBindingHandler {};

class WMSOAPFaultElemHandler : public WMWSDLEventHandler {
public:
    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;
    void ReadAttributes(const corvane::StartTag& tag) override;

    const WMString& GetName() const { return m_name; }
    const corvane::QName& GetMessage() const { return m_message; }
    const WMSOAPBindingFaultExt* GetFault() const { return m_fault.get(); }

private:
    WMString m_name;
    corvane::QName m_message;
    std::unique_ptr<WMSOAPBindingFaultExt> m_fault;
};

class WMSOAPOperationHandler : public WMWSDLEventHandler {
public:
    explicit WMSOAPOperationHandler(corvane::WStringView name) : m_name(name) {}

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;

    const WMString& GetName() const { return m_name; }
    const WMSOAPBindingOpExt* GetOperationExt() const { return m_operationExt.get(); }
    const WMSOAPInputHandler* GetInput() const { return m_input.get(); }
    const WMSOAPOutputHandler* GetOutput() const { return m_output.get(); }
    const std::vector<std::unique_ptr<WMSOAPFaultElemHandler>>& GetFaults() const {
        return m_faults;
    }

private:
    WMString m_name;
    std::unique_ptr<WMSOAPBindingOpExt> m_operationExt;
    std::unique_ptr<WMSOAPInputHandler> m_input;
    std::unique_ptr<WMSOAPOutputHandler> m_output;
    std::vector<std::unique_ptr<WMSOAPFaultElemHandler>> m_faults;
};

class WMBindingHandler : public WMWSDLEventHandler {
public:
    explicit WMBindingHandler(corvane::WStringView name) : m_name(name) {}

    void ReadAttributes(const corvane::StartTag& tag) override;

    const WMString& GetName() const { return m_name; }
    const corvane::QName& GetType() const { return m_type; }

private:
    WMString m_name;
    corvane::QName m_type;
};

class WMSOAPBindingHandler : public WMBindingHandler {
public:
    using WMBindingHandler::WMBindingHandler;

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;

    bool EndElement() override;

    const WMSOAPBindingBindingExt* GetBindingExt() const { return m_bindingExt.get(); }
    const corvane::HandlerTable<WMSOAPOperationHandler>& GetOperations() const {
        return m_operations;
    }
    // The first operation, in name order, whose stored (quoted) soapAction is `soapAction`.
    const WMSOAPOperationHandler* FindOperationBySOAPAction(corvane::WStringView soapAction) const;

private:
    std::unique_ptr<WMSOAPBindingBindingExt> m_bindingExt;
    corvane::HandlerTable<WMSOAPOperationHandler> m_operations;
    // Built when the binding element ends and read-only afterwards, so that a received action
    // is found without walking every operation: sorted by action, one entry per action. The
    // keys are the operations' own texts.
    std::vector<std::pair<corvane::WStringView, const WMSOAPOperationHandler*>>
        m_operationsByAction;
};

class WMPortHandler : public WMWSDLEventHandler {
public:
    explicit WMPortHandler(corvane::WStringView name) : m_name(name) {}

    void ReadAttributes(const corvane::StartTag& tag) override;

    const WMString& GetName() const { return m_name; }
    const corvane::QName& GetBinding() const { return m_binding; }

private:
    WMString m_name;
    corvane::QName m_binding;
};

class WMSOAPPortHandler : public WMPortHandler {
public:
    using WMPortHandler::WMPortHandler;

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;

    const WMSOAPAddressExt* GetAddress() const { return m_address.get(); }

private:
    std::unique_ptr<WMSOAPAddressExt> m_address;
};

class WMServiceHandler : public WMWSDLEventHandler {
public:
    explicit WMServiceHandler(corvane::WStringView name) : m_name(name) {}

    const WMString& GetName() const { return m_name; }

private:
    WMString m_name;
};

class WMSOAPServiceHandler : public WMServiceHandler {
public:
    using WMServiceHandler::WMServiceHandler;

    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;

    const corvane::HandlerTable<WMSOAPPortHandler>& GetPorts() const { return m_ports; }

private:
    corvane::HandlerTable<WMSOAPPortHandler> m_ports;
};

class WMTypesHandler : public WMWSDLEventHandler {
public:
    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;

    const corvane::HandlerTable<WMSchemaHandler>& GetSchemas() const { return m_schemas; }
    corvane::HandlerTable<WMSchemaHandler>& Schemas() { return m_schemas; }
    const WMSchemaHandler* FindSchema(corvane::WStringView ns) const;

private:
    corvane::HandlerTable<WMSchemaHandler> m_schemas;
};

class WMSOAPWSDLDesc;

class WMDefinitionsHandler : public WMWSDLEventHandler {
public:
    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;
    void ReadAttributes(const corvane::StartTag& tag) override;

    const WMString& GetName() const { return m_name; }
    const WMString& GetDefinitionsTNS() const { return m_targetNamespace; }

    const corvane::HandlerTable<WMMessageHandler>& GetMessages() const { return m_messages; }
    const corvane::HandlerTable<WMPortTypeHandler>& GetPortTypes() const { return m_portTypes; }
    const corvane::HandlerTable<WMSOAPBindingHandler>& GetBindings() const { return m_bindings; }
    const corvane::HandlerTable<WMSOAPServiceHandler>& GetServices() const { return m_services; }
    const WMTypesHandler& GetTypes() const { return m_types; }

    // Lookups of the description model: messages and port types by qualified name (the
    // namespace must match), services by name within the definitions' namespace, bindings by
    // local name alone.
    const WMMessageHandler* FindMessage(const corvane::QName& name) const;
    const WMPortTypeHandler* FindPortType(const corvane::QName& name) const;
    const WMSOAPServiceHandler* FindService(corvane::WStringView name) const;
    const WMSOAPBindingHandler* FindBinding(const corvane::QName& name) const;

protected:
    corvane::HandlerTable<WMMessageHandler> m_messages;
    corvane::HandlerTable<WMPortTypeHandler> m_portTypes;
    corvane::HandlerTable<WMSOAPBindingHandler> m_bindings;
    corvane::HandlerTable<WMSOAPServiceHandler> m_services;
    WMTypesHandler m_types;

private:
    void Import(const corvane::StartTag& tag, WMWSDLParseEventHandler& frame);
    void Merge(WMSOAPWSDLDesc& imported);

    WMString m_name;
    WMString m_targetNamespace;
};

class WMSOAPDefinitionsHandler : public WMDefinitionsHandler {
public:
    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;
};

class WMWSDLDesc : public WMWSDLEventHandler {};

// The root of one document: its `definitions`, or the schemas of a document that is a bare
// XML Schema.
class WMSOAPWSDLDesc : public WMWSDLDesc {
public:
    WMWSDLEventHandler* StartChildElement(const corvane::StartTag& tag,
                                          WMWSDLParseEventHandler& frame) override;

    const WMSOAPDefinitionsHandler& GetDefinitions() const { return m_definitions; }
    WMSOAPDefinitionsHandler& Definitions() { return m_definitions; }
    const corvane::HandlerTable<WMSchemaHandler>& GetSchemas() const { return m_schemas; }
    corvane::HandlerTable<WMSchemaHandler>& Schemas() { return m_schemas; }
    const WMString& GetDocBase() const { return m_docBase; }
    void SetDocBase(const WMString& docBase) { m_docBase = docBase; }
    // The arena the handlers of this description live in.
    void SetArena(std::shared_ptr<corvane::detail::HandlerArena> arena) {
        m_arena = std::move(arena);
    }

private:
    // First, so that it is released after every handler in it.
    std::shared_ptr<corvane::detail::HandlerArena> m_arena;
    WMSOAPDefinitionsHandler m_definitions;
    corvane::HandlerTable<WMSchemaHandler> m_schemas;
    WMString m_docBase;
};

#endif
