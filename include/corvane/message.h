// The SOAP message: envelope text, method call, header entries, fault and literal parts.
#ifndef CORVANE_MESSAGE_H
#define CORVANE_MESSAGE_H

#include <corvane/serializer.h>
#include <corvane/types.h>
#include <corvane/values.h>

#include <memory>
#include <utility>
#include <vector>

class WMXMLElement;
class WMSOAPWSDLClient;
class WMSOAPReqDeserializer;
class WMSOAPRespDeserializer;
class WMXMLMessageElement;
class WMSOAPHeaderMsgElement;
class WMSOAPParamMsgElement;
class WMSOAPHeaderMsgElementLit;
namespace corvane::detail {
struct MessageBuilder;
}

// A SOAP fault raised inside the library. Thrown as a pointer to a heap object, which the code
// that catches it deletes; a server catches it around Deserialize and ProcessRPC and records it:
//     try {
//         message.Deserialize(wsdl);
//         message.ProcessRPC(wsdl);
//     } catch (WMSOAPFault* fault) {
//         message.SetSOAPFault(fault->GetFaultCode(), fault->GetFaultString(),
//                              fault->GetFaultActor(), fault->GetNeedDetail());
//         delete fault;
//     }
class CORVANE_API WMSOAPFault {
public:
    // needDetail tells whether a detail element is to be written when the fault is sent.
    WMSOAPFault(WMString const& faultCode, WMString const& faultString, bool needDetail = false,
                WMString const& faultActor = WMString(), WMString const& faultDetail = WMString());
    WMSOAPFault(WMSOAPFault const& other);
    WMSOAPFault& operator=(WMSOAPFault const& other);
    virtual ~WMSOAPFault();

    WMString const& GetFaultCode() const;
    WMString const& GetFaultString() const;
    bool GetNeedDetail() const;
    WMString const& GetFaultActor() const;
    WMString const& GetFaultDetail() const;

private:
    WMString m_faultCode;
    WMString m_faultString;
    bool m_needDetail;
    WMString m_faultActor;
    WMString m_faultDetail;
};

// XML text of an envelope, optionally with its parsed tree.
class CORVANE_API WMXMLMessage {
public:
    WMXMLMessage();
    explicit WMXMLMessage(WMString const& buffer);
    WMXMLMessage(WMXMLMessage const& other);
    WMXMLMessage& operator=(WMXMLMessage const& other);
    virtual ~WMXMLMessage();

    void SetBuffer(WMString const& buffer);
    WMString const* GetBufferPtr();
    unsigned long GetBufferLength();
    // Deletes the element held before and takes ownership of the new one.
    void SetRootElement(WMXMLElement* root);
    // Hands the held element (possibly null) and its ownership to the caller.
    WMXMLElement* DetachRootElement();

protected:
    WMString m_buffer;
    WMXMLElement* m_rootElement;

private:
    // Takes the request text out of the message for the time of the exchange, rather than
    // copying it (see its InvokeSOAPMethod).
    friend class WMSOAPAutomationProxy;
};

class CORVANE_API WMSOAPMessage : public WMXMLMessage {
public:
    WMSOAPMessage();
    WMSOAPMessage(WMSOAPMessage const& other);
    WMSOAPMessage& operator=(WMSOAPMessage const& other);
    ~WMSOAPMessage() override;

    // Set-up and dispatch. The buffer is read up to its terminating zero; length is not used.
    bool Initialize(WMChar* buffer, unsigned long length, WMString const& serviceName,
                    WMString const& portName, WMString const& actorURI, WMString const& soapAction,
                    WMString const& nextHopURL, bool explicitTyping);
    bool Serialize(WMSOAPWSDLClient& wsdl);
    // Reads the envelope in the buffer with the request or the response deserializer (by the
    // request phase). A malformed or wrong envelope throws a new WMSOAPFault (see above).
    bool Deserialize(WMSOAPWSDLClient& wsdl);
    // Reads the method call (request phase: after checking the method and SOAPAction against
    // the WSDL) or the return value and out-parameters. Throws a new WMSOAPFault on failure.
    bool ProcessRPC(WMSOAPWSDLClient& wsdl);
    // Must-understand headers are never rejected: both always answer true.
    bool IsRPCStyle();
    bool CheckMustUnderstand();
    bool IsDefaultActor();
    bool IsIntermediary();

