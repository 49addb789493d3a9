// corvane envelope: the SOAP envelope that a call of an operation would send, or a response
// carrying the given values.
#include <corvane/message.h>
#include <corvane/wsdl.h>

#include "commands.h"
#include "json_values.h"
#include "literal_tools.h"

#include <iostream>
#include <memory>
#include <vector>

namespace corvane::tool {

namespace {

struct Options {
    std::string location;
    std::string operation;
    std::vector<std::string> values;
    std::string service;
    std::string port;
    bool response = false;
    bool explicitTyping = false;
    bool sample = false;
    WireFlags wire;
};

int Fail(std::string const& message) {
    std::cerr << "corvane envelope: " << message << "\n";
    return 1;
}

int RunEnvelope(Options const& options) {
    if (options.wire.doclit) {
        return RunLiteralEnvelope({options.location, options.operation, options.values,
                                   options.service, options.port, options.wire},
                                  options.response, options.sample);
    }
    std::string const noMatch =
        options.service.empty() && options.port.empty()
            ? "the WSDL has no service with a bound port"
            : "no port " + (options.port.empty() ? std::string("with a binding") : options.port) +
                  " in " + (options.service.empty() ? "any service" : "service " + options.service);
    WMString const location = ToLocation(options.location);
    OpenedOperation opened;
    std::string error;
    if (!OpenOperation(location,
                       {options.service, options.port, ToWireOptions(options.wire), noMatch},
                       options.operation, opened, error)) {
        return Fail(error);
    }
    if (opened.style != u"rpc") {
        return Fail("operation " + options.operation + " is " + Utf8(opened.style) +
                    "-style; only RPC operations can be written");
    }
    WMSOAPWSDLClient& wsdl = opened.wsdl;
    WMString const operation = Wide(options.operation);
    WMString soapAction;
    WMString methodNS;
    wsdl.GetMethodSOAPAction(operation, soapAction);
    wsdl.GetMethodNamespaceURI(operation, methodNS);

    WMSOAPMessage message;
    message.Initialize(nullptr, 0, opened.service, opened.port, WMString(), soapAction, WMString(),
                       options.explicitTyping);
    message.SetMethodName(operation);
    message.SetMethodNS(methodNS);
    message.SetRequestPhase(!options.response);
    message.SetStandardWireMode(options.wire.standard);

    char const* const side = options.response ? "output" : "input";
    for (std::string const& assignment : options.values) {
        std::size_t const equals = assignment.find('=');
        if (equals == std::string::npos || equals == 0) {
            return Fail("\"" + assignment + "\" is not PART=JSON");
        }
        std::string const partName = assignment.substr(0, equals);
        WMString const part = Wide(partName);
        WMString typeName;
        WMString typeNS;
        bool const known = options.response
                               ? wsdl.GetOutputMsgPartType(operation, part, typeName, typeNS)
                               : wsdl.GetInputMsgPartType(operation, part, typeName, typeNS);
        if (!known) {
            return Fail("operation " + options.operation + " has no " + side + " part named " +
                        partName);
        }
        Json json = Json::parse(assignment.substr(equals + 1), nullptr, false);
        if (json.is_discarded()) {
            return Fail(partName + ": the value is not JSON text");
        }
        WMSOAPStructMember value;
        if (!JsonToValue(wsdl, json, typeName, typeNS, part, value, error)) {
            return Fail(error);
        }
        message.AddMethodParam(WMString(), part, value, !options.response, options.response);
    }
    if (!message.Serialize(wsdl)) {
        return Fail("the WSDL does not describe every value of the message");
    }
    std::cout << Utf8(*message.GetBufferPtr()) << "\n";
    return 0;
}

}  // namespace

Command AddEnvelopeCommand(CLI::App& parent) {
    auto options = std::make_shared<Options>();
    CLI::App* app = parent.add_subcommand(
        "envelope", "Print the SOAP envelope that a call of an RPC operation would send");
    app->add_option("LOCATION", options->location,
                    "A path, a file:// or an http:// location (https:// with --standard)")
        ->required();
    app->add_option("OPERATION", options->operation, "The operation to call")->required();
    app->add_option(
        "VALUES", options->values,
        "Parts as PART=JSON, e.g. inputString='\"hi\"' or inputStruct='{\"varInt\":1}'");
    app->add_option("--service", options->service, "The service to use (default: the first)");
    app->add_option("--port", options->port, "The port to use (default: the first bound one)");
    app->add_flag("--response", options->response,
                  "Write the operation's response carrying the values instead");
    app->add_flag("--explicit-typing", options->explicitTyping,
                  "Write xsi:type on structs and arrays too");
    AddWireFlags(app, options->wire);
    AddDoclitFlag(app, options->wire);
    app->add_flag("--sample", options->sample,
                  "With --doclit: a sample value for every part or element not given")
        ->needs("--doclit");
    return Command{app, [options] { return RunEnvelope(*options); }};
}

}  // namespace corvane::tool
