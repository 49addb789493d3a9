// corvane inspect: what a WSDL description offers, for a person or as JSON.
#include <corvane/wsdl.h>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "wsdl/queries.h"

#include <deque>
#include <iostream>
#include <set>
#include <utility>

namespace corvane::tool {

namespace {

using Json = nlohmann::ordered_json;
using corvane::detail::FindComplexType;
using corvane::detail::MemberSequences;

struct Options {
    std::string location;
    std::string service;
    std::string port;
    bool json = false;
    WireFlags wire;
};

Json TypeJson(const WMString& name, const WMString& ns) {
    return Json{{"name", Utf8(name)}, {"namespace", Utf8(ns)}};
}

// Collects the schema types that parts use, then those their members and items use.
class TypeCollector {
public:
    void Add(const WMString& name, const WMString& ns) {
        if (!name.empty() && m_seen.insert({ns, name}).second) {
            m_pending.emplace_back(ns, name);
        }
    }

    Json Describe(const WMDefinitionsHandler& defs, WMSOAPWSDLClient& queries) {
        Json types = Json::array();
        while (!m_pending.empty()) {
            auto [ns, name] = m_pending.front();
            m_pending.pop_front();
            Json type = DescribeOne(defs, queries, name, ns);
            if (!type.is_null()) {
                types.push_back(std::move(type));
            }
        }
        return types;
    }

private:
    Json DescribeOne(const WMDefinitionsHandler& defs, WMSOAPWSDLClient& queries,
                     const WMString& name, const WMString& ns) {
        const WMSchemaComplexTypeHandler* complex = FindComplexType(defs, name, ns);
        if (!complex) {
            const WMSchemaHandler* schema = defs.GetTypes().FindSchema(ns);
            const WMSchemaSimpleTypeHandler* simple =
                schema ? corvane::FindIn(schema->GetSimpleTypes(), name) : nullptr;
            if (!simple || simple->GetTargetNS() != ns) {
                return nullptr;
            }
            Json type = TypeJson(name, ns);
            type["kind"] = "simple";
            if (simple->GetRestriction()) {
                const corvane::QName& base = simple->GetRestriction()->GetBase();
                type["base"] = TypeJson(base.local, base.ns);
                Add(base.local, base.ns);
            }
            return type;
        }
        Json type = TypeJson(name, ns);
        WMString itemName;
        WMString itemNS;
        unsigned int dims = 1;
        const bool encodedArray = complex->IsArray();
        WMString baseName;
        WMString baseNS;
        queries.GetComplexBaseType(name, ns, baseName, baseNS);
        const bool literalArray =
            baseName == u"Array" && baseNS == u"http://schemas.xmlsoap.org/soap/encoding/";
        if ((encodedArray || literalArray) && queries.GetArrayType(name, ns, itemName, itemNS)) {
            queries.GetArrayDims(name, ns, dims);
            type["kind"] = "array";
            type["itemType"] = TypeJson(itemName, itemNS);
            type["dimensions"] = dims;
            Add(itemName, itemNS);
            return type;
        }
        type["kind"] = "struct";
        if (!baseName.empty()) {
            type["base"] = TypeJson(baseName, baseNS);
        }
        Json members = Json::array();
        for (const WMSequenceHandler* sequence : MemberSequences(defs, complex)) {
            for (const auto& element : sequence->GetElements()) {
                WMString memberType;
                WMString memberTypeNS;
                queries.GetStructMemberType(name, ns, element->GetName(), element->GetTargetNS(),
                                            memberType, memberTypeNS);
                members.push_back(Json{{"name", Utf8(element->GetName())},
                                       {"namespace", Utf8(element->GetTargetNS())},
                                       {"type", TypeJson(memberType, memberTypeNS)}});
                Add(memberType, memberTypeNS);
            }
        }
        type["members"] = std::move(members);
        return type;
    }

