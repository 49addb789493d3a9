// Documents that break a rule of the description: each ends the load with its exact fault, and
// nothing of the document is kept.
#include <gtest/gtest.h>

#include "wsdl/wsdl_test_util.h"

namespace corvane::test {
namespace {

struct FaultCase {
    const char* body;
    const char* message;
};

const char* const kPortType =
    "<portType name='P'><operation name='o'><input message='tns:m'/></operation></portType>";

class LoadFaults : public ::testing::Test {
protected:
    void ExpectFault(const std::string& document, const std::string& message) {
        WMWSDLParser parser;
        std::string path = m_dir.Write("doc.wsdl", document);
        EXPECT_FALSE(parser.LoadAndParseWSDLFile(Widen(path)));
        EXPECT_EQ(parser.GetWSDLDesc(), nullptr);
        EXPECT_EQ(Narrow(parser.GetLoadErrorCategory()), "WSDL Schema Error");
        EXPECT_EQ(Narrow(parser.GetLoadErrorMessage()), message);
    }

    TempDir m_dir;
};

TEST_F(LoadFaults, WsdlElementsReportTheirExactMessages) {
    const FaultCase cases[] = {
        {"<message/>", "Required attribute 'name' missing on element: 'message'."},
        {"<portType/>", "Required attribute 'name' missing on element: 'portType'."},
        {"<binding type='tns:P'/>", "Required attribute 'name' missing on element: 'binding'."},
        {"<service/>", "Required attribute 'name' missing on element: 'service'."},
        {"<import location='x.wsdl'/>",
         "Required attribute 'namespace' missing on element: 'import'."},
        {"<import namespace='urn:x'/>",
         "Required attribute 'location' missing on element: 'import'."},
        {"<message name='m'><part/></message>",
         "Required attribute 'name' missing on element: 'part'."},
        // The part's messages name the enclosing message.
        {"<message name='m'><part name='p' element='q:e'/></message>",
         "Unresolvable namespace for attribute 'element' on element: 'message'"},
        {"<message name='m'><part name='p' type='q:t'/></message>",
         "Unresolvable namespace for attribute 'type' on element: 'message'"},
        {"<portType name='P'><operation/></portType>",
         "Required attribute 'name' missing on element: 'operation'."},
        {"<portType name='P'><operation name='o'><fault/></operation></portType>",
         "Required attribute 'name' missing on element: 'fault'."},
        {"<portType name='P'><operation name='o'><fault name='f'/></operation></portType>",
         "Required attribute 'message' missing on element: 'fault'"},
        {"<portType name='P'><operation name='o'><fault name='f' message='q:m'/></operation>"
         "</portType>",
         "Unresolvable namespace for attribute 'message' on element: 'fault'"},
        {"<portType name='P'><operation name='o'><input name='i'/></operation></portType>",
         "Required attribute 'message' missing on element: 'input'"},
        {"<portType name='P'><operation name='o'><input message='q:m'/></operation></portType>",
         "Unresolvable namespace for attribute 'message' on element: 'input'"},
        {"<portType name='P'><operation name='o'><output/></operation></portType>",
         "Required attribute 'message' missing on element: 'output'"},
        {"<portType name='P'><operation name='o'><output message='q:m'/></operation>"
         "</portType>",
         "Unresolvable namespace for attribute 'message' on element: 'output'"},
        {"<binding name='B'/>", "Required attribute 'type' missing on element: 'binding'"},
        {"<binding name='B' type='q:P'/>",
         "Unresolvable namespace for attribute 'type' on element: 'binding'"},
        {"<binding name='B' type='tns:P'><operation/></binding>",
         "Required attribute 'name' missing on element: 'operation'."},
        {"<binding name='B' type='tns:P'><operation name='o'><fault name='f' message='q:m'/>"
         "</operation></binding>",
         "Unresolvable namespace for attribute 'message' on element: 'fault'"},
        {"<service name='S'><port binding='tns:B'/></service>",
         "Required attribute 'name' missing on element: 'port'."},
        {"<service name='S'><port name='p'/></service>",
         "Required attribute 'binding' missing on element: 'port'"},
        {"<service name='S'><port name='p' binding='q:B'/></service>",
         "Unresolvable namespace for attribute 'binding' on element: 'port'"},
        {"<service name='S'><port name='p' binding='tns:B'><soap:address/></port></service>",
         "Required attribute 'location' missing on element: 'soap:address'"},
    };
    for (const FaultCase& c : cases) {
        SCOPED_TRACE(c.body);
        ExpectFault(Definitions(c.body), c.message);
    }
}

TEST_F(LoadFaults, SchemaElementsReportTheirExactMessages) {
    const FaultCase cases[] = {
        {"<xsd:schema/>", "Required attribute 'targetNamespace' missing on element: 'schema'."},
        {"<xsd:schema targetNamespace='urn:s'><xsd:element/></xsd:schema>",
         "Required attribute 'name' missing on element: 'element'."},
        {"<xsd:schema targetNamespace='urn:s'><xsd:complexType/></xsd:schema>",
         "Required attribute 'name' missing on element: 'complexType'."},
        {"<xsd:schema targetNamespace='urn:s'><xsd:simpleType/></xsd:schema>",
         "Required attribute 'name' missing on element: 'simpleType'."},
        {"<xsd:schema targetNamespace='urn:s'><xsd:element name='e' type='q:t'/></xsd:schema>",
         "Unresolvable namespace for attribute 'type' on element: 'element'"},
        {"<xsd:schema targetNamespace='urn:s'><xsd:element name='e' ref='q:t'/></xsd:schema>",
         "Unresolvable namespace for attribute 'ref' on element: 'element'"},
        {"<xsd:schema targetNamespace='urn:s'><xsd:complexType name='c'><xsd:sequence>"
         "<xsd:element name='m' type='q:t'/></xsd:sequence></xsd:complexType></xsd:schema>",
         "Unresolvable namespace for attribute 'type' on element: 'element'"},
        {"<xsd:schema targetNamespace='urn:s'><xsd:complexType name='c'>"
         "<xsd:attribute name='a' type='q:t'/></xsd:complexType></xsd:schema>",
         "Unresolvable namespace for attribute 'type' on element: 'attribute'"},
        {"<xsd:schema targetNamespace='urn:s'><xsd:complexType name='c'>"
         "<xsd:attribute ref='q:t'/></xsd:complexType></xsd:schema>",
         "Unresolvable namespace for attribute 'ref' on element: 'attribute'"},
        {"<xsd:schema targetNamespace='urn:s'><xsd:complexType name='c'><xsd:complexContent>"
         "<xsd:restriction base='enc:Array'><xsd:attribute ref='enc:arrayType' "
         "wsdl:arrayType='q:int[]'/></xsd:restriction></xsd:complexContent></xsd:complexType>"
         "</xsd:schema>",
         "Unresolvable namespace for attribute 'arrayType' on element: 'attribute'"},
        {"<xsd:schema targetNamespace='urn:s'><xsd:complexType name='c'><xsd:complexContent>"
         "<xsd:restriction base='q:Array'/></xsd:complexContent></xsd:complexType></xsd:schema>",
         "Unresolvable namespace for attribute 'base' on element: 'restriction'"},
        {"<xsd:schema targetNamespace='urn:s'><xsd:complexType name='c'><xsd:complexContent>"
         "<xsd:extension base='q:B'/></xsd:complexContent></xsd:complexType></xsd:schema>",
         "Unresolvable namespace for attribute 'base' on element: 'extension'"},
    };
    for (const FaultCase& c : cases) {
        SCOPED_TRACE(c.body);
        ExpectFault(Definitions(std::string("<types>") + c.body + "</types>"), c.message);
    }
    // A document that is a bare schema needs its target namespace too.
    ExpectFault("<schema xmlns='http://www.w3.org/2001/XMLSchema'/>",
                "Required attribute 'targetNamespace' missing on element: 'schema'.");
}

TEST_F(LoadFaults, SoapBindingRecordsReportTheirExactMessages) {
    auto inInput = [](const std::string& records) {
        return std::string(kPortType) +
               "<message name='m'><part name='p' type='xsd:string'/></message>"
               "<binding name='B' type='tns:P'><operation name='o'><input>" +
               records + "</input></operation></binding>";
    };
    const std::string header = "<soap:header message='tns:m' part='p' use='literal'>";
    const FaultCase cases[] = {
        {"<soap:header part='p' use='literal'/>",
         "Required attribute 'message' missing on element: 'soap:header'"},
        {"<soap:header message='tns:m' use='literal'/>",
         "Required attribute 'part' missing on element: 'soap:header'"},
        {"<soap:header message='tns:m' part='p'/>",
         "Required attribute 'use' missing on element: 'soap:header'"},
        {"<soap:header message='q:m' part='p' use='literal'/>",
         "Unresolvable namespace for attribute 'message' on element: 'soap:header'"},
    };
    for (const FaultCase& c : cases) {
        SCOPED_TRACE(c.body);
        ExpectFault(Definitions(inInput(c.body)), c.message);
    }
    const FaultCase headerFaults[] = {
        {"<soap:headerfault part='p' use='literal'/>",
         "Required attribute 'message' missing on element: 'soap:headerfault'"},
        {"<soap:headerfault message='tns:m' use='literal'/>",
         "Required attribute 'part' missing on element: 'soap:headerfault'"},
        {"<soap:headerfault message='tns:m' part='p'/>",
         "Required attribute 'use' missing on element: 'soap:headerfault'"},
        {"<soap:headerfault message='q:m' part='p' use='literal'/>",
         "Unresolvable namespace for attribute 'message' on element: 'soap:headerfault'"},
    };
    for (const FaultCase& c : headerFaults) {
        SCOPED_TRACE(c.body);
        ExpectFault(Definitions(inInput(header + c.body + "</soap:header>")), c.message);
    }
}

TEST_F(LoadFaults, ImportsThatCannotBeReadEndTheLoad) {
    const std::string unreadable = "Unable to process document referenced in 'import' element.";
    // A relative location inside a document read from a bare path has no base to resolve
    // against, and a missing file cannot be read.
    ExpectFault(Definitions("<import namespace='urn:x' location='other.wsdl'/>"), unreadable);
    ExpectFault(Definitions("<import namespace='urn:x' location='file:///no/such/file.wsdl'/>"),
                unreadable);
    // A document that imports itself.
    WMWSDLParser parser;
    std::string path =
        m_dir.Write("self.wsdl", Definitions("<import namespace='urn:t' location='self.wsdl'/>"));
    parser.SetDocBase(Widen("file://" + m_dir.Path() + "/"));
    EXPECT_FALSE(parser.LoadAndParseWSDLFile(Widen(path)));
    EXPECT_EQ(Narrow(parser.GetLoadErrorMessage()), unreadable);
}

TEST_F(LoadFaults, OtherFailuresKeepTheirReasonAndLeaveNoDescription) {
    WMWSDLParser parser;
    ASSERT_TRUE(parser.LoadAndParseWSDLFile(Widen(m_dir.Write("ok.wsdl", Definitions("")))));
    EXPECT_NE(parser.GetWSDLDesc(), nullptr);

    EXPECT_FALSE(parser.LoadAndParseWSDLFile(Widen(m_dir.Path() + "/missing.wsdl")));
    EXPECT_EQ(parser.GetWSDLDesc(), nullptr);
    EXPECT_EQ(Narrow(parser.GetLoadErrorCategory()), "File Error");

    EXPECT_FALSE(parser.LoadAndParseWSDLFile(
        Widen(m_dir.Write("bad.wsdl", "<definitions>\n<message name='m'>\n</definitions>"))));
    EXPECT_EQ(parser.GetWSDLDesc(), nullptr);
    EXPECT_EQ(Narrow(parser.GetLoadErrorCategory()), "XML Parse Error");
    EXPECT_NE(Narrow(parser.GetLoadErrorMessage()).find("line 3"), std::string::npos);

    // An empty file is an empty text: no root element, which the XML parser rejects.
    EXPECT_FALSE(parser.LoadAndParseWSDLFile(Widen(m_dir.Write("empty.wsdl", ""))));
    EXPECT_EQ(parser.GetWSDLDesc(), nullptr);

    ASSERT_TRUE(parser.LoadAndParseWSDLFile(Widen(m_dir.Write("ok2.wsdl", Definitions("")))));
    EXPECT_TRUE(parser.GetLoadErrorCategory().empty());
    EXPECT_TRUE(parser.GetLoadErrorMessage().empty());
}

}  // namespace
}  // namespace corvane::test
