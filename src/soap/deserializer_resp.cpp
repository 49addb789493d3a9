#include <corvane/deserializer.h>
#include <corvane/message.h>
#include <corvane/wsdl.h>

#include <utility>

#include "soap/deserializer_impl.h"
#include "soap/parse_handlers.h"
#include "soap/read_steps.h"

using corvane::WMSOAPHeaderElemHandler;
using corvane::WMSOAPParamHandler;

WMSOAPRespDeserializer::WMSOAPRespDeserializer()
    : m_state(std::make_unique<corvane::RespParseState>()) {}

WMSOAPRespDeserializer::WMSOAPRespDeserializer(WMSOAPRespDeserializer const& other)
    : WMSOAPDeserializer(other), m_state(std::make_unique<corvane::RespParseState>()) {}

WMSOAPRespDeserializer& WMSOAPRespDeserializer::operator=(WMSOAPRespDeserializer const& other) {
    if (this != &other) {
        WMSOAPDeserializer::operator=(other);
        m_state = std::make_unique<corvane::RespParseState>();
    }
    return *this;
}

WMSOAPRespDeserializer::~WMSOAPRespDeserializer() = default;

bool WMSOAPRespDeserializer::Deserialize(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    ReleaseTree();
    corvane::ParseEnvelope(m_state->parser, *message.GetBufferPtr(), m_state->events);
    ResetValueBudget(m_state->events.GetElementCount());
    DeserializeHeader(message, wsdl);
    DeserializeBody(message, wsdl);
    // The document was needed for the literal texts only; the values are read from the
    // handlers. Freeing it before they are built keeps it out of the peak memory of a call.
    delete m_state->parser.DetachDocRoot();
    return true;
}

void WMSOAPRespDeserializer::ReleaseTree() {
    // The stack still points into the old tree: empty it before the tree goes.
    m_state->events.Reset();
    m_state->handler = std::make_unique<corvane::WMSOAPResponseMessageHandler>();
    m_state->events.SetRootHandler(m_state->handler.get());
}

bool WMSOAPRespDeserializer::IsSOAPFault(void) {
    return GetBodyHandler().FaultSeen();
}

corvane::WMSOAPHeaderHandler& WMSOAPRespDeserializer::GetHeaderHandler(void) {
    return m_state->handler->GetEnvelope().GetHeader();
}

corvane::WMSOAPResponseBodyHandler& WMSOAPRespDeserializer::GetBodyHandler(void) {
    return m_state->handler->GetEnvelope().GetBody();
}

corvane::WMSOAPResponseHandler* WMSOAPRespDeserializer::GetResponseHandler(void) {
    return GetBodyHandler().GetResponseHandler();
}

std::vector<WMSOAPHeaderElemHandler*> const& WMSOAPRespDeserializer::GetHeaderEntries(void) {
    return GetHeaderHandler().GetEntries();
}

std::vector<WMSOAPParamHandler*> const& WMSOAPRespDeserializer::GetMethodParameters(void) {
    static std::vector<WMSOAPParamHandler*> const none;
    corvane::WMSOAPResponseHandler* response = GetResponseHandler();
    return response != nullptr ? response->GetChildren() : none;
}

WMSOAPParamHandler* WMSOAPRespDeserializer::GetMultiRefElem(WMSOAPParamHandler* element) {
    return corvane::FindReferencedElement(element->GetHref(), GetBodyHandler().GetIdTable(),
                                          GetHeaderHandler().GetIdTable());
}

bool WMSOAPRespDeserializer::DeserializeHeader(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    auto reader = corvane::HandlerReader(*this, &wsdl);
    corvane::ReadHeaderEntries(reader, GetHeaderEntries(), message, wsdl,
                               corvane::ReadSide::kResponse, IsSOAPFault());
    return true;
}

bool WMSOAPRespDeserializer::DeserializeBody(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    if (IsSOAPFault()) {
        DeserializeSOAPFault(message, wsdl);
    }
    corvane::WMSOAPResponseBodyHandler& body = GetBodyHandler();
    if (body.GetElement() == nullptr) {
        return true;
    }
    // The body is nearly the whole envelope: its text is given the envelope's size at once.
    corvane::detail::MessageBuilder::SetBodyElemLit(
        message, corvane::ElementText(body.GetElement(), message.GetBufferLength()),
        body.GetEncodingStyle());
    return true;
}

bool WMSOAPRespDeserializer::DeserializeSOAPFault(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    corvane::WMSOAPFaultHandler* fault = GetBodyHandler().GetFaultHandler();
    auto reader = corvane::HandlerReader(*this, &wsdl);
    corvane::ReadFault(reader, fault->GetFaultCode(), fault->GetFaultString(),
                       fault->GetFaultActor(), fault->GetDetail(), message, wsdl);
    return true;
}

bool WMSOAPRespDeserializer::ProcessRPCResponse(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    if (IsSOAPFault() || GetMethodParameters().empty()) {
        return true;
    }
    auto reader = corvane::HandlerReader(*this, &wsdl);
    corvane::ReadResponseParams(reader, GetMethodParameters(), message, wsdl);
    return true;
}
