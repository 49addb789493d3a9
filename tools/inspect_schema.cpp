#include "inspect_schema.h"

#include <nlohmann/json.hpp>

#include "commands.h"
#include "net/wire_http.h"
#include "text/wire_text.h"
#include "wsdl/xsd_binding.h"

#include <iostream>
#include <set>

namespace corvane::tool {

namespace {

namespace xsd = corvane::detail::xsd;
using Json = nlohmann::ordered_json;

// Schemas imported over HTTP come through the standard wire mode's HTTP client, with the
// command line's TLS, authentication and proxy settings.
xsd::FetchFn WireFetch(const WMWireOptions& options) {
    return [options](const WMString& location, WMString& text, WMString& error) {
        std::string url;
        std::size_t bad = 0;
        if (!corvane::detail::EncodeUtf8(location, url, bad)) {
            error = u"the location holds an unpaired surrogate";
            return false;
        }
        corvane::detail::WireHttpClient http(options, 60000);
        corvane::detail::WireAnswer answer;
        if (!http.Exchange("GET", url, "User-Agent: corvane\r\n", std::string_view(), answer)) {
            error = Wide(http.Error());
            return false;
        }
        if (answer.status != 200) {
            error = u"status " + Wide(std::to_string(answer.status));
            return false;
        }
        // Without a charset in the answer, UTF-8, else the single-byte reading files get.
        std::string reason;
        const std::string_view charset = corvane::detail::CharsetOf(answer.Header("Content-Type"));
        if (!corvane::detail::DecodeText(answer.body, charset, text, reason) &&
            (!charset.empty() ||
             !corvane::detail::DecodeText(answer.body, "ISO-8859-1", text, reason))) {
            error = Wide(reason);
            return false;
        }
        return true;
    };
}

std::string Text(const WMString& text) {
    return Utf8(text);
}

Json NameJson(const xsd::Name& name) {
    return Json{{"name", Text(name.local)}, {"namespace", Text(name.ns)}};
}

Json OccursJson(Json json, unsigned minOccurs, unsigned maxOccurs) {
    json["minOccurs"] = minOccurs;
    json["maxOccurs"] = maxOccurs == xsd::kUnbounded ? Json("unbounded") : Json(maxOccurs);
    return json;
}

class TreeJson {
public:
    Json Element(const xsd::Element& element, unsigned minOccurs, unsigned maxOccurs) {
        Json json = NameJson(element.name);
        json["type"] = TypeJson(element.type, element.typeName);
        json["nillable"] = element.nillable;
        json = OccursJson(std::move(json), minOccurs, maxOccurs);
        const xsd::Type* type = element.type;
        if (!type || type->kind != xsd::Type::Kind::kComplex) {
            return json;
        }
        if (!m_path.insert(type).second) {
            json["recursive"] = true;
            return json;
        }
        Json attributes = Json::array();
        for (const xsd::Attribute& attribute : type->attributes) {
            Json entry = NameJson(attribute.name);
            entry["type"] = TypeJson(attribute.type, attribute.typeName);
            entry["required"] = attribute.required;
            attributes.push_back(std::move(entry));
        }
        json["attributes"] = std::move(attributes);
        json["anyAttribute"] = type->anyAttribute;
        json["content"] = Group(type->content)["children"];
        m_path.erase(type);
        return json;
    }

private:
    Json Group(const xsd::Particle& group) {
        using Kind = xsd::Particle::Kind;
        Json json{{"kind", group.kind == Kind::kChoice ? "choice"
                           : group.kind == Kind::kAll  ? "all"
                                                       : "sequence"}};
        json = OccursJson(std::move(json), group.minOccurs, group.maxOccurs);
        Json children = Json::array();
        for (const xsd::Particle& child : group.children) {
            if (child.kind == Kind::kElement) {
                Json element = Element(*child.element, child.minOccurs, child.maxOccurs);
                element["kind"] = "element";
                children.push_back(std::move(element));
            } else if (child.kind == Kind::kAny) {
                children.push_back(
                    OccursJson(Json{{"kind", "any"}, {"namespace", Text(child.anyNamespace)}},
                               child.minOccurs, child.maxOccurs));
            } else {
                children.push_back(Group(child));
            }
        }
        json["children"] = std::move(children);
        return json;
    }

    static Json TypeJson(const xsd::Type* type, const xsd::Name& written) {
        if (!type) {
            return NameJson(written);
        }
        Json json = type->name.Empty() ? Json::object() : NameJson(type->name);
        switch (type->kind) {
            case xsd::Type::Kind::kBuiltin:
                json["kind"] = "builtin";
                break;
            case xsd::Type::Kind::kArray:
                json["kind"] = "array";
                json["itemType"] = NameJson(type->itemTypeName);
                json["dimensions"] = type->dimensions;
                break;
            case xsd::Type::Kind::kSimple: {
                json["kind"] = type->variety == xsd::Type::Variety::kList    ? "list"
                               : type->variety == xsd::Type::Variety::kUnion ? "union"
                                                                             : "simple";
                if (type->builtin) {
                    json["builtin"] = NameJson(type->builtin->name);
                }
                Json values = Json::array();
                for (const WMString& value : type->enumeration) {
                    values.push_back(Text(value));
                }
                json["enumeration"] = std::move(values);
                break;
            }
            case xsd::Type::Kind::kComplex:
                json["kind"] = "complex";
                if (type->base && type->base->kind != xsd::Type::Kind::kBuiltin) {
                    json[type->extension ? "extends" : "restricts"] = NameJson(type->base->name);
                }
                if (type->simpleContent && type->builtin) {
                    json["text"] = NameJson(type->builtin->name);
                }
                break;
        }
        return json;
    }

