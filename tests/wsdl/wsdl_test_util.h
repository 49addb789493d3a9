// Helpers shared by the WSDL tests: a `definitions` frame for a body, and a client that exposes the
// protected lookups.
#ifndef CORVANE_TESTS_WSDL_TEST_UTIL_H
#define CORVANE_TESTS_WSDL_TEST_UTIL_H

#include <corvane/wsdl.h>

#include <string>
#include <vector>

#include "support/support.h"

namespace corvane::test {

inline std::string DataDir() {
    return DataPath("wsdl");
}

// A `definitions` element with the usual prefixes around `body`: the default namespace and
// `wsdl` are WSDL, `soap` the SOAP binding, `xsd` the 2001 schema, `enc` SOAP encoding and
// `tns` the target namespace "urn:t".
inline std::string Definitions(const std::string& body,
                               const std::string& attributes = "targetNamespace=\"urn:t\"") {
    return "<?xml version=\"1.0\"?>\n<definitions name=\"T\" " + attributes +
           " xmlns=\"http://schemas.xmlsoap.org/wsdl/\""
           " xmlns:wsdl=\"http://schemas.xmlsoap.org/wsdl/\""
           " xmlns:soap=\"http://schemas.xmlsoap.org/wsdl/soap/\""
           " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
           " xmlns:enc=\"http://schemas.xmlsoap.org/soap/encoding/\""
           " xmlns:tns=\"urn:t\">\n" +
           body + "\n</definitions>\n";
}

// Where each section of the load fault table (document, definitions, types, input, headerfault)
// places its row.
inline std::string Placed(const std::string& section, const std::string& row) {
    const std::string input =
        "<portType name='P'><operation name='o'><input message='tns:m'/></operation></portType>"
        "<message name='m'><part name='p' type='xsd:string'/></message>"
        "<binding name='B' type='tns:P'><operation name='o'><input>";
    if (section == "types") {
        return Definitions("<types>" + row + "</types>");
    }
    if (section == "input") {
        return Definitions(input + row + "</input></operation></binding>");
    }
    if (section == "headerfault") {
        return Definitions(input + "<soap:header message='tns:m' part='p' use='literal'>" + row +
                           "</soap:header></input></operation></binding>");
    }
    return section == "document" ? row : Definitions(row);
}

// One query of the client, named as its method without "Get" and followed by its arguments,
// separated by '|' ("InputMsgPartType op|a"). The answer is the output as text, a type as
// "{ns}name", a walk (InParams, OutParams, StructMembers) as its names separated by spaces,
// and "false" when the query answers false. "host", "uri", "port", "ssl" and "TNS" give the
// endpoint and the target namespace.
std::string Ask(WMSOAPWSDLClient& client, const std::string& query);

// Exposes the protected lookups of the client.
class ProbeClient : public WMSOAPWSDLClient {
public:
    using WMSOAPWSDLClient::GetInputMessage;
    using WMSOAPWSDLClient::GetOutputMessage;
    using WMSOAPWSDLClient::GetSOAPBinding;
};

}  // namespace corvane::test

#endif
