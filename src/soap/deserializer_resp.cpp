#include <corvane/deserializer.h>
#include <corvane/message.h>
#include <corvane/wsdl.h>

#include <utility>

#include "soap/deserializer_impl.h"
#include "soap/parse_handlers.h"

using corvane::WMSOAPHeaderElemHandler;
using corvane::WMSOAPParamHandler;

namespace {

constexpr char16_t kServer[] = u"SOAP-ENV:Server";
constexpr char16_t kClient[] = u"SOAP-ENV:Client";

}  // namespace

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
    WMString const& operation = message.GetMethodName();
    bool const fault = IsSOAPFault();
    for (WMSOAPHeaderElemHandler* entry : GetHeaderEntries()) {
        if (entry->GetActor() == corvane::soapuri::kNextActor) {
            entry->SetActor(message.GetActorURI());
        }
        WMString const& name = entry->GetLocalName();
        WMString const& ns = entry->GetNS();
        WMString typeName;
        WMString typeNS;
        bool encoded =
            entry->GetEncodingStyle() == corvane::soapuri::kEncoding && entry->GetRoot() != u"0";
        if (encoded) {
            bool const described =
                fault ? wsdl.GetInHeaderFaultPartType(operation, name, ns, typeName, typeNS)
                      : wsdl.GetOutputHeaderPartType(operation, name, ns, typeName, typeNS);
            encoded = described || wsdl.GetHeaderElemType(name, ns, typeName, typeNS);
        }
        if (!encoded) {
            message.AddHeaderElemLit(ns, name, corvane::ElementText(entry->GetElement()),
                                     entry->GetMustUnderstand(), entry->GetActor(),
                                     entry->GetEncodingStyle());
            continue;
        }
        WMSOAPParamHandler* content = entry;
        if (!entry->GetHref().empty()) {
            content = ResolveReference(entry);
            if (content == nullptr) {
                corvane::ThrowSOAPFault(
                    kServer,
                    corvane::FormatFault(u"Header entry: '%s' has invalid reference.", name),
                    false);
            }
        }
        WMSOAPStructMember value;
        bool ok = false;
        if (IsXSDType(typeNS) || IsSoapEncType(typeNS)) {
            if (!content->GetTypeName().empty() &&
                !corvane::TypesAgree(content->GetTypeNS(), content->GetTypeName(), typeNS,
                                     typeName)) {
                corvane::ThrowSOAPFault(
                    kServer,
                    corvane::FormatFault(
                        u"Header entry: '%s' explicit typing conflicts with definition in WSDL "
                        u"file.",
                        name),
                    false);
            }
            ok = DeserializeBuiltInType(content, typeName, value);
        } else {
            ok = DeserializeComplexType(entry, content == entry ? nullptr : content, true, typeNS,
                                        typeName, value, message, wsdl);
        }
        if (!ok) {
            corvane::ThrowSOAPFault(
                kServer,
                HitReferenceCycle()
                    ? corvane::FormatFault(u"Header entry: '%s' has invalid reference.", name)
                    : corvane::FormatFault(u"Failed to convert element: '%s' in Response header.",
                                           name),
                false);
        }
        message.AddHeaderElem(ns, name, entry->GetMustUnderstand(), value, entry->GetActor());
    }
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
    WMSOAPParamHandler* detail = fault->GetDetail();
    message.SetSOAPFault(fault->GetFaultCode(), fault->GetFaultString(), fault->GetFaultActor(),
                         detail != nullptr);
    if (detail == nullptr) {
        return true;
    }
    WMString const& operation = message.GetMethodName();
    for (WMSOAPParamHandler* entry : detail->GetChildren()) {
        WMString const& name = entry->GetLocalName();
        WMString const& ns = entry->GetNS();
        WMString typeName;
        WMString typeNS;
        // A detail entry does not say which fault of the operation it belongs to; its name is
        // taken for both the fault and the part.
        bool const described =
            wsdl.GetFaultDetailPartType(operation, name, name, typeName, typeNS) ||
            wsdl.GetHeaderElemType(name, ns, typeName, typeNS);
        WMSOAPParamHandler* content = entry;
        if (!entry->GetHref().empty()) {
            content = ResolveReference(entry);
            if (content == nullptr) {
                corvane::ThrowSOAPFault(
                    kClient,
                    corvane::FormatFault(u"Fault detail: '%s' has invalid reference.", name),
                    false);
            }
        }
        if (!described) {
            // Undescribed entries are common in faults from foreign servers: keep what the
            // element says of itself, its own built-in type or else its text.
            typeName =
                content->GetTypeName().empty() ? WMString(u"string") : content->GetTypeName();
            typeNS = content->GetTypeName().empty() ? WMString(corvane::soapuri::kXSD2001)
                                                    : content->GetTypeNS();
        } else if ((IsXSDType(typeNS) || IsSoapEncType(typeNS)) &&
                   !content->GetTypeName().empty() &&
                   !corvane::TypesAgree(content->GetTypeNS(), content->GetTypeName(), typeNS,
                                        typeName)) {
            corvane::ThrowSOAPFault(
                kClient,
                corvane::FormatFault(
                    u"Fault detail: '%s' explicit typing conflicts with definition in WSDL file.",
                    name),
                false);
        }
        WMSOAPStructMember value;
        bool ok = IsXSDType(typeNS) || IsSoapEncType(typeNS)
                      ? DeserializeBuiltInType(content, typeName, value)
                      : DeserializeComplexType(entry, content == entry ? nullptr : content, true,
                                               typeNS, typeName, value, message, wsdl);
        if (!ok && !described && !HitReferenceCycle()) {
            // A type of its own that the description does not know: its text is all it says.
            value.SetValue(content->GetValue());
            value.SetName(content->GetLocalName());
            ok = true;
        }
        if (!ok) {
            corvane::ThrowSOAPFault(
                HitReferenceCycle() ? kClient : kServer,
                HitReferenceCycle()
                    ? corvane::FormatFault(u"Fault detail: '%s' has invalid reference.", name)
                    : corvane::FormatFault(u"Failed to convert element: '%s' in Fault detail.",
                                           name),
                false);
        }
        message.AddFaultDetailElem(ns, name, value);
    }
    return true;
}

