// A SOAP server for the SOAPBuilders round 2 interop suites (base and group B) on cpp-httplib.
//
//   interop_server [--host ADDRESS] [--port N] [--wsdl DIR] [--workers N] [--max-connections N]
//                  [--max-requests-per-connection N] [--idle-timeout S] [--header-timeout S]
//                  [--body-timeout S] [--write-timeout S] [--max-request-bytes N] [--standard]
//                  [--doclit]
//
// DIR holds round2_base.wsdl and round2_groupB.wsdl. Each suite answers POST at its WSDL's
// soap:address, taken relative to "/" (/round2_base.inc, /round2_groupB.inc), and GET there
// returns the WSDL itself. With --port 0 the system picks the port. Once listening, the server
// prints "listening on http://ADDRESS:PORT/" and runs until SIGINT or SIGTERM, then answers the
// requests already begun before it exits. The limits are those of guarded_server.h. With
// --standard every call is served in the standard wire mode (WMSOAPServerCall::SetWireOptions):
// strict UTF-8, values read and written by their types, the SOAPAction's quotes optional.
// --doclit adds the document/literal echo services of doclit_service.h (SOAP 1.1 at /echo,
// SOAP 1.2 at /echo12).
#include <corvane/corvane.h>
// After Corvane: with TLS support httplib.h brings OpenSSL's macros, which clash with names in
// Corvane's TLS loader.
#include "doclit_service.h"
#include "guarded_server.h"

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
#include <utility>

