#include "wsdl/description.h"

#include <corvane/wsdl.h>

#include <algorithm>

#include "wsdl/frame.h"

using corvane::kWsdlNS;
using corvane::kWsdlSoapNS;
using corvane::QName;
using corvane::StartTag;
using corvane::WStringView;

namespace {

template <class T>
T* ReadRecord(std::unique_ptr<T>& slot, const WMWSDLEventHandler& parent, const StartTag& tag,
              WMWSDLParseEventHandler& frame) {
    auto record = std::make_unique<T>();
    record->InheritTargetNS(parent);
    record->ReadAttributes(tag);
    return FillSlot(slot, std::move(record), frame);
}

}  // namespace

// message and part

WMWSDLEventHandler* WMMessagePartHandler::StartChildElement(const StartTag&,
                                                            WMWSDLParseEventHandler&) {
    return nullptr;
}

void WMMessagePartHandler::ReadAttributes(const StartTag& tag) {
    // The messages name the enclosing 'message', not 'part'.
    if (auto element = tag.Find(u"partelement")) {
        m_element = tag.Resolve(*element, u"element", u"message");
    }
    if (auto type = tag.Find(u"parttype")) {
        m_type = tag.Resolve(*type, u"type", u"message");
    }
}

WMWSDLEventHandler* WMMessageHandler::StartChildElement(const StartTag& tag,
                                                        WMWSDLParseEventHandler& frame) {
    if (!tag.Is(kWsdlNS, u"part")) {
        return nullptr;
    }
    WStringView name = tag.Require(u"partname", u"name", u"part", true);
    auto part = std::make_unique<WMMessagePartHandler>(name);
    part->InheritTargetNS(*this);
    part->ReadAttributes(tag);
    WMMessagePartHandler* raw = FileHandler(m_parts, name, std::move(part), frame);
    if (!m_firstPart) {
        m_firstPart = raw;
    }
    return raw;
}

// portType, operation, input, output, fault

WMWSDLEventHandler* WMOperationMessageHandler::StartChildElement(const StartTag&,
                                                                 WMWSDLParseEventHandler&) {
    return nullptr;
}

void WMOperationMessageHandler::ReadAttributes(const StartTag& tag) {
    if (auto name = tag.Find(m_elementName, u"name")) {
        m_name = *name;
    }
    auto message = tag.Find(m_elementName, u"message");
    if (!message) {
        corvane::ThrowMissingAttribute(u"message", m_elementName, false);
    }
    m_message = tag.Resolve(*message, u"message", m_elementName);
}

void WMFaultHandler::ReadAttributes(const StartTag& tag) {
    tag.Require(u"faultname", u"name", u"fault", false);
    WMOperationMessageHandler::ReadAttributes(tag);
}

WMWSDLEventHandler* WMOperationHandler::StartChildElement(const StartTag& tag,
                                                          WMWSDLParseEventHandler& frame) {
    if (!corvane::TextEquals(tag.ns, kWsdlNS)) {
        return nullptr;
    }
    if (tag.local == u"input") {
        return ReadRecord(m_input, *this, tag, frame);
    }
    if (tag.local == u"output") {
        return ReadRecord(m_output, *this, tag, frame);
    }
    if (tag.local == u"fault") {
        WStringView name = tag.Require(u"faultname", u"name", u"fault", true);
        auto fault = std::make_unique<WMFaultHandler>();
        fault->InheritTargetNS(*this);
        fault->ReadAttributes(tag);
        return FileHandler(m_faults, name, std::move(fault), frame);
    }
    return nullptr;
}

void WMOperationHandler::ReadAttributes(const StartTag& tag) {
    auto order = tag.Find(u"operationparameterOrder");
    if (!order) {
        return;
    }
    m_parameterOrder = *order;
    // Only the space character separates names; a repeated name keeps its first position while
    // the counter still advances.
    m_paramIndex.reserve(static_cast<std::size_t>(
                             std::count(m_parameterOrder.begin(), m_parameterOrder.end(), u' ')) +
                         1);
    long position = 0;
    std::size_t start = 0;
    while (start <= m_parameterOrder.size()) {
        std::size_t end = m_parameterOrder.find(u' ', start);
        if (end == WMString::npos) {
            end = m_parameterOrder.size();
        }
        if (end > start) {
            m_paramIndex.emplace_back(m_parameterOrder.substr(start, end - start), position);
            ++position;
        }
        start = end + 1;
    }
    // Equal names sort by position, so unique keeps the first.
    std::sort(m_paramIndex.begin(), m_paramIndex.end());
    const auto sameName = [](const auto& a, const auto& b) { return a.first == b.first; };
    m_paramIndex.erase(std::unique(m_paramIndex.begin(), m_paramIndex.end(), sameName),
                       m_paramIndex.end());
}