    // Plain accessors.
    WMString const& GetMethodNS() const;
    void SetMethodNS(WMString const& ns);
    WMString const& GetMethodName() const;
    void SetMethodName(WMString const& name);
    WMString const& GetRetValName();
    void SetRetValName(WMString const& name);
    WMString const& GetSOAPAction() const;
    WMString const& GetServiceName() const;
    WMString const& GetPortName() const;
    WMString const& GetActorURI() const;
    void SetActorURI(WMString const& actorURI);
    WMString const& GetNextHopURL() const;
    void SetNextHopURL(WMString const& url);
    bool IsRequestPhase();
    void SetRequestPhase(bool requestPhase);
    bool UseExplicitTyping();

    // Extension: the standard wire mode's values (see <corvane/wire.h>). Off by default. With it
    // on, Serialize types every built-in value by its WSDL type (xsd:int, xsd:boolean,
    // xsd:base64Binary...), writes numbers in their shortest exact form, gives arrays their
    // size in SOAP-ENC:arrayType and structs and arrays their xsi:type; ProcessRPC reads
    // built-in values by their type, and a value that does not fit its type raises a fault
    // naming its element; a request's SOAPAction may come without its quotes, empty or as
    // "namespace#method" (see WMSOAPServerCall::SetWireOptions). docs/values.md tells how each type
    // reaches a WMSOAPStructMember in both modes. The setting survives Initialize and is copied
    // with the message.
    void SetStandardWireMode(bool on);
    bool GetStandardWireMode() const;

    WMSOAPStructMember& GetReturnValue();
    void SetReturnValue(WMSOAPStructMember& value);

    // Fault.
    bool SetSOAPFault(WMString const& code, WMString const& string, WMString const& actor,
                      bool needDetail);
    bool SetSOAPFaultLit(WMString const& xml, WMString const& encodingStyle);
    void ClearSOAPFault();
    bool IsSOAPFault();
    bool IsLocalFault();
    void SetLocalFaultFlag(bool local);
    bool IsLiteralFault();
    WMString const& GetSOAPFaultCode();
    WMString const& GetSOAPFaultString();
    WMString const& GetSOAPFaultActor();
    bool GetSOAPFaultNeedDetail();
    void SetSOAPFaultNeedDetail(bool needDetail);

    // Encoded header entries.
    bool AddHeaderElem(WMString const& ns, WMString const& name, bool mustUnderstand,
                       WMSOAPStructMember& value, WMString const& actor);
    bool GetFirstHeaderElem(WMString& ns, WMString& name, WMSOAPStructMember& value,
                            bool& mustUnderstand, WMString& actor, long& position);
    bool GetNextHeaderElem(WMString& ns, WMString& name, WMSOAPStructMember& value,
                           bool& mustUnderstand, WMString& actor, long& position);
    bool GetHeaderElem(WMString const& ns, WMString const& name, WMSOAPStructMember& value);
    int GetNumHeaderElems();
    // Clears the encoded and the literal header entries.
    void ClearHeaderElems();

    // Literal header entries.
    bool AddHeaderElemLit(WMString const& ns, WMString const& name, WMString const& xml,
                          bool mustUnderstand, WMString const& actor,
                          WMString const& encodingStyle);
    bool GetFirstHeaderElemLit(WMString& ns, WMString& name, WMString& xml, bool& mustUnderstand,
                               WMString& actor, WMString& encodingStyle, long& position);
    bool GetNextHeaderElemLit(WMString& ns, WMString& name, WMString& xml, bool& mustUnderstand,
                              WMString& actor, WMString& encodingStyle, long& position);
    bool GetHeaderElemLit(WMString const& ns, WMString const& name, WMString& xml);
    int GetNumHeaderElemsLit();

    // Method parameters, in call order.
    bool AddMethodParam(WMString const& ns, WMString const& name, WMSOAPStructMember const& value,
                        bool isInput, bool isOutput);
    bool GetFirstMethodParam(WMString& ns, WMString& name, WMSOAPStructMember& value, bool& isInput,
                             bool& isOutput, long& position);
    bool GetNextMethodParam(WMString& ns, WMString& name, WMSOAPStructMember& value, bool& isInput,
                            bool& isOutput, long& position);
    int GetNumMethodParams();
    void ClearMethodParams();

