// The document/literal branch of WMSOAPClient::InvokeSOAPMethod (see <corvane/wire.h>).
#include <corvane/client.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "client/lent_answer.h"
#include "client/literal_fetch.h"
#include "client/name_list.h"
#include "net/wire_http.h"
#include "soap/deserializer_impl.h"
#include "soap/literal_envelope.h"
#include "text/wire_text.h"

namespace corvane::detail {

xsd::FetchFn WireFetch(const WMWireOptions& options, unsigned long waitMilliseconds) {
    return [options, waitMilliseconds](const WMString& location, WMString& text, WMString& error) {
        std::string url;
        std::size_t bad = 0;
        if (!EncodeUtf8(location, url, bad)) {
            error = u"the location holds an unpaired surrogate";
            return false;
        }
        WireHttpClient http(options, waitMilliseconds);
        WireAnswer answer;
        if (!http.Exchange("GET", url, "User-Agent: corvane\r\n", std::string_view(), answer)) {
            std::string ignored;
            DecodeText(http.Error(), "UTF-8", error, ignored);
            return false;
        }
        if (answer.status != 200) {
            std::string const status = std::to_string(answer.status);
            error = u"status " + WMString(status.begin(), status.end());
            return false;
        }
        // Without a charset in the answer, UTF-8, else the single-byte reading files get.
        std::string reason;
        std::string_view const charset = CharsetOf(answer.Header("Content-Type"));
        if (!DecodeText(answer.body, charset, text, reason) &&
            (!charset.empty() || !DecodeText(answer.body, "ISO-8859-1", text, reason))) {
            error = WMString(reason.begin(), reason.end());
            return false;
        }
        return true;
    };
}

}  // namespace corvane::detail

namespace {

using corvane::detail::LiteralLimits;

LiteralLimits LimitsOf(WMWireOptions const& wire) {
    LiteralLimits limits;
    limits.maxOccurs = wire.maxOccurs;
    return limits;
}

}  // namespace

bool WMSOAPClient::LoadLiteral() {
    if (m_literal) {
        return true;
    }
    WMWireOptions const& wire = m_proxy.GetWireOptions();
    corvane::detail::xsd::LoadOptions options;
    options.fetch = corvane::detail::WireFetch(wire, m_proxy.GetHTTPTimeout());
    WMString error;
    m_literal = corvane::detail::LiteralPort::Load(m_wsdlLocation, m_serviceName, m_portName,
                                                   options, error);
    if (!m_literal) {
        // Refused with the reason, as a failed exchange is (see SetWireOptions).
        m_message.SetSOAPFault(u"SOAP-ENV:Client", error, WMString(), false);
        m_message.SetRequestPhase(false);
    }
    return m_literal != nullptr;
}

bool WMSOAPClient::UsesLiteralPath(WMString const& methodName) {
    WMWireOptions const& wire = m_proxy.GetWireOptions();
    if (!wire.standard || !wire.documentLiteral) {
        return false;
    }
    if (!LoadLiteral()) {
        return true;
    }
    corvane::detail::xsd::OperationView const* operation = m_literal->Find(methodName);
    return operation && corvane::detail::IsLiteralOperation(*operation);
}

// Descriptions the specified loader refuses (a port bound to SOAP 1.2 only, for one) are still
// called through the extension's own reading.
bool WMSOAPClient::InitializeLiteral(WMString const& nameList) {
    WMWireOptions const& wire = m_proxy.GetWireOptions();
    if (!wire.standard || !wire.documentLiteral || !NewMessage() || !LoadLiteral()) {
        return false;
    }
    WMString const& address = m_literal->Address();
    std::size_t const scheme = address.find(u"://");
    std::size_t const hostStart = scheme == WMString::npos ? 0 : scheme + 3;
    std::size_t const pathStart = std::min(address.find(u'/', hostStart), address.size());
    WMString const authority = address.substr(hostStart, pathStart - hostStart);
    std::size_t const colon = authority.rfind(u':');
    m_endpointHost = authority.substr(0, colon);
    m_endpointPath = pathStart < address.size() ? address.substr(pathStart) : WMString(u"/");
    m_endpointPort = address.compare(0, 8, u"https://") == 0 ? 443 : 80;
    if (colon != WMString::npos) {
        m_endpointPort = 0;
        for (std::size_t i = colon + 1; i < authority.size() && m_endpointPort < 65536; ++i) {
            m_endpointPort = m_endpointPort * 10 + (authority[i] - u'0');
        }
    }
    m_nameList = corvane::detail::SplitNameList(nameList);
    m_hasNameList = !m_nameList.empty();
    return true;
}

