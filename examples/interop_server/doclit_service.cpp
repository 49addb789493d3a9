#include <corvane/corvane.h>
// After Corvane, as in main.cpp: httplib.h may bring OpenSSL's macros.
#include "doclit_service.h"

#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>

namespace {

struct DocLitSuite {
    std::string file;
    std::string path;
    WMSOAPLiteralService service;
    WMSOAPWSDLClient wsdl;  // the call's constructor wants one; the literal mode does not read it
    std::string wsdlText;
};

// Every operation answers its one input; echoString("raise-fault") answers the WSDL's fault.
std::map<WMString, WMString> const kInputs = {
    {u"echoString", u"text"}, {u"echoInt", u"value"},     {u"echoItem", u"item"},
    {u"echoItems", u"items"}, {u"echoStrings", u"value"}, {u"echoNillable", u"value"},
};

void Answer(WMSOAPServerCall& call) {
    auto const input = kInputs.find(call.GetMethodName());
    if (input == kInputs.end()) {
        call.SetFault(u"SOAP-ENV:Server", u"Operation not implemented.");
        return;
    }
    WMSOAPStructMember value;
    call.GetParam(input->second, value);
    if (input->first == u"echoString" && value.StringValue() == u"raise-fault") {
        WMSOAPStructType detail;
        detail.SetMember(u"code", 42);
        detail.SetMember(u"message", value.StringValue());
        call.SetFault(u"SOAP-ENV:Server", u"Fault raised on request");
        call.SetFaultDetail(u"echoFault", WMSOAPStructMember(u"echoFault", detail));
        return;
    }
    call.SetReturnValue(std::move(value));
}

// The WSDL with its address pointing at the server the client reached.
std::string Described(DocLitSuite const& suite, std::string const& host) {
    std::string text = suite.wsdlText;
    std::string const from = "location=\"http://127.0.0.1" + suite.path + "\"";
    auto const at = text.find(from);
    if (at != std::string::npos) {
        text.replace(at, from.size(), "location=\"http://" + host + suite.path + "\"");
    }
    return text;
}

}  // namespace

bool AddDocLitServices(GuardedServer& server, WorkerSlots& workers, std::string const& directory) {
    static DocLitSuite suites[] = {{"echo_doclit.wsdl", "/echo", {}, {}, {}},
                                   {"echo_soap12.wsdl", "/echo12", {}, {}, {}}};
    WMWireOptions wire;
    wire.standard = true;
    wire.documentLiteral = true;
    for (DocLitSuite& suite : suites) {
        std::string const path = directory + "/" + suite.file;
        WMString location;
        UTF8ToWideString(path, location);
        if (!suite.service.Load(location)) {
            std::string error;
            WideStringToUTF8(suite.service.GetLoadError(), error);
            std::cerr << path << ": " << error << "\n";
            return false;
        }
        std::ifstream in(path, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        suite.wsdlText = text.str();
        DocLitSuite const& served = suite;
        server.Post(suite.path, [&served, wire, &workers](httplib::Request const& request,
                                                          httplib::Response& response) {
            WorkerSlots::Hold const worker(workers);
            WMSOAPWSDLClient wsdl = served.wsdl;
            WMSOAPServerCall call(wsdl);
            call.SetWireOptions(wire);
            call.SetLiteralService(served.service);
            if (call.ReadRequest(request.body, request.get_header_value("SOAPAction"),
                                 request.get_header_value("Content-Type"))) {
                Answer(call);
            }
            response.status = call.WriteResponse(response.body);
            response.set_header("Content-Type", call.GetContentType());
        });
        server.Get(suite.path,
                   [&served](httplib::Request const& request, httplib::Response& response) {
                       response.set_content(Described(served, request.get_header_value("Host")),
                                            "text/xml; charset=utf-8");
                   });
    }
    return true;
}