    std::set<const xsd::Type*> m_path;
};

// A type part appears on the wire as an unqualified element named like the part (rpc style).
xsd::Element PartElement(const xsd::PartView& part) {
    xsd::Element element;
    element.name.local = part.name;
    element.typeName = part.typeName;
    element.type = part.type;
    return element;
}

Json MessageJson(const xsd::MessageView& message) {
    Json json{{"message", NameJson(message.message)}, {"use", Text(message.use)}};
    if (!message.namespace_.empty()) {
        json["namespace"] = Text(message.namespace_);
    }
    auto parts = [](const std::vector<xsd::PartView>& list) {
        Json out = Json::array();
        for (const xsd::PartView& part : list) {
            Json entry{{"name", Text(part.name)}};
            if (part.element) {
                entry["element"] = TreeJson().Element(*part.element, 1, 1);
            } else {
                entry["type"] = TreeJson().Element(PartElement(part), 1, 1);
            }
            out.push_back(std::move(entry));
        }
        return out;
    };
    json["parts"] = parts(message.body);
    json["headers"] = parts(message.headers);
    return json;
}

void PrintMessage(std::ostream& out, const char* label, const xsd::MessageView& message) {
    out << "      " << label << "  message " << xsd::Clark(message.message) << "  use "
        << Text(message.use) << "\n";
    auto parts = [&](const char* kind, const std::vector<xsd::PartView>& list) {
        for (const xsd::PartView& part : list) {
            out << "        " << kind << " " << Text(part.name);
            out << (part.element ? " (element)\n" : " (type)\n")
                << xsd::PrintElement(part.element ? *part.element : PartElement(part), 5);
        }
    };
    parts("part", message.body);
    parts("header", message.headers);
}

}  // namespace

int RunSchemaInspect(const WMString& location, const std::string& service, const std::string& port,
                     bool json, const WMWireOptions& wire) {
    xsd::LoadOptions options;
    options.fetch = WireFetch(wire);
    WMString error;
    std::shared_ptr<const xsd::Model> model = xsd::LoadModel(location, options, error);
    if (!model) {
        std::cerr << "corvane inspect: cannot read the schema of " << Utf8(location) << ": "
                  << Utf8(error) << "\n";
        return 1;
    }
    Json ports = Json::array();
    for (const xsd::WsdlService& entry : model->Services()) {
        if (!service.empty() && Utf8(entry.name.local) != service) {
            continue;
        }
        for (const xsd::WsdlPort& wsdlPort : entry.ports) {
            if (!port.empty() && Utf8(wsdlPort.name) != port) {
                continue;
            }
            const xsd::WsdlBinding* binding = model->FindBinding(wsdlPort.binding);
            if (!binding || binding->soapVersion == 0) {
                continue;  // not a SOAP port (HTTP or MIME bindings)
            }
            xsd::BindingView view;
            if (!xsd::ViewBinding(*model, *binding, view, error)) {
                std::cerr << "corvane inspect: " << Utf8(error) << "\n";
                return 1;
            }
            Json operations = Json::array();
            for (const xsd::OperationView& op : view.operations) {
                Json entryJson{{"name", Text(op.name)},
                               {"style", Text(op.style)},
                               {"soapVersion", op.soapVersion == 12 ? "1.2" : "1.1"},
                               {"soapAction", Text(op.soapAction)},
                               {"wrapped", op.wrapped}};
                if (op.input.present) {
                    entryJson["input"] = MessageJson(op.input);
                }
                if (op.output.present) {
                    entryJson["output"] = MessageJson(op.output);
                }
                Json faults = Json::array();
                for (const xsd::FaultView& fault : op.faults) {
                    faults.push_back(
                        Json{{"name", Text(fault.name)}, {"detail", MessageJson(fault.message)}});
                }
                entryJson["faults"] = std::move(faults);
                operations.push_back(std::move(entryJson));
            }
            ports.push_back(Json{{"service", Text(entry.name.local)},
                                 {"name", Text(wsdlPort.name)},
                                 {"endpoint", Text(wsdlPort.address)},
                                 {"binding", NameJson(binding->name)},
                                 {"operations", std::move(operations)}});
            if (json) {
                continue;
            }
            std::cout << "port " << Text(entry.name.local) << "/" << Text(wsdlPort.name)
                      << "  binding " << xsd::Clark(binding->name) << "\n";
            for (const xsd::OperationView& op : view.operations) {
                std::cout << "    operation " << Text(op.name) << "  style " << Text(op.style)
                          << "  use "
                          << (op.input.present ? Text(op.input.use) : std::string("literal"))
                          << "  soap " << (op.soapVersion == 12 ? "1.2" : "1.1")
                          << (op.wrapped ? "  wrapped" : "") << "\n";
                std::cout << "      soapAction " << Text(op.soapAction) << "\n";
                if (op.input.present) {
                    PrintMessage(std::cout, "input", op.input);
                }
                if (op.output.present) {
                    PrintMessage(std::cout, "output", op.output);
                }
                for (const xsd::FaultView& fault : op.faults) {
                    PrintMessage(std::cout, ("fault " + Text(fault.name)).c_str(), fault.message);
                }
            }
        }
    }
    if (json) {
        std::cout << Json{{"location", Text(model->Location())}, {"ports", std::move(ports)}}.dump(
                         2)
                  << "\n";
    }
    return 0;
}

}  // namespace corvane::tool
