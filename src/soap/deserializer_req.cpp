#include <corvane/deserializer.h>
#include <corvane/message.h>
#include <corvane/wsdl.h>

#include <algorithm>
#include <limits>
#include <map>
#include <utility>

#include "soap/deserializer_impl.h"
#include "soap/parse_handlers.h"
#include "soap/read_steps.h"

using corvane::WMSOAPHeaderElemHandler;
using corvane::WMSOAPParamHandler;

namespace {

// One method parameter as the message stores it.
struct Param {
    WMString ns;
    WMString name;
    WMSOAPStructMember value;
    bool isInput = false;
    bool isOutput = false;
};

}  // namespace

WMSOAPReqDeserializer::WMSOAPReqDeserializer()
    : m_state(std::make_unique<corvane::ReqParseState>()) {}

WMSOAPReqDeserializer::WMSOAPReqDeserializer(WMSOAPReqDeserializer const& other)
    : WMSOAPDeserializer(other), m_state(std::make_unique<corvane::ReqParseState>()) {}

WMSOAPReqDeserializer& WMSOAPReqDeserializer::operator=(WMSOAPReqDeserializer const& other) {
    if (this != &other) {
        WMSOAPDeserializer::operator=(other);
        m_state = std::make_unique<corvane::ReqParseState>();
    }
    return *this;
}

WMSOAPReqDeserializer::~WMSOAPReqDeserializer() = default;

bool WMSOAPReqDeserializer::Deserialize(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    // The handler tree is deliberately not reset: a request deserializer reads one request.
    m_state->events.SetRootHandler(m_state->handler.get());
    try {
        corvane::ParseEnvelope(m_state->parser, *message.GetBufferPtr(), m_state->events);
    } catch (...) {
        // A tree from an abandoned parse points at elements the parser has dropped: discard it.
        m_state->events.Reset();
        m_state->handler = std::make_unique<corvane::WMSOAPRequestMessageHandler>();
        throw;
    }
    m_state->earlierDocuments.emplace_back(m_state->parser.DetachDocRoot());
    ResetValueBudget(m_state->events.GetElementCount());
    if (corvane::WMSOAPRequestHandler* request = GetRequestHandler()) {
        message.SetMethodName(request->GetLocalName());
        message.SetMethodNS(request->GetNS());
    }
    DeserializeHeader(message, wsdl);
    DeserializeBody(message);
    return true;
}

corvane::WMSOAPHeaderHandler& WMSOAPReqDeserializer::GetHeaderHandler(void) {
    return m_state->handler->GetEnvelope().GetHeader();
}

corvane::WMSOAPRequestBodyHandler& WMSOAPReqDeserializer::GetBodyHandler(void) {
    return m_state->handler->GetEnvelope().GetBody();
}

corvane::WMSOAPRequestHandler* WMSOAPReqDeserializer::GetRequestHandler(void) {
    return GetBodyHandler().GetRequestHandler();
}

std::vector<WMSOAPHeaderElemHandler*> const& WMSOAPReqDeserializer::GetHeaderEntries(void) {
    return GetHeaderHandler().GetEntries();
}

std::vector<WMSOAPParamHandler*> const& WMSOAPReqDeserializer::GetMethodParameters(void) {
    static std::vector<WMSOAPParamHandler*> const none;
    corvane::WMSOAPRequestHandler* request = GetRequestHandler();
    return request != nullptr ? request->GetChildren() : none;
}

WMSOAPParamHandler* WMSOAPReqDeserializer::GetMultiRefElem(WMSOAPParamHandler* element) {
    return corvane::FindReferencedElement(element->GetHref(), GetBodyHandler().GetIdTable(),
                                          GetHeaderHandler().GetIdTable());
}

bool WMSOAPReqDeserializer::DeserializeHeader(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    auto reader = corvane::HandlerReader(*this, &wsdl);
    corvane::ReadHeaderEntries(reader, GetHeaderEntries(), message, wsdl,
                               corvane::ReadSide::kRequest, false);
    return true;
}

bool WMSOAPReqDeserializer::DeserializeBody(WMSOAPMessage& message) {
    corvane::WMSOAPRequestBodyHandler& body = GetBodyHandler();
    if (body.GetElement() == nullptr) {
        return true;
    }
    // The body is nearly the whole envelope: its text is given the envelope's size at once.
    corvane::detail::MessageBuilder::SetBodyElemLit(
        message, corvane::ElementText(body.GetElement(), message.GetBufferLength()),
        body.GetEncodingStyle());
    return true;
}

bool corvane::HasParameterOrder(WMSOAPWSDLClient& wsdl, WMString const& operation) {
    WMString name;
    long index = 0;
    for (bool more = wsdl.GetFirstInParamName(operation, name, index); more;
         more = wsdl.GetNextInParamName(operation, name, index)) {
        if (wsdl.IsOperationParam(operation, name)) {
            return true;
        }
    }
    for (bool more = wsdl.GetFirstOutParamName(operation, name, index); more;
         more = wsdl.GetNextOutParamName(operation, name, index)) {
        if (wsdl.IsOperationParam(operation, name)) {
            return true;
        }
    }
    return false;
}

