// The queries against published service descriptions (tests/data/wsdl, see SOURCES.md there).
#include <gtest/gtest.h>

#include "wsdl/wsdl_test_util.h"

namespace corvane::test {
namespace {

const char* const kXsd = "http://www.w3.org/2001/XMLSchema";

class RealDocuments : public ::testing::Test {
protected:
    // Reads `file` choosing `service` and `port`, through a file:// location.
    void Open(const std::string& file, const std::string& service, const std::string& port) {
        ASSERT_TRUE(m_client.ReadServiceDesc(Widen(service), Widen(port),
                                             Widen("file://" + DataDir() + "/" + file)))
            << file << ": " << Narrow(m_client.GetLoadErrorMessage());
    }

    std::string Str(bool (WMSOAPWSDLClient::*query)(const WMString&, WMString&),
                    const char16_t* op) {
        WMString out;
        EXPECT_TRUE((m_client.*query)(op, out)) << Narrow(op);
        return Narrow(out);
    }

    std::string InType(const char16_t* op, const char16_t* part) {
        WMString name;
        WMString ns;
        EXPECT_TRUE(m_client.GetInputMsgPartType(op, part, name, ns));
        return "{" + Narrow(ns) + "}" + Narrow(name);
    }

    std::string OutType(const char16_t* op, const char16_t* part) {
        WMString name;
        WMString ns;
        EXPECT_TRUE(m_client.GetOutputMsgPartType(op, part, name, ns));
        return "{" + Narrow(ns) + "}" + Narrow(name);
    }

    std::string Item(const std::string& ns, const char16_t* type, unsigned int* dims = nullptr) {
        WMString name;
        WMString itemNS;
        EXPECT_TRUE(m_client.GetArrayType(type, Widen(ns), name, itemNS)) << Narrow(type);
        if (dims) {
            EXPECT_TRUE(m_client.GetArrayDims(type, Widen(ns), *dims));
        }
        return "{" + Narrow(itemNS) + "}" + Narrow(name);
    }

    // "name:{ns}type" for each member, in enumeration order.
    std::vector<std::string> Members(const std::string& ns, const char16_t* type) {
        std::vector<std::string> members;
        WMString name;
        WMString memberNS;
        WMString typeName;
        WMString typeNS;
        long index = -1;
        for (bool more = m_client.GetFirstStructMember(type, Widen(ns), name, memberNS, typeName,
                                                       typeNS, index);
             more; more = m_client.GetNextStructMember(type, Widen(ns), name, memberNS, typeName,
                                                       typeNS, index)) {
            members.push_back(Narrow(name) + ":{" + Narrow(typeNS) + "}" + Narrow(typeName));
        }
        return members;
    }

    std::vector<std::string> Params(const char16_t* op, bool input) {
        std::vector<std::string> names;
        WMString name;
        long index = -1;
        bool more = input ? m_client.GetFirstInParamName(op, name, index)
                          : m_client.GetFirstOutParamName(op, name, index);
        while (more) {
            names.push_back(Narrow(name));
            more = input ? m_client.GetNextInParamName(op, name, index)
                         : m_client.GetNextOutParamName(op, name, index);
        }
        return names;
    }

