#include <corvane/client.h>
#include <corvane/http.h>

#include <string>
#include <utility>

#include "client/proxy_state.h"
#include "net/http_content.h"
#include "net/wire_http.h"
#include "soap/deserializer_impl.h"
#include "soap/soap12.h"
#include "text/wire_text.h"

namespace {

constexpr unsigned long kDefaultTimeout = 600000;
// Used only when the caller passes a port of 0 or less.
constexpr int kDefaultHTTPPort = 80;

WMString Decimal(unsigned long value) {
    WMChar digits[24];
    WMChar* const end = digits + sizeof(digits) / sizeof(digits[0]);
    WMChar* at = end;
    do {
        *--at = static_cast<WMChar>(u'0' + value % 10);
        value /= 10;
    } while (value != 0);
    return WMString(at, end);
}

WMString Decimal(int value) {
    if (value < 0) {
        return u"-" + Decimal(0UL - static_cast<unsigned long>(value));
    }
    return Decimal(static_cast<unsigned long>(value));
}

// The text of the fault for a refused status; null for the two statuses that go on.
WMChar const* RefusalText(int status) {
    switch (status) {
        case 200:
        case 500:
            return nullptr;
        case 301:
            return u"HTTP Redirect: Moved permanently.";
        case 302:
            return u"HTTP Redirect: Moved temporarily.";
        case 400:
            return u"HTTP Client Error: Bad Request.";
        case 401:
            return u"HTTP Client Error: Unauthorized.";
        case 403:
            return u"HTTP Client Error: Forbidden.";
        case 404:
            return u"HTTP Client Error: Not Found.";
        case 501:
            return u"HTTP Server Error: Not Implemented.";
        case 503:
            return u"HTTP Server Error: Service Unavailable.";
        default:
            return u"Unexpected HTTP Status Code.";
    }
}

// A message of the transport (UTF-8: it may quote a URL) as wide text.
WMString Wide(std::string_view text) {
    WMString wide;
    std::string ignored;
    if (!corvane::detail::DecodeText(text, "utf-8", wide, ignored)) {
        wide.assign(text.begin(), text.end());
    }
    return wide;
}

bool StartsWith(WMString const& text, std::u16string_view prefix) {
    return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}

std::string Utf8Field(WMString const& text, WMChar const* what) {
    std::string bytes;
    std::size_t bad = 0;
    if (!corvane::detail::EncodeUtf8(text, bytes, bad)) {
        throw new WMSOAPProxyFault(u"Request Message",
                                   WMString(what) + u" holds an unpaired surrogate at " +
                                       Decimal(static_cast<unsigned long>(bad)) + u".");
    }
    return bytes;
}

using corvane::detail::ProxyState;

ProxyState& StateOf(std::unique_ptr<ProxyState>& state) {
    if (!state) {
        state = std::make_unique<ProxyState>();
    }
    return *state;
}

std::unique_ptr<ProxyState> CopyOf(std::unique_ptr<ProxyState> const& state) {
    return state ? std::make_unique<ProxyState>(*state) : nullptr;
}

// Gives the message the answer to read: a large one's text itself where the client asked for
// it (it puts the text back into `answer` once read), otherwise a copy.
void HandAnswer(std::unique_ptr<ProxyState> const& state, WMString& answer,
                WMSOAPMessage& message) {
    if (state && state->loan == ProxyState::AnswerLoan::kExchanging &&
        answer.size() >= ProxyState::kLentFrom) {
        corvane::detail::MessageBuilder::SetBuffer(message, std::move(answer));
        answer.clear();
        state->loan = ProxyState::AnswerLoan::kLent;
    } else {
        message.SetBuffer(answer);
    }
}

}  // namespace

WMSOAPProxyFault::WMSOAPProxyFault(WMString const& context, WMString const& message)
    : m_context(context), m_message(message) {}

WMSOAPProxyFault::WMSOAPProxyFault(WMSOAPProxyFault const&) = default;

WMSOAPProxyFault& WMSOAPProxyFault::operator=(WMSOAPProxyFault const&) = default;

WMSOAPProxyFault::~WMSOAPProxyFault() = default;

WMString const& WMSOAPProxyFault::GetContext() const {
    return m_context;
}

WMString const& WMSOAPProxyFault::GetMessageText() const {
    return m_message;
}

WMSOAPAutomationProxy::WMSOAPAutomationProxy() : m_httpStatus(0), m_timeout(kDefaultTimeout) {}

