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

TEST_F(Queries, AnswerFromTheHandMadeDescription) {
    const std::pair<const char*, const char*> cases[] = {
        // The port names "other:B" in urn:other; the binding B of urn:t is still the one found.
        {"SOAPBindingStyle", "rpc"},
        {"SOAPBindingTransport", "http://schemas.xmlsoap.org/soap/http"},
        // Actions keep their quotes; a received action matches only with them.
        {"MethodSOAPAction op", "\"urn:act\""},
        {"MethodSOAPAction plain", "\"\""},
        {"MethodSOAPAction bare", ""},
        {"MethodSOAPAction unknown", "false"},
        {"OpNamesBySOAPAction \"urn:act\"", "{urn:t}op"},
        {"OpNamesBySOAPAction urn:act", "false"},
        {"OpNamesBySOAPAction \"\"", "{urn:t}plain"},
        // An operation's style falls back to the binding's.
        {"OpBindingStyle plain", "document"},
        {"OpBindingStyle op", "rpc"},
        // Body fields are kept as written; a found operation without a body has empty ones.
        {"MethodNamespaceURI op", "urn:body"},
        {"SOAPInputBodyUse op", "encoded"},
        {"SOAPInputBodyEncStyle op", "urn:enc"},
        {"SOAPOutputBodyUse op", "literal"},
        {"SOAPOutputBodyEncStyle op", "Anything Goes"},
        {"MethodNamespaceURI bare", ""},
        // Parts enumerate in name order.
        {"InParams op", "a b"},
        {"OutParams op", "extra result"},
        {"OutParams bare", "false"},
        {"IsInputMsgPart op|a", "true"},
        {"IsInputMsgPart op|result", "false"},
        {"IsOutputMsgPart op|result", "true"},
        // parameterOrder counts the non-empty pieces; a repeated name keeps its first position.
        {"OperationParamIndex op|b", "0"},
        {"OperationParamIndex op|a", "1"},
        {"OperationParamIndex op|c", "3"},
        {"IsOperationParam op|c", "true"},
        {"IsOperationParam op|d", "false"},
        {"IsOperationParam plain|a", "false"},
        {"InputMsgPartType op|a", "{urn:s}Point"},
        {"InputMsgPartType op|zz", "false"},
        // The return type falls back to the part read first, whatever the name asked for.
        {"OperationReturnType op|extra", "{http://www.w3.org/2001/XMLSchema}int"},
        // Header parts: the first record matching part and namespace; the record for
        // (auth, urn:h2) names a message without that part.
        {"InputHeaderPartType op|auth|urn:h1", "{urn:s}Point"},
        {"InputHeaderPartType op|token|urn:h1", "{urn:s}Point"},
        {"InputHeaderPartType op|auth|urn:h2", "false"},
        {"InputHeaderPartType op|auth|urn:none", "false"},
        {"OutputHeaderPartType op|token|urn:out", "{urn:s}Point"},
        {"OutputHeaderPartType op|token|urn:h1", "false"},
        {"InHeaderFaultPartType op|token|urn:hf", "{urn:s}Point"},
        {"OutHeaderFaultPartType op|token|urn:hf", "false"},
        {"FaultDetailPartType op|oops|detail", "{urn:s}Point3"},
        {"FaultDetailPartType op|other|detail", "false"},
        {"HeaderElemType Auth|urn:s", "{urn:s}Point"},
        {"HeaderElemType Auth|urn:t", "false"},
        // Encoded arrays give item type and dimensions; an array of arrays keeps the inner
        // brackets; a literal array takes the sequence's first element, through its ref; any
        // other complex type counts one dimension.
        {"ArrayType Ints|urn:s", "{http://www.w3.org/2001/XMLSchema}int"},
        {"ArrayDims Ints|urn:s", "1"},
        {"ArrayType Grid|urn:s", "{urn:s}Point"},
        {"ArrayDims Grid|urn:s", "2"},
        {"ArrayType Jagged|urn:s", "{http://www.w3.org/2001/XMLSchema}int[]"},
        {"ArrayDims Jagged|urn:s", "1"},
        {"ArrayType Bare|urn:s", "{http://www.w3.org/2001/XMLSchema}string"},
        {"ArrayDims Bare|urn:s", "1"},
        {"ArrayType Items|urn:s", "{http://www.w3.org/2001/XMLSchema}string"},
        {"ArrayDims Items|urn:s", "1"},
        {"ArrayType Point|urn:s", "{http://www.w3.org/2001/XMLSchema}int"},
        {"ArrayDims Point|urn:s", "1"},
        {"ArrayType Money|urn:s", "false"},
        {"ArrayDims Ints|urn:t", "false"},
        // Struct members: inherited ones first.
        {"StructMembers Point3|urn:s",
         "x{urn:s}:{http://www.w3.org/2001/XMLSchema}int "
         "y{urn:s}:{http://www.w3.org/2001/XMLSchema}int "
         "z{urn:s}:{http://www.w3.org/2001/XMLSchema}int"},
        {"StructMemberType Point3|urn:s|x|", "{http://www.w3.org/2001/XMLSchema}int"},
        {"StructMemberType Point3|urn:s|z|urn:s", "{http://www.w3.org/2001/XMLSchema}int"},
        {"StructMemberType Point3|urn:s|z|urn:t", "false"},
        {"StructMemberType Point3|urn:s|w|", "false"},
        {"StructMembers Money|urn:s", "false"},
        {"StructMembers Point|urn:t", "false"},
        // Base types: complex content, then simple content.
        {"ComplexBaseType Point3|urn:s", "{urn:s}Point"},
        {"ComplexBaseType Money|urn:s", "{http://www.w3.org/2001/XMLSchema}decimal"},
        {"ComplexBaseType Point|urn:s", "{}"},
        {"ComplexBaseType Nope|urn:s", "false"},
    };
    for (const auto& [query, expected] : cases) {
        EXPECT_EQ(Ask(m_client, query), expected) << query;
    }
    long index = -1;
    // The walk's index counts up and stays at the last part.
    EXPECT_TRUE(m_client.GetFirstInParamName(u"op", m_name, index));
    EXPECT_TRUE(m_client.GetNextInParamName(u"op", m_name, index));
    EXPECT_FALSE(m_client.GetNextInParamName(u"op", m_name, index));
    EXPECT_EQ(index, 1);
    WMSOAPWSDLClient other;
    ASSERT_TRUE(Read(other, "p2"));
    // Without a style in the operation or the binding: document.
    EXPECT_EQ(Ask(other, "OpBindingStyle plain"), "document");
}

TEST_F(Queries, AnElementPartOfAnonymousTypeIsNamedByAGuid) {
    EXPECT_TRUE(m_client.GetOutputMsgPartType(u"op", u"result", m_name, m_ns));
    EXPECT_EQ(Narrow(m_ns), "urn:s");
    const std::string guid = Narrow(m_name);
    ASSERT_EQ(guid.size(), 36u);
    for (std::size_t i = 0; i < guid.size(); ++i) {
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        const unsigned char c = static_cast<unsigned char>(guid[i]);
        EXPECT_TRUE(dash ? c == '-' : std::isxdigit(c) && !std::islower(c)) << guid;
    }
    EXPECT_EQ(guid[14], '4');
    // The anonymous type is found like any named type.
    EXPECT_EQ(Ask(m_client, "StructMembers " + guid + "|urn:s"),
              "a{urn:s}:{http://www.w3.org/2001/XMLSchema}string "
              "b{urn:s}:{http://www.w3.org/2001/XMLSchema}anyType");
    EXPECT_EQ(Ask(m_client, "OperationReturnType op|return"), "{urn:s}" + guid);
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