namespace {

constexpr char kContentType[] = "text/xml; charset=utf-8";

using Operation = std::function<void(WMSOAPServerCall&)>;

// The operations that return their one input unchanged. The input is taken over rather than
// copied: an array of structs is a tree of many small allocations.
Operation Echo(WMString input) {
    return [input](WMSOAPServerCall& call) {
        WMSOAPStructMember value;
        call.TakeParam(input, value);
        call.SetReturnValue(std::move(value));
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
void Serve(Suite const& suite, WMWireOptions const& wire, WorkerSlots& workers,
           httplib::Request const& request, httplib::Response& response) {
    WorkerSlots::Hold const worker(workers);
    WMSOAPWSDLClient wsdl = suite.wsdl;
    WMSOAPServerCall call(wsdl);
    call.SetWireOptions(wire);
    if (call.ReadRequest(request.body, request.get_header_value("SOAPAction"))) {
        auto operation = kOperations.find(call.GetMethodName());
        if (operation != kOperations.end()) {
            operation->second(call);
        } else {
            call.SetFault(u"SOAP-ENV:Server", u"Operation not implemented.");
        }
    }
    // Moved in rather than through set_content, which would copy the answer once more.
    response.status = call.WriteResponse(response.body);
    response.set_header("Content-Type", kContentType);
}

volatile std::sig_atomic_t g_stop = 0;

extern "C" void OnSignal(int) {
    g_stop = 1;
}

// A fault answer of the base suite's description, outside any request.
std::string FaultBody(Suite const& suite, WMWireOptions const& wire, WMString const& code,
                      WMString const& text) {
    WMSOAPWSDLClient wsdl = suite.wsdl;
    WMSOAPServerCall call(wsdl);
    call.SetWireOptions(wire);
    call.SetFault(code, text);
    std::string body;
    call.WriteResponse(body);
    return body;
}

int Usage() {
    std::cerr << "usage: interop_server [--host ADDRESS] [--port N] [--wsdl DIR] [--workers N]\n"
                 "    [--max-connections N] [--max-requests-per-connection N] [--idle-timeout S]\n"
                 "    [--header-timeout S] [--body-timeout S] [--write-timeout S]\n"
                 "    [--max-request-bytes N] [--standard] [--doclit]\n";
    return 2;
}

// A whole number from 1 to `most`, or 0 when the text is not one.
std::size_t Count(char const* text, std::size_t most) {
    char* end = nullptr;
    unsigned long long const value = std::strtoull(text, &end, 10);
    return *text >= '0' && *text <= '9' && *end == '\0' && value >= 1 && value <= most
               ? static_cast<std::size_t>(value)
               : 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::string host = "127.0.0.1";
    int port = 8080;
    std::string wsdlDirectory = CORVANE_INTEROP_WSDL_DIR;
    ServerLimits limits;
    // Processing one request takes ten to twenty times its size in memory (server_memory in
    // bench/server_load measures it), so this bounds the memory of the SOAP work apart from the
    // number of open connections.
    std::size_t workers = 8;
    WMWireOptions wire;
    bool doclit = false;
    std::map<std::string, std::chrono::seconds*> const seconds = {
        {"--idle-timeout", &limits.idleTimeout},
        {"--header-timeout", &limits.headerTimeout},
        {"--body-timeout", &limits.bodyTimeout},
        {"--write-timeout", &limits.writeTimeout},
    };
    std::map<std::string, std::size_t*> const counts = {
        {"--workers", &workers},
        {"--max-connections", &limits.maxConnections},
        {"--max-requests-per-connection", &limits.maxRequestsPerConnection},
        {"--max-request-bytes", &limits.maxRequestBytes},
    };
    for (int i = 1; i < argc; ++i) {
        std::string const arg = argv[i];
        if (arg == "--standard") {
            wire.standard = true;
            continue;
        }
        if (arg == "--doclit") {
            doclit = true;
            continue;
        }
        if (i + 1 == argc) {
            return Usage();
        }
        char const* const value = argv[++i];
        if (arg == "--host") {
            host = value;
        } else if (arg == "--port") {
            port = std::atoi(value);
        } else if (arg == "--wsdl") {
            wsdlDirectory = value;
        } else if (seconds.count(arg) != 0) {
            std::size_t const s = Count(value, 24 * 3600);
            if (s == 0) {
                return Usage();
            }
            *seconds.at(arg) = std::chrono::seconds(s);
        } else if (counts.count(arg) != 0) {
            // One connection is one thread; a request is held in memory whole.
            std::size_t const most = arg == "--max-request-bytes" ? std::size_t{1} << 30 : 100000;
            std::size_t const n = Count(value, most);
            if (n == 0) {
                return Usage();
            }
            *counts.at(arg) = n;
        } else {
            return Usage();
        }
    }

    Suite suites[] = {
        {"round2_base.wsdl", u"InteropTest", u"InteropTestPort", "/round2_base.inc", {}, {}},
        {"round2_groupB.wsdl", u"interopLabB", u"interopTestPortB", "/round2_groupB.inc", {}, {}},
    };
    for (Suite& suite : suites) {
        if (!Load(suite, wsdlDirectory)) {
            return 1;
        }
    }
    GuardedServer server(limits,
                         FaultBody(suites[0], wire, u"SOAP-ENV:Server", u"Too many connections."));
    WorkerSlots slots(workers);
    for (Suite& suite : suites) {
        server.Post(suite.path, [&suite, &wire, &slots](httplib::Request const& request,
                                                        httplib::Response& response) {
            Serve(suite, wire, slots, request, response);
        });
        server.Get(suite.path, [&suite](httplib::Request const&, httplib::Response& response) {
            response.set_content(suite.wsdlText, kContentType);
        });
    }
    if (doclit && !AddDocLitServices(server, slots, CORVANE_INTEROP_DOCLIT_DIR)) {
        return 1;
    }
    // A body too large to read still gets a SOAP fault rather than a bare HTTP error.
    std::string const tooLarge =
        FaultBody(suites[0], wire, u"SOAP-ENV:Client", u"Request too large.");
    server.set_error_handler([&tooLarge](httplib::Request const&, httplib::Response& response) {
        if (response.status == 413) {
            response.status = 500;
            response.set_content(tooLarge, kContentType);
        }
    });

    std::signal(SIGINT, OnSignal);
    std::signal(SIGTERM, OnSignal);
    port = server.Bind(host, port);
    if (port < 0) {
        std::cerr << "cannot listen on " << host << "\n";
        return 1;
    }
    std::cout << "listening on http://" << host << ":" << port << "/" << std::endl;
    std::thread listener([&server] { server.listen_after_bind(); });
    while (!g_stop) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    server.Shutdown();
    listener.join();
    return 0;
}