bool WMSOAPRespDeserializer::ProcessRPCResponse(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    if (IsSOAPFault() || GetMethodParameters().empty()) {
        return true;
    }
    WMString const& operation = message.GetMethodName();
    bool first = true;
    for (WMSOAPParamHandler* child : GetMethodParameters()) {
        WMString const& name = child->GetLocalName();
        bool const isReturn = first && !wsdl.IsOperationParam(operation, name);
        first = false;
        WMString typeName;
        WMString typeNS;
        bool const typed = isReturn ? wsdl.GetOperationReturnType(operation, name, typeName, typeNS)
                                    : wsdl.GetOutputMsgPartType(operation, name, typeName, typeNS);
        if (!typed) {
            corvane::ThrowSOAPFault(
                kServer,
                corvane::FormatFault(u"Method parameter: '%s' not properly defined in WSDL file.",
                                     name),
                false);
        }
        WMSOAPParamHandler* content = child;
        if (!child->GetHref().empty()) {
            content = ResolveReference(child);
            if (content == nullptr) {
                corvane::ThrowSOAPFault(
                    kServer,
                    corvane::FormatFault(u"Method parameter: '%s' has invalid reference.", name),
                    false);
            }
        }
        WMSOAPStructMember value;
        // The SOAP encoding's own simple types (SOAP-ENC:string...) are built-in values too.
        if (IsXSDType(typeNS) || IsSoapEncType(typeNS)) {
            if (!DeserializeBuiltInType(content, typeName, value)) {
                corvane::ThrowSOAPFault(
                    kServer,
                    corvane::FormatFault(
                        u"Failed to convert method parameter: '%s' in Response Body.", name),
                    false);
            }
        } else if (!DeserializeComplexType(child, content == child ? nullptr : content, true,
                                           typeNS, typeName, value, message, wsdl)) {
            corvane::ThrowSOAPFault(
                kServer,
                HitReferenceCycle()
                    ? corvane::FormatFault(u"Method parameter: '%s' has invalid reference.", name)
                    : corvane::FormatFault(u"Failed to convert parameter: '%s' in Response Body.",
                                           name),
                false);
        }
        if (isReturn) {
            // What SetReturnValue stores, moved rather than copied.
            message.GetReturnValue() = std::move(value);
        } else {
            corvane::detail::MessageBuilder::AddMethodParam(
                message, child->GetNS(), name, std::move(value),
                wsdl.IsInputMsgPart(operation, name), true);
        }
    }
    return true;
}
