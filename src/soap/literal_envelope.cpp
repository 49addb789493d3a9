#include "soap/literal_envelope.h"

#include <algorithm>
#include <string>
#include <utility>

#include "soap/value_builder.h"
#include "xml/model_impl.h"
#include "xml/reader.h"

namespace corvane::detail {

namespace {

using View = std::u16string_view;
using xsd::MessageView;
using xsd::OperationView;
using xsd::PartView;

View EnvelopeNS(int version) {
    return version == 12 ? soap12::kEnvelopeNS : soap12::kEnvelope11NS;
}

View EnvelopePrefix(int version) {
    return version == 12 ? View(u"env") : View(u"SOAP-ENV");
}

bool Declares(const xsd::Particle& particle, View name) {
    if (particle.kind == xsd::Particle::Kind::kElement) {
        return particle.element->name.local == name;
    }
    for (const xsd::Particle& child : particle.children) {
        if (Declares(child, name)) {
            return true;
        }
    }
    return false;
}

void ElementNames(const xsd::Particle& particle, std::vector<WMString>& names) {
    if (particle.kind == xsd::Particle::Kind::kElement) {
        names.push_back(particle.element->name.local);
    }
    for (const xsd::Particle& child : particle.children) {
        ElementNames(child, names);
    }
}

// Whether the wrapper element of `message` declares a child named `name`.
bool WrapperTakes(const MessageView& message, View name) {
    if (!message.present || message.body.size() != 1 || !message.body[0].element) {
        return false;
    }
    const xsd::Type* type = message.body[0].element->type;
    return type && Declares(type->content, name);
}

bool IsNamed(const XMLNode& node, View ns, View local) {
    return node.Local() == local && node.ns->uri == ns;
}

const XMLNode* Child(const XMLNode& node, View ns, View local) {
    for (const XMLNode* child = node.firstChild; child; child = child->nextSibling) {
        if (IsNamed(*child, ns, local)) {
            return child;
        }
    }
    return nullptr;
}

// The index of the value named `name` (or, for an element part, like its element), or -1.
int FindValue(const WMString* names, int count, const PartView& part) {
    for (int i = 0; i < count; ++i) {
        if (names[i] == part.name || (part.element && names[i] == part.element->name.local)) {
            return i;
        }
    }
    return -1;
}

bool WritePart(LiteralWriter& writer, const PartView& part, WMSOAPStructMember& value,
               WMString& error) {
    if (part.element) {
        return writer.Write(*part.element, value, error);
    }
    return writer.Write(xsd::Name{WMString(), part.name}, part.type, true, value, error);
}

// The wrapper's children: the caller's values, moved in for the write and back out after it.
bool WriteWrapped(LiteralWriter& writer, const MessageView& message, const MessageView& other,
                  const WMString* names, WMSOAPStructMember* values, int count, WMString& error) {
    WMSOAPStructMember wrapper;
    WMSOAPStructType children;
    std::vector<std::pair<int, WMString>> taken;  // index, the value's own name
    for (int i = 0; i < count; ++i) {
        if (!WrapperTakes(message, names[i]) && WrapperTakes(other, names[i])) {
            continue;
        }
        taken.emplace_back(i, values[i].GetName());
        WMSOAPStructMember moved = std::move(values[i]);
        ValueBuilder::SetName(moved, names[i]);
        ValueBuilder::Append(children, std::move(moved));
    }
    ValueBuilder::SetStruct(wrapper, std::move(children));
    bool const written = writer.Write(*message.body[0].element, wrapper, error);
    std::vector<WMSOAPStructMember>& members =
        ValueBuilder::Members(ValueBuilder::Data(wrapper).structValue);
    for (std::size_t k = 0; k < taken.size(); ++k) {
        values[taken[k].first] = std::move(members[k]);
        ValueBuilder::SetName(values[taken[k].first], taken[k].second);
    }
    return written;
}

bool WriteBody(LiteralWriter& writer, const OperationView& operation, bool response,
               const WMString* names, WMSOAPStructMember* values, int count, WMString& out,
               WMString& error) {
    const MessageView& message = response ? operation.output : operation.input;
    if (!message.present) {
        return true;
    }
    if (operation.wrapped) {
        return WriteWrapped(writer, message, response ? operation.input : operation.output, names,
                            values, count, error);
    }
    bool const rpc = operation.style == u"rpc";
    WMString wrapper;
    if (rpc) {
        wrapper = operation.name + (response ? u"Response" : u"");
        out.append(u"<");
        if (!message.namespace_.empty()) {
            wrapper.insert(0, u"m:");
            out.append(wrapper + u" xmlns:m=\"" + message.namespace_ + u"\"");
            writer.InScope(u"m", message.namespace_);
        } else {
            out.append(wrapper);
        }
        out.append(u">");
    }
    for (const PartView& part : message.body) {
        int const index = FindValue(names, count, part);
        WMSOAPStructMember none;
        if (index < 0 && !part.element && !rpc) {
            error = u"Part '" + part.name + u"': no value given.";
            return false;
        }
        if (!WritePart(writer, part, index < 0 ? none : values[index], error)) {
            return false;
        }
    }
    if (rpc) {
        out.append(u"</" + wrapper + u">");
    }
    return true;
}

}  // namespace

std::shared_ptr<const LiteralPort> LiteralPort::Load(const WMString& location,
                                                     const WMString& service, const WMString& port,
                                                     const xsd::LoadOptions& options,
                                                     WMString& error) {
    std::shared_ptr<const xsd::Model> model = xsd::LoadModel(location, options, error);
    if (!model) {
        return nullptr;
    }
    for (const xsd::WsdlService& candidate : model->Services()) {
        if (!service.empty() && candidate.name.local != service) {
            continue;
        }
        for (const xsd::WsdlPort& wsdlPort : candidate.ports) {
            if (!port.empty() && wsdlPort.name != port) {
                continue;
            }
            const xsd::WsdlBinding* binding = model->FindBinding(wsdlPort.binding);
            if (!binding || binding->soapVersion == 0) {
                continue;
            }
            auto result = std::make_shared<LiteralPort>();
            if (!xsd::ViewBinding(*model, *binding, result->m_binding, error)) {
                return nullptr;
            }
            result->m_model = model;
            result->m_address = wsdlPort.address;
            return result;
        }
    }
    error = u"no SOAP port " + (port.empty() ? WMString() : u"'" + port + u"' ") + u"in service '" +
            service + u"' of " + location;
    return nullptr;
}

const OperationView* LiteralPort::Find(View operation) const {
    for (const OperationView& candidate : m_binding.operations) {
        if (candidate.name == operation) {
            return &candidate;
        }
    }
    return nullptr;
}

bool IsLiteralOperation(const OperationView& operation) {
    return operation.style != u"rpc" ||
           (operation.input.present && operation.input.use == u"literal");
}

std::vector<WMString> LiteralOutputNames(const OperationView& operation) {
    std::vector<WMString> names;
    const MessageView& output = operation.output;
    if (operation.wrapped && output.present) {
        if (const xsd::Type* type = output.body[0].element->type) {
            ElementNames(type->content, names);
        }
        return names;
    }
    for (const PartView& part : output.body) {
        names.push_back(part.name);
    }
    return names;
}

WMString QuotedAction(const OperationView& operation) {
    return u"\"" + operation.soapAction + u"\"";
}

bool WriteLiteralEnvelope(const OperationView& operation, bool response, const WMString* names,
                          WMSOAPStructMember* values, int count,
                          std::vector<LiteralHeader>& headers, const LiteralLimits& limits,
                          WMString& out, WMString& error) {
    std::size_t const start = out.size();
    View const ns = EnvelopeNS(operation.soapVersion);
    WMString const prefix(EnvelopePrefix(operation.soapVersion));
    out.append(u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<" + prefix + u":Envelope xmlns:" +
               prefix + u"=\"");
    out.append(ns);
    out.append(u"\">");
    LiteralWriter writer(out, limits);
    writer.InScope(prefix, ns);
    const MessageView& message = response ? operation.output : operation.input;
    bool ok = true;
    if (!headers.empty()) {
        out.append(u"<" + prefix + u":Header>");
        for (std::size_t i = 0; ok && i < headers.size(); ++i) {
            WMSOAPStructMember& entry = headers[i].value;
            std::size_t const tag = out.size();
            const xsd::Element* declared = nullptr;
            for (const PartView& part : message.headers) {
                if (part.element && part.element->name.local == entry.GetName() &&
                    (entry.GetNS().empty() || part.element->name.ns == entry.GetNS())) {
                    declared = part.element;
                }
            }
            ok = declared ? writer.Write(*declared, entry, error)
                          : writer.Write(xsd::Name{entry.GetNS(), entry.GetName()}, nullptr, true,
                                         entry, error);
            if (ok) {
                // The envelope's attributes go right after the element's name.
                bool const soap12 = operation.soapVersion == 12;
                WMString attributes;
                if (headers[i].mustUnderstand) {
                    attributes +=
                        u" " + prefix + u":mustUnderstand=\"" + (soap12 ? u"true" : u"1") + u"\"";
                }
                if (!headers[i].actor.empty()) {
                    attributes += u" " + prefix + (soap12 ? u":role=\"" : u":actor=\"");
                    AppendEscapedAttribute(attributes, headers[i].actor);
                    attributes += u"\"";
                }
                out.insert(out.find_first_of(u" />", tag + 1), attributes);
            }
        }
        out.append(u"</" + prefix + u":Header>");
    }
    out.append(u"<" + prefix + u":Body>");
    ok = ok && WriteBody(writer, operation, response, names, values, count, out, error);
    out.append(u"</" + prefix + u":Body></" + prefix + u":Envelope>");
    if (!ok) {
        out.resize(start);
    }
    return ok;
}

namespace {

// Reads `node` as the declared element when one of `parts` declares it, else as anyType.
bool ReadEntry(const LiteralReader& reader, const XMLNode& node,
               const std::vector<const PartView*>& parts, WMSOAPStructMember& value,
               WMString& error) {
    for (const PartView* part : parts) {
        if (part->element && IsNamed(node, part->element->name.ns, part->element->name.local)) {
            return reader.Read(node, *part->element, value, error);
        }
    }
    return reader.Read(node, nullptr, true, value, error);
}

void Return(LiteralAnswer& answer, std::size_t index) {
    answer.hasReturn = true;
    answer.returnIndex = index;
    if (!answer.returnInOutputs) {
        answer.returnValue = answer.outputs[index];
    }
}

bool ReadBody(const LiteralReader& reader, const OperationView& operation, const XMLNode& body,
              LiteralAnswer& answer, WMString& error) {
    const MessageView& message = operation.output;
    if (!message.present) {
        return true;
    }
    const XMLNode* first = body.firstChild;
    if (operation.wrapped) {
        if (!first) {
            error = u"The response body is empty.";
            return false;
        }
        WMSOAPStructMember wrapper;
        if (!reader.Read(*first, *message.body[0].element, wrapper, error)) {
            return false;
        }
        answer.outputs = std::move(ValueBuilder::Members(ValueBuilder::Data(wrapper).structValue));
        auto const found = std::find_if(answer.outputs.begin(), answer.outputs.end(),
                                        [&](const WMSOAPStructMember& output) {
                                            return !WrapperTakes(operation.input, output.GetName());
                                        });
        if (found != answer.outputs.end()) {
            Return(answer, static_cast<std::size_t>(found - answer.outputs.begin()));
        } else if (!answer.outputs.empty()) {
            Return(answer, 0);
        }
        return true;
    }
    const XMLNode* node = first;
    bool const rpc = operation.style == u"rpc";
    if (rpc) {
        if (!first) {
            error = u"The response body is empty.";
            return false;
        }
        node = first->firstChild;
    }
    for (; node; node = node->nextSibling) {
        const PartView* part = nullptr;
        for (const PartView& candidate : message.body) {
            if (candidate.element
                    ? IsNamed(*node, candidate.element->name.ns, candidate.element->name.local)
                    : node->Local() == candidate.name) {
                part = &candidate;
                break;
            }
        }
        if (!part) {
            error = u"Element '" + WMString(node->Local()) + u"': no part of the response.";
            return false;
        }
        WMSOAPStructMember value;
        bool const read = part->element ? reader.Read(*node, *part->element, value, error)
                                        : reader.Read(*node, part->type, true, value, error);
        if (!read) {
            return false;
        }
        ValueBuilder::SetName(value, part->name);
        answer.outputs.push_back(std::move(value));
        if (part == &message.body.front()) {
            Return(answer, answer.outputs.size() - 1);
        }
    }
    return true;
}

// Whether "xml:" occurs in `text`. The search nearly always runs through a whole answer, so
// it looks at every fourth character only: an occurrence covers one of them, and as the four
// characters differ, that one tells where the occurrence would start.
bool HoldsXmlPrefix(View text) {
    constexpr View kPattern = u"xml:";
    for (std::size_t i = kPattern.size() - 1; i < text.size(); i += kPattern.size()) {
        std::size_t const at = kPattern.find(text[i]);
        if (at != View::npos && text.substr(i - at, kPattern.size()) == kPattern) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool ReadLiteralResponse(const OperationView& operation, const WMString& text,
                         const LiteralLimits& limits, LiteralAnswer& answer, WMString& error) {
    const WMString* source = &text;
    WMString declared;
    if (HoldsXmlPrefix(text)) {
        declared = text;
        soap12::DeclareXmlPrefix(declared);
        source = &declared;
    }
    XMLDocument document;
    int line = 1;
    if (!document.Read(*source, line, true, nullptr) || !document.Root()) {
        std::string const digits = std::to_string(line);
        error = u"The response is not well-formed XML (line " +
                WMString(digits.begin(), digits.end()) + u").";
        return false;
    }
    const XMLNode& root = *document.Root();
    int const version = soap12::EnvelopeVersion(root);
    View const ns = EnvelopeNS(version);
    const XMLNode* body = version ? Child(root, ns, u"Body") : nullptr;
    if (!body) {
        error = u"The response is no SOAP envelope with a body.";
        return false;
    }
    LiteralReader const reader(limits);
    if (const XMLNode* header = Child(root, ns, u"Header")) {
        std::vector<const PartView*> parts;
        for (const PartView& part : operation.output.headers) {
            parts.push_back(&part);
        }
        for (const XMLNode* entry = header->firstChild; entry; entry = entry->nextSibling) {
            WMSOAPStructMember value;
            if (!ReadEntry(reader, *entry, parts, value, error)) {
                return false;
            }
            answer.headers.push_back(std::move(value));
        }
    }
    const XMLNode* fault = Child(*body, ns, u"Fault");
    if (!fault) {
        return ReadBody(reader, operation, *body, answer, error);
    }
    answer.isFault = true;
    soap12::ReadFault(root, answer.fault);
    const XMLNode* detail =
        version == 12 ? Child(*fault, ns, u"Detail") : Child(*fault, u"", u"detail");
    std::vector<const PartView*> parts;
    for (const xsd::FaultView& declaredFault : operation.faults) {
        for (const PartView& part : declaredFault.message.body) {
            parts.push_back(&part);
        }
    }
    for (const XMLNode* entry = detail ? detail->firstChild : nullptr; entry;
         entry = entry->nextSibling) {
        WMSOAPStructMember value;
        if (!ReadEntry(reader, *entry, parts, value, error)) {
            return false;
        }
        answer.detail.push_back(std::move(value));
    }
    return true;
}

}  // namespace corvane::detail
