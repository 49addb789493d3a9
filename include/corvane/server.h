// Serving RPC/encoded SOAP calls from any HTTP server (an extension of the message layer).
//
// Corvane has no HTTP server of its own. An application hosts its service on the HTTP server it
// prefers and hands each POST to a WMSOAPServerCall, which does what every server does the same
// way: decode the body, read it into a WMSOAPMessage in the request phase, check the method and
// the SOAPAction against the WSDL, and write the response or the fault back as bytes with the
// HTTP status to send. Per request:
//
//     WMSOAPServerCall call(wsdl);
//     if (call.ReadRequest(body, soapActionHeader)) {
//         WMSOAPStructMember text;
//         call.GetParam(u"inputString", text);
//         call.SetReturnValue(text);
//     }
//     std::string answer;
//     int status = call.WriteResponse(answer);  // 200, or 500 with a fault envelope
//     // send status, "Content-Type: text/xml; charset=utf-8" and answer
//
// A call serves one request. It reads the WSDL client given to it and changes nothing in it;
// the client must outlive the call. The WSDL client itself is used by one thread at a time, so a
// server with several threads gives each request its own copy: copies share the parsed
// description, which loading leaves read-only, and cost a few strings.
#ifndef CORVANE_SERVER_H
#define CORVANE_SERVER_H

#include <corvane/message.h>
#include <corvane/types.h>
#include <corvane/values.h>
#include <corvane/wire.h>

#include <memory>
#include <string>

class WMSOAPWSDLClient;

namespace corvane::detail {
struct LiteralService;
class LiteralCall;
}  // namespace corvane::detail

// Extension: the schema and SOAP binding of a document/literal service, read once from its WSDL
// (with every schema it imports or includes) and then shared read-only: copies share it, and
// any number of calls on any threads use it at once. Give it to each call with
// WMSOAPServerCall::SetLiteralService.
class CORVANE_API WMSOAPLiteralService {
public:
    WMSOAPLiteralService();
    WMSOAPLiteralService(WMSOAPLiteralService const& other);
    WMSOAPLiteralService& operator=(WMSOAPLiteralService const& other);
    ~WMSOAPLiteralService();

    // Reads the WSDL at `location` (a path or a file:// URL) and takes the binding of the port
    // named; with both names empty, the first SOAP port of the first service. False with
    // GetLoadError() naming the cause (the file, the reference that does not resolve).
    bool Load(WMString const& location, WMString const& serviceName = WMString(),
              WMString const& portName = WMString());
    WMString const& GetLoadError() const;

private:
    friend class WMSOAPServerCall;
    std::shared_ptr<const corvane::detail::LiteralService> m_service;
    WMString m_error;
};

class CORVANE_API WMSOAPServerCall {
public:
    explicit WMSOAPServerCall(WMSOAPWSDLClient& wsdl);
    WMSOAPServerCall(WMSOAPServerCall const& other);
    WMSOAPServerCall& operator=(WMSOAPServerCall const& other);
    virtual ~WMSOAPServerCall();

    // Reads one request into a fresh message. `body` is the HTTP body: UTF-8, as the envelope
    // declares; a body that is not valid UTF-8 is read as ISO-8859-1, one character per byte,
    // which is how Corvane's own client writes text. `soapAction` is the SOAPAction header as
    // received, quotes included (empty when the request had none): the WSDL's soapAction is
    // kept in the quoted form that the header carries, and the two must be equal exactly, so
    // "http://" matches soapAction="http://" while an unquoted http:// does not.
    // Returns true when the call is ready to be answered; false when the request was refused,
    // in which case the message holds the fault (its code and string as the library raised
    // it) and WriteResponse sends it.
    bool ReadRequest(std::string const& body, std::string const& soapAction);

    // The operation called (the method element's local name), empty before a request was read.
    WMString const& GetMethodName() const;

    // The first input parameter of that name, as the request carried it. False when there is
    // none.
    bool GetParam(WMString const& name, WMSOAPStructMember& value);
    // Extension: the same, taking the value over instead of copying it (a large array need not
    // be held twice); the parameter is left empty, and an in-out parameter taken is answered
    // only through SetOutParam.
    bool TakeParam(WMString const& name, WMSOAPStructMember& value);

    // The operation's return value: the first output part that the operation's parameterOrder
    // does not list. The value is sent under that part's name. False when the operation has no
    // such part.
    bool SetReturnValue(WMSOAPStructMember const& value);
    // Extension: the same, taking the value over instead of copying it (a large array need not
    // be held twice).
    bool SetReturnValue(WMSOAPStructMember&& value);

    // The value of an output parameter (an in-out parameter, or an output part that the
    // parameterOrder lists). False when the operation has no such parameter.
    bool SetOutParam(WMString const& name, WMSOAPStructMember const& value);

