// The query layer on a hand-made description that holds one of every construct it reads.
#include <gtest/gtest.h>

#include "wsdl/wsdl_test_util.h"

namespace corvane::test {
namespace {

const char* const kSchema = R"(
<types>
 <xsd:schema targetNamespace="urn:s">
  <xsd:complexType name="Point"><xsd:sequence>
   <xsd:element name="x" type="xsd:int"/><xsd:element name="y" type="xsd:int"/>
  </xsd:sequence></xsd:complexType>
  <xsd:complexType name="Point3"><xsd:complexContent><xsd:extension base="s:Point">
   <xsd:sequence><xsd:element name="z" type="xsd:int"/></xsd:sequence>
  </xsd:extension></xsd:complexContent></xsd:complexType>
  <xsd:complexType name="Ints"><xsd:complexContent><xsd:restriction base="enc:Array">
   <xsd:attribute ref="enc:arrayType" wsdl:arrayType="xsd:int[]"/>
  </xsd:restriction></xsd:complexContent></xsd:complexType>
  <xsd:complexType name="Grid"><xsd:complexContent><xsd:restriction base="enc:Array">
   <xsd:attribute ref="enc:arrayType" wsdl:arrayType="s:Point[,]"/>
  </xsd:restriction></xsd:complexContent></xsd:complexType>
  <xsd:complexType name="Jagged"><xsd:complexContent><xsd:restriction base="enc:Array">
   <xsd:attribute ref="enc:arrayType" wsdl:arrayType="xsd:int[][]"/>
  </xsd:restriction></xsd:complexContent></xsd:complexType>
  <xsd:complexType name="Bare"><xsd:complexContent><xsd:restriction base="enc:Array">
   <xsd:attribute ref="enc:arrayType" wsdl:arrayType="xsd:string"/>
  </xsd:restriction></xsd:complexContent></xsd:complexType>
  <xsd:complexType name="Items"><xsd:sequence>
   <xsd:element ref="s:item" maxOccurs="unbounded"/>
  </xsd:sequence></xsd:complexType>
  <xsd:complexType name="Money"><xsd:simpleContent><xsd:extension base="xsd:decimal">
   <xsd:attribute name="currency" type="xsd:string"/>
  </xsd:extension></xsd:simpleContent></xsd:complexType>
  <xsd:element name="item" type="xsd:string"/>
  <xsd:element name="Auth" type="s:Point"/>
  <xsd:element name="Anon"><xsd:complexType><xsd:all>
   <xsd:element name="a" type="xsd:string"/><xsd:element name="b"/>
  </xsd:all></xsd:complexType></xsd:element>
 </xsd:schema>
</types>
)";

const char* const kMessages = R"(
<message name="inMsg"><part name="b" type="xsd:string"/><part name="a" type="s:Point"/></message>
<message name="outMsg"><part name="result" element="s:Anon"/><part name="extra" type="xsd:int"/></message>
<message name="hdr"><part name="auth" type="s:Point"/><part name="token" element="s:Auth"/></message>
<message name="faultMsg"><part name="detail" type="s:Point3"/></message>
<portType name="P">
 <operation name="op" parameterOrder="  b   a b c">
  <input message="tns:inMsg"/><output message="tns:outMsg"/>
  <fault name="oops" message="tns:faultMsg"/>
 </operation>
 <operation name="plain"><input message="tns:inMsg"/><output message="tns:outMsg"/></operation>
 <operation name="bare"><input message="tns:inMsg"/></operation>
</portType>
<binding name="B" type="tns:P">
 <soap:binding style="rpc" transport="http://schemas.xmlsoap.org/soap/http"/>
 <operation name="op">
  <soap:operation soapAction="urn:act"/>
  <input>
   <soap:body use="encoded" namespace="urn:body" encodingStyle="urn:enc"/>
   <soap:header message="tns:hdr" part="auth" use="literal" namespace="urn:h1">
    <soap:headerfault message="tns:hdr" part="token" use="literal" namespace="urn:hf"/>
   </soap:header>
   <soap:header message="tns:hdr" part="token" use="literal" namespace="urn:h1"/>
   <soap:header message="tns:faultMsg" part="auth" use="literal" namespace="urn:h2"/>
  </input>
  <output><soap:body use="literal" encodingStyle="Anything Goes"/>
   <soap:header message="tns:hdr" part="token" use="literal" namespace="urn:out"/>
  </output>
 </operation>
 <operation name="plain"><soap:operation soapAction="" style="document"/></operation>
 <operation name="bare"/>
</binding>
<binding name="B2" type="tns:P"><operation name="plain"/></binding>
<service name="S">
 <port name="p" binding="other:B"><soap:address location="https://example.org/svc"/></port>
 <port name="p2" binding="tns:B2"><soap:address location="http://h:8080/a/b?c=d"/></port>
 <port name="lost" binding="tns:Missing"><soap:address location="http://x/"/></port>
 <port name="noaddr" binding="tns:B"/>
 <port name="relative" binding="tns:B"><soap:address location="host.example/path"/></port>
</service>
)";

