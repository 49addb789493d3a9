// A SOAP server for the SOAPBuilders round 2 interop suites (base and group B) on cpp-httplib.
//
//   interop_server [--host ADDRESS] [--port N] [--wsdl DIR]
//
// DIR holds round2_base.wsdl and round2_groupB.wsdl. Each suite answers POST at its WSDL's
// soap:address, taken relative to "/" (/round2_base.inc, /round2_groupB.inc), and GET there
// returns the WSDL itself. With --port 0 the system picks the port. Once listening, the server
// prints "listening on http://ADDRESS:PORT/" and runs until SIGINT or SIGTERM.
#include <corvane/corvane.h>
#include <httplib.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <thread>

namespace {

// Bodies above this size are refused before they are read. Reading a request takes about twenty
// times its size in memory while it is served, so this bounds what one request can hold.
constexpr std::size_t kMaxRequestBytes = 8 * 1024 * 1024;
constexpr char kContentType[] = "text/xml; charset=utf-8";

using Operation = std::function<void(WMSOAPServerCall&)>;

// The operations that return their one input unchanged.
Operation Echo(WMString input) {
    return [input](WMSOAPServerCall& call) {
        WMSOAPStructMember value;
        call.GetParam(input, value);
        call.SetReturnValue(value);
    };
}

void EchoStructAsSimpleTypes(WMSOAPServerCall& call) {
    WMSOAPStructMember input;
    call.GetParam(u"inputStruct", input);
    WMSOAPStructMember member;
    WMSOAPStructType const& fields = input.StructValue();
    if (fields.GetMember(u"varString", member)) {
        call.SetOutParam(u"outputString", member);
    }
    if (fields.GetMember(u"varInt", member)) {
        call.SetOutParam(u"outputInteger", member);
    }
    if (fields.GetMember(u"varFloat", member)) {
        call.SetOutParam(u"outputFloat", member);
    }
}

void EchoSimpleTypesAsStruct(WMSOAPServerCall& call) {
    WMSOAPStructType result;
    WMSOAPStructMember value;
    if (call.GetParam(u"inputString", value)) {
        result.SetMember(u"varString", value.StringValue());
    }
    if (call.GetParam(u"inputInteger", value)) {
        result.SetMember(u"varInt", value.LongValue());
    }
    if (call.GetParam(u"inputFloat", value)) {
        result.SetMember(u"varFloat", value.DoubleValue());
    }
    call.SetReturnValue(WMSOAPStructMember(u"return", result));
}

std::map<WMString, Operation> const kOperations = {
    {u"echoString", Echo(u"inputString")},
    {u"echoStringArray", Echo(u"inputStringArray")},
    {u"echoInteger", Echo(u"inputInteger")},
    {u"echoIntegerArray", Echo(u"inputIntegerArray")},
    {u"echoFloat", Echo(u"inputFloat")},
    {u"echoFloatArray", Echo(u"inputFloatArray")},
    {u"echoStruct", Echo(u"inputStruct")},
    {u"echoStructArray", Echo(u"inputStructArray")},
    {u"echoVoid", [](WMSOAPServerCall&) {}},
    {u"echoBase64", Echo(u"inputBase64")},
    {u"echoDate", Echo(u"inputDate")},
    {u"echoHexBinary", Echo(u"inputHexBinary")},
    {u"echoDecimal", Echo(u"inputDecimal")},
    {u"echoBoolean", Echo(u"inputBoolean")},
    {u"echoStructAsSimpleTypes", EchoStructAsSimpleTypes},
    {u"echoSimpleTypesAsStruct", EchoSimpleTypesAsStruct},
    {u"echo2DStringArray", Echo(u"input2DStringArray")},
    {u"echoNestedStruct", Echo(u"inputStruct")},
    {u"echoNestedArray", Echo(u"inputStruct")},
};

struct Suite {
    std::string file;
    WMString service;
    WMString port;
    std::string path;  // the WSDL's soap:address, below "/"
    WMSOAPWSDLClient wsdl;
    std::string wsdlText;
};

bool Load(Suite& suite, std::string const& directory) {
    std::string const path = directory + "/" + suite.file;
    WMString location;
    UTF8ToWideString("file://" + path, location);
    if (!suite.wsdl.ReadServiceDesc(suite.service, suite.port, location)) {
        std::string category;
        std::string message;
        WideStringToUTF8(suite.wsdl.GetLoadErrorCategory(), category);
        WideStringToUTF8(suite.wsdl.GetLoadErrorMessage(), message);
        std::cerr << path << ": " << category << ": " << message << "\n";
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    suite.wsdlText = text.str();
    return true;
}

// One POST: read the call, run the operation, write the answer. The WSDL client is copied
// because requests run on several threads; the copy shares the loaded description.
void Serve(Suite const& suite, httplib::Request const& request, httplib::Response& response) {
    WMSOAPWSDLClient wsdl = suite.wsdl;
    WMSOAPServerCall call(wsdl);
    if (call.ReadRequest(request.body, request.get_header_value("SOAPAction"))) {
        auto operation = kOperations.find(call.GetMethodName());
        if (operation != kOperations.end()) {
            operation->second(call);
        } else {
            call.SetFault(u"SOAP-ENV:Server", u"Operation not implemented.");
        }
    }
    std::string body;
    response.status = call.WriteResponse(body);
    response.set_content(body, kContentType);
}

volatile std::sig_atomic_t g_stop = 0;

extern "C" void OnSignal(int) {
    g_stop = 1;
}

int Usage() {
    std::cerr << "usage: interop_server [--host ADDRESS] [--port N] [--wsdl DIR]\n";
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    std::string host = "127.0.0.1";
    int port = 8080;
    std::string wsdlDirectory = CORVANE_INTEROP_WSDL_DIR;
    for (int i = 1; i < argc; ++i) {
        std::string const arg = argv[i];
        if (i + 1 == argc) {
            return Usage();
        }
        if (arg == "--host") {
            host = argv[++i];
        } else if (arg == "--port") {
            port = std::atoi(argv[++i]);
        } else if (arg == "--wsdl") {
            wsdlDirectory = argv[++i];
        } else {
            return Usage();
        }
    }

    Suite suites[] = {
        {"round2_base.wsdl", u"InteropTest", u"InteropTestPort", "/round2_base.inc", {}, {}},
        {"round2_groupB.wsdl", u"interopLabB", u"interopTestPortB", "/round2_groupB.inc", {}, {}},
    };
    httplib::Server server;
    server.set_payload_max_length(kMaxRequestBytes);
    for (Suite& suite : suites) {
        if (!Load(suite, wsdlDirectory)) {
            return 1;
        }
        server.Post(suite.path,
                    [&suite](httplib::Request const& request, httplib::Response& response) {
                        Serve(suite, request, response);
                    });
        server.Get(suite.path, [&suite](httplib::Request const&, httplib::Response& response) {
            response.set_content(suite.wsdlText, kContentType);
        });
    }
    // A body too large to read still gets a SOAP fault rather than a bare HTTP error.
    server.set_error_handler([&suites](httplib::Request const&, httplib::Response& response) {
        if (response.status == 413) {
            WMSOAPWSDLClient wsdl = suites[0].wsdl;
            WMSOAPServerCall call(wsdl);
            call.SetFault(u"SOAP-ENV:Client", u"Request too large.");
            std::string body;
            response.status = call.WriteResponse(body);
            response.set_content(body, kContentType);
        }
    });

    std::signal(SIGINT, OnSignal);
    std::signal(SIGTERM, OnSignal);
    if (port == 0) {
        port = server.bind_to_any_port(host);
    } else if (!server.bind_to_port(host, port)) {
        port = -1;
    }
    if (port < 0) {
        std::cerr << "cannot listen on " << host << "\n";
        return 1;
    }
    std::cout << "listening on http://" << host << ":" << port << "/" << std::endl;
    std::thread listener([&server] { server.listen_after_bind(); });
    while (!g_stop) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    server.stop();
    listener.join();
    return 0;
}
