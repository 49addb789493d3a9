// Descriptions fetched over HTTP from a loopback server, imports included, by the loader and
// by the wire client.
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

// Descriptions fetched in the standard wire mode from loopback servers, imports included.
std::string Base(const LoopbackServer& server) {
    return "http://127.0.0.1:" + std::to_string(server.Port());
}

WMWireOptions Standard() {
    WMWireOptions options;
    options.standard = true;
    options.gzip = false;
    return options;
}

// A service whose port lives at `address`, after `body`.
std::string Service(const std::string& address, const std::string& body = "") {
    return Definitions(
        body +
        "<portType name='PT'/><binding name='B' type='tns:PT'>"
        "<soap:binding style='rpc' transport='http://schemas.xmlsoap.org/soap/http'/>"
        "</binding><service name='S'><port name='P' binding='tns:B'>"
        "<soap:address location='" +
        address + "'/></port></service>");
}

bool HasLine(const std::string& request, const std::string& line) {
    return request.find("\r\n" + line + "\r\n") != std::string::npos;
}

TEST(WireFetch, Http11WithTheClientsSettingsForImportsAndThePortsAddressAsEndpoint) {
    LoopbackServer server;
    server.SetRoot(DataDir());
    WMSOAPWSDLClient client;
    WMWireOptions options = Standard();
    options.user = u"ann";
    options.password = u"secret";
    client.SetWireOptions(options);
    client.SetUserAgent(u"Probe/2.0");
    client.SetHTTPHeaders(u"X-Extra: yes\r\n");
    ASSERT_TRUE(client.ReadServiceDesc(u"Import2", u"SoapInteropImport2Port",
                                       Widen(Base(server) + "/import2/Import2.wsdl")))
        << Narrow(client.GetLoadErrorMessage());
    EXPECT_EQ(Ask(client, "host"), "mssoapinterop.org");
    EXPECT_EQ(Ask(client, "uri"), "/stkV3/wsdl/import2.wsdl");
    EXPECT_EQ(Ask(client, "port"), "80");
    EXPECT_EQ(Ask(client, "InputMsgPartType echoStruct|inputStruct"),
              "{http://soapinterop.org/xsd}SOAPStruct");

    const std::vector<std::string> requests = server.Requests();
    ASSERT_EQ(requests.size(), 3u);
    const char* const targets[] = {"/import2/Import2.wsdl", "/import2/imported/import2B.wsdl",
                                   "/import2/imported/import2B.xsd"};
    for (std::size_t i = 0; i < requests.size(); ++i) {
        EXPECT_EQ(requests[i].rfind(std::string("GET ") + targets[i] + " HTTP/1.1\r\n", 0), 0u);
        EXPECT_TRUE(HasLine(requests[i], "User-Agent: Probe/2.0")) << requests[i];
        EXPECT_TRUE(HasLine(requests[i], "X-Extra: yes")) << requests[i];
        EXPECT_TRUE(HasLine(requests[i], "Authorization: Basic YW5uOnNlY3JldA==")) << requests[i];
    }

    // A document read on its own, as the tool reads one, hands its settings on too.
    WMSOAPWSDLImporter importer;
    importer.SetWireOptions(options);
    ASSERT_TRUE(importer.ReadServiceDesc(Widen(Base(server) + "/import2/Import2.wsdl"), u""));
    ASSERT_EQ(server.Requests().size(), 6u);
    EXPECT_EQ(server.Request(6).rfind("GET /import2/imported/import2B.xsd HTTP/1.1\r\n", 0), 0u);
    EXPECT_TRUE(HasLine(server.Request(6), "Authorization: Basic YW5uOnNlY3JldA=="));

    // An import from another origin gets the settings but not the credentials.
    LoopbackServer other;
    other.SetRoot(DataDir());
    server.Set("/main.wsdl", 200,
               Service("http://h/svc", "<import namespace='urn:x' location='" + Base(other) +
                                           "/import1/imported/import1B.wsdl'/>"));
    ASSERT_TRUE(client.ReadServiceDesc(u"S", u"P", Widen(Base(server) + "/main.wsdl")))
        << Narrow(client.GetLoadErrorMessage());
    EXPECT_TRUE(HasLine(server.Requests().back(), "Authorization: Basic YW5uOnNlY3JldA=="));
    ASSERT_EQ(other.Requests().size(), 1u);
    EXPECT_TRUE(HasLine(other.Request(1), "User-Agent: Probe/2.0"));
    EXPECT_EQ(other.Request(1).find("Authorization"), std::string::npos);
}