WMSOAPAutomationProxy::WMSOAPAutomationProxy(WMSOAPAutomationProxy const& other)
    : m_xmlOut(other.m_xmlOut),
      m_xmlIn(other.m_xmlIn),
      m_httpStatus(other.m_httpStatus),
      m_timeout(other.m_timeout),
      m_wire(other.m_wire),
      m_state(CopyOf(other.m_state)) {}

WMSOAPAutomationProxy& WMSOAPAutomationProxy::operator=(WMSOAPAutomationProxy const& other) {
    if (this != &other) {
        m_xmlOut = other.m_xmlOut;
        m_xmlIn = other.m_xmlIn;
        m_httpStatus = other.m_httpStatus;
        m_timeout = other.m_timeout;
        m_wire = other.m_wire;
        m_state = CopyOf(other.m_state);
    }
    return *this;
}

WMSOAPAutomationProxy::~WMSOAPAutomationProxy() = default;

void WMSOAPAutomationProxy::SetWireOptions(WMWireOptions const& options) {
    m_wire = options;
    if (m_state) {
        m_state->wire.reset();  // the next exchange starts with the new options
    }
}

WMWireOptions const& WMSOAPAutomationProxy::GetWireOptions() const {
    return m_wire;
}

void WMSOAPAutomationProxy::InvokeStandard(WMString const& soapAction, WMString const& host,
                                           int port, WMString const& path,
                                           WMString const& userAgent, WMSOAPMessage& message) {
    ProxyState& state = StateOf(m_state);
    ProxyState::StandardHead& head = state.head;
    if (!head.MadeFrom(soapAction, host, port, path, userAgent, m_soapVersion)) {
        head.made = false;
        if (StartsWith(path, u"http://") || StartsWith(path, u"https://")) {
            head.url = Utf8Field(path, u"The URL");
        } else {
            head.url = "http://" + Utf8Field(host, u"The host") + ":" +
                       std::to_string(port > 0 ? port : kDefaultHTTPPort) +
                       (StartsWith(path, u"/") ? "" : "/") + Utf8Field(path, u"The path");
        }
        head.headers = "User-Agent: " + Utf8Field(userAgent, u"The user agent") + "\r\n";
        if (m_soapVersion == 12) {
            // SOAP 1.2 names the action in the content type; it has no SOAPAction header.
            head.headers += "Content-Type: " +
                            corvane::detail::soap12::RequestContentType(
                                Utf8Field(soapAction, u"The SOAPAction")) +
                            "\r\n";
        } else {
            head.headers += "Content-Type: text/xml; charset=utf-8\r\nSOAPAction: " +
                            Utf8Field(soapAction, u"The SOAPAction") + "\r\n";
        }
        head.soapAction = soapAction;
        head.host = host;
        head.port = port;
        head.path = path;
        head.userAgent = userAgent;
        head.soapVersion = m_soapVersion;
        head.made = true;
    }
    std::string body = Utf8Field(m_xmlOut, u"The request");

    if (!state.wire) {
        state.wire = std::make_unique<corvane::detail::WireHttpClient>(m_wire, m_timeout);
    }
    corvane::detail::WireAnswer answer;
    if (!state.wire->Exchange("POST", head.url, head.headers, body, answer)) {
        throw new WMSOAPProxyFault(u"Request Message", Wide(state.wire->Error()));
    }
    m_httpStatus = answer.status;
    if (WMChar const* refusal = RefusalText(m_httpStatus)) {
        throw new WMSOAPProxyFault(u"Response Message", refusal);
    }
    const std::string_view contentType = answer.Header("Content-Type");
    if (contentType.find("text/xml") == std::string_view::npos &&
        (m_soapVersion != 12 ||
         contentType.find("application/soap+xml") == std::string_view::npos)) {
        throw new WMSOAPProxyFault(u"Response Message", u"Unexpected MIME type in Response.");
    }
    std::string error;
    if (!corvane::detail::DecodeText(answer.body, corvane::detail::CharsetOf(contentType), m_xmlIn,
                                     error)) {
        m_xmlIn.clear();
        throw new WMSOAPProxyFault(u"Response Message", Wide(error));
    }
    if (m_xmlIn.empty()) {
        message.SetBuffer(m_xmlOut);
    } else {
        HandAnswer(m_state, m_xmlIn, message);
    }
    state.KeepAsUtf8(m_xmlOut, std::move(body));
}

