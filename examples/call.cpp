// Calls a SOAPBuilders round 2 service: loads its WSDL, echoes a string and a struct, and
// provokes a SOAP fault to show how one is read.
//
//     call http://127.0.0.1:8081/round2_base.wsdl
//
// (tests/peers/start php 8081 runs such a service on loopback.)
#include <corvane/corvane.h>

#include <iostream>
#include <string>

namespace {

std::string Utf8(WMString const& text) {
    std::string out;
    WideStringToUTF8(text, out);
    return out;
}

// Prints the fault that the last call brought back.
void PrintFault(WMSOAPClient& client) {
    WMString code, text, actor;
    client.GetSOAPFaultCode(code);
    client.GetSOAPFaultString(text);
    client.GetSOAPFaultActor(actor);
    std::cout << "fault " << Utf8(code) << ": " << Utf8(text) << " (actor " << Utf8(actor) << ")\n";
    WMSOAPStructMember detail;
    if (client.GetFaultDetailEntry(u"http://soapinterop.org/", u"faultDetail", detail)) {
        WMSOAPStructMember number;
        if (detail.StructValue().GetMember(u"varInt", number)) {
            std::cout << "  detail varInt = " << number.LongValue() << "\n";
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: call WSDL-LOCATION\n";
        return 1;
    }
    WMString location;
    UTF8ToWideString(std::string(argv[1]), location);

    WMSOAPClient client;
    if (!client.Initialize(location, u"InteropTest", u"InteropTestPort", u"",
                           u"Corvane example/1.0", u"", false)) {
        std::cerr << "cannot read the service description\n";
        return 1;
    }

    // Parameters are given by name; the return value comes back typed.
    WMString names[1] = {u"inputString"};
    WMSOAPStructMember values[1] = {WMSOAPStructMember(u"inputString", WMString(u"Hello"))};
    WMSOAPStructMember result;
    if (!client.InvokeSOAPMethod(u"echoString", names, values, 1, result)) {
        std::cerr << "echoString failed\n";
        return 1;
    }
    std::cout << "echoString: " << Utf8(result.StringValue()) << "\n";

    // A struct is an ordered list of named members.
    WMSOAPStructType point;
    point.SetMember(u"varString", WMString(u"point"));
    point.SetMember(u"varInt", 42);
    point.SetMember(u"varFloat", 0.5);
    names[0] = u"inputStruct";
    values[0] = WMSOAPStructMember(u"inputStruct", point);
    if (client.InvokeSOAPMethod(u"echoStruct", names, values, 1, result) && !client.IsSOAPFault()) {
        WMSOAPStructMember member;
        result.StructValue().GetMember(u"varInt", member);
        std::cout << "echoStruct: varInt = " << member.LongValue() << "\n";
    }

    // A fault sent by the server is not a failed call: the call returns true and IsSOAPFault
    // tells.
    names[0] = u"inputString";
    values[0] = WMSOAPStructMember(u"inputString", WMString(u"raise-fault"));
    if (client.InvokeSOAPMethod(u"echoString", names, values, 1, result) && client.IsSOAPFault()) {
        PrintFault(client);
    }
    return 0;
}
