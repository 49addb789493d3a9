#include <corvane/client.h>

#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "client/lent_answer.h"
#include "client/name_list.h"
#include "soap/deserializer_impl.h"
#include "soap/envelope_reader.h"
#include "soap/envelope_writer.h"
#include "xml/reader.h"

namespace {

constexpr int kNotInitialized = -1;
constexpr int kTLSPort = 443;
// Far more than a description's types and members; values with ever new member names would
// otherwise grow the kept answers without end.
constexpr std::size_t kTypeCacheEntries = 4096;

// The caller's arguments, lent to the message for the writing of the request and given back
// when it ends however it ends: the message only reads them, the caller cannot tell, and a
// large array is not deep-copied on every call.
class LentArguments {
public:
    LentArguments(WMSOAPMessage& message, WMSOAPStructMember* values)
        : m_message(message), m_values(values) {}
    LentArguments(LentArguments const&) = delete;
    LentArguments& operator=(LentArguments const&) = delete;
    ~LentArguments() {
        for (std::size_t at = 0; at < m_lent.size(); ++at) {
            m_values[m_lent[at]] = std::move(MessageBuilder::MethodParamValue(m_message, at));
        }
    }

    bool Lend(WMString const& name, int index, bool isOutput) {
        try {
            m_lent.reserve(m_lent.size() + 1);
            MessageBuilder::AddMethodParam(m_message, WMString(), name, std::move(m_values[index]),
                                           true, isOutput);
        } catch (std::bad_alloc const&) {
            return false;  // as AddMethodParam reports it; the value has not moved
        }
        m_lent.push_back(index);
        return true;
    }

private:
    using MessageBuilder = corvane::detail::MessageBuilder;
    WMSOAPMessage& m_message;
    WMSOAPStructMember* m_values;
    std::vector<int> m_lent;  // the arguments' indexes, in the message's order
};

struct HeaderEntry {
    WMString ns;
    WMString name;
    WMSOAPStructMember value;
    bool mustUnderstand = false;
    WMString actor;
};

}  // namespace

WMSOAPClient::WMSOAPClient()
    : m_endpointPort(kNotInitialized),
      m_hasNameList(false),
      m_explicitTyping(false),
      m_responseHeaderCount(0) {}

WMSOAPClient::WMSOAPClient(WMSOAPClient const&) = default;

WMSOAPClient& WMSOAPClient::operator=(WMSOAPClient const&) = default;

WMSOAPClient::~WMSOAPClient() = default;

bool WMSOAPClient::Initialize(WMString const& wsdlLocation, WMString const& serviceName,
                              WMString const& portName, WMString const& actorURI,
                              WMString const& userAgent, WMString const& nameList,
                              bool explicitTyping) {
    m_serviceName = serviceName;
    m_portName = portName;
    m_actorURI = actorURI;
    m_wsdlLocation = wsdlLocation;
    m_userAgent = userAgent;
    m_literal.reset();
    m_operation = OperationMemo();
    m_types.reset();
    // Kept before the first message is made, so that the probe and the first call already
    // type their values as the caller asked.
    m_explicitTyping = explicitTyping;

    if (!m_wsdlClient.ReadServiceDesc(serviceName, portName, wsdlLocation)) {
        return InitializeLiteral(nameList);
    }
    if (!NewMessage()) {
        return false;
    }

    // The probe never makes Initialize fail: a service without the operation, a failed call or
    // a fault all leave the endpoint as the description gave it. In the standard mode the
    // address's scheme already chose TLS, so the probe would only cost a call.
    WMSOAPStructMember probe;
    if (!m_proxy.GetWireOptions().standard &&
        InvokeSOAPMethod(u"CheckSSL", nullptr, nullptr, 0, probe) &&
        probe.GetDataType() == WMSOAPStructMember::SOAPDataMember::SOAP_LONG &&
        probe.LongValue() == 1) {
        m_wsdlClient.SetSSLEnabled(1);
        m_wsdlClient.SetSOAPSvcPortNbr(kTLSPort);
    }

    m_endpointPort = m_wsdlClient.GetSOAPSvcPortNbr();
    m_endpointHost = m_wsdlClient.GetSOAPSvcHost();
    m_endpointPath = m_wsdlClient.GetSOAPSvcURI();

    m_nameList = corvane::detail::SplitNameList(nameList);
    m_hasNameList = !m_nameList.empty();
    return true;
}

