#include "soap/literal_server.h"

#include <corvane/server.h>

#include "text/wire_text.h"
#include "xml/reader.h"

#include <utility>

namespace corvane::detail {

namespace {

using View = std::u16string_view;

constexpr char16_t kSender[] = u"SOAP-ENV:Client";
constexpr char16_t kReceiver[] = u"SOAP-ENV:Server";

WMString Widen(std::string_view text) {
    WMString wide;
    std::string error;
    DecodeText(text, "utf-8", wide, error);
    return wide;
}

WMString Quoted(xsd::Name const& name) {
    std::string const clark = xsd::Clark(name);
    return u"'" + Widen(clark) + u"'";
}

xsd::Name NameOf(XMLNode const& node) {
    return {node.ns ? WMString(node.ns->uri) : WMString(), WMString(node.Local())};
}

XMLNode const* ChildOf(XMLNode const& parent, View ns, View local) {
    for (XMLNode const* child = parent.firstChild; child; child = child->nextSibling) {
        if (child->Local() == local && child->ns && child->ns->uri == ns) {
            return child;
        }
    }
    return nullptr;
}

// The element children of a wrapper: its type's one sequence.
std::vector<xsd::Particle> const* WrapperChildren(xsd::Element const& wrapper) {
    std::vector<xsd::Particle> const& groups = wrapper.type->content.children;
    return groups.empty() ? nullptr : &groups[0].children;
}

bool True(View text) {
    return text == u"1" || text == u"true";
}

}  // namespace

std::shared_ptr<const LiteralService> LoadLiteralService(WMString const& location,
                                                         WMString const& service,
                                                         WMString const& port, WMString& error) {
    auto result = std::make_shared<LiteralService>();
    result->model = xsd::LoadModel(location, xsd::LoadOptions(), error);
    if (!result->model) {
        return nullptr;
    }
    xsd::Model const& model = *result->model;
    xsd::WsdlBinding const* binding = nullptr;
    for (xsd::WsdlService const& candidate : model.Services()) {
        if (!service.empty() && candidate.name.local != service) {
            continue;
        }
        for (xsd::WsdlPort const& p : candidate.ports) {
            xsd::WsdlBinding const* b = model.FindBinding(p.binding);
            if ((port.empty() || p.name == port) && b && b->soapVersion != 0) {
                binding = b;
                break;
            }
        }
        if (binding) {
            break;
        }
    }
    if (!binding) {
        error = u"No SOAP port " + (port.empty() ? WMString() : u"'" + port + u"' ") +
                u"in the description " + location + u".";
        return nullptr;
    }
    if (!xsd::ViewBinding(model, *binding, result->binding, error)) {
        return nullptr;
    }
    return result;
}

bool LiteralCall::Refuse(WMString const& code, WMString reason) {
    SetFault(code, std::move(reason));
    return false;
}

void LiteralCall::SetFault(WMString const& code, WMString const& reason) {
    m_isFault = true;
    m_fault = soap12::Fault();
    m_fault.code = code;
    m_fault.reason = reason;
    m_faultName.clear();
}

bool LiteralCall::SetFaultDetail(WMString const& faultName, WMSOAPStructMember const& detail) {
    if (!m_operation) {
        return false;
    }
    for (xsd::FaultView const& fault : m_operation->faults) {
        if (fault.name == faultName && !fault.message.body.empty() &&
            fault.message.body[0].element) {
            m_faultName = faultName;
            m_faultDetail = detail;
            return true;
        }
    }
    return false;
}

bool LiteralCall::Read(std::string const& body, std::string const& soapAction,
                       std::string const& contentType) {
    WMString text;
    std::string decodeError;
    if (!DecodeText(body, "utf-8", text, decodeError)) {
        return Refuse(kSender, u"The request body is not valid UTF-8.");
    }
    soap12::DeclareXmlPrefix(text);
    XMLDocument document;
    int line = 1;
    if (!document.Read(text, line, true, nullptr) || !document.Root()) {
        return Refuse(kSender, u"The request is not well-formed XML (line " +
                                   Widen(std::to_string(line)) + u").");
    }
    XMLNode const& envelope = *document.Root();
    m_version = soap12::EnvelopeVersion(envelope);
    if (m_version == 0) {
        m_version = 11;
        return Refuse(envelope.Local() == u"Envelope" ? u"SOAP-ENV:VersionMismatch" : kSender,
                      envelope.Local() == u"Envelope"
                          ? u"The envelope's namespace is neither SOAP 1.1's nor SOAP 1.2's."
                          : u"The request is not a SOAP envelope.");
    }
    View const ns = m_version == 12 ? soap12::kEnvelopeNS : soap12::kEnvelope11NS;
    XMLNode const* const bodyNode = ChildOf(envelope, ns, u"Body");
    if (!bodyNode || !bodyNode->firstChild) {
        return Refuse(kSender, u"The request Body holds no element.");
    }
    // 1.2 carries the action in the content type; the SOAPAction header comes quoted.
    std::string action;
    if (m_version == 12) {
        soap12::MediaType type;
        if (soap12::ParseContentType(contentType, type)) {
            action = type.action;
        }
    } else {
        action = soapAction;
        if (action.size() >= 2 && action.front() == '"' && action.back() == '"') {
            action = action.substr(1, action.size() - 2);
        }
    }
    return Dispatch(*bodyNode->firstChild, action) &&
           ReadHeaders(ChildOf(envelope, ns, u"Header")) &&
           ReadParams(*bodyNode, bodyNode->firstChild);
}

bool LiteralCall::Dispatch(XMLNode const& first, std::string const& action) {
    xsd::Name const name = NameOf(first);
    std::vector<xsd::OperationView const*> candidates;
    for (xsd::OperationView const& op : m_service->binding.operations) {
        if (!op.input.present || op.input.use != u"literal") {
            continue;
        }
        bool const matches = op.style == u"rpc"
                                 ? name.local == op.name && name.ns == op.input.namespace_
                                 : !op.input.body.empty() && op.input.body[0].element &&
                                       op.input.body[0].element->name == name;
        if (matches) {
            candidates.push_back(&op);
        }
    }
    if (candidates.empty()) {
        return Refuse(kSender, u"The request element " + Quoted(name) +
                                   u" is not the request of any operation.");
    }
    m_operation = candidates.front();
    if (candidates.size() > 1) {
        // Operations sharing a request element are told apart by their action alone; among
        // those with the same action the first in the binding answers, as it would for a
        // client that sends none.
        WMString const wanted = Widen(action);
        m_operation = nullptr;
        for (xsd::OperationView const* op : candidates) {
            if (op->soapAction == wanted) {
                m_operation = op;
                break;
            }
        }
        if (!m_operation) {
            return Refuse(kSender, u"The action '" + wanted +
                                       u"' names none of the operations "
                                       u"whose request element is " +
                                       Quoted(name) + u".");
        }
    }
    m_name = m_operation->name;
    return true;
}

bool LiteralCall::ReadHeaders(XMLNode const* header) {
    if (!header) {
        return true;
    }
    View const ns = m_version == 12 ? soap12::kEnvelopeNS : soap12::kEnvelope11NS;
    LiteralReader const reader(m_limits);
    for (XMLNode const* entry = header->firstChild; entry; entry = entry->nextSibling) {
        xsd::Name const name = NameOf(*entry);
        bool known = false;
        for (xsd::PartView const& part : m_operation->input.headers) {
            if (part.element && part.element->name == name) {
                WMSOAPStructMember value;
                WMString error;
                if (!reader.Read(*entry, *part.element, value, error)) {
                    return Refuse(kSender, error);
                }
                value.SetName(part.name);
                m_params.push_back(std::move(value));
                known = true;
                break;
            }
        }
        bool mustUnderstand = false;
        for (std::uint32_t i = 0; i < entry->attrCount; ++i) {
            XMLAttr const& attr = entry->attrs[i];
            if (attr.Local() == u"mustUnderstand" && attr.ns && attr.ns->uri == ns) {
                mustUnderstand = True(attr.value);
            }
        }
        if (!known && mustUnderstand) {
            return Refuse(u"SOAP-ENV:MustUnderstand",
                          u"The header entry " + Quoted(name) + u" was not understood.");
        }
    }
    return true;
}

bool LiteralCall::ReadParams(XMLNode const& body, XMLNode const* first) {
    LiteralReader const reader(m_limits);
    WMString error;
    xsd::OperationView const& op = *m_operation;
    if (op.wrapped) {
        WMSOAPStructMember wrapper;
        if (!reader.Read(*first, *op.input.body[0].element, wrapper, error)) {
            return Refuse(kSender, error);
        }
        WMString name;
        WMSOAPStructMember member;
        long position = 0;
        for (bool more = wrapper.StructValue().GetFirstMember(&name, member, &position); more;
             more = wrapper.StructValue().GetNextMember(&name, member, &position)) {
            m_params.push_back(std::move(member));
        }
        return true;
    }
    if (op.style == u"rpc") {
        // Parts are the wrapper's children, unqualified and named like the parts.
        for (xsd::PartView const& part : op.input.body) {
            XMLNode const* node = first->firstChild;
            while (node && node->Local() !=
                               (part.element ? View(part.element->name.local) : View(part.name))) {
                node = node->nextSibling;
            }
            if (!node) {
                return Refuse(kSender, u"The part '" + part.name + u"' is missing in " +
                                           Quoted(NameOf(*first)) + u".");
            }
            WMSOAPStructMember value;
            bool const read = part.element ? reader.Read(*node, *part.element, value, error)
                                           : reader.Read(*node, part.type, false, value, error);
            if (!read) {
                return Refuse(kSender, error);
            }
            value.SetName(part.name);
            m_params.push_back(std::move(value));
        }
        return true;
    }
    // Bare: one Body element per part, in the order of the parts.
    XMLNode const* node = body.firstChild;
    for (xsd::PartView const& part : op.input.body) {
        if (!part.element) {
            return Refuse(kReceiver,
                          u"The part '" + part.name + u"' of " + op.name + u" is not an element.");
        }
        if (!node || !(NameOf(*node) == part.element->name)) {
            return Refuse(kSender, u"The request Body lacks the element " +
                                       Quoted(part.element->name) + u".");
        }
        WMSOAPStructMember value;
        if (!reader.Read(*node, *part.element, value, error)) {
            return Refuse(kSender, error);
        }
        value.SetName(part.name);
        m_params.push_back(std::move(value));
        node = node->nextSibling;
    }
    if (node) {
        return Refuse(kSender, u"The request Body holds the unexpected element " +
                                   Quoted(NameOf(*node)) + u".");
    }
    return true;
}

bool LiteralCall::GetParam(WMString const& name, WMSOAPStructMember& value) const {
    for (WMSOAPStructMember const& param : m_params) {
        if (param.GetName() == name) {
            value = param;
            return true;
        }
    }
    return false;
}

namespace {

// The names of an operation's outputs, the return value's first: a wrapped response's
// children, otherwise the output parts.
std::vector<WMString> OutputNames(xsd::OperationView const& op) {
    std::vector<WMString> names;
    if (op.wrapped && !op.output.body.empty() && op.output.body[0].element) {
        if (std::vector<xsd::Particle> const* children =
                WrapperChildren(*op.output.body[0].element)) {
            for (xsd::Particle const& child : *children) {
                names.push_back(child.element->name.local);
            }
        }
        return names;
    }
    for (xsd::PartView const& part : op.output.body) {
        names.push_back(part.name);
    }
    return names;
}

}  // namespace

bool LiteralCall::SetReturnValue(WMSOAPStructMember&& value) {
    if (!m_operation) {
        return false;
    }
    std::vector<WMString> const names = OutputNames(*m_operation);
    if (names.empty()) {
        return false;
    }
    value.SetName(names.front());
    for (Output& output : m_outputs) {
        if (output.name == names.front()) {
            output.value = std::move(value);
            return true;
        }
    }
    m_outputs.push_back({names.front(), std::move(value)});
    return true;
}

bool LiteralCall::SetOutParam(WMString const& name, WMSOAPStructMember const& value) {
    if (!m_operation) {
        return false;
    }
    std::vector<WMString> const names = OutputNames(*m_operation);
    for (std::size_t i = 1; i < names.size(); ++i) {
        if (names[i] == name) {
            for (Output& output : m_outputs) {
                if (output.name == name) {
                    output.value = value;
                    output.value.SetName(name);
                    return true;
                }
            }
            m_outputs.push_back({name, value});
            m_outputs.back().value.SetName(name);
            return true;
        }
    }
    return false;
}

WMSOAPStructMember const* LiteralCall::FindOutput(WMString const& name) const {
    for (Output const& output : m_outputs) {
        if (output.name == name) {
            return &output.value;
        }
    }
    return nullptr;
}

bool LiteralCall::WriteResult(WMString& out, WMString& error) {
    xsd::OperationView const& op = *m_operation;
    LiteralWriter writer(out, m_limits);
    writer.InScope(m_version == 12 ? View(u"env") : View(u"SOAP-ENV"),
                   m_version == 12 ? soap12::kEnvelopeNS : soap12::kEnvelope11NS);
    if (op.wrapped) {
        xsd::Element const& wrapper = *op.output.body[0].element;
        WMSOAPStructType members;
        for (WMString const& name : OutputNames(op)) {
            if (WMSOAPStructMember const* value = FindOutput(name)) {
                members.SetMember(*value);
            }
        }
        WMSOAPStructMember response(wrapper.name.local, wrapper.name.ns, members);
        return writer.Write(wrapper, response, error);
    }
    bool const rpc = op.style == u"rpc";
    if (rpc) {
        writer.InScope(u"m", op.output.namespace_);
        out.append(u"<m:").append(op.name).append(u"Response xmlns:m=\"");
        out.append(op.output.namespace_).append(u"\">");
    }
    for (xsd::PartView const& part : op.output.body) {
        WMSOAPStructMember const* found = FindOutput(part.name);
        WMSOAPStructMember value = found ? *found : WMSOAPStructMember();
        bool const written = part.element ? writer.Write(*part.element, value, error)
                                          : writer.Write(xsd::Name{WMString(), part.name},
                                                         part.type, false, value, error);
        if (!written) {
            return false;
        }
    }
    if (rpc) {
        out.append(u"</m:").append(op.name).append(u"Response>");
    }
    return true;
}

void LiteralCall::WriteFault(WMString& out) {
    m_fault.hasDetail = false;
    m_fault.detail.clear();
    if (!m_faultName.empty()) {
        for (xsd::FaultView const& fault : m_operation->faults) {
            if (fault.name == m_faultName) {
                WMString error;
                LiteralWriter writer(m_fault.detail, m_limits);
                WMSOAPStructMember detail = m_faultDetail;
                // A detail the schema refuses is left out rather than sent malformed.
                m_fault.hasDetail = writer.Write(*fault.message.body[0].element, detail, error);
                if (!m_fault.hasDetail) {
                    m_fault.detail.clear();
                }
                break;
            }
        }
    }
    soap12::WriteFault(m_version, m_fault, out);
}

int LiteralCall::Write(std::string& body) {
    body.clear();
    WMString out;
    if (!m_isFault) {
        soap12::OpenEnvelope(m_version, out);
        WMString error;
        if (WriteResult(out, error)) {
            soap12::CloseEnvelope(m_version, out);
            std::size_t bad = 0;
            if (EncodeUtf8(out, body, bad)) {
                return 200;
            }
            SetFault(kReceiver,
                     u"Unable to serialize the response: a text holds an unpaired "
                     u"surrogate, which UTF-8 cannot carry.");
        } else {
            SetFault(kReceiver, u"Unable to serialize the response: " + error);
        }
        out.clear();
        body.clear();
    }
    WriteFault(out);
    std::size_t bad = 0;
    if (!EncodeUtf8(out, body, bad)) {
        // Only the application's own texts can hold the lone surrogate; the plain fault cannot.
        out.clear();
        body.clear();
        SetFault(kReceiver, u"Unable to serialize the fault: a text holds an unpaired surrogate.");
        WriteFault(out);
        EncodeUtf8(out, body, bad);
    }
    return 500;
}

char const* LiteralCall::ContentType() const {
    return m_version == 12 ? soap12::kContentType : soap12::kContentType11;
}

}  // namespace corvane::detail

WMSOAPLiteralService::WMSOAPLiteralService() = default;
WMSOAPLiteralService::WMSOAPLiteralService(WMSOAPLiteralService const& other) = default;
WMSOAPLiteralService& WMSOAPLiteralService::operator=(WMSOAPLiteralService const& other) = default;
WMSOAPLiteralService::~WMSOAPLiteralService() = default;

bool WMSOAPLiteralService::Load(WMString const& location, WMString const& serviceName,
                                WMString const& portName) {
    m_error.clear();
    m_service = corvane::detail::LoadLiteralService(location, serviceName, portName, m_error);
    return m_service != nullptr;
}

WMString const& WMSOAPLiteralService::GetLoadError() const {
    return m_error;
}
