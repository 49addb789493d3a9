// corvane call: one RPC call of an operation described by a WSDL, with its result as JSON.
#include <corvane/client.h>
#include <corvane/message.h>
#include <corvane/wsdl.h>

#include "commands.h"
#include "json_values.h"
#include "literal_tools.h"
#include "wsdl/description.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <vector>

namespace corvane::tool {

namespace {

struct Options {
    std::string location;
    std::string operation;
    std::vector<std::string> arguments;
    std::string service;
    std::string port;
    std::vector<std::string> headers;
    bool explicitTyping = false;
    std::optional<int> timeout;
    bool showRequest = false;
    bool showResponse = false;
    WireFlags wire;
};

int Fail(std::string const& reason) {
    std::cerr << "corvane call: " << reason << "\n";
    return 1;
}

// Fills in the service and port when the description has exactly one of each.
bool ChooseServiceAndPort(WMString const& location, Options& options, std::string& error) {
    if (!options.service.empty() && !options.port.empty()) {
        return true;
    }
    WMSOAPWSDLImporter loader;
    loader.SetWireOptions(ToWireOptions(options.wire));
    if (!loader.ReadServiceDesc(location, WMString()) || !loader.GetWSDLDesc()) {
        error = "cannot read " + Utf8(location) + ": " + Utf8(loader.GetLoadErrorMessage());
        return false;
    }
    auto const& services = loader.GetWSDLDesc()->GetDefinitions().GetServices();
    if (options.service.empty()) {
        if (services.size() != 1) {
            error = "the description has " + std::to_string(services.size()) +
                    " services: choose one with --service";
            return false;
        }
        options.service = Utf8(services.begin()->first);
    }
    WMSOAPServiceHandler const* chosen = corvane::FindIn(services, Wide(options.service));
    if (chosen == nullptr) {
        error = "no service named " + options.service;
        return false;
    }
    if (options.port.empty()) {
        auto const& ports = chosen->GetPorts();
        if (ports.size() != 1) {
            error = "service " + options.service + " has " + std::to_string(ports.size()) +
                    " ports: choose one with --port";
            return false;
        }
        options.port = Utf8(ports.begin()->first);
    }
    return true;
}

// PART=JSON: converted with the part's type, or for a literal call as the schema converts it.
bool ReadArgument(WMSOAPWSDLClient& wsdl, WMString const& operation, bool literal,
                  std::string const& text, WMString& name, WMSOAPStructMember& value,
                  std::string& error) {
    if (literal) {
        return ReadLiteralValue(text, name, value, error);
    }
    std::size_t const equals = text.find('=');
    if (equals == std::string::npos || equals == 0) {
        error = "an argument is PART=JSON: " + text;
        return false;
    }
    name = Wide(text.substr(0, equals));
    WMString typeName;
    WMString typeNS;
    if (!wsdl.IsInputMsgPart(operation, name) ||
        !wsdl.GetInputMsgPartType(operation, name, typeName, typeNS)) {
        error = Utf8(operation) + " has no input part named " + Utf8(name);
        return false;
    }
    Json const json = Json::parse(text.substr(equals + 1), nullptr, false);
    if (json.is_discarded()) {
        error = "the value of " + Utf8(name) + " is not JSON: " + text.substr(equals + 1);
        return false;
    }
    return JsonToValue(wsdl, json, typeName, typeNS, name, value, error);
}

struct Header {
    WMString ns;
    WMString name;
    WMSOAPStructMember value;
};

// NS:NAME=JSON; the name is the text after the last ":" before "=", since namespaces are URIs.
// Typed by the description, or for a literal call converted as the schema converts values.
bool ReadHeader(WMSOAPWSDLClient& wsdl, WMString const& operation, bool literal,
                std::string const& text, Header& header, std::string& error) {
    std::size_t const equals = text.find('=');
    std::size_t const colon = text.rfind(':', equals);
    if (equals == std::string::npos || colon == std::string::npos || colon + 1 == equals) {
        error = "a header is NAMESPACE:NAME=JSON: " + text;
        return false;
    }
    header.ns = Wide(text.substr(0, colon));
    header.name = Wide(text.substr(colon + 1, equals - colon - 1));
    Json const json = Json::parse(text.substr(equals + 1), nullptr, false);
    if (literal) {
        if (json.is_discarded()) {
            error = "a header is NAMESPACE:NAME=JSON: " + text;
            return false;
        }
        JsonToLiteral(json, header.name, header.value);
        return true;
    }
    WMString typeName;
    WMString typeNS;
    if (!wsdl.GetInputHeaderPartType(operation, header.name, header.ns, typeName, typeNS) &&
        !wsdl.GetHeaderElemType(header.name, header.ns, typeName, typeNS)) {
        error = "the description gives no type for the header " + text.substr(0, equals);
        return false;
    }
    if (json.is_discarded()) {
        error = "the value of the header " + Utf8(header.name) + " is not JSON";
        return false;
    }
    return JsonToValue(wsdl, json, typeName, typeNS, header.name, header.value, error);
}

// The fault's detail entries, read again from the answer: the client offers them by name only.
Json FaultDetail(WMSOAPWSDLClient& wsdl, WMString const& answer) {
    Json detail = Json::array();
    WMSOAPMessage message;
    message.SetBuffer(answer);
    message.SetRequestPhase(false);
    try {
        message.Deserialize(wsdl);
    } catch (WMSOAPFault* fault) {
        delete fault;
        return detail;
    }
    WMString ns;
    WMString name;
    WMSOAPStructMember value;
    long position = 0;
    for (bool found = message.GetFirstFaultDetailElem(ns, name, value, position); found;
         found = message.GetNextFaultDetailElem(ns, name, value, position)) {
        detail.push_back(
            Json{{"namespace", Utf8(ns)}, {"name", Utf8(name)}, {"value", ValueToJson(value)}});
    }
    return detail;
}

// The output-only parts of an rpc operation.
std::vector<WMString> OutputNames(WMSOAPWSDLClient& wsdl, WMString const& operation) {
    std::vector<WMString> names;
    WMString name;
    long index = 0;
    for (bool found = wsdl.GetFirstOutParamName(operation, name, index); found;
         found = wsdl.GetNextOutParamName(operation, name, index)) {
        if (!wsdl.IsInputMsgPart(operation, name)) {
            names.push_back(name);
        }
    }
    return names;
}

// Why a call that did not complete failed.
std::string Failure(WMSOAPClient& client, WMSOAPWSDLClient& wsdl, Options const& options,
                    std::string const& faultString) {
    if (options.wire.doclit) {
        return client.IsSOAPFault() ? faultString : "the call failed";
    }
    if (client.IsSOAPFault() && options.wire.standard && client.GetXMLInLength() == 0) {
        // The standard mode keeps why the exchange failed as the fault string.
        return "no usable answer from " + Utf8(wsdl.GetSOAPSvcLocation()) + ": " + faultString;
    }
    if (client.IsSOAPFault()) {
        return "unreadable response: " + faultString;
    }
    if (client.GetXMLOutLength() == 0) {
        return "the request could not be written: a value does not fit its type";
    }
    return "no usable answer from " + Utf8(wsdl.GetSOAPSvcHost()) + ":" +
           std::to_string(wsdl.GetSOAPSvcPortNbr()) +
           " (no connection, or an HTTP status other than 200 and 500, or a content type other "
           "than text/xml)";
}

// Rpc operations are called by what the description says of their parts; literal ones (--doclit)
// by the schema, through the extension.
int RunCall(Options options) {
    bool const literal = options.wire.doclit;
    WMString const location = ToLocation(options.location);
    WMString const operation = Wide(options.operation);
    std::string error;
    WMWireOptions wire;
    LiteralOperation literalOperation;
    if (literal) {
        wire = LiteralWireOptions(options.wire);
        if (!literalOperation.Load({options.location, options.operation, options.arguments,
                                    options.service, options.port, options.wire},
                                   wire, error)) {
            return Fail(error);
        }
    } else {
        wire = ToWireOptions(options.wire);
        if (!ChooseServiceAndPort(location, options, error)) {
            return Fail(error);
        }
    }

    WMSOAPClient client;
    client.SetWireOptions(wire);
    if (options.timeout) {
        client.SetHTTPTimeout(*options.timeout);
    }
    if (!client.Initialize(location, Wide(options.service), Wide(options.port), WMString(),
                           Wide("Corvane/" CORVANE_VERSION " (corvane call)"), WMString(),
                           options.explicitTyping && !literal)) {
        return Fail("cannot read the service " + options.service + ", port " + options.port +
                    " of " + (literal ? options.location : Utf8(location)));
    }
    // The client keeps its description read-only; this copy shares it and answers queries.
    WMSOAPWSDLClient wsdl = client.GetWSDLClient();
    if (!literal) {
        WMString style;
        if (!wsdl.GetOpBindingStyle(operation, style)) {
            return Fail("port " + options.port + " has no operation named " + options.operation);
        }
        if (style != u"rpc") {
            return Fail(options.operation + " is a " + Utf8(style) +
                        "-style operation: only rpc operations can be called");
        }
    }

    // The caller's arguments, then an empty slot for every output value not among them, so that
    // the client copies each returned one into it.
    std::vector<WMString> names;
    std::vector<WMSOAPStructMember> values;
    for (std::string const& argument : options.arguments) {
        if (!ReadArgument(wsdl, operation, literal, argument, names.emplace_back(),
                          values.emplace_back(), error)) {
            return Fail(error);
        }
    }
    std::size_t const inputCount = names.size();
    for (WMString const& name :
         literal ? literalOperation.OutputNames() : OutputNames(wsdl, operation)) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(name);
            values.emplace_back();
        }
    }
    for (std::string const& text : options.headers) {
        Header header;
        if (!ReadHeader(wsdl, operation, literal, text, header, error)) {
            return Fail(error);
        }
        client.SetRequestHeaderEntry(header.ns, WMString(), header.name, header.value, false);
    }