bool WMSOAPAutomationProxy::InvokeSOAPMethod(WMString const& soapAction, WMString const& host,
                                             int port, WMString const& path,
                                             WMString const& userAgent, WMSOAPMessage& message) {
    m_xmlIn.clear();
    // The request text moves into the proxy, which keeps it for GetXMLOut, and the message's
    // buffer starts empty for the answer: a large call then holds the text once, and the
    // answer's buffer is sized for the answer. The message gets the text back when no answer
    // arrives.
    m_xmlOut.clear();
    m_xmlOut.shrink_to_fit();
    if (m_state) {
        m_state->Forget();
        m_state->loan = m_state->loan == ProxyState::AnswerLoan::kAsked
                            ? ProxyState::AnswerLoan::kExchanging
                            : ProxyState::AnswerLoan::kNone;
    }
    m_xmlOut.swap(message.m_buffer);
    try {
        if (m_wire.standard) {
            InvokeStandard(soapAction, host, port, path, userAgent, message);
            return true;
        }
        // Content-Length counts the text's code units, not encoded bytes. The HTTP client
        // writes one byte per code unit, so the count covers the body exactly; the zero byte it
        // sends after the body falls outside it.
        WMString headers;
        headers.reserve(160 + host.size() + userAgent.size() + soapAction.size());
        headers += u"Host: ";
        headers += host;
        headers += u":";
        headers += Decimal(port);
        headers += u"\r\nUser-Agent: ";
        headers += userAgent;
        headers += u"\r\nContent-Type: text/xml; charset=\"utf-8\"\r\n";
        headers += u"Content-Length: ";
        headers += Decimal(static_cast<unsigned long>(m_xmlOut.size()));
        headers += u"\r\nSOAPAction: ";
        headers += soapAction;
        headers += u"\r\n";

        WMHTTPRequestSock http(kDefaultHTTPPort, m_timeout);
        if (!http.SendHTTPRequest(port, u"POST", host, path, WMString(), headers, m_xmlOut)) {
            throw new WMSOAPProxyFault(u"Request Message", u"Could not connect to server.");
        }

        m_httpStatus = http.GetStatus();
        if (WMChar const* refusal = RefusalText(m_httpStatus)) {
            throw new WMSOAPProxyFault(u"Response Message", refusal);
        }
        if (http.GetHeader(u"Content-Type").find(u"text/xml") == WMString::npos) {
            throw new WMSOAPProxyFault(u"Response Message", u"Unexpected MIME type in Response.");
        }
        if (http.GetContent() != nullptr) {
            m_xmlIn.assign(corvane::detail::HttpContentAccess::Text(http));
            HandAnswer(m_state, m_xmlIn, message);
        } else {
            message.SetBuffer(m_xmlOut);
        }
    } catch (...) {
        message.SetBuffer(m_xmlOut);
        throw;
    }
    // While the answer is read the request is held as its bytes, half the size (see
    // GetXMLOut); a failed exchange keeps the text whole, as the message got it back.
    StateOf(m_state).KeepAsCodePage(m_xmlOut);
    return true;
}

bool WMSOAPAutomationProxy::InvokeMethod(WMString const& soapAction, WMString const& host, int port,
                                         WMString const& path, WMString const& userAgent,
                                         WMSOAPMessage& message) {
    try {
        return InvokeSOAPMethod(soapAction, host, port, path, userAgent, message);
    } catch (WMSOAPProxyFault* fault) {
        delete fault;
        return false;
    }
}

int WMSOAPAutomationProxy::GetHTTPStatus() {
    return m_httpStatus;
}

WMString WMSOAPAutomationProxy::GetXMLIn() const {
    return m_xmlIn;
}

unsigned long WMSOAPAutomationProxy::GetXMLInLength() {
    return m_xmlIn.size();
}

WMString const* WMSOAPAutomationProxy::GetXMLOut() {
    if (m_state) {
        m_state->Widen(m_xmlOut);
    }
    return &m_xmlOut;
}

unsigned long WMSOAPAutomationProxy::GetXMLOutLength() {
    return GetXMLOut()->size();
}

void WMSOAPAutomationProxy::SetHTTPTimeout(unsigned long milliseconds) {
    m_timeout = milliseconds;
}

unsigned long WMSOAPAutomationProxy::GetHTTPTimeout() const {
    return m_timeout;
}