namespace {

// Position of a part in parameterOrder; parts it does not list come after all listed ones.
long OrderOf(WMSOAPWSDLClient& wsdl, WMString const& operation, WMString const& part) {
    long index = 0;
    if (!wsdl.IsOperationParam(operation, part) ||
        !wsdl.GetOperationParamIndex(operation, part, &index)) {
        return std::numeric_limits<long>::max();
    }
    return index;
}

// The value an out-only parameter starts with: the zero of its built-in kind, or an empty
// array or struct for a complex type so that the application can fill it in place.
WMSOAPStructMember Placeholder(WMString const& name, WMString const& typeName,
                               WMString const& typeNS, WMSOAPWSDLClient& wsdl) {
    WMSOAPStructMember value;
    value.SetName(name);
    bool const builtIn =
        typeNS == corvane::soapuri::kXSD2001 || typeNS == corvane::soapuri::kXSD1999 ||
        typeNS == corvane::soapuri::kXSD2000 || typeNS == corvane::soapuri::kEncoding;
    if (builtIn) {
        static std::map<std::u16string_view, int> const kinds = {
            {u"unsignedByte", 1}, {u"byte", 1},    {u"short", 1},       {u"unsignedShort", 1},
            {u"integer", 1},      {u"int", 1},     {u"unsignedInt", 1}, {u"long", 1},
            {u"unsignedLong", 1}, {u"boolean", 1}, {u"float", 2},       {u"double", 2},
            {u"decimal", 2},      {u"string", 3},  {u"hexBinary", 3}};
        auto const kind = kinds.find(typeName);
        if (kind == kinds.end()) {
            return value;
        }
        if (kind->second == 1) {
            value.SetValue(std::int32_t{0});
        } else if (kind->second == 2) {
            value.SetValue(0.0);
        } else {
            value.SetValue(WMString());
        }
        return value;
    }
    WMString baseName;
    WMString baseNS;
    wsdl.GetComplexBaseType(typeName, typeNS, baseName, baseNS);
    if (baseName == u"Array" && baseNS == corvane::soapuri::kEncoding) {
        value.SetValue(std::vector<WMSOAPStructType>());
    } else {
        value.SetValue(WMSOAPStructType());
    }
    return value;
}

}  // namespace

bool WMSOAPReqDeserializer::ProcessRPCRequest(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    if (GetRequestHandler() == nullptr) {
        corvane::ThrowSOAPFault(corvane::read_faults::kClient,
                                u"Unable to process RPC representation in SOAP message.", false);
    }
    auto reader = corvane::HandlerReader(*this, &wsdl);
    corvane::ReadRequestParams(reader, GetMethodParameters(), message, wsdl);
    return true;
}

void corvane::AddRequestPlaceholders(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    using namespace read_faults;
    WMString const& operation = message.GetMethodName();
    // Out-only parts become placeholders at their parameterOrder position. The first one that
    // parameterOrder does not list is the return value, which the server fills with
    // SetRetValName and SetReturnValue; any further unlisted one is refused.
    std::vector<std::pair<long, Param>> placeholders;
    bool returnSeen = false;
    WMString part;
    long index = 0;
    for (bool more = wsdl.GetFirstOutParamName(operation, part, index); more;
         more = wsdl.GetNextOutParamName(operation, part, index)) {
        if (wsdl.IsInputMsgPart(operation, part)) {
            continue;
        }
        if (!wsdl.IsOperationParam(operation, part)) {
            if (!returnSeen) {
                returnSeen = true;
                continue;
            }
            ThrowSOAPFault(kServer, FormatFault(kNotDefined, part), false);
        }
        WMString typeName;
        WMString typeNS;
        wsdl.GetOutputMsgPartType(operation, part, typeName, typeNS);
        placeholders.push_back(
            {OrderOf(wsdl, operation, part),
             Param{WMString(), part, Placeholder(part, typeName, typeNS, wsdl), false, true}});
    }
    if (placeholders.empty()) {
        return;
    }

    // The message only appends: read the parameters back and add them again with the
    // placeholders in their places.
    std::vector<std::pair<long, Param>> merged;
    Param current;
    long position = 0;
    for (bool more = message.GetFirstMethodParam(current.ns, current.name, current.value,
                                                 current.isInput, current.isOutput, position);
         more; more = message.GetNextMethodParam(current.ns, current.name, current.value,
                                                 current.isInput, current.isOutput, position)) {
        merged.push_back({OrderOf(wsdl, operation, current.name), current});
    }
    for (auto& placeholder : placeholders) {
        auto const at = std::find_if(merged.begin(), merged.end(), [&](auto const& entry) {
            return entry.first > placeholder.first;
        });
        merged.insert(at, std::move(placeholder));
    }
    message.ClearMethodParams();
    for (auto const& entry : merged) {
        Param const& param = entry.second;
        message.AddMethodParam(param.ns, param.name, param.value, param.isInput, param.isOutput);
    }
}