const long* WMOperationHandler::FindParam(WStringView part) const {
    auto it = std::lower_bound(m_paramIndex.begin(), m_paramIndex.end(), part,
                               [](const std::pair<WMString, long>& entry, WStringView name) {
                                   return entry.first < name;
                               });
    return it != m_paramIndex.end() && it->first == part ? &it->second : nullptr;
}

WMWSDLEventHandler* WMPortTypeHandler::StartChildElement(const StartTag& tag,
                                                         WMWSDLParseEventHandler& frame) {
    if (!tag.Is(kWsdlNS, u"operation")) {
        return nullptr;
    }
    WStringView name = tag.Require(u"operationname", u"name", u"operation", true);
    auto operation = std::make_unique<WMOperationHandler>(name);
    operation->InheritTargetNS(*this);
    operation->ReadAttributes(tag);
    return FileHandler(m_operations, name, std::move(operation), frame);
}

// binding

WMWSDLEventHandler* WMSOAPMessageBindingHandler::StartChildElement(const StartTag& tag,
                                                                   WMWSDLParseEventHandler& frame) {
    if (!corvane::TextEquals(tag.ns, kWsdlSoapNS)) {
        return nullptr;
    }
    if (tag.local == u"body") {
        return ReadRecord(m_body, *this, tag, frame);
    }
    if (tag.local == u"header") {
        auto header = std::make_unique<WMSOAPBindingHeaderExt>();
        header->InheritTargetNS(*this);
        header->ReadAttributes(tag);
        m_headers.push_back(std::move(header));
        return m_headers.back().get();
    }
    return nullptr;
}

WMWSDLEventHandler* WMSOAPFaultElemHandler::StartChildElement(const StartTag& tag,
                                                              WMWSDLParseEventHandler& frame) {
    if (!tag.Is(kWsdlSoapNS, u"fault")) {
        return nullptr;
    }
    return ReadRecord(m_fault, *this, tag, frame);
}

void WMSOAPFaultElemHandler::ReadAttributes(const StartTag& tag) {
    if (auto name = tag.Find(u"faultname")) {
        m_name = *name;
    }
    if (auto message = tag.Find(u"faultmessage")) {
        m_message = tag.Resolve(*message, u"message", u"fault");
    }
}

WMWSDLEventHandler* WMSOAPOperationHandler::StartChildElement(const StartTag& tag,
                                                              WMWSDLParseEventHandler& frame) {
    if (tag.Is(kWsdlSoapNS, u"operation")) {
        return ReadRecord(m_operationExt, *this, tag, frame);
    }
    if (!corvane::TextEquals(tag.ns, kWsdlNS)) {
        return nullptr;
    }
    if (tag.local == u"input") {
        return ReadRecord(m_input, *this, tag, frame);
    }
    if (tag.local == u"output") {
        return ReadRecord(m_output, *this, tag, frame);
    }
    if (tag.local == u"fault") {
        auto fault = std::make_unique<WMSOAPFaultElemHandler>();
        fault->InheritTargetNS(*this);
        fault->ReadAttributes(tag);
        m_faults.push_back(std::move(fault));
        return m_faults.back().get();
    }
    return nullptr;
}

void WMBindingHandler::ReadAttributes(const StartTag& tag) {
    WStringView type = tag.Require(u"bindingtype", u"type", u"binding", false);
    m_type = tag.Resolve(type, u"type", u"binding");
}

WMWSDLEventHandler* WMSOAPBindingHandler::StartChildElement(const StartTag& tag,
                                                            WMWSDLParseEventHandler& frame) {
    if (tag.Is(kWsdlSoapNS, u"binding")) {
        return ReadRecord(m_bindingExt, *this, tag, frame);
    }
    if (!tag.Is(kWsdlNS, u"operation")) {
        return nullptr;
    }
    WStringView name = tag.Require(u"operationname", u"name", u"operation", true);
    auto operation = std::make_unique<WMSOAPOperationHandler>(name);
    operation->InheritTargetNS(*this);
    return FileHandler(m_operations, name, std::move(operation), frame);
}

