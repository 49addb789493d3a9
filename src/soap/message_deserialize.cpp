// WMSOAPMessage::Deserialize and ProcessRPC: the message's side of reading an envelope.
#include <corvane/deserializer.h>
#include <corvane/message.h>
#include <corvane/wsdl.h>

#include <memory>

#include "soap/standard_values.h"

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

bool WMSOAPMessage::Deserialize(WMSOAPWSDLClient& wsdl) {
    m_isLocalFault = true;
    m_isLiteralFault = false;
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
        WMString soapAction;
        if (!wsdl.GetMethodSOAPAction(m_methodName, soapAction)) {
            throw new WMSOAPFault(u"SOAP-ENV:Client", u"Unrecognized method call received.", false);
        }
        // Exact comparison: the quotes of the HTTP header are part of the value.
        if (soapAction != m_soapAction &&
            !(m_standardWireMode && corvane::detail::StandardActionMatches(
                                        soapAction, m_soapAction, m_methodNS, m_methodName))) {
            throw new WMSOAPFault(u"SOAP-ENV:Client",
                                  u"Unrecognized 'SOAPAction' HTTP header received.", false);
        }
        Engine(m_reqDeserializer).SetStandardWireMode(m_standardWireMode);
        Engine(m_reqDeserializer).ProcessRPCRequest(*this, wsdl);
    } else {
        Engine(m_respDeserializer).SetStandardWireMode(m_standardWireMode);
        Engine(m_respDeserializer).ProcessRPCResponse(*this, wsdl);
    }
    return true;
}
