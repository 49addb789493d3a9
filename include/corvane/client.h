// The facades: the SOAP client that performs a whole call, and the automation proxy that
// carries one HTTP exchange of a message.
#ifndef CORVANE_CLIENT_H
#define CORVANE_CLIENT_H

#include <corvane/message.h>
#include <corvane/types.h>
#include <corvane/values.h>
#include <corvane/wire.h>
#include <corvane/wsdl.h>

#include <memory>
#include <utility>
#include <vector>

namespace corvane::detail {
class LiteralPort;
struct ProxyState;
class TypeCache;
}  // namespace corvane::detail

// Extension: the fault of a refused exchange, thrown by WMSOAPAutomationProxy::InvokeSOAPMethod
// as a pointer to a heap object. It is declared here so that a caller of that operation can
// catch it and delete it:
//     catch (WMSOAPProxyFault* fault) { report(fault->GetMessageText()); delete fault; }
class CORVANE_API WMSOAPProxyFault {
public:
    WMSOAPProxyFault(WMString const& context, WMString const& message);
    WMSOAPProxyFault(WMSOAPProxyFault const& other);
    WMSOAPProxyFault& operator=(WMSOAPProxyFault const& other);
    virtual ~WMSOAPProxyFault();

    // "Request Message" (nothing could be sent) or "Response Message" (the answer was refused).
    WMString const& GetContext() const;
    // Not GetMessage: windows.h defines that name as a macro.
    WMString const& GetMessageText() const;

private:
    WMString m_context;
    WMString m_message;
};

// Posts the text of a caller-built message over HTTP/1.0 (TLS when the port is 443), checks the
// status and content type of the answer and puts the answer's text into the same message.
class CORVANE_API WMSOAPAutomationProxy {
public:
    WMSOAPAutomationProxy();
    WMSOAPAutomationProxy(WMSOAPAutomationProxy const& other);
    WMSOAPAutomationProxy& operator=(WMSOAPAutomationProxy const& other);
    virtual ~WMSOAPAutomationProxy();

    // Performs the exchange. Every failure (no connection, a refused status, a content type
    // other than text/xml) is thrown as a new WMSOAPProxyFault, which the caller deletes.
    // Status 500 is not a failure: its body is expected to hold a SOAP fault. Redirects are
    // never followed.
    bool InvokeSOAPMethod(WMString const& soapAction, WMString const& host, int port,
                          WMString const& path, WMString const& userAgent, WMSOAPMessage& message);
    // The same exchange; any failure is reported as false (the fault texts are not kept).
    bool InvokeMethod(WMString const& soapAction, WMString const& host, int port,
                      WMString const& path, WMString const& userAgent, WMSOAPMessage& message);

    int GetHTTPStatus();
    WMString GetXMLIn() const;
    unsigned long GetXMLInLength();
    WMString const* GetXMLOut();
    unsigned long GetXMLOutLength();

    // Extension: the socket time-out, in milliseconds, of each wait of an exchange (connect,
    // send, every read). Default 600000, the same as the WSDL client's HTTP time-out; a
    // WMSOAPClient sets both with its own SetHTTPTimeout.
    void SetHTTPTimeout(unsigned long milliseconds);
    unsigned long GetHTTPTimeout() const;

    // Extension: the standard wire mode (see <corvane/wire.h>) for the following exchanges.
    // With it on, the request goes over HTTP/1.1 to "http://host:port" + path, or to `path`
    // itself when it is a whole "http://" or "https://" URL (the scheme, not the port, chooses
    // TLS); the body is UTF-8, Content-Length counts its bytes and nothing follows it; the
    // answer is decoded by its byte-order mark or declared charset. A text with an unpaired
    // surrogate is not sent. The fault texts of a failed exchange say why it failed. The
    // connection is kept for the next exchange to the same endpoint; copies of the proxy
    // start without one.
    void SetWireOptions(WMWireOptions const& options);
    WMWireOptions const& GetWireOptions() const;

private:
    // The client sets the answer kept for GetXMLIn aside while the message's copy is read, and
    // the SOAP version of a document/literal call's exchange.
    friend class WMSOAPClient;

    void InvokeStandard(WMString const& soapAction, WMString const& host, int port,
                        WMString const& path, WMString const& userAgent, WMSOAPMessage& message);

    WMString m_xmlOut;
    WMString m_xmlIn;
    int m_httpStatus;
    unsigned long m_timeout;
    WMWireOptions m_wire;
    // The standard mode's connection and the request as sent; made at the first exchange.
    std::unique_ptr<corvane::detail::ProxyState> m_state;
    // The document/literal extension's SOAP 1.2 calls set 12 for their exchange (standard mode).
    int m_soapVersion = 11;
};

// Calls the RPC/encoded operations of a service described by a WSDL document.
//
// Typical use: Initialize once, then InvokeSOAPMethod for each call. A call that returns false
// did not complete (unknown or non-rpc operation, nothing to send, no connection, a refused
// HTTP answer, or an unreadable response); in the last case the fault getters tell why. A SOAP
// fault sent by the server is not a false result: check IsSOAPFault after each call.
//
// Calls may follow each other without NewMessage: when a call finds the message still holding
// the answer of an earlier exchange, it first restores the request state as NewMessage does
// (request phase, fault cleared, parameters cleared). Request header entries set since that
// exchange are sent with the call; the response header entries of the earlier exchange are not.
class CORVANE_API WMSOAPClient {
public:
    WMSOAPClient();
    WMSOAPClient(WMSOAPClient const& other);
    WMSOAPClient& operator=(WMSOAPClient const& other);
    virtual ~WMSOAPClient();