bool WMSOAPBindingHandler::EndElement() {
    m_operationsByAction.reserve(m_operations.size());
    for (const auto& [name, op] : m_operations) {
        if (op->GetOperationExt()) {
            m_operationsByAction.emplace_back(op->GetOperationExt()->GetSOAPAction(), op.get());
        }
    }
    // Name order within each action stays, so the first of an action is the one kept.
    const auto byAction = [](const auto& a, const auto& b) {
        return corvane::CodeUnitLess()(a.first, b.first);
    };
    std::stable_sort(m_operationsByAction.begin(), m_operationsByAction.end(), byAction);
    const auto sameAction = [](const auto& a, const auto& b) {
        return corvane::TextEquals(a.first, b.first);
    };
    m_operationsByAction.erase(
        std::unique(m_operationsByAction.begin(), m_operationsByAction.end(), sameAction),
        m_operationsByAction.end());
    return true;
}

const WMSOAPOperationHandler* WMSOAPBindingHandler::FindOperationBySOAPAction(
    WStringView soapAction) const {
    auto it = std::lower_bound(m_operationsByAction.begin(), m_operationsByAction.end(), soapAction,
                               [](const auto& entry, WStringView action) {
                                   return corvane::CodeUnitLess()(entry.first, action);
                               });
    return it != m_operationsByAction.end() && corvane::TextEquals(it->first, soapAction)
               ? it->second
               : nullptr;
}

// service and port

void WMPortHandler::ReadAttributes(const StartTag& tag) {
    WStringView binding = tag.Require(u"portbinding", u"binding", u"port", false);
    m_binding = tag.Resolve(binding, u"binding", u"port");
}

WMWSDLEventHandler* WMSOAPPortHandler::StartChildElement(const StartTag& tag,
                                                         WMWSDLParseEventHandler& frame) {
    if (!tag.Is(kWsdlSoapNS, u"address")) {
        return nullptr;
    }
    return ReadRecord(m_address, *this, tag, frame);
}

WMWSDLEventHandler* WMSOAPServiceHandler::StartChildElement(const StartTag& tag,
                                                            WMWSDLParseEventHandler& frame) {
    if (!tag.Is(kWsdlNS, u"port")) {
        return nullptr;
    }
    WStringView name = tag.Require(u"portname", u"name", u"port", true);
    auto port = std::make_unique<WMSOAPPortHandler>(name);
    port->InheritTargetNS(*this);
    port->ReadAttributes(tag);
    return FileHandler(m_ports, name, std::move(port), frame);
}

// types

namespace {

WMWSDLEventHandler* ReadSchema(corvane::HandlerTable<WMSchemaHandler>& table, WStringView parentNS,
                               const StartTag& tag, WMWSDLParseEventHandler& frame) {
    WStringView tns = tag.Require(u"schematargetNamespace", u"targetNamespace", u"schema", true);
    auto schema = std::make_unique<WMSchemaHandler>();
    schema->SetTargetNS(parentNS);
    schema->ReadAttributes(tag);
    return FileHandler(table, tns, std::move(schema), frame);
}

}  // namespace

WMWSDLEventHandler* WMTypesHandler::StartChildElement(const StartTag& tag,
                                                      WMWSDLParseEventHandler& frame) {
    if (!tag.IsSchema(u"schema")) {
        return nullptr;
    }
    return ReadSchema(m_schemas, GetTargetNS(), tag, frame);
}

const WMSchemaHandler* WMTypesHandler::FindSchema(WStringView ns) const {
    return corvane::FindIn(m_schemas, ns);
}

// definitions

void WMDefinitionsHandler::ReadAttributes(const StartTag& tag) {
    if (auto name = tag.Find(u"definitionsname")) {
        m_name = *name;
    }
    if (auto tns = tag.Find(u"definitionstargetNamespace")) {
        m_targetNamespace = *tns;
    }
    SetTargetNS(m_targetNamespace);
}