bool WMSOAPClient::NewMessage() {
    bool const initialized = m_message.Initialize(nullptr, 0, m_serviceName, m_portName, m_actorURI,
                                                  WMString(), WMString(), m_explicitTyping);
    m_message.SetStandardWireMode(m_proxy.GetWireOptions().standard);
    // A fault or return value left by the previous exchange must not leak into the next one:
    // a held fault would be serialized instead of the request, and a call whose answer has no
    // return value would hand back the previous call's.
    m_message.ClearSOAPFault();
    WMSOAPStructMember none;
    m_message.SetReturnValue(none);
    m_message.ClearHeaderElems();
    m_message.ClearMethodParams();
    m_responseHeaderCount = 0;
    return initialized;
}

void WMSOAPClient::RestoreRequestState() {
    // The response's header entries come first in the list; what follows them was set by the
    // caller for the next request.
    std::vector<HeaderEntry> requestEntries;
    HeaderEntry entry;
    long position = 0;
    int index = 0;
    for (bool found = m_message.GetFirstHeaderElem(entry.ns, entry.name, entry.value,
                                                   entry.mustUnderstand, entry.actor, position);
         found; found = m_message.GetNextHeaderElem(entry.ns, entry.name, entry.value,
                                                    entry.mustUnderstand, entry.actor, position)) {
        if (index++ >= m_responseHeaderCount) {
            requestEntries.push_back(entry);
        }
    }
    NewMessage();
    for (HeaderEntry& kept : requestEntries) {
        m_message.AddHeaderElem(kept.ns, kept.name, kept.mustUnderstand, kept.value, kept.actor);
    }
}

