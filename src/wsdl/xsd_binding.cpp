#include "wsdl/xsd_binding.h"

#include <corvane/utf8.h>

namespace corvane::detail::xsd {

namespace {

// "what (in location)", as the model's own load errors read.
WMString Problem(const Model& model, const std::string& what) {
    WMString wide;
    UTF8ToWideString(what, wide);
    return wide + u" (in " + model.Location() + u")";
}

bool Fill(const Model& model, const Name& messageName, const WsdlBindingSide& side,
          MessageView& view, WMString& error) {
    view.present = true;
    view.message = messageName;
    view.use = side.body.use.empty() ? WMString(u"literal") : side.body.use;
    view.namespace_ = side.body.ns;
    const WsdlMessage* message = model.FindMessage(messageName);
    if (!message) {
        error = Problem(model, "unknown message " + Clark(messageName));
        return false;
    }
    auto toView = [](const WsdlPart& part) {
        return PartView{part.name, part.elementDecl, part.typeDecl, part.type};
    };
    // Header parts leave the body, whether or not the body lists its parts.
    auto isHeader = [&](const WsdlPart& part) {
        for (const WsdlHeader& header : side.headers) {
            if (header.message == messageName && header.part == part.name) {
                return true;
            }
        }
        return false;
    };
    if (side.body.parts.empty()) {
        for (const WsdlPart& part : message->parts) {
            if (!isHeader(part)) {
                view.body.push_back(toView(part));
            }
        }
    } else {
        for (const WMString& name : side.body.parts) {
            for (const WsdlPart& part : message->parts) {
                if (part.name == name) {
                    view.body.push_back(toView(part));
                }
            }
        }
    }
    for (const WsdlHeader& header : side.headers) {
        const WsdlMessage* headerMessage = model.FindMessage(header.message);
        if (!headerMessage) {
            error = Problem(model, "unknown header message " + Clark(header.message));
            return false;
        }
        for (const WsdlPart& part : headerMessage->parts) {
            if (part.name == header.part) {
                view.headers.push_back(toView(part));
            }
        }
    }
    return true;
}

bool SingleWrapper(const MessageView& message) {
    return message.body.size() == 1 && message.body[0].element &&
           IsWrapperElement(*message.body[0].element);
}

}  // namespace

bool IsWrapperElement(const Element& element) {
    const Type* type = element.type;
    if (!type || type->kind != Type::Kind::kComplex || type->simpleContent ||
        !type->attributes.empty() || type->anyAttribute) {
        return false;
    }
    const std::vector<Particle>& groups = type->content.children;
    if (groups.empty()) {
        return true;  // an operation without parameters
    }
    if (groups.size() != 1 || groups[0].kind != Particle::Kind::kSequence ||
        groups[0].minOccurs != 1 || groups[0].maxOccurs != 1) {
        return false;
    }
    for (const Particle& member : groups[0].children) {
        if (member.kind != Particle::Kind::kElement) {
            return false;
        }
    }
    return true;
}

bool ViewBinding(const Model& model, const WsdlBinding& binding, BindingView& view,
                 WMString& error) {
    view.name = binding.name;
    view.soapVersion = binding.soapVersion;
    const WsdlPortType* portType = model.FindPortType(binding.portType);
    if (!portType) {
        error = Problem(model, "binding " + Clark(binding.name) + " names unknown port type " +
                                   Clark(binding.portType));
        return false;
    }
    for (const WsdlBindingOperation& op : binding.operations) {
        const WsdlAbstractOperation* abstract = nullptr;
        for (const WsdlAbstractOperation& candidate : portType->operations) {
            if (candidate.name == op.name) {
                abstract = &candidate;
                break;
            }
        }
        if (!abstract) {
            error = Problem(model, "port type " + Clark(portType->name) + " has no operation " +
                                       Clark(Name{WMString(), op.name}));
            return false;
        }
        OperationView entry;
        entry.name = op.name;
        entry.style = !op.style.empty()        ? op.style
                      : !binding.style.empty() ? binding.style
                                               : WMString(u"document");
        entry.soapVersion = binding.soapVersion;
        entry.soapAction = op.soapAction;
        if (op.input.present && !abstract->input.Empty() &&
            !Fill(model, abstract->input, op.input, entry.input, error)) {
            return false;
        }
        if (op.output.present && !abstract->output.Empty() &&
            !Fill(model, abstract->output, op.output, entry.output, error)) {
            return false;
        }
        for (const WsdlBindingSide& fault : op.faults) {
            for (const auto& [name, message] : abstract->faults) {
                if (name == fault.name) {
                    FaultView faultView{name, {}};
                    if (!Fill(model, message, fault, faultView.message, error)) {
                        return false;
                    }
                    entry.faults.push_back(std::move(faultView));
                }
            }
        }
        entry.wrapped = entry.style == u"document" && entry.input.present &&
                        entry.input.use == u"literal" && SingleWrapper(entry.input) &&
                        entry.input.body[0].element->name.local == op.name &&
                        (!entry.output.present || SingleWrapper(entry.output));
        view.operations.push_back(std::move(entry));
    }
    return true;
}

}  // namespace corvane::detail::xsd