class Queries : public ::testing::Test {
protected:
    void SetUp() override {
        m_path = m_dir.Write("svc.wsdl", Definitions(std::string(kSchema) + kMessages,
                                                     "targetNamespace='urn:t' xmlns:s='urn:s' "
                                                     "xmlns:other='urn:other'"));
        ASSERT_TRUE(Read(m_client, "p")) << Narrow(m_client.GetLoadErrorMessage());
    }

    bool Read(WMSOAPWSDLClient& client, const std::string& port) {
        return client.ReadServiceDesc(u"S", Widen(port), Widen("file://" + m_path));
    }

    // The (name, namespace) pair that a type query produced, as "{ns}name".
    static std::string Clark(const WMString& name, const WMString& ns) {
        return "{" + Narrow(ns) + "}" + Narrow(name);
    }

    TempDir m_dir;
    std::string m_path;
    ProbeClient m_client;
    WMString m_name;
    WMString m_ns;
};

TEST_F(Queries, EndpointComesFromTheChosenPortsAddress) {
    // The scheme is never examined: https without a port still gives port 80 and no TLS.
    EXPECT_EQ(Narrow(m_client.GetSOAPSvcHost()), "example.org");
    EXPECT_EQ(Narrow(m_client.GetSOAPSvcURI()), "/svc");
    EXPECT_EQ(m_client.GetSOAPSvcPortNbr(), 80);
    EXPECT_EQ(m_client.GetSSLEnabled(), 0);
    EXPECT_EQ(Narrow(m_client.GetDefinitionsTNS()), "urn:t");

    WMSOAPWSDLClient other;
    ASSERT_TRUE(Read(other, "p2"));
    EXPECT_EQ(Narrow(other.GetSOAPSvcHost()), "h");
    EXPECT_EQ(Narrow(other.GetSOAPSvcURI()), "/a/b?c=d");
    EXPECT_EQ(other.GetSOAPSvcPortNbr(), 8080);

    // Without "://" the first two characters are dropped.
    ASSERT_TRUE(Read(other, "relative"));
    EXPECT_EQ(Narrow(other.GetSOAPSvcHost()), "st.example");
    EXPECT_EQ(Narrow(other.GetSOAPSvcURI()), "/path");
}

TEST_F(Queries, MissingServicePortOrAddressFailButKeepTheDescription) {
    WMSOAPWSDLClient client;
    EXPECT_FALSE(client.ReadServiceDesc(u"Nope", u"p", Widen("file://" + m_path)));
    EXPECT_NE(client.GetWSDLDesc(), nullptr);
    EXPECT_FALSE(Read(client, "nope"));
    EXPECT_NE(client.GetWSDLDesc(), nullptr);
    EXPECT_FALSE(Read(client, "noaddr"));
    // Neither http:// nor file://: nothing is read.
    EXPECT_FALSE(client.ReadServiceDesc(u"S", u"p", Widen(m_path)));

    // A port whose binding is missing reads, but the binding queries answer false.
    ProbeClient lost;
    ASSERT_TRUE(Read(lost, "lost"));
    EXPECT_EQ(lost.GetSOAPBinding(), nullptr);
    WMString action = u"unchanged";
    EXPECT_FALSE(lost.GetMethodSOAPAction(u"op", action));
    EXPECT_EQ(Narrow(action), "unchanged");
}