bool WMSOAPClient::InvokeSOAPMethod(WMString const& methodName, WMString* paramNames,
                                    WMSOAPStructMember* paramValues, int count,
                                    WMSOAPStructMember& returnValue) {
    if (!m_message.IsRequestPhase()) {
        RestoreRequestState();
    }
    if (UsesLiteralPath(methodName)) {
        return InvokeLiteral(methodName, paramNames, paramValues, count, returnValue);
    }

    OperationMemo const* operation = Operation(methodName);
    if (operation == nullptr) {
        return false;
    }
    WMString const& soapAction = operation->soapAction;
    m_message.SetMethodName(methodName);
    m_message.SetMethodNS(operation->methodNS);

    // Parameters of an earlier call that failed before its answer arrived are not sent again.
    m_message.ClearMethodParams();
    {
        LentArguments lent(m_message, paramValues);
        for (int i = 0; i < count; ++i) {
            std::pair<bool, bool> const roles = PartRoles(methodName, paramNames[i]);
            if (!roles.first) {
                continue;
            }
            if (!lent.Lend(paramNames[i], i, roles.second)) {
                return false;
            }
        }
        if (!m_types || &m_types->Wsdl() != &m_wsdlClient ||
            m_types->Entries() > kTypeCacheEntries) {
            try {
                m_types = std::make_shared<corvane::detail::TypeCache>(m_wsdlClient);
            } catch (std::bad_alloc const&) {
                return false;  // as a serializer that cannot allocate reports it
            }
        }
        if (!corvane::detail::MessageBuilder::Serialize(m_message, *m_types)) {
            return false;
        }
    }
    corvane::detail::AskForAnswer(m_proxy.m_state);
    if (!Exchange(soapAction)) {
        return false;
    }
    corvane::detail::LentAnswer const answer(m_proxy.m_xmlIn, m_message, m_proxy.m_state);

    m_message.ClearMethodParams();
    m_message.ClearHeaderElems();
    m_message.SetRequestPhase(false);
    bool read = false;
    try {
        // What Deserialize and ProcessRPC read, without the exported element and handler trees.
        // The client's message is its own and never shows its literal body, so none is made.
        corvane::detail::ReadResponse(m_message, m_wsdlClient, corvane::detail::BodyText::kLeftOut);
        read = true;
    } catch (WMSOAPFault* raised) {
        // The response could not be read: its reason becomes the message's fault.
        std::unique_ptr<WMSOAPFault> fault(raised);
        m_message.SetSOAPFault(fault->GetFaultCode(), fault->GetFaultString(),
                               fault->GetFaultActor(), fault->GetNeedDetail());
    }
    if (answer.Large()) {
        // The blocks the read keeps for the next one would lie scattered between the values
        // the caller now holds, where the next call's large texts cannot reuse their room.
        corvane::detail::ReleaseReaderBlocks();
    }
    m_responseHeaderCount = m_message.GetNumHeaderElems();
    if (!read) {
        return false;
    }

    if (m_proxy.GetHTTPStatus() == 200) {
        WMString ns;
        WMString name;
        WMSOAPStructMember value;
        bool isInput = false;
        bool isOutput = false;
        long position = 0;
        for (bool found =
                 m_message.GetFirstMethodParam(ns, name, value, isInput, isOutput, position);
             found;
             found = m_message.GetNextMethodParam(ns, name, value, isInput, isOutput, position)) {
            for (int i = 0; i < count; ++i) {
                if (paramNames[i] == name) {
                    paramValues[i] = value;
                }
            }
        }
        // Moved rather than copied; the message is left with no return value, as NewMessage
        // leaves it.
        returnValue = std::move(m_message.GetReturnValue());
        m_message.GetReturnValue() = WMSOAPStructMember();
    }
    corvane::detail::MessageBuilder::ReleaseResponseTree(m_message);
    return true;
}

WMSOAPClient::OperationMemo const* WMSOAPClient::Operation(WMString const& methodName) {
    if (m_operation.known && m_operation.name == methodName) {
        return &m_operation;
    }
    OperationMemo memo;
    WMString style;
    if (!m_wsdlClient.GetOpBindingStyle(methodName, style) || style != u"rpc" ||
        !m_wsdlClient.GetMethodSOAPAction(methodName, memo.soapAction)) {
        return nullptr;
    }
    if (!m_wsdlClient.GetMethodNamespaceURI(methodName, memo.methodNS)) {
        // The message takes the name before its namespace is asked for, as without the memo.
        m_message.SetMethodName(methodName);
        return nullptr;
    }
    memo.name = methodName;
    memo.known = true;
    m_operation = std::move(memo);
    return &m_operation;
}

std::pair<bool, bool> WMSOAPClient::PartRoles(WMString const& methodName, WMString const& part) {
    for (auto const& [name, roles] : m_operation.parts) {
        if (name == part) {
            return roles;
        }
    }
    bool const isInput = m_wsdlClient.IsInputMsgPart(methodName, part);
    bool const isOutput = isInput && m_wsdlClient.IsOutputMsgPart(methodName, part);
    m_operation.parts.emplace_back(part, std::make_pair(isInput, isOutput));
    return m_operation.parts.back().second;
}

