// The envelope: header entries, RPC body, fault and literal parts.
#include <corvane/message.h>
#include <corvane/serializer.h>
#include <corvane/wsdl.h>
#include <corvane/xml.h>
#include <corvane/xml_parser.h>

#include "soap/envelope_writer.h"
#include "soap/message_entries.h"

#include <algorithm>
#include <memory>
#include <new>

using corvane::detail::kSoapEncNS;
using corvane::detail::kSoapEnvNS;

namespace {

constexpr std::u16string_view kEnv = u"SOAP-ENV";
constexpr std::u16string_view kXmlDeclaration = u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

}  // namespace

WMSOAPSerializer::WMSOAPSerializer() = default;
WMSOAPSerializer::WMSOAPSerializer(WMSOAPSerializer const&) = default;
WMSOAPSerializer& WMSOAPSerializer::operator=(WMSOAPSerializer const&) = default;
WMSOAPSerializer::~WMSOAPSerializer() = default;

bool WMSOAPSerializer::Serialize(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    return Write(message, wsdl, nullptr);
}

bool WMSOAPSerializer::Write(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl,
                             corvane::detail::AnswerBytes* bytes) {
    try {
        Types types(wsdl);
        return Write(message, types, bytes);
    } catch (std::bad_alloc const&) {
        return false;
    }
}

bool WMSOAPSerializer::Write(WMSOAPMessage& message, Types& types,
                             corvane::detail::AnswerBytes* bytes) {
    // Whatever way the writing ends, the texts kept for it are not needed afterwards.
    struct EndOfCall {
        Types& types;
        ~EndOfCall() { types.EndCall(); }
    } const end{types};
    try {
        WMString text;
        // A server's first answer has no last envelope to go by; twice the request it answers,
        // still in the buffer, is a better guess than growing the text step by step (an
        // encoded answer declares its namespaces on every value and runs longer than the
        // request). Handed on in pieces, the text never runs much past one piece.
        text.reserve(bytes != nullptr ? Writer::kSpillUnits + Writer::kSpillUnits / 4
                                      : std::max(m_lengthHint, 2 * message.m_buffer.size()));
        text.assign(kXmlDeclaration);
        Writer out(text);
        m_standard = message.m_standardWireMode;
        out.EscapeCarriageReturns(m_standard);
        out.HoistDeclarations(m_standard);
        out.SpillTo(bytes);
        bool const written = message.m_isSOAPFault && message.m_isLocalFault
                                 ? SerializeSOAPFaultMsg(message, types, out)
                                 : SerializeSOAPMsg(message, types, out);
        if (!written) {
            return false;
        }
        if (bytes != nullptr) {
            bytes->rest = std::move(text);
            return true;
        }
        m_lengthHint = text.size();
        message.m_buffer = std::move(text);
        return true;
    } catch (std::bad_alloc const&) {
        return false;
    }
}

bool WMSOAPSerializer::SerializeSOAPMsg(WMSOAPMessage& message, Types& wsdl, Writer& out) {
    out.Open(kEnv, u"Envelope");
    out.DeclarePrefix(kEnv, kSoapEnvNS);
    if (!message.m_headerElems.empty() || !message.m_headerElemsLit.empty()) {
        out.Open(kEnv, u"Header");
        // Literal entries carry their own actor, mustUnderstand and encoding in their text.
        for (auto const& entry : message.m_headerElemsLit) {
            if (!SerializeElementLit(entry->m_xml, out)) {
                return false;
            }
        }
        for (auto const& entry : message.m_headerElems) {
            if (!SerializeHeaderElem(entry->m_ns, entry->m_name, entry->m_value,
                                     entry->m_mustUnderstand, entry->m_actor, message, wsdl, out)) {
                return false;
            }
        }
        out.Close();
    }
    if (!message.m_nextHopURL.empty()) {
        // A forwarding node sends the body it received, as it received it.
        if (message.m_bodyElemLit) {
            if (!SerializeElementLit(message.m_bodyElemLit->second, out)) {
                return false;
            }
            out.Close();
            return true;
        }
        // Without one, an empty body precedes the RPC body below; kept as it always was.
        out.Open(kEnv, u"Body");
        out.Close();
    }
    out.Open(kEnv, u"Body");
    WMString methodElement = message.m_methodName;
    if (!message.m_requestPhase) {
        methodElement.append(u"Response");
    }
    out.Open(u"m", methodElement);
    out.DeclarePrefix(u"m", message.m_methodNS);
    out.SetAttribute(kEnv, u"encodingStyle", kSoapEnvNS, kSoapEncNS);
    if (!message.m_requestPhase && !message.m_retValName.empty()) {
        if (!SerializeSOAPMsgParam(message.m_returnValue, message.m_methodName,
                                   message.m_retValName, message, wsdl, out)) {
            return false;
        }
    }
    // The message holds exactly the parameters to send; their in/out flags are not consulted.
    for (auto const& param : message.m_methodParams) {
        if (!SerializeSOAPMsgParam(param->m_value, message.m_methodName, param->m_name, message,
                                   wsdl, out)) {
            return false;
        }
    }
    out.Close();
    out.Close();
    out.Close();
    return true;
}

