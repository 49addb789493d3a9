// The queries against published service descriptions (tests/data/wsdl, see SOURCES.md there).
#include <gtest/gtest.h>

#include "wsdl/wsdl_test_util.h"

namespace corvane::test {
namespace {

struct Document {
    const char* file;
    const char* service;
    const char* port;
    // Each query (see Ask) with its answer; "host", "uri" and "port" give the endpoint.
    std::vector<std::pair<std::string, std::string>> answers;
};

const std::string kXsd = "{http://www.w3.org/2001/XMLSchema}";
const std::string kInterop = "http://soapinterop.org/xsd";

const Document kDocuments[] = {
    {"round2_base.wsdl",
     "InteropTest",
     "InteropTestPort",
     {
         // The relative address has no "://": its first two characters are dropped.
         {"host", "und2_base.inc"},
         {"uri", ""},
         {"port", "80"},
         {"MethodSOAPAction echoString", "\"http://\""},
         {"OpBindingStyle echoString", "rpc"},
         {"MethodNamespaceURI echoString", "http://soapinterop.org/"},
         {"SOAPInputBodyUse echoStructArray", "encoded"},
         {"SOAPOutputBodyEncStyle echoStructArray", "http://schemas.xmlsoap.org/soap/encoding/"},
         {"InputMsgPartType echoStructArray|inputStructArray",
          "{" + kInterop + "}ArrayOfSOAPStruct"},
         {"OutputMsgPartType echoFloat|outputFloat", kXsd + "float"},
         {"ArrayType ArrayOfSOAPStruct|" + kInterop, "{" + kInterop + "}SOAPStruct"},
         {"ArrayDims ArrayOfSOAPStruct|" + kInterop, "1"},
         // Unprefixed item types resolve through the schema's own default namespace.
         {"ArrayType ArrayOfstring|" + kInterop, kXsd + "string"},
         // Declared with xsd:all.
         {"StructMembers SOAPStruct|" + kInterop,
          "varString{" + kInterop + "}:" + kXsd + "string varInt{" + kInterop + "}:" + kXsd +
              "int varFloat{" + kInterop + "}:" + kXsd + "float"},
         {"InParams echoVoid", "false"},
         // Every operation has the same action: the first in name order answers.
         {"OpNamesBySOAPAction \"http://\"", "{http://soapinterop.org/}echoBase64"},
     }},
    {"round2_groupB.wsdl",
     "interopLabB",
     "interopTestPortB",
     {
         {"ArrayType ArrayOfString2D|" + kInterop, kXsd + "string"},
         {"ArrayDims ArrayOfString2D|" + kInterop, "2"},
         // Several output parts, enumerated by name; parameterOrder gives the call order.
         {"OutParams echoStructAsSimpleTypes", "outputFloat outputInteger outputString"},
         {"OperationParamIndex echoStructAsSimpleTypes|outputString", "1"},
         {"StructMemberType SOAPArrayStruct|" + kInterop + "|varArray|",
          "{" + kInterop + "}ArrayOfstring"},
         {"StructMemberType SOAPStructStruct|" + kInterop + "|varStruct|",
          "{" + kInterop + "}SOAPStruct"},
     }},
    {"round3_groupE_list.wsdl",
     "WSDLInteropTestListService",
     "WSDLInteropTestListPort",
     {
         {"MethodSOAPAction echoLinkedList", "\"\""},
         {"MethodNamespaceURI echoLinkedList", "http://soapinterop.org/WSDLInteropTestRpcEnc"},
         {"StructMemberType List|" + kInterop + "|child|", "{" + kInterop + "}List"},
     }},
    {"emptysa.wsdl",
     "EmptySA",
     "SoapInteropEmptySAPort",
     {
         {"host", "mssoapinterop.org"},
         {"uri", "/stkv3/wsdl/emptysa.wsdl"},
         {"MethodSOAPAction echoString", "\"\""},
     }},
    {"round3_groupF_headers.wsdl",
     "RetHeaderService",
     "RetHeaderPort",
     {
         {"OpBindingStyle echoString", "document"},
         {"InputMsgPartType echoString|a", kXsd + "string"},
         {"InputHeaderPartType echoString|Header1|", "{" + kInterop + "}Header1"},
         {"InputHeaderPartType echoString|Header2|", "{" + kInterop + "}Header2"},
         {"OutputHeaderPartType echoString|Header1|", "false"},
         {"HeaderElemType Header1|" + kInterop, "{" + kInterop + "}Header1"},
     }},
    {"round4XSD.wsdl",
     "Round4XSDTest",
     "Round4XSDTestSoap",
     {
         {"OutputHeaderPartType echoVoidSoapHeader|echoMeStringResponse|",
          "{http://soapinterop.org/echoheader/}echoMeStringResponse"},
     }},
    {"round3_groupF_ext.wsdl",
     "WSDLInteropTestDocLitService",
     "WSDLInteropTestDocLitPort",
     {
         // Foreign extensions are skipped.
         {"SOAPBindingStyle", "document"},
         {"MethodSOAPAction echoString", "\"http://soapinterop.org/\""},
         {"SOAPInputBodyUse echoString", "literal"},
         {"MethodNamespaceURI echoString", "http://soapinterop.org/WSDLInteropTestDocLit"},
         {"host", "und3_groupF_ext.inc"},
     }},
    {"import1/Import1.wsdl",
     "Import1",
     "SoapInteropImport1Port",
     {
         // Messages and port type come from the imported document's namespace.
         {"InputMsgPartType echoString|x", kXsd + "string"},
         {"MethodNamespaceURI echoString", "http://soapinterop/echoString/"},
     }},
    {"import2/Import2.wsdl",
     "Import2",
     "SoapInteropImport2Port",
     {
         {"InputMsgPartType echoStruct|inputStruct", "{http://soapinterop.org/xsd}SOAPStruct"},
         // Two levels down: the bare schema's struct.
         {"StructMemberType SOAPStruct|http://soapinterop.org/xsd|varFloat|", kXsd + "float"},
     }},
    {"import3/Import3.wsdl",
     "Import3",
     "SoapInteropImport3Port",
     {
         {"OutputMsgPartType echoStruct|Result", "{http://soapinterop.org/xsd}SOAPStruct"},
     }},
    {"simple-rpc-encoded.wsdl",
     "SimpleRpcEncService",
     "SimpleRpcEncPort",
     {
         {"FaultDetailPartType echoMultipleFaults1|SimpleFault2|part2", kXsd + "string"},
         {"FaultDetailPartType echoMultipleFaults1|SimpleFault2|part1", "false"},
         {"InParams echoMultipleFaults1", "param1 param2 whichFault"},
     }},
    {"complex-rpc-encoded.wsdl",
     "ComplexRpcEncService",
     "ComplexRpcEncPort",
     {
         // The schema binds tns again to its own namespace; the XML layer does not report a
         // prefix bound again, so inside the schema tns still names the definitions' namespace.
         {"ComplexBaseType ExtendedStruct|http://soapinterop.org/types",
          "{http://soapinterop.org/wsdl}BaseStruct"},
     }},
    {"cdas.wsdl",
     "CDASWS",
     "CoordinatedDataAnalysisSystemPort",
     {
         // An explicit port 443 is kept; the https scheme does not turn TLS on.
         {"port", "443"},
         {"ssl", "0"},
         {"uri", "/WS/jaxrpc"},
         {"ArrayType ArrayOfArrayOfstring|http://cdaweb.gsfc.nasa.gov/WS/types/CDASWS",
          "{http://cdaweb.gsfc.nasa.gov/WS/CDASWS}ArrayOfstring"},
         // An unprefixed item type takes the schema's default namespace.
         {"ArrayType collection|http://java.sun.com/jax-rpc-ri/internal", kXsd + "anyType"},
     }},
    {"MArrayTest.wsdl",
     "MArrayTestsService",
     "MArrayTests",
     {
         // Arrays declared without wsdl:arrayType: the sequence's first element gives the item.
         {"ArrayType Array2|urn:MArrayTests", "{urn:MArrayTests}Array1"},
         {"ArrayType Array1|urn:MArrayTests", "{http://www.w3.org/1999/XMLSchema}int"},
     }},
    {"ndfdXML.wsdl",
     "ndfdXML",
     "ndfdXMLPort",
     {
         {"MethodSOAPAction NDFDgen",
          "\"http://graphical.weather.gov/xml/DWMLgen/wsdl/ndfdXML.wsdl#NDFDgen\""},
         {"host", "graphical.weather.gov"},
     }},
    {"ComprehensiveTypes.wsdl",
     "TypeTestService",
     "TypeTest",
     {
         {"port", "8080"},
         {"MethodNamespaceURI allPrimitivesIn", ""},
     }},
};

std::string Endpoint(WMSOAPWSDLClient& client, const std::string& what) {
    if (what == "host") {
        return Narrow(client.GetSOAPSvcHost());
    }
    if (what == "uri") {
        return Narrow(client.GetSOAPSvcURI());
    }
    return std::to_string(what == "port" ? client.GetSOAPSvcPortNbr() : client.GetSSLEnabled());
}

WMString Location(const std::string& file) {
    return Widen("file://" + DataDir() + "/" + file);
}

TEST(RealDocuments, AnswerTheirQueries) {
    for (const Document& document : kDocuments) {
        SCOPED_TRACE(document.file);
        WMSOAPWSDLClient client;
        ASSERT_TRUE(client.ReadServiceDesc(Widen(document.service), Widen(document.port),
                                           Location(document.file)))
            << Narrow(client.GetLoadErrorMessage());
        for (const auto& [query, expected] : document.answers) {
            const bool endpoint = query.find(' ') == std::string::npos && query.size() <= 4;
            EXPECT_EQ(endpoint ? Endpoint(client, query) : Ask(client, query), expected) << query;
        }
    }
}

TEST(RealDocuments, AnonymousTypesOfElementPartsAndLargeTypes) {
    WMSOAPWSDLClient round4;
    ASSERT_TRUE(
        round4.ReadServiceDesc(u"Round4XSDTest", u"Round4XSDTestSoap", Location("round4XSD.wsdl")));
    // Element parts with anonymous types answer their GUID-named type, which has members.
    WMString name;
    WMString ns;
    EXPECT_TRUE(round4.GetInputMsgPartType(u"echoString", u"parameters", name, ns));
    EXPECT_EQ(name.size(), 36u);
    EXPECT_EQ(Ask(round4, "StructMemberType " + Narrow(name) + "|" + Narrow(ns) + "|inputString|"),
              kXsd + "string");

    WMSOAPWSDLClient ndfd;
    ASSERT_TRUE(ndfd.ReadServiceDesc(u"ndfdXML", u"ndfdXMLPort", Location("ndfdXML.wsdl")));
    EXPECT_TRUE(ndfd.GetInputMsgPartType(u"NDFDgen", u"weatherParameters", name, ns));
    const std::string members = Ask(ndfd, "StructMembers " + Narrow(name) + "|" + Narrow(ns));
    EXPECT_EQ(std::count(members.begin(), members.end(), ' '), 56);
}

TEST(RealDocuments, ServiceOfAnImportedDocumentIsNotTheImporters) {
    // The imported document's own service has another namespace than the importer's.
    WMSOAPWSDLClient three;
    EXPECT_FALSE(three.ReadServiceDesc(u"Import2", u"SoapInteropImport2Port",
                                       Location("import3/Import3.wsdl")));
}

TEST(RealDocuments, RefusedDocuments) {
    WMWSDLParser parser;
    EXPECT_FALSE(parser.LoadAndParseWSDLFile(Widen(DataDir() + "/header.wsdl")));
    EXPECT_EQ(Narrow(parser.GetLoadErrorMessage()),
              "Required attribute 'targetNamespace' missing on element: 'schema'.");
    EXPECT_FALSE(parser.LoadAndParseWSDLFile(
        Widen(DataDir() + "/Error-InputInOperationWithMissingMessageAttribute.wsdl")));
    EXPECT_EQ(Narrow(parser.GetLoadErrorMessage()),
              "Required attribute 'message' missing on element: 'input'");
    EXPECT_EQ(parser.GetWSDLDesc(), nullptr);
}

}  // namespace
}  // namespace corvane::test