    // Reads the description (a "file://" or "http://" location), chooses the service and port,
    // and probes the service: when it has a "CheckSSL" operation that returns the long 1, the
    // client switches to TLS on port 443. nameList is split at "," and kept with the client.
    bool Initialize(WMString const& wsdlLocation, WMString const& serviceName,
                    WMString const& portName, WMString const& actorURI, WMString const& userAgent,
                    WMString const& nameList, bool explicitTyping);

    // Sends the parameters whose names are input parts of the operation, in the order of the
    // arrays (other names are left out), and on an HTTP 200 answer copies each returned
    // parameter into every entry of paramValues with the same name, and the return value into
    // returnValue. On any other answer the arrays and returnValue are left as they were.
    bool InvokeSOAPMethod(WMString const& methodName, WMString* paramNames,
                          WMSOAPStructMember* paramValues, int count,
                          WMSOAPStructMember& returnValue);

    // Starts a fresh request: no parameters, no header entries, no fault.
    bool NewMessage();
    bool IsInitialized();
    bool IsSOAPFault();
    void ClearHeaders();

    // The arguments are namespace, actor, name: not the order of the message's own operation.
    bool SetRequestHeaderEntry(WMString const& ns, WMString const& actor, WMString const& name,
                               WMSOAPStructMember& value, bool mustUnderstand);
    bool GetResponseHeaderEntry(WMString const& ns, WMString const& name,
                                WMSOAPStructMember& value);
    bool GetFaultDetailEntry(WMString const& ns, WMString const& name, WMSOAPStructMember& value);
    bool GetSOAPFaultCode(WMString& code);
    bool GetSOAPFaultString(WMString& text);
    bool GetSOAPFaultActor(WMString& actor);

    // The request text last sent and the response text last received.
    WMString const* GetXMLOut();
    unsigned long GetXMLOutLength();
    WMString GetXMLIn() const;
    unsigned long GetXMLInLength();
    WMSOAPWSDLClient const& GetWSDLClient() const;

    // Extension: one time-out, in milliseconds, for every wait of the client's network
    // exchanges: fetching the WSDL (set it before Initialize) and each call. Default 600000.
    // A negative value counts as 0.
    void SetHTTPTimeout(int milliseconds);

    // Extension: the standard wire mode (see <corvane/wire.h>), handed to the client's WSDL
    // client, proxy and message (values typed and read as in WMSOAPMessage's standard mode,
    // also after NewMessage). Set it before Initialize: the description is then fetched with it,
    // and the endpoint is the port's soap:address called by its whole URL, its scheme choosing TLS
    // on any port. Initialize sends no CheckSSL probe in this mode. A call whose exchange
    // fails returns false with the reason (no connection, the certificate's fault, a refused
    // status...) as the message's fault string under the code "SOAP-ENV:Client"; IsSOAPFault
    // is then true, and the next call starts afresh as after an answer.
    void SetWireOptions(WMWireOptions const& options);
    WMWireOptions const& GetWireOptions() const;

private:
    // What the description says of the operation last called, asked once: the description
    // does not change between calls (Initialize forgets it).
    struct OperationMemo {
        WMString name;
        WMString soapAction;
        WMString methodNS;
        bool known = false;
        // Each parameter name asked about so far, with whether it is an input and an output.
        std::vector<std::pair<WMString, std::pair<bool, bool>>> parts;
    };
    // The memo of an rpc operation of the description; null when a lookup fails.
    OperationMemo const* Operation(WMString const& methodName);
    std::pair<bool, bool> PartRoles(WMString const& methodName, WMString const& part);

    void RestoreRequestState();
    bool Exchange(WMString const& soapAction);
    // The document/literal extension (literal_client.cpp): whether it calls the operation, and
    // the call.
    bool UsesLiteralPath(WMString const& methodName);
    bool LoadLiteral();
    bool InitializeLiteral(WMString const& nameList);
    bool InvokeLiteral(WMString const& methodName, WMString* paramNames,
                       WMSOAPStructMember* paramValues, int count, WMSOAPStructMember& returnValue);

    WMString m_serviceName;
    WMString m_portName;
    WMString m_actorURI;
    WMString m_wsdlLocation;
    WMSOAPWSDLClient m_wsdlClient;
    WMSOAPMessage m_message;
    WMSOAPAutomationProxy m_proxy;
    WMString m_endpointHost;
    WMString m_endpointPath;
    WMString m_userAgent;
    int m_endpointPort;
    std::vector<WMString> m_nameList;
    bool m_hasNameList;
    bool m_explicitTyping;
    // Header entries at the front of the message's list that came with the last response.
    int m_responseHeaderCount;
    // The description as the extension reads it, loaded at its first call; shared read-only by
    // copies of the client.
    std::shared_ptr<const corvane::detail::LiteralPort> m_literal;
    OperationMemo m_operation;
    // The serializer's answers from the description, kept between calls (Initialize and
    // SetWireOptions forget them). A copy of the client sees that they are another's.
    std::shared_ptr<corvane::detail::TypeCache> m_types;
};

#endif
