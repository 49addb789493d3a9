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
struct TypeAnswers;
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
    bool HitReferenceCycle() const { return m_referenceCycle; }

private:
    // Counts `count` new values against the budget; false when it is spent.
    bool Charge(std::size_t count);
    // Counts a deep copy of a value of `size` values; false when the budget is spent.
    bool ChargeCopy(std::size_t size);
    // The complex-type readers behind the exported forms, with the type's name by reference.
    bool ReadComplex(corvane::WMSOAPParamHandler* element, corvane::WMSOAPParamHandler* referenced,
                     bool named, WMString const& typeNS, WMString const& typeName,
                     WMSOAPStructMember& result, WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);
    bool ReadStruct(WMString const& typeNS, WMString const& typeName,
                    corvane::WMSOAPParamHandler* element, WMSOAPStructMember& result,
                    WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);
    bool ReadArray(WMString const& typeNS, WMString const& typeName,
                   corvane::WMSOAPParamHandler* element, WMSOAPStructMember& result,
                   WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);
    // DeserializeBuiltInType without the name and namespace: `converted` tells whether the type
    // is in the built-in table (and the element not nil), which is when those would be set.
    bool ReadBuiltInValue(corvane::WMSOAPParamHandler* element, WMString const& typeName,
                          WMSOAPStructMember& result, bool& converted);
    // Enters the value of `element` (depth and cycle bookkeeping); false when too deep.
    bool Enter(corvane::WMSOAPParamHandler* element);
    void Leave();
    bool ReadItem(corvane::WMSOAPParamHandler* child, corvane::WMSOAPParamHandler* item,
                  enum WMSOAPStructMember::SOAPDataMember::DATATYPE itemKind,
                  WMString const& itemTypeNS, WMString const& itemTypeName,
                  WMSOAPStructMember& value, WMSOAPMessage& message, WMSOAPWSDLClient& wsdl);

    // The description's answers about types, remembered for one deserialization: the items of
    // an array ask the same questions over and over.
    bool IsArrayType(WMString const& typeNS, WMString const& typeName, WMSOAPWSDLClient& wsdl);
    // The member accessor's type in the struct type, and the namespace the member keeps; null
    // when the description does not define the member. The answer lives in the list of answers,
    // or in `uncached` once the list is full.
    struct MemberType {
        WMString ns;
        WMString typeName;
        WMString typeNS;
    };
    MemberType const* FindMemberType(WMString const& typeNS, WMString const& typeName,
                                     corvane::WMSOAPParamHandler* child, WMSOAPWSDLClient& wsdl,
                                     MemberType& uncached);

    friend struct corvane::TypeAnswers;
    std::unique_ptr<corvane::TypeAnswers> m_answers;
    std::size_t m_budget = 0;
    std::size_t m_used = 0;
    std::size_t m_created = 0;
    // Elements whose value is being read, outermost first; bounds nesting and detects cycles.
    std::vector<corvane::WMSOAPParamHandler*> m_active;
    bool m_referenceCycle = false;
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
    // As in the response deserializer: the state of the one request this object reads.
    std::unique_ptr<corvane::ReqParseState> m_state;
};

#endif