    WMSOAPStructMember returned;
    bool const completed = client.InvokeSOAPMethod(operation, names.data(), values.data(),
                                                   static_cast<int>(names.size()), returned);
    if (options.showRequest && client.GetXMLOutLength() > 0) {
        std::cerr << Utf8(*client.GetXMLOut()) << "\n";
    }
    if (options.showResponse && client.GetXMLInLength() > 0) {
        std::cerr << Utf8(client.GetXMLIn()) << "\n";
    }

    WMString code;
    WMString text;
    WMString actor;
    client.GetSOAPFaultCode(code);
    client.GetSOAPFaultString(text);
    client.GetSOAPFaultActor(actor);
    if (!completed) {
        return Fail(Failure(client, wsdl, options, Utf8(text)));
    }
    if (client.IsSOAPFault()) {
        Json const detail = literal ? literalOperation.FaultDetail(client.GetXMLIn())
                                    : FaultDetail(wsdl, client.GetXMLIn());
        Json fault{{"code", Utf8(code)},
                   {"string", Utf8(text)},
                   {"actor", Utf8(actor)},
                   {"detail", detail}};
        std::cout << Json{{"fault", fault}}.dump(2) << "\n";
        return 2;
    }

    Json out = Json::object();
    for (std::size_t i = 0; i < names.size(); ++i) {
        // An output-only slot that the answer filled carries the parameter's name; an rpc in/out
        // argument holds the returned value when the answer had one, else what was sent.
        bool const returnedHere = i >= inputCount
                                      ? !values[i].GetName().empty()
                                      : !literal && wsdl.IsOutputMsgPart(operation, names[i]);
        if (returnedHere) {
            out[Utf8(names[i])] = ValueToJson(values[i]);
        }
    }
    std::cout << Json{{"return", ValueToJson(returned)}, {"out", out}}.dump(2) << "\n";
    return 0;
}

}  // namespace