    // Answers with a fault instead of a result; detail entries and fault header entries can be
    // added to GetMessage() before WriteResponse.
    void SetFault(WMString const& faultCode, WMString const& faultString);

    // Serializes the response, or the fault when there is one, as UTF-8 into `body` and returns
    // the HTTP status: 200 for a response, 500 for a fault. A response that the WSDL does not
    // describe (a value of the wrong shape, a missing struct member type) is not sent half
    // written: it becomes the fault "SOAP-ENV:Server" / "Unable to serialize RPC response.".
    // Writing releases what the answer no longer needs, so that it is not held beside the
    // answer's text: the request's literal body text (GetBodyElemLit) unless the message is
    // forwarded, and, once the answer is written, the return value and output parameters.
    int WriteResponse(std::string& body);

    // The message of the call, for anything the operations above do not cover (header entries,
    // fault details, the request's text).
    WMSOAPMessage& GetMessage();

    // Extension: the standard wire mode (see <corvane/wire.h>; `standard` and `documentLiteral` are
    // read here),
    // set before ReadRequest. With it on:
    // - the body is read as UTF-8 (a byte-order mark is allowed); a body that is not valid
    //   UTF-8 is refused with the fault "SOAP-ENV:Client" rather than read as ISO-8859-1;
    // - built-in parameters are read by their type and the answer is written with typed values
    //   (see SetStandardWireMode in <corvane/message.h>); a parameter whose text does not fit
    //   its type is refused with "SOAP-ENV:Client" naming the element;
    // - the SOAPAction header is accepted with or without its quotes, empty or missing, or as
    //   "namespace#method" (what several toolkits send by default); another action is refused;
    // - a response text holding an unpaired surrogate, which UTF-8 cannot carry, becomes the
    //   fault "SOAP-ENV:Server" saying so.
    void SetWireOptions(WMWireOptions const& options);
    WMWireOptions const& GetWireOptions() const;

    // Extension: document/literal and SOAP 1.2 (see <corvane/wire.h>), on when the wire options
    // have both `standard` and `documentLiteral` set and a loaded service is given here before
    // ReadRequest. The WSDL client of the constructor is then not read. In this mode:
    // - the body is an envelope of SOAP 1.1 or 1.2, read as UTF-8, and answered in its version,
    //   with GetContentType() to send; every fault goes with status 500;
    // - the operation is the one whose request element is the Body's first element (rpc/literal:
    //   the wrapper named like the operation in the body's namespace); where operations share
    //   that element, the action tells them apart (the SOAPAction header, or the action
    //   parameter of a 1.2 request's content type: pass it to ReadRequest). Otherwise the action
    //   is not checked, since the element says what is called;
    // - parameters are read by the schema: for a "wrapped" operation the wrapper's children by
    //   name, otherwise the parts by name. A request that does not fit the schema (a missing
    //   required element, an unknown one, a text not of its type, more occurrences of one
    //   element than the wire options' `maxOccurs`) is refused with "SOAP-ENV:Client" (1.2: Sender)
    //   naming the element;
    // - SetReturnValue sets the response wrapper's first child (the first output part when not
    //   wrapped), SetOutParam the others; a response the schema refuses becomes the fault
    //   "SOAP-ENV:Server" (1.2: Receiver) naming the element;
    // - fault codes are given as in 1.1 ("SOAP-ENV:Client", "SOAP-ENV:Server", ...) and written
    //   in 1.2 as Sender, Receiver and the others by name; a header entry marked mustUnderstand
    //   that is not a header part of the operation is refused with "SOAP-ENV:MustUnderstand".
    void SetLiteralService(WMSOAPLiteralService const& service);
    // The same as ReadRequest(body, soapAction) with the request's Content-Type header, whose
    // action parameter names the operation of a SOAP 1.2 request. Read only in the
    // document/literal mode.
    bool ReadRequest(std::string const& body, std::string const& soapAction,
                     std::string const& contentType);
    // The content type of the answer: "application/soap+xml; charset=utf-8" for an answer to a
    // SOAP 1.2 request, otherwise "text/xml; charset=utf-8".
    char const* GetContentType() const;
    // Document/literal mode: the fault set with SetFault gets the WSDL fault `faultName` of the
    // operation, `detail` written as its message's element. False when the operation has no such
    // fault. A detail the schema refuses is left out of the answer.
    bool SetFaultDetail(WMString const& faultName, WMSOAPStructMember const& detail);

private:
    bool Literal() const;

    WMSOAPWSDLClient* m_wsdl;
    WMSOAPMessage m_message;
    WMWireOptions m_wire;
    std::shared_ptr<const corvane::detail::LiteralService> m_literalService;
    std::unique_ptr<corvane::detail::LiteralCall> m_literal;
};

#endif