TEST(WireFetch, FailuresSayWhyAndLeaveNoDescription) {
    LoopbackServer server;
    server.Set("/gone", 404, "");
    WMSOAPWSDLClient client;
    client.SetWireOptions(Standard());
    EXPECT_FALSE(client.ReadServiceDesc(u"S", u"P", Widen(Base(server) + "/gone")));
    EXPECT_EQ(client.GetWSDLDesc(), nullptr);
    EXPECT_EQ(Narrow(client.GetLoadErrorCategory()), "HTTP Error");
    EXPECT_EQ(Narrow(client.GetLoadErrorMessage()),
              "The server answered " + Base(server) + "/gone with status 404.");

    const int closed = UnusedPort();
    EXPECT_FALSE(client.ReadServiceDesc(
        u"S", u"P", Widen("http://127.0.0.1:" + std::to_string(closed) + "/x.wsdl")));
    EXPECT_EQ(Narrow(client.GetLoadErrorMessage()),
              "Could not connect to 127.0.0.1:" + std::to_string(closed) + ": connection refused.");

    // Fetched in the standard mode, the port must exist and have an address.
    server.Set("/noport.wsdl", 200, Service("http://h/svc"));
    EXPECT_FALSE(client.ReadServiceDesc(u"S", u"Q", Widen(Base(server) + "/noport.wsdl")));
    EXPECT_EQ(Narrow(client.GetLoadErrorMessage()), "No port 'Q' in service 'S'.");

    // The default mode knows no https locations, and keeps a fetched document's own location as
    // the endpoint.
    WMSOAPWSDLClient plain;
    EXPECT_FALSE(plain.ReadServiceDesc(u"S", u"P", u"https://127.0.0.1:1/x.wsdl"));
    EXPECT_EQ(Narrow(plain.GetLoadErrorCategory()), "Location Error");
    ASSERT_TRUE(plain.ReadServiceDesc(u"S", u"Q", Widen(Base(server) + "/noport.wsdl")));
    EXPECT_EQ(Ask(plain, "uri"), "/noport.wsdl");
}

TEST(WireFetch, DecodesByContentTypeThenDeclarationThenUtf8) {
    const std::string latin1 = "http://h/caf\xE9";
    const std::string utf8 = "http://h/caf\xC3\xA9";
    std::string utf16 = "\xFF\xFE";
    for (char16_t unit : Widen(Service(latin1))) {
        utf16 += static_cast<char>(unit & 0xFF);
        utf16 += static_cast<char>(unit >> 8);
    }
    std::string declared = Service(latin1);
    declared.replace(0, 21, "<?xml version='1.0' encoding='ISO-8859-1'?>");
    struct Case {
        const char* contentType;
        std::string body;
    };
    const Case cases[] = {
        {"text/xml", Service(utf8)},
        {"text/xml; charset=iso-8859-1", Service(latin1)},
        {"text/xml", declared},
        {"text/xml; charset=utf-8", utf16},  // the mark wins
    };
    for (const Case& c : cases) {
        LoopbackServer server;
        server.SetAnswer(HttpAnswer("HTTP/1.1 200 OK", c.contentType, c.body));
        WMSOAPWSDLClient client;
        client.SetWireOptions(Standard());
        ASSERT_TRUE(client.ReadServiceDesc(u"S", u"P", Widen(Base(server) + "/d.wsdl")))
            << Narrow(client.GetLoadErrorMessage());
        EXPECT_EQ(client.GetSOAPSvcLocation(), u"http://h/caf\u00e9") << c.contentType;
    }
}

}  // namespace
}  // namespace corvane::test