Command AddCallCommand(CLI::App& parent) {
    auto options = std::make_shared<Options>();
    CLI::App* app = parent.add_subcommand(
        "call",
        "Call an rpc operation and print its return value and out-parameters as JSON (exit "
        "status 2 for a SOAP fault, 1 when the call failed)");
    app->add_option("LOCATION", options->location,
                    "A path, a file:// or an http:// location (https:// with --standard)")
        ->required();
    app->add_option("OPERATION", options->operation, "The operation to call")->required();
    app->add_option("PART=JSON", options->arguments, "An input part and its value");
    app->add_option("--service", options->service,
                    "The service (needed when the description has several)");
    app->add_option("--port", options->port, "The port (needed when the service has several)");
    app->add_option("--header", options->headers,
                    "A request header entry NAMESPACE:NAME=JSON, typed by the description");
    app->add_flag("--explicit-typing", options->explicitTyping,
                  "Write xsi:type on structs and arrays too");
    app->add_option("--timeout", options->timeout, "Milliseconds to wait for each network event")
        ->check(CLI::NonNegativeNumber);
    app->add_flag("--show-request", options->showRequest,
                  "Print the request envelope that was sent, on standard error");
    app->add_flag("--show-response", options->showResponse,
                  "Print the response envelope that was received, on standard error");
    AddWireFlags(app, options->wire);
    AddDoclitFlag(app, options->wire);
    return Command{app, [options] { return RunCall(*options); }};
}

}  // namespace corvane::tool
