// The document/literal branch of WMSOAPClient::InvokeSOAPMethod (see <corvane/wire.h>).
#include <corvane/client.h>

#include <string>
#include <utility>
#include <vector>

#include "client/literal_fetch.h"
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

bool WMSOAPClient::UsesLiteralPath(WMString const& methodName) {
    WMWireOptions const& wire = m_proxy.GetWireOptions();
    if (!wire.standard || !wire.documentLiteral) {
        return false;
    }
    if (!m_literal) {
        corvane::detail::xsd::LoadOptions options;
        options.fetch = corvane::detail::WireFetch(wire, m_proxy.GetHTTPTimeout());
        WMString error;
        m_literal = corvane::detail::LiteralPort::Load(m_wsdlLocation, m_serviceName, m_portName,
                                                       options, error);
        if (!m_literal) {
            // Refused with the reason, as a failed exchange is (see SetWireOptions).
            m_message.SetSOAPFault(u"SOAP-ENV:Client", error, WMString(), false);
            m_message.SetRequestPhase(false);
            return true;
        }
    }
    corvane::detail::xsd::OperationView const* operation = m_literal->Find(methodName);
    return operation && corvane::detail::IsLiteralOperation(*operation);
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

    std::vector<WMSOAPStructMember> headers;
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
        headers.push_back(std::move(value));
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
    if (!Exchange(QuotedAction(operation))) {
        return false;
    }

    m_message.ClearMethodParams();
    m_message.ClearHeaderElems();
    m_message.SetRequestPhase(false);
    m_responseHeaderCount = 0;
    LiteralAnswer answer;
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
    returnValue = answer.hasReturn ? std::move(answer.returnValue) : WMSOAPStructMember();
    return true;
}