bool WMSOAPClient::InvokeLiteral(WMString const& methodName, WMString* paramNames,
                                 WMSOAPStructMember* paramValues, int count,
                                 WMSOAPStructMember& returnValue) {
    using namespace corvane::detail;
    if (!m_literal) {
        return false;
    }
    xsd::OperationView const& operation = *m_literal->Find(methodName);
    LiteralLimits const limits = LimitsOf(m_proxy.GetWireOptions());

    std::vector<LiteralHeader> headers;
    WMString ns;
    WMString name;
    WMSOAPStructMember value;
    bool mustUnderstand = false;
    WMString actor;
    long position = 0;
    for (bool found =
             m_message.GetFirstHeaderElem(ns, name, value, mustUnderstand, actor, position);
         found;
         found = m_message.GetNextHeaderElem(ns, name, value, mustUnderstand, actor, position)) {
        value.SetName(name);
        value.SetNS(ns);
        headers.push_back(LiteralHeader{std::move(value), mustUnderstand, actor});
    }
    WMString request;
    WMString error;
    if (!WriteLiteralEnvelope(operation, false, paramNames, paramValues, count, headers, limits,
                              request, error)) {
        m_message.SetSOAPFault(u"SOAP-ENV:Client", error, WMString(), false);
        m_message.SetRequestPhase(false);
        return false;
    }
    MessageBuilder::SetBuffer(m_message, std::move(request));
    bool const soap12 = operation.soapVersion == 12;
    m_proxy.m_soapVersion = operation.soapVersion;
    // The port's own address: the specified loader may not have read this port at all.
    WMString const& address = m_literal->Address();
    bool const isUrl =
        address.compare(0, 7, u"http://") == 0 || address.compare(0, 8, u"https://") == 0;
    AskForAnswer(m_proxy.m_state);
    try {
        m_proxy.InvokeSOAPMethod(soap12 ? operation.soapAction : QuotedAction(operation),
                                 m_endpointHost, m_endpointPort, isUrl ? address : m_endpointPath,
                                 m_userAgent, m_message);
        m_proxy.m_soapVersion = 11;
    } catch (WMSOAPProxyFault* raised) {
        std::unique_ptr<WMSOAPProxyFault> fault(raised);
        m_proxy.m_soapVersion = 11;
        m_message.SetSOAPFault(u"SOAP-ENV:Client", fault->GetMessageText(), WMString(), false);
        m_message.SetRequestPhase(false);
        m_responseHeaderCount = 0;
        return false;
    }

    LentAnswer const lent(m_proxy.m_xmlIn, m_message, m_proxy.m_state);

    m_message.ClearMethodParams();
    m_message.ClearHeaderElems();
    m_message.SetRequestPhase(false);
    m_responseHeaderCount = 0;
    LiteralAnswer answer;
    answer.returnInOutputs = true;
    if (!ReadLiteralResponse(operation, *m_message.GetBufferPtr(), limits, answer, error)) {
        // The answer does not fit the description: the server's side of the exchange is wrong.
        m_message.SetSOAPFault(u"SOAP-ENV:Server", error, WMString(), false);
        return false;
    }
    for (WMSOAPStructMember& entry : answer.headers) {
        m_message.AddHeaderElem(entry.GetNS(), entry.GetName(), false, entry, WMString());
    }
    m_responseHeaderCount = static_cast<int>(answer.headers.size());
    if (answer.isFault) {
        m_message.SetSOAPFault(answer.fault.code, answer.fault.reason, answer.fault.node,
                               answer.fault.hasDetail);
        for (WMSOAPStructMember const& entry : answer.detail) {
            m_message.AddFaultDetailElem(entry.GetNS(), entry.GetName(), entry);
        }
        return true;
    }
    for (WMSOAPStructMember const& output : answer.outputs) {
        for (int i = 0; i < count; ++i) {
            if (paramNames[i] == output.GetName()) {
                paramValues[i] = output;
            }
        }
    }
    returnValue =
        answer.hasReturn ? std::move(answer.outputs[answer.returnIndex]) : WMSOAPStructMember();
    return true;
}