TEST_F(Queries, BindingOfAPortIsFoundByLocalNameAlone) {
    // The port names "other:B" in urn:other; the binding B of urn:t is still the one found.
    ASSERT_NE(m_client.GetSOAPBinding(), nullptr);
    EXPECT_TRUE(m_client.GetSOAPBindingStyle(m_name));
    EXPECT_EQ(Narrow(m_name), "rpc");
    EXPECT_TRUE(m_client.GetSOAPBindingTransport(m_name));
    EXPECT_EQ(Narrow(m_name), "http://schemas.xmlsoap.org/soap/http");
}

TEST_F(Queries, SoapActionIsKeptInQuotes) {
    EXPECT_TRUE(m_client.GetMethodSOAPAction(u"op", m_name));
    EXPECT_EQ(Narrow(m_name), "\"urn:act\"");
    EXPECT_TRUE(m_client.GetMethodSOAPAction(u"plain", m_name));
    EXPECT_EQ(Narrow(m_name), "\"\"");
    EXPECT_TRUE(m_client.GetMethodSOAPAction(u"bare", m_name));
    EXPECT_EQ(Narrow(m_name), "");
    EXPECT_FALSE(m_client.GetMethodSOAPAction(u"unknown", m_name));

    // A received action matches only with its quotes.
    EXPECT_TRUE(m_client.GetOpNamesBySOAPAction(u"\"urn:act\"", m_name, m_ns));
    EXPECT_EQ(Narrow(m_name), "op");
    EXPECT_EQ(Narrow(m_ns), "urn:t");
    EXPECT_FALSE(m_client.GetOpNamesBySOAPAction(u"urn:act", m_name, m_ns));
    EXPECT_TRUE(m_client.GetOpNamesBySOAPAction(u"\"\"", m_name, m_ns));
    EXPECT_EQ(Narrow(m_name), "plain");
}

TEST_F(Queries, OperationStyleFallsBackToTheBindingThenToDocument) {
    EXPECT_TRUE(m_client.GetOpBindingStyle(u"plain", m_name));
    EXPECT_EQ(Narrow(m_name), "document");
    EXPECT_TRUE(m_client.GetOpBindingStyle(u"op", m_name));
    EXPECT_EQ(Narrow(m_name), "rpc");
    WMSOAPWSDLClient other;
    ASSERT_TRUE(Read(other, "p2"));
    EXPECT_TRUE(other.GetOpBindingStyle(u"plain", m_name));
    EXPECT_EQ(Narrow(m_name), "document");
}

TEST_F(Queries, BodyFieldsAreKeptAsWritten) {
    EXPECT_TRUE(m_client.GetMethodNamespaceURI(u"op", m_name));
    EXPECT_EQ(Narrow(m_name), "urn:body");
    EXPECT_TRUE(m_client.GetSOAPInputBodyUse(u"op", m_name));
    EXPECT_EQ(Narrow(m_name), "encoded");
    EXPECT_TRUE(m_client.GetSOAPInputBodyEncStyle(u"op", m_name));
    EXPECT_EQ(Narrow(m_name), "urn:enc");
    EXPECT_TRUE(m_client.GetSOAPOutputBodyUse(u"op", m_name));
    EXPECT_EQ(Narrow(m_name), "literal");
    EXPECT_TRUE(m_client.GetSOAPOutputBodyEncStyle(u"op", m_name));
    EXPECT_EQ(Narrow(m_name), "Anything Goes");
    // Found operation, no body: true with an empty field.
    EXPECT_TRUE(m_client.GetMethodNamespaceURI(u"bare", m_name));
    EXPECT_EQ(Narrow(m_name), "");
}

TEST_F(Queries, PartsEnumerateInNameOrder) {
    long index = -1;
    EXPECT_TRUE(m_client.GetFirstInParamName(u"op", m_name, index));
    EXPECT_EQ(Narrow(m_name), "a");
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(m_client.GetNextInParamName(u"op", m_name, index));
    EXPECT_EQ(Narrow(m_name), "b");
    EXPECT_EQ(index, 1);
    EXPECT_FALSE(m_client.GetNextInParamName(u"op", m_name, index));
    EXPECT_EQ(index, 1);

    EXPECT_TRUE(m_client.GetFirstOutParamName(u"op", m_name, index));
    EXPECT_EQ(Narrow(m_name), "extra");
    EXPECT_TRUE(m_client.GetNextOutParamName(u"op", m_name, index));
    EXPECT_EQ(Narrow(m_name), "result");
    EXPECT_FALSE(m_client.GetFirstOutParamName(u"bare", m_name, index));

    EXPECT_TRUE(m_client.IsInputMsgPart(u"op", u"a"));
    EXPECT_FALSE(m_client.IsInputMsgPart(u"op", u"result"));
    EXPECT_TRUE(m_client.IsOutputMsgPart(u"op", u"result"));
}

