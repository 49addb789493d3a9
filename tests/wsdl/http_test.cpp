// Descriptions fetched over HTTP from a loopback server, imports included.
#include <gtest/gtest.h>

#include "support/loopback.h"
#include "wsdl/wsdl_test_util.h"

namespace corvane::test {
namespace {

class OverHttp : public ::testing::Test {
protected:
    void SetUp() override { m_server.SetRoot(DataDir()); }
    std::string Base() const { return "http://127.0.0.1:" + std::to_string(m_server.Port()); }
    // The request heads received so far (request line and header lines).
    std::vector<std::string> Heads() const {
        std::vector<std::string> heads = m_server.Requests();
        for (std::string& head : heads) {
            head.erase(head.find("\r\n\r\n"));
        }
        return heads;
    }

    LoopbackServer m_server;
};

TEST_F(OverHttp, FetchesTheDocumentAndTakesItsLocationAsEndpoint) {
    m_server.Set("/svc?wsdl", 200, ReadFile(DataDir() + "/round2_base.wsdl"));
    WMSOAPWSDLClient client;
    client.SetUserAgent(u"Probe/2.0");
    client.SetHTTPHeaders(u"X-Extra: yes\r\n");
    ASSERT_TRUE(
        client.ReadServiceDesc(u"InteropTest", u"InteropTestPort", Widen(Base() + "/svc?wsdl")))
        << Narrow(client.GetLoadErrorMessage());
    // The endpoint is the document's own location, not the port's address.
    EXPECT_EQ(Narrow(client.GetSOAPSvcHost()), "127.0.0.1");
    EXPECT_EQ(Narrow(client.GetSOAPSvcURI()), "/svc?wsdl");
    EXPECT_EQ(client.GetSOAPSvcPortNbr(), m_server.Port());
    EXPECT_EQ(Narrow(client.GetDocBase()), Base() + "/");
    WMString action;
    EXPECT_TRUE(client.GetMethodSOAPAction(u"echoString", action));
    EXPECT_EQ(Narrow(action), "\"http://\"");

    std::vector<std::string> requests = Heads();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0],
              "GET /svc?wsdl HTTP/1.0\r\nHost: 127.0.0.1:" + std::to_string(m_server.Port()) +
                  "\r\nUser-Agent: Probe/2.0\r\nX-Extra: yes");
}

TEST_F(OverHttp, StatusOtherThan200FailsWithoutParsing) {
    for (int status : {302, 404, 500}) {
        SCOPED_TRACE(status);
        m_server.Set("/doc", status, ReadFile(DataDir() + "/round2_base.wsdl"));
        WMSOAPWSDLClient client;
        EXPECT_FALSE(
            client.ReadServiceDesc(u"InteropTest", u"InteropTestPort", Widen(Base() + "/doc")));
        EXPECT_EQ(client.GetWSDLDesc(), nullptr);
        EXPECT_EQ(Narrow(client.GetLoadErrorCategory()), "HTTP Error");
        EXPECT_NE(Narrow(client.GetLoadErrorMessage()).find(std::to_string(status)),
                  std::string::npos);
    }
    // Nobody listening any more.
    WMWSDLParser parser;
    EXPECT_FALSE(parser.GetAndParseWSDLFile(u"127.0.0.1", u"/x", u"ua", u"", UnusedPort(), 2000));
    EXPECT_EQ(parser.GetWSDLDesc(), nullptr);
    EXPECT_EQ(Narrow(parser.GetLoadErrorCategory()), "HTTP Error");
}

TEST_F(OverHttp, MissingServiceStillKeepsTheDescription) {
    WMSOAPWSDLClient client;
    // Over HTTP the service and port are not consulted, so the read succeeds ...
    EXPECT_TRUE(client.ReadServiceDesc(u"NoSuchService", u"NoSuchPort",
                                       Widen(Base() + "/round2_base.wsdl")));
    EXPECT_NE(client.GetWSDLDesc(), nullptr);
    // ... and the binding queries answer false.
    WMString action;
    EXPECT_FALSE(client.GetMethodSOAPAction(u"echoString", action));
    WMString item;
    WMString ns;
    EXPECT_TRUE(client.GetArrayType(u"ArrayOfint", u"http://soapinterop.org/xsd", item, ns));
}

TEST_F(OverHttp, ImportsResolveAgainstTheFetchedDocument) {
    WMSOAPWSDLClient client;
    ASSERT_TRUE(client.ReadServiceDesc(u"Import2", u"SoapInteropImport2Port",
                                       Widen(Base() + "/import2/Import2.wsdl")))
        << Narrow(client.GetLoadErrorMessage());
    WMString name;
    WMString ns;
    EXPECT_TRUE(client.GetInputMsgPartType(u"echoStruct", u"inputStruct", name, ns));
    EXPECT_TRUE(client.GetStructMemberType(name, ns, u"varInt", u"", name, ns));
    EXPECT_EQ(Narrow(name), "int");
    std::vector<std::string> requests = Heads();
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(requests[1].substr(0, requests[1].find('\r')),
              "GET /import2/imported/import2B.wsdl HTTP/1.0");
    EXPECT_EQ(requests[2].substr(0, requests[2].find('\r')),
              "GET /import2/imported/import2B.xsd HTTP/1.0");
    // Imports use the importer's own settings, not the client's.
    EXPECT_NE(requests[1].find("User-Agent: Dravik WSDL Client/1.0"), std::string::npos);

    // An import the server does not have ends the load.
    m_server.Set("/broken.wsdl", 200,
                 Definitions("<import namespace='urn:x' location='missing.wsdl'/>"));
    WMSOAPWSDLClient broken;
    EXPECT_FALSE(broken.ReadServiceDesc(u"S", u"p", Widen(Base() + "/broken.wsdl")));
    EXPECT_EQ(Narrow(broken.GetLoadErrorMessage()),
              "Unable to process document referenced in 'import' element.");
}

TEST_F(OverHttp, HttpImportInsideAFileDocument) {
    TempDir dir;
    std::string path = dir.Write(
        "main.wsdl", Definitions("<import namespace='urn:x' location='" + Base() +
                                 "/import1/imported/import1B.wsdl'/>"
                                 "<message name='own'><part name='p' type='xsd:int'/></message>"));
    WMWSDLParser parser;
    ASSERT_TRUE(parser.LoadAndParseWSDLFile(Widen(path))) << Narrow(parser.GetLoadErrorMessage());
    std::vector<std::string> requests = Heads();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].substr(0, requests[0].find('\r')),
              "GET /import1/imported/import1B.wsdl HTTP/1.0");
}

}  // namespace
}  // namespace corvane::test