WMWSDLEventHandler* WMDefinitionsHandler::StartChildElement(const StartTag& tag,
                                                            WMWSDLParseEventHandler& frame) {
    if (!corvane::TextEquals(tag.ns, kWsdlNS)) {
        return nullptr;
    }
    if (tag.local == u"types") {
        m_types.InheritTargetNS(*this);
        return &m_types;
    }
    if (tag.local == u"message") {
        WStringView name = tag.Require(u"messagename", u"name", u"message", true);
        auto message = std::make_unique<WMMessageHandler>(name);
        message->InheritTargetNS(*this);
        return FileHandler(m_messages, name, std::move(message), frame);
    }
    if (tag.local == u"portType") {
        WStringView name = tag.Require(u"portTypename", u"name", u"portType", true);
        auto portType = std::make_unique<WMPortTypeHandler>(name);
        portType->InheritTargetNS(*this);
        return FileHandler(m_portTypes, name, std::move(portType), frame);
    }
    if (tag.local == u"import") {
        Import(tag, frame);
    }
    return nullptr;
}

WMWSDLEventHandler* WMSOAPDefinitionsHandler::StartChildElement(const StartTag& tag,
                                                                WMWSDLParseEventHandler& frame) {
    if (tag.Is(kWsdlNS, u"binding")) {
        WStringView name = tag.Require(u"bindingname", u"name", u"binding", true);
        auto binding = std::make_unique<WMSOAPBindingHandler>(name);
        binding->InheritTargetNS(*this);
        binding->ReadAttributes(tag);
        return FileHandler(m_bindings, name, std::move(binding), frame);
    }
    if (tag.Is(kWsdlNS, u"service")) {
        WStringView name = tag.Require(u"servicename", u"name", u"service", true);
        auto service = std::make_unique<WMSOAPServiceHandler>(name);
        service->InheritTargetNS(*this);
        return FileHandler(m_services, name, std::move(service), frame);
    }
    return WMDefinitionsHandler::StartChildElement(tag, frame);
}

void WMDefinitionsHandler::Import(const StartTag& tag, WMWSDLParseEventHandler& frame) {
    // The namespace is required but not compared with the imported document's: peers disagree
    // on it too often (Import3 imports one document under two namespaces).
    tag.Require(u"importnamespace", u"namespace", u"import", true);
    WStringView location = tag.Require(u"importlocation", u"location", u"import", true);
    WMSOAPWSDLImporter importer;
    importer.m_importChain = frame.Chain();
    WMString docBase = frame.Root() ? frame.Root()->GetDocBase() : WMString();
    if (!importer.ReadServiceDesc(WMString(location), docBase) || !importer.m_desc) {
        corvane::ThrowSchemaError(u"Unable to process document referenced in 'import' element.");
    }
    Merge(*importer.m_desc);
}

void WMDefinitionsHandler::Merge(WMSOAPWSDLDesc& imported) {
    WMSOAPDefinitionsHandler& other = imported.Definitions();
    // Names present already keep their entries; what is not moved is released.
    m_messages.TakeMissing(other.m_messages);
    m_portTypes.TakeMissing(other.m_portTypes);
    m_bindings.TakeMissing(other.m_bindings);
    m_services.TakeMissing(other.m_services);
    m_types.Schemas().TakeMissing(other.m_types.Schemas());
    // A bare schema document brings its schemas at the root.
    m_types.Schemas().TakeMissing(imported.Schemas());
}

const WMMessageHandler* WMDefinitionsHandler::FindMessage(const QName& name) const {
    const WMMessageHandler* message = corvane::FindIn(m_messages, name.local);
    return message && message->GetTargetNS() == name.ns ? message : nullptr;
}

const WMPortTypeHandler* WMDefinitionsHandler::FindPortType(const QName& name) const {
    const WMPortTypeHandler* portType = corvane::FindIn(m_portTypes, name.local);
    return portType && portType->GetTargetNS() == name.ns ? portType : nullptr;
}

const WMSOAPServiceHandler* WMDefinitionsHandler::FindService(WStringView name) const {
    const WMSOAPServiceHandler* service = corvane::FindIn(m_services, name);
    return service && service->GetTargetNS() == m_targetNamespace ? service : nullptr;
}

const WMSOAPBindingHandler* WMDefinitionsHandler::FindBinding(const QName& name) const {
    // Deliberately by local name alone, unlike messages and port types.
    return corvane::FindIn(m_bindings, name.local);
}

// root

WMWSDLEventHandler* WMSOAPWSDLDesc::StartChildElement(const StartTag& tag,
                                                      WMWSDLParseEventHandler& frame) {
    if (tag.Is(kWsdlNS, u"definitions")) {
        m_definitions.ReadAttributes(tag);
        return &m_definitions;
    }
    if (tag.IsSchema(u"schema")) {
        return ReadSchema(m_schemas, tag.ns, tag, frame);
    }
    return nullptr;
}
