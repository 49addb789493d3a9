// WMSOAPMessage::Deserialize and ProcessRPC: the message's side of reading an envelope.
#include <corvane/deserializer.h>
#include <corvane/message.h>
#include <corvane/wsdl.h>

#include <memory>

#include "soap/deserializer_impl.h"
#include "soap/standard_values.h"
#include "xml/parser_access.h"

namespace {

// The message makes its deserializers on first use; this file owns their definition and so
// supplies the deleter.
template <class T>
T& Engine(std::unique_ptr<T, void (*)(T*)>& slot) {
    if (!slot) {
        slot = std::unique_ptr<T, void (*)(T*)>(new T, [](T* engine) { delete engine; });
    }
    return *slot;
}

}  // namespace

void corvane::detail::MessageBuilder::BeginRead(WMSOAPMessage& message) {
    message.m_isLocalFault = true;
    message.m_isLiteralFault = false;
}

int& corvane::detail::MessageBuilder::ParseLine(WMSOAPMessage& message, bool request) {
    WMXMLParser& parser = request ? Engine(message.m_reqDeserializer).m_state->parser
                                  : Engine(message.m_respDeserializer).m_state->parser;
    return XMLParserAccess::Line(parser);
}

void corvane::detail::CheckRequestAction(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    WMString soapAction;
    if (!wsdl.GetMethodSOAPAction(message.GetMethodName(), soapAction)) {
        throw new WMSOAPFault(u"SOAP-ENV:Client", u"Unrecognized method call received.", false);
    }
    // Exact comparison: the quotes of the HTTP header are part of the value.
    if (soapAction != message.GetSOAPAction() &&
        !(message.GetStandardWireMode() &&
          StandardActionMatches(soapAction, message.GetSOAPAction(), message.GetMethodNS(),
                                message.GetMethodName()))) {
        throw new WMSOAPFault(u"SOAP-ENV:Client",
                              u"Unrecognized 'SOAPAction' HTTP header received.", false);
    }
}

bool WMSOAPMessage::Deserialize(WMSOAPWSDLClient& wsdl) {
    corvane::detail::MessageBuilder::BeginRead(*this);
    if (m_requestPhase) {
        Engine(m_reqDeserializer).SetStandardWireMode(m_standardWireMode);
        Engine(m_reqDeserializer).Deserialize(*this, wsdl);
    } else {
        Engine(m_respDeserializer).SetStandardWireMode(m_standardWireMode);
        Engine(m_respDeserializer).Deserialize(*this, wsdl);
    }
    return true;
}

bool WMSOAPMessage::ProcessRPC(WMSOAPWSDLClient& wsdl) {
    if (m_requestPhase) {
        corvane::detail::CheckRequestAction(*this, wsdl);
        Engine(m_reqDeserializer).SetStandardWireMode(m_standardWireMode);
        Engine(m_reqDeserializer).ProcessRPCRequest(*this, wsdl);
    } else {
        Engine(m_respDeserializer).SetStandardWireMode(m_standardWireMode);
        Engine(m_respDeserializer).ProcessRPCResponse(*this, wsdl);
    }
    return true;
}