TEST_F(Queries, ParameterOrderCountsNonEmptyPiecesAndKeepsFirstPositions) {
    long index = -1;
    EXPECT_TRUE(m_client.GetOperationParamIndex(u"op", u"b", &index));
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(m_client.GetOperationParamIndex(u"op", u"a", &index));
    EXPECT_EQ(index, 1);
    // The repeated "b" took position 2.
    EXPECT_TRUE(m_client.GetOperationParamIndex(u"op", u"c", &index));
    EXPECT_EQ(index, 3);
    EXPECT_TRUE(m_client.IsOperationParam(u"op", u"c"));
    EXPECT_FALSE(m_client.IsOperationParam(u"op", u"d"));
    EXPECT_FALSE(m_client.IsOperationParam(u"plain", u"a"));
}

TEST_F(Queries, PartTypesComeFromTypeOrElement) {
    EXPECT_TRUE(m_client.GetInputMsgPartType(u"op", u"a", m_name, m_ns));
    EXPECT_EQ(Clark(m_name, m_ns), "{urn:s}Point");
    EXPECT_FALSE(m_client.GetInputMsgPartType(u"op", u"zz", m_name, m_ns));

    // An element part takes the element's type; an anonymous one is named by a GUID.
    EXPECT_TRUE(m_client.GetOutputMsgPartType(u"op", u"result", m_name, m_ns));
    EXPECT_EQ(Narrow(m_ns), "urn:s");
    const std::string guid = Narrow(m_name);
    ASSERT_EQ(guid.size(), 36u);
    for (std::size_t i = 0; i < guid.size(); ++i) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            EXPECT_EQ(guid[i], '-');
        } else {
            EXPECT_TRUE(std::isxdigit(static_cast<unsigned char>(guid[i])) &&
                        !std::islower(static_cast<unsigned char>(guid[i])))
                << guid;
        }
    }
    EXPECT_EQ(guid[14], '4');

    // The anonymous type is found like any named type.
    long index = -1;
    WMString memberNS;
    WMString typeName;
    WMString typeNS;
    EXPECT_TRUE(
        m_client.GetFirstStructMember(m_name, m_ns, m_name, memberNS, typeName, typeNS, index));
    EXPECT_EQ(Narrow(m_name), "a");
    EXPECT_TRUE(m_client.GetNextStructMember(Widen(guid), u"urn:s", m_name, memberNS, typeName,
                                             typeNS, index));
    EXPECT_EQ(Narrow(m_name), "b");
    EXPECT_EQ(Clark(typeName, typeNS), "{http://www.w3.org/2001/XMLSchema}anyType");

    // The return type falls back to the part read first, whatever the name asked for.
    EXPECT_TRUE(m_client.GetOperationReturnType(u"op", u"extra", m_name, m_ns));
    EXPECT_EQ(Narrow(m_name), "int");
    EXPECT_TRUE(m_client.GetOperationReturnType(u"op", u"return", m_name, m_ns));
    EXPECT_EQ(Narrow(m_name), guid);
}

