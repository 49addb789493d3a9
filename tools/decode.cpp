// corvane decode: the values a SOAP response (or request) envelope carries, read as the library
// reads them, printed as JSON.
#include <corvane/message.h>
#include <corvane/utf8.h>
#include <corvane/wsdl.h>

#include "commands.h"
#include "json_values.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>

namespace corvane::tool {

namespace {

struct Options {
    std::string location;
    std::string operation;
    std::string file = "-";
    bool request = false;
    std::string soapAction;
    bool soapActionGiven = false;
    std::string service;
    std::string port;
};

int Fail(std::string const& message) {
    std::cerr << "corvane decode: " << message << "\n";
    return 1;
}

WMString ToLocation(std::string const& location) {
    if (location.find("http://") != std::string::npos ||
        location.find("file://") != std::string::npos) {
        return Wide(location);
    }
    std::error_code error;
    std::filesystem::path const absolute = std::filesystem::absolute(location, error);
    return Wide("file://" + (error ? location : absolute.lexically_normal().string()));
}

bool ReadInput(std::string const& file, std::string& bytes) {
    if (file == "-") {
        bytes.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
        return !std::cin.bad();
    }
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        return false;
    }
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

Json Parameters(WMSOAPMessage& message) {
    Json list = Json::array();
    WMString ns;
    WMString name;
    WMSOAPStructMember value;
    bool isInput = false;
    bool isOutput = false;
    long position = 0;
    for (bool more = message.GetFirstMethodParam(ns, name, value, isInput, isOutput, position);
         more; more = message.GetNextMethodParam(ns, name, value, isInput, isOutput, position)) {
        list.push_back(Json{{"name", Utf8(name)},
                            {"namespace", Utf8(ns)},
                            {"in", isInput},
                            {"out", isOutput},
                            {"value", ValueToJson(value)}});
    }
    return list;
}

Json Headers(WMSOAPMessage& message) {
    Json list = Json::array();
    WMString ns;
    WMString name;
    WMSOAPStructMember value;
    bool mustUnderstand = false;
    WMString actor;
    long position = 0;
    for (bool more = message.GetFirstHeaderElem(ns, name, value, mustUnderstand, actor, position);
         more; more = message.GetNextHeaderElem(ns, name, value, mustUnderstand, actor, position)) {
        list.push_back(Json{{"name", Utf8(name)},
                            {"namespace", Utf8(ns)},
                            {"mustUnderstand", mustUnderstand},
                            {"actor", Utf8(actor)},
                            {"value", ValueToJson(value)}});
    }
    return list;
}

Json LiteralHeaders(WMSOAPMessage& message) {
    Json list = Json::array();
    WMString ns;
    WMString name;
    WMString xml;
    bool mustUnderstand = false;
    WMString actor;
    WMString encodingStyle;
    long position = 0;
    for (bool more = message.GetFirstHeaderElemLit(ns, name, xml, mustUnderstand, actor,
                                                   encodingStyle, position);
         more; more = message.GetNextHeaderElemLit(ns, name, xml, mustUnderstand, actor,
                                                   encodingStyle, position)) {
        list.push_back(Json{{"name", Utf8(name)},
                            {"namespace", Utf8(ns)},
                            {"mustUnderstand", mustUnderstand},
                            {"actor", Utf8(actor)},
                            {"encodingStyle", Utf8(encodingStyle)},
                            {"xml", Utf8(xml)}});
    }
    return list;
}

Json FaultDetail(WMSOAPMessage& message) {
    Json list = Json::array();
    WMString ns;
    WMString name;
    WMSOAPStructMember value;
    long position = 0;
    for (bool more = message.GetFirstFaultDetailElem(ns, name, value, position); more;
         more = message.GetNextFaultDetailElem(ns, name, value, position)) {
        list.push_back(
            Json{{"name", Utf8(name)}, {"namespace", Utf8(ns)}, {"value", ValueToJson(value)}});
    }
    return list;
}

int RunDecode(Options const& options) {
    if (options.location.empty() || options.operation.empty()) {
        return Fail("LOCATION and OPERATION are required (see --help)");
    }
    WMString const location = ToLocation(options.location);
    OpenedOperation opened;
    std::string error;
    if (!OpenOperation(location,
                       {options.service, options.port, WMWireOptions(),
                        "no matching service and port with a binding in " + Utf8(location)},
                       options.operation, opened, error)) {
        return Fail(error);
    }
    WMSOAPWSDLClient& wsdl = opened.wsdl;
    WMString const operation = Wide(options.operation);
    std::string bytes;
    if (!ReadInput(options.file, bytes)) {
        return Fail("cannot read " +
                    (options.file == "-" ? std::string("standard input") : options.file));
    }
    WMString text;
    UTF8ToWideString(bytes, text);

    WMSOAPMessage message;
    if (options.request) {
        // By default the request carries the SOAPAction the WSDL gives the operation.
        WMString soapAction = Wide(options.soapAction);
        if (!options.soapActionGiven) {
            wsdl.GetMethodSOAPAction(operation, soapAction);
        }
        message.Initialize(nullptr, 0, opened.service, opened.port, WMString(), soapAction,
                           WMString(), false);
        message.SetBuffer(text);
    } else {
        message.SetBuffer(text);
        message.SetMethodName(operation);
        message.SetRequestPhase(false);
    }

    Json out = Json::object();
    out["operation"] = options.request ? Utf8(message.GetMethodName()) : options.operation;
    int status = 0;
    try {
        message.Deserialize(wsdl);
        message.ProcessRPC(wsdl);
    } catch (WMSOAPFault* raised) {
        // Raised while reading: the envelope is wrong or does not fit the WSDL.
        std::unique_ptr<WMSOAPFault> fault(raised);
        out["fault"] = Json{{"code", Utf8(fault->GetFaultCode())},
                            {"string", Utf8(fault->GetFaultString())},
                            {"actor", Utf8(fault->GetFaultActor())},
                            {"detail", Json::array()},
                            {"local", true}};
        status = 2;
    }
    if (options.request) {
        out["operation"] = Utf8(message.GetMethodName());
        out["namespace"] = Utf8(message.GetMethodNS());
    } else if (status == 0) {
        out["return"] = ValueToJson(message.GetReturnValue());
    }
    if (status == 0) {
        out["parameters"] = Parameters(message);
    }
    out["headers"] = Headers(message);
    out["literalHeaders"] = LiteralHeaders(message);
    if (status == 0 && message.IsSOAPFault()) {
        out["fault"] = Json{{"code", Utf8(message.GetSOAPFaultCode())},
                            {"string", Utf8(message.GetSOAPFaultString())},
                            {"actor", Utf8(message.GetSOAPFaultActor())},
                            {"detail", FaultDetail(message)},
                            {"local", false}};
        status = 2;
    }
    std::cout << out.dump(2) << "\n";
    return status;
}

}  // namespace

Command AddDecodeCommand(CLI::App& parent) {
    auto options = std::make_shared<Options>();
    CLI::App* app = parent.add_subcommand(
        "decode", "Print as JSON the values of a SOAP response (or request) envelope");
    // Checked by RunDecode, so that a missing one is reported in one line with status 1.
    app->add_option("LOCATION", options->location, "A path, a file:// or an http:// location");
    app->add_option("OPERATION", options->operation, "The operation the envelope belongs to");
    app->add_option("FILE", options->file, "The envelope; - or nothing for standard input");
    app->add_flag("--request", options->request, "The envelope is a request, read as a server");
    app->add_option("--soap-action", options->soapAction,
                    "The SOAPAction header of a request, quotes included (default: the WSDL's)")
        ->each([options](std::string const&) { options->soapActionGiven = true; });
    app->add_option("--service", options->service, "The service to use (default: the first)");
    app->add_option("--port", options->port, "The port to use (default: the first bound one)");
    return Command{app, [options] { return RunDecode(*options); }};
}

}  // namespace corvane::tool