    std::set<std::pair<WMString, WMString>> m_seen;
    std::deque<std::pair<WMString, WMString>> m_pending;
};

Json MessageJson(const WMDefinitionsHandler& defs, const WMOperationMessageHandler* portTypeSide,
                 const WMSOAPMessageBindingHandler* bindingSide, TypeCollector& types) {
    if (!portTypeSide && !bindingSide) {
        return nullptr;
    }
    Json side = Json::object();
    const WMMessageHandler* message =
        portTypeSide ? defs.FindMessage(portTypeSide->GetMessage()) : nullptr;
    if (portTypeSide) {
        side["message"] = TypeJson(portTypeSide->GetMessage().local, portTypeSide->GetMessage().ns);
    }
    if (const WMSOAPBindingBodyExt* body = bindingSide ? bindingSide->GetBody() : nullptr) {
        side["use"] = Utf8(body->GetUse());
        side["encodingStyle"] = Utf8(body->GetEncodingStyle());
    }
    Json parts = Json::array();
    if (message) {
        for (const auto& [name, part] : message->GetParts()) {
            Json entry{{"name", Utf8(name)}};
            WMString typeName;
            WMString typeNS;
            if (corvane::detail::PartType(defs, part.get(), typeName, typeNS)) {
                entry["type"] = TypeJson(typeName, typeNS);
                types.Add(typeName, typeNS);
            }
            if (!part->GetElement().local.empty()) {
                entry["element"] = TypeJson(part->GetElement().local, part->GetElement().ns);
            }
            parts.push_back(std::move(entry));
        }
    }
    side["parts"] = std::move(parts);
    if (bindingSide && !bindingSide->GetHeaders().empty()) {
        Json headers = Json::array();
        for (const auto& header : bindingSide->GetHeaders()) {
            Json entry{{"message", TypeJson(header->GetMessage().local, header->GetMessage().ns)},
                       {"part", Utf8(header->GetPart())},
                       {"use", Utf8(header->GetUse())},
                       {"namespace", Utf8(header->GetNamespace())}};
            WMString typeName;
            WMString typeNS;
            if (corvane::detail::MessagePartType(defs, defs.FindMessage(header->GetMessage()),
                                                 header->GetPart(), typeName, typeNS)) {
                entry["type"] = TypeJson(typeName, typeNS);
                types.Add(typeName, typeNS);
            }
            headers.push_back(std::move(entry));
        }
        side["headers"] = std::move(headers);
    }
    return side;
}

Json OperationJson(const WMDefinitionsHandler& defs, const WMSOAPBindingHandler& binding,
                   const WMSOAPOperationHandler& op, const WMPortTypeHandler* portType,
                   TypeCollector& types) {
    Json json{{"name", Utf8(op.GetName())}};
    const WMSOAPBindingOpExt* ext = op.GetOperationExt();
    // The style rule of the query layer: the operation's, else the binding's, else document.
    WMString style = ext ? ext->GetStyle() : WMString();
    if (style.empty() && binding.GetBindingExt()) {
        style = binding.GetBindingExt()->GetStyle();
    }
    json["style"] = style.empty() ? "document" : Utf8(style);
    json["soapAction"] = ext ? Utf8(ext->GetSOAPAction()) : "";
    const WMSOAPBindingBodyExt* inputBody = op.GetInput() ? op.GetInput()->GetBody() : nullptr;
    json["namespace"] = inputBody ? Utf8(inputBody->GetNamespace()) : "";
    const WMOperationHandler* abstract =
        portType ? corvane::FindIn(portType->GetOperations(), op.GetName()) : nullptr;
    json["input"] =
        MessageJson(defs, abstract ? abstract->GetInput() : nullptr, op.GetInput(), types);
    json["output"] =
        MessageJson(defs, abstract ? abstract->GetOutput() : nullptr, op.GetOutput(), types);
    if (abstract && !abstract->GetParamIndex().empty()) {
        std::vector<std::pair<long, WMString>> order;
        for (const auto& [name, position] : abstract->GetParamIndex()) {
            order.emplace_back(position, name);
        }
        std::sort(order.begin(), order.end());
        Json names = Json::array();
        for (const auto& entry : order) {
            names.push_back(Utf8(entry.second));
        }
        json["parameterOrder"] = std::move(names);
    }
    if (abstract && !abstract->GetFaults().empty()) {
        Json faults = Json::array();
        for (const auto& [name, fault] : abstract->GetFaults()) {
            faults.push_back(
                Json{{"name", Utf8(name)},
                     {"message", TypeJson(fault->GetMessage().local, fault->GetMessage().ns)}});
        }
        json["faults"] = std::move(faults);
    }
    return json;
}

std::string Clark(const Json& name) {
    std::string ns = name.value("namespace", "");
    return (ns.empty() ? std::string() : "{" + ns + "}") + name.value("name", "");
}

void PrintSide(std::ostream& out, const char* label, const Json& side) {
    if (side.is_null()) {
        return;
    }
    out << "      " << label << "\n";
    if (side.contains("message")) {
        out << "        message   " << Clark(side["message"]) << "\n";
    }
    if (side.contains("use")) {
        out << "        use       " << side["use"].get<std::string>();
        if (!side["encodingStyle"].get<std::string>().empty()) {
            out << "  encodingStyle " << side["encodingStyle"].get<std::string>();
        }
        out << "\n";
    }
    for (const Json& part : side["parts"]) {
        out << "        part      " << part["name"].get<std::string>() << ": "
            << (part.contains("type") ? Clark(part["type"]) : std::string("(unknown type)"));
        if (part.contains("element")) {
            out << "  (element " << Clark(part["element"]) << ")";
        }
        out << "\n";
    }
    if (side.contains("headers")) {
        for (const Json& header : side["headers"]) {
            out << "        header    " << header["part"].get<std::string>() << ": "
                << (header.contains("type") ? Clark(header["type"]) : "(unknown type)")
                << "  message " << Clark(header["message"]) << "  use "
                << header["use"].get<std::string>() << "\n";
        }
    }
}

void PrintText(std::ostream& out, const Json& doc) {
    out << "definitions " << doc["name"].get<std::string>() << "  targetNamespace "
        << doc["targetNamespace"].get<std::string>() << "\n";
    for (const Json& service : doc["services"]) {
        out << "service " << service["name"].get<std::string>() << "\n";
        for (const Json& port : service["ports"]) {
            out << "  port " << port["name"].get<std::string>() << "\n";
            out << "    endpoint    " << port["endpoint"].get<std::string>() << "\n";
            out << "    binding     " << Clark(port["binding"]);
            if (!port["bindingFound"].get<bool>()) {
                out << "  (not found)";
            }
            out << "\n";
            if (port.contains("transport")) {
                out << "    transport   " << port["transport"].get<std::string>() << "\n";
            }
            for (const Json& op : port["operations"]) {
                out << "    operation " << op["name"].get<std::string>() << "\n";
                out << "      style       " << op["style"].get<std::string>() << "\n";
                out << "      soapAction  " << op["soapAction"].get<std::string>() << "\n";
                out << "      namespace   " << op["namespace"].get<std::string>() << "\n";
                PrintSide(out, "input", op["input"]);
                PrintSide(out, "output", op["output"]);
                if (op.contains("parameterOrder")) {
                    out << "      parameterOrder";
                    for (const Json& name : op["parameterOrder"]) {
                        out << " " << name.get<std::string>();
                    }
                    out << "\n";
                }
                if (op.contains("faults")) {
                    for (const Json& fault : op["faults"]) {
                        out << "      fault       " << fault["name"].get<std::string>()
                            << "  message " << Clark(fault["message"]) << "\n";
                    }
                }
            }
        }
    }
    if (doc["types"].empty()) {
        return;
    }
    out << "types\n";
    for (const Json& type : doc["types"]) {
        const std::string kind = type["kind"].get<std::string>();
        out << "  " << kind << " " << Clark(type) << "\n";
        if (type.contains("base")) {
            out << "    base        " << Clark(type["base"]) << "\n";
        }
        if (kind == "array") {
            out << "    item        " << Clark(type["itemType"]) << "\n";
            out << "    dimensions  " << type["dimensions"].get<unsigned int>() << "\n";
        } else if (kind == "struct") {
            for (const Json& member : type["members"]) {
                out << "    member      " << member["name"].get<std::string>() << ": "
                    << Clark(member["type"]) << "\n";
            }
        }
    }
}

int RunInspect(const Options& options) {
    const WMString location = ToLocation(options.location);
    WMSOAPWSDLImporter loader;
    loader.SetWireOptions(ToWireOptions(options.wire));
    if (!loader.ReadServiceDesc(location, WMString()) || !loader.GetWSDLDesc()) {
        std::string reason = Utf8(loader.GetLoadErrorMessage());
        std::string category = Utf8(loader.GetLoadErrorCategory());
        std::cerr << "corvane inspect: cannot read " << Utf8(location) << ": "
                  << (category.empty() ? std::string() : category + ": ")
                  << (reason.empty() ? std::string("unknown reason") : reason) << "\n";
        return 1;
    }
    const WMSOAPDefinitionsHandler& defs = loader.GetWSDLDesc()->GetDefinitions();
    const WMString serviceFilter = Wide(options.service);
    const WMString portFilter = Wide(options.port);
    if (!options.service.empty() && !corvane::FindIn(defs.GetServices(), serviceFilter)) {
        std::cerr << "corvane inspect: no service named " << options.service << "\n";
        return 1;
    }

    TypeCollector types;
    Json doc{{"location", Utf8(location)},
             {"name", Utf8(defs.GetName())},
             {"targetNamespace", Utf8(defs.GetDefinitionsTNS())}};
    Json services = Json::array();
    bool portSeen = false;
    for (const auto& [serviceName, service] : defs.GetServices()) {
        if (!options.service.empty() && serviceName != serviceFilter) {
            continue;
        }
        Json ports = Json::array();
        for (const auto& [portName, port] : service->GetPorts()) {
            if (!options.port.empty() && portName != portFilter) {
                continue;
            }
            portSeen = true;
            const WMSOAPBindingHandler* binding = defs.FindBinding(port->GetBinding());
            Json json{
                {"name", Utf8(portName)},
                {"endpoint", port->GetAddress() ? Utf8(port->GetAddress()->GetLocation()) : ""},
                {"binding", TypeJson(port->GetBinding().local, port->GetBinding().ns)},
                {"bindingFound", binding != nullptr}};
            Json operations = Json::array();
            if (binding) {
                if (binding->GetBindingExt()) {
                    json["transport"] = Utf8(binding->GetBindingExt()->GetTransport());
                }
                const WMPortTypeHandler* portType = defs.FindPortType(binding->GetType());
                for (const auto& [opName, op] : binding->GetOperations()) {
                    operations.push_back(OperationJson(defs, *binding, *op, portType, types));
                }
            }
            json["operations"] = std::move(operations);
            ports.push_back(std::move(json));
        }
        services.push_back(Json{{"name", Utf8(serviceName)}, {"ports", std::move(ports)}});
    }
    if (!options.port.empty() && !portSeen) {
        std::cerr << "corvane inspect: no port named " << options.port << "\n";
        return 1;
    }
    doc["services"] = std::move(services);
    doc["types"] = types.Describe(defs, loader);

    if (options.json) {
        std::cout << doc.dump(2) << "\n";
    } else {
        PrintText(std::cout, doc);
    }
    return 0;
}

}  // namespace

Command AddInspectCommand(CLI::App& parent) {
    auto options = std::make_shared<Options>();
    CLI::App* app = parent.add_subcommand(
        "inspect", "Show the services, ports, operations and types of a WSDL description");
    app->add_option("LOCATION", options->location,
                    "A path, a file:// or an http:// location (https:// with --standard)")
        ->required();
    app->add_option("--service", options->service, "Show only this service");
    app->add_option("--port", options->port, "Show only this port");
    app->add_flag("--json", options->json, "Print JSON instead of text");
    AddWireFlags(app, options->wire);
    return Command{app, [options] { return RunInspect(*options); }};
}

}  // namespace corvane::tool