TEST_F(Queries, HeaderPartsPickTheFirstRecordMatchingPartAndNamespace) {
    EXPECT_TRUE(m_client.GetInputHeaderPartType(u"op", u"auth", u"urn:h1", m_name, m_ns));
    EXPECT_EQ(Clark(m_name, m_ns), "{urn:s}Point");
    EXPECT_TRUE(m_client.GetInputHeaderPartType(u"op", u"token", u"urn:h1", m_name, m_ns));
    EXPECT_EQ(Clark(m_name, m_ns), "{urn:s}Point");
    // The record for (auth, urn:h2) names a message without that part.
    EXPECT_FALSE(m_client.GetInputHeaderPartType(u"op", u"auth", u"urn:h2", m_name, m_ns));
    EXPECT_FALSE(m_client.GetInputHeaderPartType(u"op", u"auth", u"urn:none", m_name, m_ns));
    EXPECT_TRUE(m_client.GetOutputHeaderPartType(u"op", u"token", u"urn:out", m_name, m_ns));
    EXPECT_FALSE(m_client.GetOutputHeaderPartType(u"op", u"token", u"urn:h1", m_name, m_ns));

    EXPECT_TRUE(m_client.GetInHeaderFaultPartType(u"op", u"token", u"urn:hf", m_name, m_ns));
    EXPECT_EQ(Clark(m_name, m_ns), "{urn:s}Point");
    EXPECT_FALSE(m_client.GetOutHeaderFaultPartType(u"op", u"token", u"urn:hf", m_name, m_ns));

    EXPECT_TRUE(m_client.GetFaultDetailPartType(u"op", u"oops", u"detail", m_name, m_ns));
    EXPECT_EQ(Clark(m_name, m_ns), "{urn:s}Point3");
    EXPECT_FALSE(m_client.GetFaultDetailPartType(u"op", u"other", u"detail", m_name, m_ns));

    EXPECT_TRUE(m_client.GetHeaderElemType(u"Auth", u"urn:s", m_name, m_ns));
    EXPECT_EQ(Clark(m_name, m_ns), "{urn:s}Point");
    EXPECT_FALSE(m_client.GetHeaderElemType(u"Auth", u"urn:t", m_name, m_ns));
}

TEST_F(Queries, EncodedArraysGiveItemTypeAndDimensions) {
    struct Case {
        const char16_t* type;
        const char* item;
        unsigned int dims;
    } cases[] = {
        {u"Ints", "{http://www.w3.org/2001/XMLSchema}int", 1},
        {u"Grid", "{urn:s}Point", 2},
        // An array of arrays keeps the inner brackets in its item type.
        {u"Jagged", "{http://www.w3.org/2001/XMLSchema}int[]", 1},
        {u"Bare", "{http://www.w3.org/2001/XMLSchema}string", 1},
        // A literal array: the first element of the sequence, through its ref.
        {u"Items", "{http://www.w3.org/2001/XMLSchema}string", 1},
        // Any other complex type counts one dimension.
        {u"Point", "{http://www.w3.org/2001/XMLSchema}int", 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.item);
        unsigned int dims = 0;
        EXPECT_TRUE(m_client.GetArrayType(c.type, u"urn:s", m_name, m_ns));
        EXPECT_EQ(Clark(m_name, m_ns), c.item);
        EXPECT_TRUE(m_client.GetArrayDims(c.type, u"urn:s", dims));
        EXPECT_EQ(dims, c.dims);
    }
    unsigned int dims = 7;
    EXPECT_FALSE(m_client.GetArrayType(u"Money", u"urn:s", m_name, m_ns));
    EXPECT_FALSE(m_client.GetArrayDims(u"Ints", u"urn:t", dims));
    EXPECT_EQ(dims, 7u);
}

TEST_F(Queries, StructMembersIncludeInheritedOnesFirst) {
    WMString memberNS;
    WMString typeName;
    WMString typeNS;
    long index = -1;
    std::vector<std::string> names;
    for (bool more = m_client.GetFirstStructMember(u"Point3", u"urn:s", m_name, memberNS, typeName,
                                                   typeNS, index);
         more; more = m_client.GetNextStructMember(u"Point3", u"urn:s", m_name, memberNS, typeName,
                                                   typeNS, index)) {
        names.push_back(Narrow(m_name) + ":" + Narrow(memberNS) + ":" + Narrow(typeName));
    }
    EXPECT_EQ(names, (std::vector<std::string>{"x:urn:s:int", "y:urn:s:int", "z:urn:s:int"}));
    EXPECT_EQ(index, 2);

    EXPECT_TRUE(m_client.GetStructMemberType(u"Point3", u"urn:s", u"x", u"", typeName, typeNS));
    EXPECT_TRUE(
        m_client.GetStructMemberType(u"Point3", u"urn:s", u"z", u"urn:s", typeName, typeNS));
    EXPECT_FALSE(
        m_client.GetStructMemberType(u"Point3", u"urn:s", u"z", u"urn:t", typeName, typeNS));
    EXPECT_FALSE(m_client.GetStructMemberType(u"Point3", u"urn:s", u"w", u"", typeName, typeNS));

    EXPECT_FALSE(m_client.GetFirstStructMember(u"Money", u"urn:s", m_name, memberNS, typeName,
                                               typeNS, index));
    EXPECT_FALSE(m_client.GetFirstStructMember(u"Point", u"urn:t", m_name, memberNS, typeName,
                                               typeNS, index));
}