    WMSOAPWSDLClient m_client;
};

TEST_F(RealDocuments, Round2Base) {
    Open("round2_base.wsdl", "InteropTest", "InteropTestPort");
    // The relative address has no "://": its first two characters are dropped.
    EXPECT_EQ(Narrow(m_client.GetSOAPSvcHost()), "und2_base.inc");
    EXPECT_EQ(Narrow(m_client.GetSOAPSvcURI()), "");
    EXPECT_EQ(m_client.GetSOAPSvcPortNbr(), 80);
    EXPECT_EQ(Str(&WMSOAPWSDLClient::GetMethodSOAPAction, u"echoString"), "\"http://\"");
    EXPECT_EQ(Str(&WMSOAPWSDLClient::GetOpBindingStyle, u"echoString"), "rpc");
    EXPECT_EQ(Str(&WMSOAPWSDLClient::GetMethodNamespaceURI, u"echoString"),
              "http://soapinterop.org/");
    EXPECT_EQ(Str(&WMSOAPWSDLClient::GetSOAPInputBodyUse, u"echoStructArray"), "encoded");
    EXPECT_EQ(Str(&WMSOAPWSDLClient::GetSOAPOutputBodyEncStyle, u"echoStructArray"),
              "http://schemas.xmlsoap.org/soap/encoding/");
    EXPECT_EQ(InType(u"echoStructArray", u"inputStructArray"),
              "{http://soapinterop.org/xsd}ArrayOfSOAPStruct");
    EXPECT_EQ(OutType(u"echoFloat", u"outputFloat"), std::string("{") + kXsd + "}float");
    unsigned int dims = 0;
    EXPECT_EQ(Item("http://soapinterop.org/xsd", u"ArrayOfSOAPStruct", &dims),
              "{http://soapinterop.org/xsd}SOAPStruct");
    EXPECT_EQ(dims, 1u);
    // Unprefixed item types resolve through the schema's own default namespace.
    EXPECT_EQ(Item("http://soapinterop.org/xsd", u"ArrayOfstring"),
              std::string("{") + kXsd + "}string");
    // Declared with xsd:all.
    EXPECT_EQ(Members("http://soapinterop.org/xsd", u"SOAPStruct"),
              (std::vector<std::string>{"varString:{http://www.w3.org/2001/XMLSchema}string",
                                        "varInt:{http://www.w3.org/2001/XMLSchema}int",
                                        "varFloat:{http://www.w3.org/2001/XMLSchema}float"}));
    EXPECT_TRUE(Params(u"echoVoid", true).empty());
    WMString op;
    WMString ns;
    // Every operation has the same action: the first in name order answers.
    EXPECT_TRUE(m_client.GetOpNamesBySOAPAction(u"\"http://\"", op, ns));
    EXPECT_EQ(Narrow(op), "echoBase64");
    EXPECT_EQ(Narrow(ns), "http://soapinterop.org/");
}

TEST_F(RealDocuments, Round2GroupB) {
    Open("round2_groupB.wsdl", "interopLabB", "interopTestPortB");
    unsigned int dims = 0;
    EXPECT_EQ(Item("http://soapinterop.org/xsd", u"ArrayOfString2D", &dims),
              std::string("{") + kXsd + "}string");
    EXPECT_EQ(dims, 2u);
    // Several output parts, enumerated by name; parameterOrder gives the call order.
    EXPECT_EQ(Params(u"echoStructAsSimpleTypes", false),
              (std::vector<std::string>{"outputFloat", "outputInteger", "outputString"}));
    long index = -1;
    EXPECT_TRUE(
        m_client.GetOperationParamIndex(u"echoStructAsSimpleTypes", u"outputString", &index));
    EXPECT_EQ(index, 1);
    EXPECT_EQ(Members("http://soapinterop.org/xsd", u"SOAPArrayStruct").back(),
              "varArray:{http://soapinterop.org/xsd}ArrayOfstring");
    WMString name;
    WMString ns;
    EXPECT_TRUE(m_client.GetStructMemberType(u"SOAPStructStruct", u"http://soapinterop.org/xsd",
                                             u"varStruct", u"", name, ns));
    EXPECT_EQ(Narrow(name), "SOAPStruct");
}

TEST_F(RealDocuments, Round3ListAndEmptyActions) {
    Open("round3_groupE_list.wsdl", "WSDLInteropTestListService", "WSDLInteropTestListPort");
    EXPECT_EQ(Str(&WMSOAPWSDLClient::GetMethodSOAPAction, u"echoLinkedList"), "\"\"");
    EXPECT_EQ(Str(&WMSOAPWSDLClient::GetMethodNamespaceURI, u"echoLinkedList"),
              "http://soapinterop.org/WSDLInteropTestRpcEnc");
    EXPECT_EQ(Members("http://soapinterop.org/xsd", u"List").back(),
              "child:{http://soapinterop.org/xsd}List");

    WMSOAPWSDLClient empty;
    ASSERT_TRUE(empty.ReadServiceDesc(u"EmptySA", u"SoapInteropEmptySAPort",
                                      Widen("file://" + DataDir() + "/emptysa.wsdl")));
    EXPECT_EQ(Narrow(empty.GetSOAPSvcHost()), "mssoapinterop.org");
    EXPECT_EQ(Narrow(empty.GetSOAPSvcURI()), "/stkv3/wsdl/emptysa.wsdl");
    WMString action = u"x";
    EXPECT_TRUE(empty.GetMethodSOAPAction(u"echoString", action));
    EXPECT_EQ(Narrow(action), "\"\"");
}

TEST_F(RealDocuments, DocumentLiteralHeadersAndElementParts) {
    Open("round3_groupF_headers.wsdl", "RetHeaderService", "RetHeaderPort");
    EXPECT_EQ(Str(&WMSOAPWSDLClient::GetOpBindingStyle, u"echoString"), "document");
    EXPECT_EQ(InType(u"echoString", u"a"), std::string("{") + kXsd + "}string");
    WMString name;
    WMString ns;
    EXPECT_TRUE(m_client.GetInputHeaderPartType(u"echoString", u"Header1", u"", name, ns));
    EXPECT_EQ(Narrow(name), "Header1");
    EXPECT_EQ(Narrow(ns), "http://soapinterop.org/xsd");
    EXPECT_TRUE(m_client.GetInputHeaderPartType(u"echoString", u"Header2", u"", name, ns));
    EXPECT_EQ(Narrow(name), "Header2");
    EXPECT_FALSE(m_client.GetOutputHeaderPartType(u"echoString", u"Header1", u"", name, ns));
    EXPECT_TRUE(m_client.GetHeaderElemType(u"Header1", u"http://soapinterop.org/xsd", name, ns));
    EXPECT_EQ(Narrow(name), "Header1");

    WMSOAPWSDLClient round4;
    ASSERT_TRUE(round4.ReadServiceDesc(u"Round4XSDTest", u"Round4XSDTestSoap",
                                       Widen("file://" + DataDir() + "/round4XSD.wsdl")));
    EXPECT_TRUE(round4.GetOutputHeaderPartType(u"echoVoidSoapHeader", u"echoMeStringResponse", u"",
                                               name, ns));
    EXPECT_EQ(Narrow(name), "echoMeStringResponse");
    EXPECT_EQ(Narrow(ns), "http://soapinterop.org/echoheader/");
    // Element parts with anonymous types answer their GUID-named type, which has members.
    EXPECT_TRUE(round4.GetInputMsgPartType(u"echoString", u"parameters", name, ns));
    EXPECT_EQ(name.size(), 36u);
    WMString member;
    WMString memberNS;
    long index = -1;
    EXPECT_TRUE(round4.GetFirstStructMember(name, ns, member, memberNS, name, ns, index));
    EXPECT_EQ(Narrow(member), "inputString");
    EXPECT_EQ(Narrow(name), "string");
}

TEST_F(RealDocuments, ForeignExtensionsAreSkipped) {
    Open("round3_groupF_ext.wsdl", "WSDLInteropTestDocLitService", "WSDLInteropTestDocLitPort");
    WMString style;
    EXPECT_TRUE(m_client.GetSOAPBindingStyle(style));
    EXPECT_EQ(Narrow(style), "document");
    EXPECT_EQ(Str(&WMSOAPWSDLClient::GetMethodSOAPAction, u"echoString"),
              "\"http://soapinterop.org/\"");
    EXPECT_EQ(Str(&WMSOAPWSDLClient::GetSOAPInputBodyUse, u"echoString"), "literal");
    EXPECT_EQ(Str(&WMSOAPWSDLClient::GetMethodNamespaceURI, u"echoString"),
              "http://soapinterop.org/WSDLInteropTestDocLit");
    EXPECT_EQ(Narrow(m_client.GetSOAPSvcHost()), "und3_groupF_ext.inc");
}

TEST_F(RealDocuments, ImportsByRelativeLocation) {
    Open("import1/Import1.wsdl", "Import1", "SoapInteropImport1Port");
    // Messages and port type come from the imported document's namespace.
    EXPECT_EQ(InType(u"echoString", u"x"), std::string("{") + kXsd + "}string");
    EXPECT_EQ(Str(&WMSOAPWSDLClient::GetMethodNamespaceURI, u"echoString"),
              "http://soapinterop/echoString/");

    WMSOAPWSDLClient two;
    ASSERT_TRUE(two.ReadServiceDesc(u"Import2", u"SoapInteropImport2Port",
                                    Widen("file://" + DataDir() + "/import2/Import2.wsdl")));
    WMString name;
    WMString ns;
    EXPECT_TRUE(two.GetInputMsgPartType(u"echoStruct", u"inputStruct", name, ns));
    EXPECT_EQ(Narrow(name), "SOAPStruct");
    // Two levels down: the bare schema's struct.
    EXPECT_TRUE(two.GetStructMemberType(name, ns, u"varFloat", u"", name, ns));
    EXPECT_EQ(Narrow(name), "float");
    EXPECT_EQ(Narrow(ns), kXsd);

    WMSOAPWSDLClient three;
    ASSERT_TRUE(three.ReadServiceDesc(u"Import3", u"SoapInteropImport3Port",
                                      Widen("file://" + DataDir() + "/import3/Import3.wsdl")));
    EXPECT_TRUE(three.GetOutputMsgPartType(u"echoStruct", u"Result", name, ns));
    EXPECT_EQ(Narrow(name), "SOAPStruct");
    // The imported document's own service has another namespace than the importer's.
    EXPECT_FALSE(three.ReadServiceDesc(u"Import2", u"SoapInteropImport2Port",
                                       Widen("file://" + DataDir() + "/import3/Import3.wsdl")));
}

TEST_F(RealDocuments, FaultsAndInheritance) {
    Open("simple-rpc-encoded.wsdl", "SimpleRpcEncService", "SimpleRpcEncPort");
    WMString name;
    WMString ns;
    EXPECT_TRUE(m_client.GetFaultDetailPartType(u"echoMultipleFaults1", u"SimpleFault2", u"part2",
                                                name, ns));
    EXPECT_EQ(Narrow(name), "string");
    EXPECT_FALSE(m_client.GetFaultDetailPartType(u"echoMultipleFaults1", u"SimpleFault2", u"part1",
                                                 name, ns));
    EXPECT_EQ(Params(u"echoMultipleFaults1", true),
              (std::vector<std::string>{"param1", "param2", "whichFault"}));

    WMSOAPWSDLClient complex;
    ASSERT_TRUE(
        complex.ReadServiceDesc(u"ComplexRpcEncService", u"ComplexRpcEncPort",
                                Widen("file://" + DataDir() + "/complex-rpc-encoded.wsdl")));
    // The schema binds tns again to its own namespace; the XML layer does not report a prefix
    // bound again, so inside the schema tns still names the definitions' namespace.
    EXPECT_TRUE(
        complex.GetComplexBaseType(u"ExtendedStruct", u"http://soapinterop.org/types", name, ns));
    EXPECT_EQ(Narrow(name), "BaseStruct");
    EXPECT_EQ(Narrow(ns), "http://soapinterop.org/wsdl");
}

TEST_F(RealDocuments, ArraysOfArrays) {
    Open("cdas.wsdl", "CDASWS", "CoordinatedDataAnalysisSystemPort");
    // An explicit port 443 is kept; the https scheme does not turn TLS on.
    EXPECT_EQ(m_client.GetSOAPSvcPortNbr(), 443);
    EXPECT_EQ(m_client.GetSSLEnabled(), 0);
    EXPECT_EQ(Narrow(m_client.GetSOAPSvcURI()), "/WS/jaxrpc");
    const std::string types = "http://cdaweb.gsfc.nasa.gov/WS/types/CDASWS";
    EXPECT_EQ(Item(types, u"ArrayOfArrayOfstring"),
              "{http://cdaweb.gsfc.nasa.gov/WS/CDASWS}ArrayOfstring");
    // An unprefixed item type takes the schema's default namespace.
    EXPECT_EQ(Item("http://java.sun.com/jax-rpc-ri/internal", u"collection"),
              std::string("{") + kXsd + "}anyType");

    WMSOAPWSDLClient marrays;
    ASSERT_TRUE(marrays.ReadServiceDesc(u"MArrayTestsService", u"MArrayTests",
                                        Widen("file://" + DataDir() + "/MArrayTest.wsdl")));
    WMString name;
    WMString ns;
    // Arrays declared without wsdl:arrayType: the sequence's first element gives the item.
    EXPECT_TRUE(marrays.GetArrayType(u"Array2", u"urn:MArrayTests", name, ns));
    EXPECT_EQ(Narrow(name), "Array1");
    EXPECT_TRUE(marrays.GetArrayType(u"Array1", u"urn:MArrayTests", name, ns));
    EXPECT_EQ(Narrow(ns), "http://www.w3.org/1999/XMLSchema");
}

TEST_F(RealDocuments, LargeDocuments) {
    Open("ndfdXML.wsdl", "ndfdXML", "ndfdXMLPort");
    EXPECT_EQ(Str(&WMSOAPWSDLClient::GetMethodSOAPAction, u"NDFDgen"),
              "\"http://graphical.weather.gov/xml/DWMLgen/wsdl/ndfdXML.wsdl#NDFDgen\"");
    EXPECT_EQ(Narrow(m_client.GetSOAPSvcHost()), "graphical.weather.gov");
    WMString type;
    WMString ns;
    EXPECT_TRUE(m_client.GetInputMsgPartType(u"NDFDgen", u"weatherParameters", type, ns));
    EXPECT_EQ(Members(Narrow(ns), type.c_str()).size(), 57u);

    WMSOAPWSDLClient types;
    ASSERT_TRUE(types.ReadServiceDesc(u"TypeTestService", u"TypeTest",
                                      Widen("file://" + DataDir() + "/ComprehensiveTypes.wsdl")));
    EXPECT_EQ(types.GetSOAPSvcPortNbr(), 8080);
    WMString body = u"x";
    EXPECT_TRUE(types.GetMethodNamespaceURI(u"allPrimitivesIn", body));
    EXPECT_EQ(Narrow(body), "");
}

TEST_F(RealDocuments, RefusedDocuments) {
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