bool WMSOAPClient::Exchange(WMString const& soapAction) {
    if (!m_proxy.GetWireOptions().standard) {
        // The endpoint is read from the description, not from this client's copies: the TLS
        // probe of Initialize runs before those copies are made. After Initialize both agree.
        return m_proxy.InvokeMethod(soapAction, m_wsdlClient.GetSOAPSvcHost(),
                                    m_wsdlClient.GetSOAPSvcPortNbr(), m_wsdlClient.GetSOAPSvcURI(),
                                    m_userAgent, m_message);
    }
    // A whole http(s) address goes to the proxy as the URL; one without a scheme is called on
    // the host, port and path split from it.
    WMString const& location = m_wsdlClient.GetSOAPSvcLocation();
    bool const isUrl =
        location.compare(0, 7, u"http://") == 0 || location.compare(0, 8, u"https://") == 0;
    try {
        return m_proxy.InvokeSOAPMethod(
            soapAction, m_wsdlClient.GetSOAPSvcHost(), m_wsdlClient.GetSOAPSvcPortNbr(),
            isUrl ? location : m_wsdlClient.GetSOAPSvcURI(), m_userAgent, m_message);
    } catch (WMSOAPProxyFault* raised) {
        std::unique_ptr<WMSOAPProxyFault> fault(raised);
        // Kept as the message's fault so that the caller can read why; outside the request
        // phase, so that the next call restores the request state before it sends.
        m_message.SetSOAPFault(u"SOAP-ENV:Client", fault->GetMessageText(), WMString(), false);
        m_message.SetRequestPhase(false);
        m_responseHeaderCount = 0;
        return false;
    }
}

bool WMSOAPClient::IsInitialized() {
    return m_endpointPort != kNotInitialized;
}

bool WMSOAPClient::IsSOAPFault() {
    return m_message.IsSOAPFault();
}

void WMSOAPClient::ClearHeaders() {
    m_message.ClearHeaderElems();
    m_responseHeaderCount = 0;
}

bool WMSOAPClient::SetRequestHeaderEntry(WMString const& ns, WMString const& actor,
                                         WMString const& name, WMSOAPStructMember& value,
                                         bool mustUnderstand) {
    return m_message.AddHeaderElem(ns, name, mustUnderstand, value, actor);
}

bool WMSOAPClient::GetResponseHeaderEntry(WMString const& ns, WMString const& name,
                                          WMSOAPStructMember& value) {
    return m_message.GetHeaderElem(ns, name, value);
}

bool WMSOAPClient::GetFaultDetailEntry(WMString const& ns, WMString const& name,
                                       WMSOAPStructMember& value) {
    return m_message.IsSOAPFault() && m_message.GetFaultDetailElem(ns, name, value);
}

bool WMSOAPClient::GetSOAPFaultCode(WMString& code) {
    code = m_message.GetSOAPFaultCode();
    return true;
}

bool WMSOAPClient::GetSOAPFaultString(WMString& text) {
    text = m_message.GetSOAPFaultString();
    return true;
}

bool WMSOAPClient::GetSOAPFaultActor(WMString& actor) {
    actor = m_message.GetSOAPFaultActor();
    return true;
}

WMString const* WMSOAPClient::GetXMLOut() {
    return m_proxy.GetXMLOut();
}

unsigned long WMSOAPClient::GetXMLOutLength() {
    return m_proxy.GetXMLOutLength();
}

WMString WMSOAPClient::GetXMLIn() const {
    return m_proxy.GetXMLIn();
}

unsigned long WMSOAPClient::GetXMLInLength() {
    return m_proxy.GetXMLInLength();
}

WMSOAPWSDLClient const& WMSOAPClient::GetWSDLClient() const {
    return m_wsdlClient;
}

void WMSOAPClient::SetHTTPTimeout(int milliseconds) {
    int const timeout = milliseconds < 0 ? 0 : milliseconds;
    m_wsdlClient.SetHTTPTimeout(timeout);
    m_proxy.SetHTTPTimeout(static_cast<unsigned long>(timeout));
}

void WMSOAPClient::SetWireOptions(WMWireOptions const& options) {
    m_wsdlClient.SetWireOptions(options);
    m_proxy.SetWireOptions(options);
    m_message.SetStandardWireMode(options.standard);
    m_literal.reset();
    m_operation = OperationMemo();
    m_types.reset();
}

WMWireOptions const& WMSOAPClient::GetWireOptions() const {
    return m_proxy.GetWireOptions();
}
