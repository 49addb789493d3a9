#include <corvane/server.h>
#include <corvane/wsdl.h>

#include "soap/server_text.h"
#include "text/wire_text.h"

#include <memory>
#include <utility>
#include <vector>

namespace {

constexpr char16_t kServerFault[] = u"SOAP-ENV:Server";
constexpr char16_t kUnserializable[] = u"Unable to serialize RPC response.";
constexpr char16_t kUnpaired[] =
    u"Unable to serialize RPC response: a text holds an unpaired surrogate, which UTF-8 cannot "
    u"carry.";

struct Param {
    WMString ns;
    WMString name;
    WMSOAPStructMember value;
    bool isInput = false;
    bool isOutput = false;
};

std::vector<Param> TakeParams(WMSOAPMessage& message) {
    std::vector<Param> params;
    Param param;
    long position = 0;
    for (bool more = message.GetFirstMethodParam(param.ns, param.name, param.value, param.isInput,
                                                 param.isOutput, position);
         more; more = message.GetNextMethodParam(param.ns, param.name, param.value, param.isInput,
                                                 param.isOutput, position)) {
        params.push_back(std::move(param));
    }
    message.ClearMethodParams();
    return params;
}

void PutParams(WMSOAPMessage& message, std::vector<Param> const& params) {
    for (Param const& param : params) {
        message.AddMethodParam(param.ns, param.name, param.value, param.isInput, param.isOutput);
    }
}

}  // namespace

WMSOAPServerCall::WMSOAPServerCall(WMSOAPWSDLClient& wsdl) : m_wsdl(&wsdl) {}

WMSOAPServerCall::WMSOAPServerCall(WMSOAPServerCall const& other) = default;

WMSOAPServerCall& WMSOAPServerCall::operator=(WMSOAPServerCall const& other) = default;

WMSOAPServerCall::~WMSOAPServerCall() = default;

bool WMSOAPServerCall::ReadRequest(std::string const& body, std::string const& soapAction) {
    // The request deserializer reads one request only, so every request starts a new message.
    m_message = WMSOAPMessage();
    m_message.SetStandardWireMode(m_wire.standard);
    WMString text;
    if (m_wire.standard) {
        std::string error;
        if (!corvane::detail::DecodeText(body, "utf-8", text, error)) {
            m_message.SetSOAPFault(u"SOAP-ENV:Client", u"The request body is not valid UTF-8.",
                                   WMString(), false);
            return false;
        }
    } else {
        text = corvane::DecodeHTTPText(body);
    }
    // The buffer is set as a whole: Initialize would stop at a zero character and let what
    // follows it go unread.
    m_message.SetBuffer(text);
    m_message.Initialize(nullptr, 0, WMString(), WMString(), WMString(),
                         corvane::DecodeHTTPText(soapAction), WMString(), false);
    try {
        m_message.Deserialize(*m_wsdl);
        m_message.ProcessRPC(*m_wsdl);
    } catch (WMSOAPFault* raised) {
        std::unique_ptr<WMSOAPFault> fault(raised);
        m_message.SetSOAPFault(fault->GetFaultCode(), fault->GetFaultString(),
                               fault->GetFaultActor(), fault->GetNeedDetail());
        return false;
    }
    return true;
}

WMString const& WMSOAPServerCall::GetMethodName() const {
    return m_message.GetMethodName();
}

bool WMSOAPServerCall::GetParam(WMString const& name, WMSOAPStructMember& value) {
    WMString ns;
    WMString paramName;
    bool isInput = false;
    bool isOutput = false;
    long position = 0;
    WMSOAPStructMember candidate;
    for (bool more =
             m_message.GetFirstMethodParam(ns, paramName, candidate, isInput, isOutput, position);
         more; more = m_message.GetNextMethodParam(ns, paramName, candidate, isInput, isOutput,
                                                   position)) {
        if (isInput && paramName == name) {
            value = std::move(candidate);
            return true;
        }
    }
    return false;
}

bool WMSOAPServerCall::SetReturnValue(WMSOAPStructMember const& value) {
    WMString const& method = m_message.GetMethodName();
    WMString part;
    long index = 0;
    for (bool more = m_wsdl->GetFirstOutParamName(method, part, index); more;
         more = m_wsdl->GetNextOutParamName(method, part, index)) {
        if (!m_wsdl->IsOperationParam(method, part)) {
            WMSOAPStructMember named = value;
            named.SetName(part);
            m_message.SetRetValName(part);
            m_message.SetReturnValue(named);
            return true;
        }
    }
    return false;
}

bool WMSOAPServerCall::SetOutParam(WMString const& name, WMSOAPStructMember const& value) {
    std::vector<Param> params = TakeParams(m_message);
    bool found = false;
    for (Param& param : params) {
        if (param.isOutput && param.name == name) {
            param.value = value;
            param.value.SetName(name);
            found = true;
            break;
        }
    }
    PutParams(m_message, params);
    return found;
}

void WMSOAPServerCall::SetFault(WMString const& faultCode, WMString const& faultString) {
    m_message.SetSOAPFault(faultCode, faultString, WMString(), false);
}

int WMSOAPServerCall::WriteResponse(std::string& body) {
    body.clear();
    if (!m_message.IsSOAPFault()) {
        m_message.SetRequestPhase(false);
        // A response carries output parts only; the serializer looks every parameter up among
        // them and would refuse the input-only ones.
        std::vector<Param> params = TakeParams(m_message);
        std::vector<Param> outputs;
        for (Param& param : params) {
            if (param.isOutput) {
                outputs.push_back(std::move(param));
            }
        }
        PutParams(m_message, outputs);
        if (m_message.Serialize(*m_wsdl)) {
            if (!m_wire.standard) {
                corvane::AppendUTF8(*m_message.GetBufferPtr(), body);
                return 200;
            }
            std::size_t bad = 0;
            if (corvane::detail::EncodeUtf8(*m_message.GetBufferPtr(), body, bad)) {
                return 200;
            }
            body.clear();
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