bool WMSOAPSerializer::SerializeSOAPFaultMsg(WMSOAPMessage& message, Types& wsdl, Writer& out) {
    out.Open(kEnv, u"Envelope");
    out.DeclarePrefix(kEnv, kSoapEnvNS);
    if (!message.m_faultHeaderElems.empty() || !message.m_faultHeaderElemsLit.empty()) {
        out.Open(kEnv, u"Header");
        for (auto const& entry : message.m_faultHeaderElemsLit) {
            if (!SerializeElementLit(entry->m_xml, out)) {
                return false;
            }
        }
        for (auto const& entry : message.m_faultHeaderElems) {
            if (!SerializeHeaderElem(entry->m_ns, entry->m_name, entry->m_value,
                                     entry->m_mustUnderstand, entry->m_actor, message, wsdl, out)) {
                return false;
            }
        }
        out.Close();
    }
    if (message.m_isLiteralFault) {
        // The literal text is the whole body; an empty slot does not parse and fails.
        WMString const none;
        if (!SerializeElementLit(message.m_bodyElemLit ? message.m_bodyElemLit->second : none,
                                 out)) {
            return false;
        }
        out.Close();
        return true;
    }
    out.Open(kEnv, u"Body");
    out.Open(kEnv, u"Fault");
    out.Open({}, u"faultcode");
    out.Text(message.m_faultCode);
    out.Close();
    out.Open({}, u"faultstring");
    out.Text(message.m_faultString);
    out.Close();
    if (!message.m_nextHopURL.empty() || !message.m_faultActor.empty()) {
        // A fault raised here names this node; a received one keeps the actor it came with.
        out.Open({}, u"faultactor");
        out.Text(message.m_isLocalFault ? message.m_actorURI : message.m_faultActor);
        out.Close();
    }
    if (message.m_faultNeedDetail) {
        out.Open({}, u"detail");
        // One encodingStyle however many entries there are.
        if (!message.m_faultDetailElems.empty()) {
            out.SetAttribute(kEnv, u"encodingStyle", kSoapEnvNS, kSoapEncNS);
        }
        for (auto const& entry : message.m_faultDetailElems) {
            if (!SerializeFaultDetailElem(entry->m_ns, entry->m_name, entry->m_value, message, wsdl,
                                          out)) {
                return false;
            }
        }
        out.Close();
    }
    out.Close();
    out.Close();
    out.Close();
    return true;
}

bool WMSOAPSerializer::SerializeHeaderElem(WMString const& ns, WMString const& name,
                                           WMSOAPStructMember& value, bool mustUnderstand,
                                           WMString const& actor, WMSOAPMessage& message,
                                           Types& wsdl, Writer& out) {
    // The header queries apply the part rule: a part declared with an element answers with
    // that element's type, one declared with a type answers with the type itself.
    WMString typeName;
    WMString typeNS;
    WMSOAPWSDLClient& client = wsdl.Wsdl();
    bool found;
    if (message.m_requestPhase) {
        found = client.GetInputHeaderPartType(message.m_methodName, name, ns, typeName, typeNS);
    } else if (message.m_isSOAPFault) {
        found = client.GetInHeaderFaultPartType(message.m_methodName, name, ns, typeName, typeNS);
    } else {
        found = client.GetOutputHeaderPartType(message.m_methodName, name, ns, typeName, typeNS);
    }
    if (!found) {
        return false;
    }
    out.Open(u"h", name);
    out.DeclarePrefix(u"h", ns);
    if (!actor.empty()) {
        out.SetAttribute(kEnv, u"actor", kSoapEnvNS, actor);
    }
    if (mustUnderstand) {
        out.SetAttribute(kEnv, u"mustUnderstand", kSoapEnvNS, u"1");
    }
    out.SetAttribute(kEnv, u"encodingStyle", kSoapEnvNS, kSoapEncNS);
    if (!SerializeValue(wsdl.Type(typeName, typeNS), value, message, wsdl, out)) {
        return false;
    }
    out.Close();
    return true;
}

bool WMSOAPSerializer::SerializeSOAPMsgParam(WMSOAPStructMember& value, WMString const& methodName,
                                             WMString const& partName, WMSOAPMessage& message,
                                             Types& wsdl, Writer& out) {
    Schema* const type = wsdl.PartType(methodName, partName, message.m_requestPhase);
    if (type == nullptr) {
        return false;
    }
    out.Open({}, partName);
    if (!SerializeValue(*type, value, message, wsdl, out)) {
        return false;
    }
    out.Close();
    return true;
}

bool WMSOAPSerializer::SerializeFaultDetailElem(WMString const& ns, WMString const& name,
                                                WMSOAPStructMember& value, WMSOAPMessage& message,
                                                Types& wsdl, Writer& out) {
    // The message does not record which of the operation's faults it carries. An entry is
    // looked up as the part of a fault of its own name, and failing that as a global element
    // of its name and namespace (a fault part declared with an element is sent as that
    // element).
    WMString typeName;
    WMString typeNS;
    WMSOAPWSDLClient& client = wsdl.Wsdl();
    if (!client.GetFaultDetailPartType(message.m_methodName, name, name, typeName, typeNS) &&
        !client.GetHeaderElemType(name, ns, typeName, typeNS)) {
        return false;
    }
    out.Open(u"d", name);
    out.DeclarePrefix(u"d", ns);
    if (!SerializeValue(wsdl.Type(typeName, typeNS), value, message, wsdl, out)) {
        return false;
    }
    out.Close();
    return true;
}

WMXMLElement* WMSOAPSerializer::ParseElementLit(WMString const& xml) {
    WMXMLParser parser;
    try {
        parser.ParseXML(xml, nullptr);
    } catch (int) {
        return nullptr;
    }
    return parser.DetachDocRoot();
}

bool WMSOAPSerializer::SerializeElementLit(WMString const& xml, Writer& out) {
    std::unique_ptr<WMXMLElement> element(ParseElementLit(xml));
    if (!element) {
        return false;
    }
    out.AppendElement(*element);
    return true;
}
