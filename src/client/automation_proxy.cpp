#include <corvane/client.h>
#include <corvane/http.h>

namespace {

constexpr unsigned long kDefaultTimeout = 600000;
// Used only when the caller passes a port of 0 or less.
constexpr int kDefaultHTTPPort = 80;

WMString Decimal(unsigned long value) {
    WMString digits;
    do {
        digits.insert(digits.begin(), static_cast<WMChar>(u'0' + value % 10));
        value /= 10;
    } while (value != 0);
    return digits;
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

WMSOAPAutomationProxy::WMSOAPAutomationProxy(WMSOAPAutomationProxy const&) = default;

WMSOAPAutomationProxy& WMSOAPAutomationProxy::operator=(WMSOAPAutomationProxy const&) = default;

WMSOAPAutomationProxy::~WMSOAPAutomationProxy() = default;

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
    m_xmlOut.swap(message.m_buffer);
    try {
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
        if (WMChar const* content = http.GetContent()) {
            m_xmlIn = content;
            message.SetBuffer(m_xmlIn);
        } else {
            message.SetBuffer(m_xmlOut);
        }
    } catch (...) {
        message.SetBuffer(m_xmlOut);
        throw;
    }
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
    return &m_xmlOut;
}

unsigned long WMSOAPAutomationProxy::GetXMLOutLength() {
    return m_xmlOut.size();
}

void WMSOAPAutomationProxy::SetHTTPTimeout(unsigned long milliseconds) {
    m_timeout = milliseconds;
}

unsigned long WMSOAPAutomationProxy::GetHTTPTimeout() const {
    return m_timeout;
}