    // Header entries sent with a fault.
    bool AddFaultHeaderElem(WMString const& ns, WMString const& name,
                            WMSOAPStructMember const& value, bool mustUnderstand,
                            WMString const& actor);
    bool GetFirstFaultHeaderElem(WMString& ns, WMString& name, WMSOAPStructMember& value,
                                 bool& mustUnderstand, WMString& actor, long& position);
    bool GetNextFaultHeaderElem(WMString& ns, WMString& name, WMSOAPStructMember& value,
                                bool& mustUnderstand, WMString& actor, long& position);
    int GetNumFaultHeaderElems();
    // Clears the encoded and the literal fault header entries.
    void ClearFaultHeaderElems();

    bool AddFaultHeaderElemLit(WMString const& ns, WMString const& name, WMString const& xml,
                               bool mustUnderstand, WMString const& actor,
                               WMString const& encodingStyle);
    bool GetFirstFaultHeaderElemLit(WMString& ns, WMString& name, WMString& xml,
                                    bool& mustUnderstand, WMString& actor, WMString& encodingStyle,
                                    long& position);
    bool GetNextFaultHeaderElemLit(WMString& ns, WMString& name, WMString& xml,
                                   bool& mustUnderstand, WMString& actor, WMString& encodingStyle,
                                   long& position);
    int GetNumFaultHeaderElemsLit();

    // Fault detail entries.
    bool AddFaultDetailElem(WMString const& ns, WMString const& name,
                            WMSOAPStructMember const& value);
    bool GetFirstFaultDetailElem(WMString& ns, WMString& name, WMSOAPStructMember& value,
                                 long& position);
    bool GetNextFaultDetailElem(WMString& ns, WMString& name, WMSOAPStructMember& value,
                                long& position);
    bool GetFaultDetailElem(WMString const& ns, WMString const& name, WMSOAPStructMember& value);
    int GetNumFaultDetailElems();
    void ClearFaultDetailElems();

    // The literal body slot, shared with a literal fault.
    bool SetBodyElemLit(WMString const& xml, WMString const& encodingStyle);
    bool GetBodyElemLit(WMString& xml);

private:
    friend class WMSOAPSerializer;
    // The server helper reads and edits the parameters in place rather than through copies.
    friend class WMSOAPServerCall;
    // The deserializers' access for moving what they read into place (internal, not exported).
    friend struct corvane::detail::MessageBuilder;

    // Deserializers are made on first use by the deserialization code, which owns their
    // definition; each carries its own deleter so the message needs no complete type. A copied
    // message starts with fresh ones: a parse in progress is not something to duplicate.
    template <class T>
    using OwnedEngine = std::unique_ptr<T, void (*)(T*)>;

    std::vector<std::unique_ptr<WMSOAPHeaderMsgElement>> m_headerElems;
    std::vector<std::unique_ptr<WMSOAPHeaderMsgElementLit>> m_headerElemsLit;
    // (encoding style, XML text) of a literal body element or literal fault.
    std::unique_ptr<std::pair<WMString, WMString>> m_bodyElemLit;
    std::vector<std::unique_ptr<WMSOAPParamMsgElement>> m_methodParams;
    WMSOAPStructMember m_returnValue;
    WMString m_retValName;
    WMString m_methodNS;
    WMString m_methodName;
    WMString m_soapAction;
    WMString m_faultCode;
    WMString m_faultString;
    WMString m_faultActor;
    bool m_faultNeedDetail;
    bool m_isSOAPFault;
    bool m_isLocalFault;
    bool m_isLiteralFault;
    std::vector<std::unique_ptr<WMXMLMessageElement>> m_faultDetailElems;
    std::vector<std::unique_ptr<WMSOAPHeaderMsgElement>> m_faultHeaderElems;
    std::vector<std::unique_ptr<WMSOAPHeaderMsgElementLit>> m_faultHeaderElemsLit;
    OwnedEngine<WMSOAPReqDeserializer> m_reqDeserializer;
    OwnedEngine<WMSOAPRespDeserializer> m_respDeserializer;
    WMSOAPSerializer m_serializer;
    bool m_explicitTyping;
    bool m_standardWireMode = false;
    WMString m_serviceName;
    WMString m_portName;
    WMString m_nextHopURL;
    bool m_requestPhase;
    WMString m_actorURI;
};

#endif
