#include <corvane/server.h>
#include <corvane/wsdl.h>

#include "soap/deserializer_impl.h"
#include "soap/envelope_reader.h"
#include "soap/envelope_writer.h"
#include "soap/literal_server.h"
#include "soap/message_entries.h"
#include "soap/server_text.h"
#include "text/wire_text.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace {

constexpr char16_t kServerFault[] = u"SOAP-ENV:Server";
constexpr char16_t kUnserializable[] = u"Unable to serialize RPC response.";
constexpr char16_t kUnpaired[] =
    u"Unable to serialize RPC response: a text holds an unpaired surrogate, which UTF-8 cannot "
    u"carry.";

bool AppendText(std::u16string_view text, std::string& out, bool strict) {
    if (strict) {
        return corvane::AppendStrictUTF8(text, out);
    }
    corvane::AppendUTF8(text, out);
    return true;
}

// The answer's bytes in one piece, sized once; each piece is freed as soon as it is copied, so
// the answer is not held twice.
bool JoinAnswer(corvane::detail::AnswerBytes& answer, std::string& body) {
    std::u16string_view const text(answer.rest);
    std::string head;
    std::string tail;
    if (!AppendText(text.substr(0, answer.at), head, answer.strict) ||
        !AppendText(text.substr(answer.at), tail, answer.strict)) {
        return false;
    }
    std::size_t size = head.size() + tail.size();
    for (std::string const& piece : answer.pieces) {
        size += piece.size();
    }
    body.reserve(size);
    body += head;
    for (std::string& piece : answer.pieces) {
        body += piece;
        std::string().swap(piece);
    }
    body += tail;
    return true;
}

}  // namespace

WMSOAPServerCall::WMSOAPServerCall(WMSOAPWSDLClient& wsdl) : m_wsdl(&wsdl) {}

WMSOAPServerCall::WMSOAPServerCall(WMSOAPServerCall const& other)
    : m_wsdl(other.m_wsdl),
      m_message(other.m_message),
      m_wire(other.m_wire),
      m_literalService(other.m_literalService),
      m_literal(other.m_literal ? std::make_unique<corvane::detail::LiteralCall>(*other.m_literal)
                                : nullptr) {}

WMSOAPServerCall& WMSOAPServerCall::operator=(WMSOAPServerCall const& other) {
    if (this != &other) {
        WMSOAPServerCall copy(other);
        m_wsdl = copy.m_wsdl;
        m_message = std::move(copy.m_message);
        m_wire = std::move(copy.m_wire);
        m_literalService = std::move(copy.m_literalService);
        m_literal = std::move(copy.m_literal);
    }
    return *this;
}

WMSOAPServerCall::~WMSOAPServerCall() = default;

bool WMSOAPServerCall::ReadRequest(std::string const& body, std::string const& soapAction) {
    if (Literal()) {
        return ReadRequest(body, soapAction, std::string());
    }
    // The request deserializer reads one request only, so every request starts a new message.
    m_message = WMSOAPMessage();
    m_message.SetStandardWireMode(m_wire.standard);
    WMString text;
    if (m_wire.standard) {
        // A body with a byte order mark takes the general decoder, which reads UTF-16 too.
        unsigned char const first = body.empty() ? 0 : static_cast<unsigned char>(body[0]);
        std::string error;
        if (first == 0xEF || first == 0xFE || first == 0xFF
                ? !corvane::detail::DecodeText(body, "utf-8", text, error)
                : !corvane::DecodeStrictUTF8(body, text)) {
            m_message.SetSOAPFault(u"SOAP-ENV:Client", u"The request body is not valid UTF-8.",
                                   WMString(), false);
            return false;
        }
    } else {
        text = corvane::DecodeHTTPText(body);
    }
    // The buffer is set as a whole: Initialize would stop at a zero character and let what
    // follows it go unread.
    corvane::detail::MessageBuilder::SetBuffer(m_message, std::move(text));
    m_message.Initialize(nullptr, 0, WMString(), WMString(), WMString(),
                         corvane::DecodeHTTPText(soapAction), WMString(), false);
    try {
        // What Deserialize and ProcessRPC read, without the exported element and handler trees.
        corvane::detail::ReadRequest(m_message, *m_wsdl);
    } catch (WMSOAPFault* raised) {
        std::unique_ptr<WMSOAPFault> fault(raised);
        m_message.SetSOAPFault(fault->GetFaultCode(), fault->GetFaultString(),
                               fault->GetFaultActor(), fault->GetNeedDetail());
        return false;
    }
    return true;
}

WMString const& WMSOAPServerCall::GetMethodName() const {
    if (m_literal) {
        return m_literal->OperationName();
    }
    return m_message.GetMethodName();
}

bool WMSOAPServerCall::GetParam(WMString const& name, WMSOAPStructMember& value) {
    if (m_literal) {
        return m_literal->GetParam(name, value);
    }
    // The entries are read in place: going through GetFirstMethodParam would copy every value
    // passed over on the way.
    for (auto const& param : m_message.m_methodParams) {
        if (param->m_isInput && param->m_name == name) {
            value = param->m_value;
            return true;
        }
    }
    return false;
}

bool WMSOAPServerCall::TakeParam(WMString const& name, WMSOAPStructMember& value) {
    for (auto const& param : m_message.m_methodParams) {
        if (param->m_isInput && param->m_name == name) {
            value = std::move(param->m_value);
            param->m_value = WMSOAPStructMember();
            return true;
        }
    }
    return false;
}

