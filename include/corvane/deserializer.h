// SOAP deserializers: the value reader shared by both sides, the client-side response reader and
// the server-side request reader.
#ifndef CORVANE_DESERIALIZER_H
#define CORVANE_DESERIALIZER_H

#include <corvane/types.h>
#include <corvane/values.h>

#include <cstddef>
#include <memory>
#include <vector>

class WMSOAPMessage;
class WMSOAPWSDLClient;

namespace corvane {
class WMSOAPParamHandler;
class WMSOAPHeaderElemHandler;
class WMSOAPHeaderHandler;
class WMSOAPRequestBodyHandler;
class WMSOAPResponseBodyHandler;
class WMSOAPRequestHandler;
class WMSOAPResponseHandler;
struct RespParseState;
struct ReqParseState;
struct ValueReadState;
struct HandlerTree;
namespace detail {
struct MessageBuilder;
}
}  // namespace corvane

class CORVANE_API WMSOAPDeserializer {
public:
    WMSOAPDeserializer();
    WMSOAPDeserializer(WMSOAPDeserializer const& other);
    WMSOAPDeserializer& operator=(WMSOAPDeserializer const& other);
    virtual ~WMSOAPDeserializer();

    virtual bool Deserialize(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) = 0;

    // Extension: built-in values read by their type, as the standard wire mode sends them (see
    // SetStandardWireMode in <corvane/message.h>, which sets this before each read).
    void SetStandardWireMode(bool on) { m_standardWireMode = on; }

protected:
    virtual corvane::WMSOAPParamHandler* GetMultiRefElem(corvane::WMSOAPParamHandler* element);

    bool IsXSDType(WMString const& ns);
    bool IsSoapEncType(WMString const& ns);

    bool DeserializeBuiltInType(corvane::WMSOAPParamHandler* element, WMString const& typeName,
                                WMSOAPStructMember& result);
    bool DeserializeDateTime(corvane::WMSOAPParamHandler* element, double* result);
    bool DeserializeDate(corvane::WMSOAPParamHandler* element, double* result);
    bool DeserializeTime(corvane::WMSOAPParamHandler* element, double* result);

    // `referenced`, when not null, is the element an href of `element` resolved to: it holds
    // the content. With `named`, the result takes the local name and xsi:type namespace of
    // `element`, as a built-in value does; otherwise its name is left as it was.
    bool DeserializeComplexType(corvane::WMSOAPParamHandler* element,
                                corvane::WMSOAPParamHandler* referenced, bool named,
                                WMString typeNS, WMString typeName, WMSOAPStructMember& result,
                                WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);
    bool DeserializeStruct(WMString typeNS, WMString typeName, corvane::WMSOAPParamHandler* element,
                           WMSOAPStructMember& result, WMSOAPMessage& message,
                           WMSOAPWSDLClient& wsdl);
    bool DeserializeArray(WMString typeNS, WMString typeName, corvane::WMSOAPParamHandler* element,
                          WMSOAPStructMember& result, WMSOAPMessage& message,
                          WMSOAPWSDLClient& wsdl);
    bool DeserializeArray(corvane::WMSOAPParamHandler* element,
                          enum WMSOAPStructMember::SOAPDataMember::DATATYPE itemKind,
                          WMString const& itemTypeNS, WMString const& itemTypeName,
                          WMSOAPStructMember& result, WMSOAPMessage& message,
                          WMSOAPWSDLClient& wsdl);

    // Work bound of one deserialization: the number of values it may materialize. Derived
    // readers set it from the size of the parsed input before converting anything.
    void ResetValueBudget(std::size_t inputElements);
    // The href of `element` resolved with GetMultiRefElem, or null when it names no element or
    // one whose value is being read right now (a reference cycle).
    corvane::WMSOAPParamHandler* ResolveReference(corvane::WMSOAPParamHandler* element);
    // True when the last failed conversion failed on a reference cycle.
    bool HitReferenceCycle() const;

private:
    // The reader's access to GetMultiRefElem and to the wire mode.
    friend struct corvane::HandlerTree;
    // The description's answers and the bounds of the deserialization in progress.
    std::unique_ptr<corvane::ValueReadState> m_read;
    bool m_standardWireMode = false;
};

class CORVANE_API WMSOAPRespDeserializer : public WMSOAPDeserializer {
public:
    WMSOAPRespDeserializer();
    WMSOAPRespDeserializer(WMSOAPRespDeserializer const& other);
    WMSOAPRespDeserializer& operator=(WMSOAPRespDeserializer const& other);
    virtual ~WMSOAPRespDeserializer();

    virtual bool Deserialize(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);
    bool IsSOAPFault(void);
    bool ProcessRPCResponse(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);

protected:
    bool DeserializeHeader(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);
    bool DeserializeBody(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);
    bool DeserializeSOAPFault(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);

    corvane::WMSOAPHeaderHandler& GetHeaderHandler(void);
    corvane::WMSOAPResponseBodyHandler& GetBodyHandler(void);
    corvane::WMSOAPResponseHandler* GetResponseHandler(void);
    std::vector<corvane::WMSOAPHeaderElemHandler*> const& GetHeaderEntries(void);
    std::vector<corvane::WMSOAPParamHandler*> const& GetMethodParameters(void);

    virtual corvane::WMSOAPParamHandler* GetMultiRefElem(corvane::WMSOAPParamHandler* element);

private:
    friend struct corvane::detail::MessageBuilder;
    // Frees the handler tree of the last response, keeping the parser (its line count goes on).
    void ReleaseTree();

    // The parser, the parse-event handler and the handler tree of the last response; a copy
    // of the deserializer starts with a fresh one, since the tree belongs to one parse.
    std::unique_ptr<corvane::RespParseState> m_state;
};

class CORVANE_API WMSOAPReqDeserializer : public WMSOAPDeserializer {
public:
    WMSOAPReqDeserializer();
    WMSOAPReqDeserializer(WMSOAPReqDeserializer const& other);
    WMSOAPReqDeserializer& operator=(WMSOAPReqDeserializer const& other);
    virtual ~WMSOAPReqDeserializer();

    virtual bool Deserialize(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);
    bool ProcessRPCRequest(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);

protected:
    bool DeserializeHeader(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);
    bool DeserializeBody(WMSOAPMessage& message);

    corvane::WMSOAPHeaderHandler& GetHeaderHandler(void);
    corvane::WMSOAPRequestBodyHandler& GetBodyHandler(void);
    corvane::WMSOAPRequestHandler* GetRequestHandler(void);
    std::vector<corvane::WMSOAPHeaderElemHandler*> const& GetHeaderEntries(void);
    std::vector<corvane::WMSOAPParamHandler*> const& GetMethodParameters(void);

    virtual corvane::WMSOAPParamHandler* GetMultiRefElem(corvane::WMSOAPParamHandler* element);

private:
    friend struct corvane::detail::MessageBuilder;
    // As in the response deserializer: the state of the one request this object reads.
    std::unique_ptr<corvane::ReqParseState> m_state;
};

#endif