TEST_F(Queries, BaseTypesComeFromComplexThenSimpleContent) {
    EXPECT_TRUE(m_client.GetComplexBaseType(u"Point3", u"urn:s", m_name, m_ns));
    EXPECT_EQ(Clark(m_name, m_ns), "{urn:s}Point");
    EXPECT_TRUE(m_client.GetComplexBaseType(u"Money", u"urn:s", m_name, m_ns));
    EXPECT_EQ(Clark(m_name, m_ns), "{http://www.w3.org/2001/XMLSchema}decimal");
    EXPECT_TRUE(m_client.GetComplexBaseType(u"Point", u"urn:s", m_name, m_ns));
    EXPECT_EQ(Clark(m_name, m_ns), "{}");
    EXPECT_FALSE(m_client.GetComplexBaseType(u"Nope", u"urn:s", m_name, m_ns));
}

TEST_F(Queries, CopiesShareTheDescriptionSafely) {
    auto copy = std::make_unique<WMSOAPWSDLClient>(m_client);
    EXPECT_EQ(copy->GetWSDLDesc(), m_client.GetWSDLDesc());
    WMSOAPWSDLClient assigned;
    assigned = *copy;
    copy.reset();
    EXPECT_TRUE(assigned.GetMethodSOAPAction(u"op", m_name));
    EXPECT_EQ(Narrow(m_name), "\"urn:act\"");
    EXPECT_EQ(Narrow(assigned.GetSOAPSvcHost()), "example.org");

    // Assigning only the loader part brings another description; no cached answer survives.
    ProbeClient sliced = m_client;
    ASSERT_EQ(sliced.GetSOAPBinding(), m_client.GetSOAPBinding());
    WMWSDLParser other;
    ASSERT_TRUE(other.LoadAndParseWSDLFile(Widen(m_path)));
    static_cast<WMWSDLParser&>(sliced) = other;
    ASSERT_NE(sliced.GetSOAPBinding(), nullptr);
    EXPECT_NE(sliced.GetSOAPBinding(), m_client.GetSOAPBinding());

    // A new load in one object leaves the other's description alone.
    const auto* before = m_client.GetWSDLDesc();
    EXPECT_FALSE(assigned.LoadAndParseWSDLFile(Widen(m_dir.Path() + "/missing.wsdl")));
    EXPECT_EQ(m_client.GetWSDLDesc(), before);
    EXPECT_TRUE(m_client.GetMethodSOAPAction(u"op", m_name));
}

TEST(QueriesWithoutDescription, AnswerFalseAndLeaveOutputs) {
    WMSOAPWSDLClient client;
    WMString out = u"kept";
    WMString ns = u"kept";
    long index = 5;
    unsigned int dims = 9;
    EXPECT_FALSE(client.GetMethodSOAPAction(u"op", out));
    EXPECT_FALSE(client.GetSOAPBindingStyle(out));
    EXPECT_FALSE(client.GetInputMsgPartType(u"op", u"a", out, ns));
    EXPECT_FALSE(client.GetFirstInParamName(u"op", out, index));
    EXPECT_FALSE(client.GetOperationParamIndex(u"op", u"a", &index));
    EXPECT_FALSE(client.GetArrayType(u"t", u"n", out, ns));
    EXPECT_FALSE(client.GetArrayDims(u"t", u"n", dims));
    EXPECT_FALSE(client.GetHeaderElemType(u"e", u"n", out, ns));
    EXPECT_EQ(Narrow(out), "kept");
    EXPECT_EQ(Narrow(ns), "kept");
    EXPECT_EQ(index, 5);
    EXPECT_EQ(dims, 9u);
    EXPECT_EQ(Narrow(client.GetUserAgent()), "Dravik WSDL Client/1.0");
    EXPECT_EQ(Narrow(client.GetDefinitionsTNS()), "");
}

}  // namespace
}  // namespace corvane::test