bool WMSOAPServerCall::SetReturnValue(WMSOAPStructMember const& value) {
    return SetReturnValue(WMSOAPStructMember(value));
}

bool WMSOAPServerCall::SetReturnValue(WMSOAPStructMember&& value) {
    if (m_literal) {
        return m_literal->SetReturnValue(std::move(value));
    }
    WMString const& method = m_message.GetMethodName();
    WMString part;
    long index = 0;
    for (bool more = m_wsdl->GetFirstOutParamName(method, part, index); more;
         more = m_wsdl->GetNextOutParamName(method, part, index)) {
        if (!m_wsdl->IsOperationParam(method, part)) {
            value.SetName(part);
            m_message.SetRetValName(part);
            m_message.m_returnValue = std::move(value);
            return true;
        }
    }
    return false;
}

bool WMSOAPServerCall::SetOutParam(WMString const& name, WMSOAPStructMember const& value) {
    if (m_literal) {
        return m_literal->SetOutParam(name, value);
    }
    for (auto const& param : m_message.m_methodParams) {
        if (param->m_isOutput && param->m_name == name) {
            param->m_value = value;
            param->m_value.SetName(name);
            return true;
        }
    }
    return false;
}

void WMSOAPServerCall::SetFault(WMString const& faultCode, WMString const& faultString) {
    if (m_literal) {
        m_literal->SetFault(faultCode, faultString);
        return;
    }
    m_message.SetSOAPFault(faultCode, faultString, WMString(), false);
}

int WMSOAPServerCall::WriteResponse(std::string& body) {
    if (m_literal) {
        return m_literal->Write(body);
    }
    body.clear();
    if (!m_message.IsSOAPFault()) {
        m_message.SetRequestPhase(false);
        // A response carries output parts only; the serializer looks every parameter up among
        // them and would refuse the input-only ones.
        auto& params = m_message.m_methodParams;
        params.erase(std::remove_if(params.begin(), params.end(),
                                    [](auto const& param) { return !param->m_isOutput; }),
                     params.end());
        if (m_message.m_nextHopURL.empty()) {
            // Only a forwarding node sends the body it received; the text of that body is
            // about the request's size again, and the answer is written beside it.
            m_message.m_bodyElemLit.reset();
        }
        // Released here, the request's text is not held while the answer is written.
        WMString().swap(m_message.m_buffer);
        // The answer goes out as bytes: written as UTF-8 piece by piece, it is never held in
        // UTF-16 as well. The message's buffer stays empty.
        corvane::detail::AnswerBytes answer;
        answer.strict = m_wire.standard;
        if (m_message.m_serializer.Write(m_message, *m_wsdl, &answer)) {
            // The values are in the answer now; they need not sit beside its joined copy.
            m_message.m_returnValue = WMSOAPStructMember();
            params.clear();
            if (JoinAnswer(answer, body)) {
                return 200;
            }
            SetFault(kServerFault, kUnpaired);
        } else {
            SetFault(kServerFault, kUnserializable);
        }
    }
    m_message.SetLocalFaultFlag(true);
    if (!m_message.Serialize(*m_wsdl)) {
        // Fault entries the WSDL does not describe (or literal XML that does not parse) would
        // leave the client without an answer: send the plain fault.
        m_message.ClearFaultHeaderElems();
        m_message.ClearFaultDetailElems();
        SetFault(kServerFault, kUnserializable);
        m_message.Serialize(*m_wsdl);
    }
    corvane::AppendUTF8(*m_message.GetBufferPtr(), body);
    return 500;
}

WMSOAPMessage& WMSOAPServerCall::GetMessage() {
    return m_message;
}

void WMSOAPServerCall::SetWireOptions(WMWireOptions const& options) {
    m_wire = options;
}

WMWireOptions const& WMSOAPServerCall::GetWireOptions() const {
    return m_wire;
}

// ---- document/literal mode (extension); the work is in literal_server.cpp

bool WMSOAPServerCall::Literal() const {
    return m_wire.standard && m_wire.documentLiteral;
}

void WMSOAPServerCall::SetLiteralService(WMSOAPLiteralService const& service) {
    m_literalService = service.m_service;
}

bool WMSOAPServerCall::ReadRequest(std::string const& body, std::string const& soapAction,
                                   std::string const& contentType) {
    if (!Literal()) {
        return ReadRequest(body, soapAction);
    }
    m_message = WMSOAPMessage();
    corvane::detail::LiteralLimits limits;
    limits.maxOccurs = m_wire.maxOccurs;
    m_literal = std::make_unique<corvane::detail::LiteralCall>(m_literalService, limits);
    if (!m_literalService) {
        m_literal->SetFault(u"SOAP-ENV:Server", u"No document/literal service is set.");
        return false;
    }
    return m_literal->Read(body, soapAction, contentType);
}

char const* WMSOAPServerCall::GetContentType() const {
    return m_literal ? m_literal->ContentType() : corvane::detail::soap12::kContentType11;
}

bool WMSOAPServerCall::SetFaultDetail(WMString const& faultName, WMSOAPStructMember const& detail) {
    return m_literal && m_literal->SetFaultDetail(faultName, detail);
}
