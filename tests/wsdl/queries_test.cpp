// The query layer on a hand-made description that holds one of every construct it reads
// (tests/data/expected/wsdl/handmade.wsdl), on the published descriptions, and the load errors;
// the description store; descriptions fetched over HTTP.
#include <corvane/wsdl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/peer_calls.h"
#include "support/support.h"
#include "wsdl/description.h"
#include "wsdl/wsdl_test_util.h"

namespace corvane::test {
namespace {

using corvane::HandlerTable;
using corvane::NamespaceText;

// The answers to `queries`, each after "; ".
std::string AskAll(WMSOAPWSDLClient& client, std::initializer_list<std::string> queries) {
    std::string answers;
    for (const std::string& query : queries) {
        answers += "; " + Ask(client, query);
    }
    return answers;
}

// Whether a load left a description, and the reason it gives.
std::string Outcome(const WMWSDLParser& parser) {
    return (parser.GetWSDLDesc() ? "kept " : "none ") + Narrow(parser.GetLoadErrorCategory()) +
           ": " + Narrow(parser.GetLoadErrorMessage());
}

class Queries : public ::testing::Test {
protected:
    void SetUp() override {
        m_path = DataPath("expected/wsdl/handmade.wsdl");
        ASSERT_TRUE(Read(m_client, "p")) << Narrow(m_client.GetLoadErrorMessage());
    }

    bool Read(WMSOAPWSDLClient& client, const std::string& port) {
        return client.ReadServiceDesc(u"S", Widen(port), Widen("file://" + m_path));
    }

    TempDir m_dir;
    std::string m_path;
    ProbeClient m_client;
    WMString m_name;
    WMString m_ns;
};

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
    // So does every query of a missing binding, operation, part or type.
    EXPECT_EQ(AskAll(lost, {"SOAPBindingTransport", "OpBindingStyle op",
                            "OpNamesBySOAPAction \"urn:act\"", "SOAPInputBodyUse op"}),
              "; false; false; false; false");
    EXPECT_EQ(AskAll(m_client, {"OperationReturnType nope|a", "OperationParamIndex op|nope",
                                "ArrayType nope|urn:s"}),
              "; false; false; false");
}

TEST_F(Queries, AnswerFromTheHandMadeDescriptionPortByPort) {
    std::map<std::string, WMSOAPWSDLClient> clients;
    for (const TableRow& row : ReadTable("expected/wsdl/handmade_queries.txt")) {
        WMSOAPWSDLClient& client = clients[row.section];
        if (client.GetWSDLDesc() == nullptr) {
            ASSERT_TRUE(Read(client, row.section)) << row.where;
        }
        EXPECT_EQ(Ask(client, row.input), row.expected) << row.where;
    }
    long index = -1;
    // The walk's index counts up and stays at the last part.
    EXPECT_TRUE(m_client.GetFirstInParamName(u"op", m_name, index));
    EXPECT_TRUE(m_client.GetNextInParamName(u"op", m_name, index));
    EXPECT_FALSE(m_client.GetNextInParamName(u"op", m_name, index));
    EXPECT_EQ(index, 1);
}

TEST_F(Queries, AnElementPartOfAnonymousTypeIsNamedByAGuid) {
    EXPECT_TRUE(m_client.GetOutputMsgPartType(u"op", u"result", m_name, m_ns));
    EXPECT_EQ(Narrow(m_ns), "urn:s");
    const std::string guid = Narrow(m_name);
    EXPECT_TRUE(IsGuidText(m_name, false)) << guid;
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
    EXPECT_EQ(AskAll(assigned, {"MethodSOAPAction op", "host"}), "; \"urn:act\"; example.org");

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
    EXPECT_FALSE(client.GetMethodSOAPAction(u"op", out) || client.GetSOAPBindingStyle(out) ||
                 client.GetInputMsgPartType(u"op", u"a", out, ns) ||
                 client.GetFirstInParamName(u"op", out, index) ||
                 client.GetOperationParamIndex(u"op", u"a", &index) ||
                 client.GetArrayType(u"t", u"n", out, ns) ||
                 client.GetArrayDims(u"t", u"n", dims) ||
                 client.GetHeaderElemType(u"e", u"n", out, ns));
    EXPECT_EQ(Narrow(out + u"|" + ns) + "|" + std::to_string(index) + "|" + std::to_string(dims),
              "kept|kept|5|9");
    EXPECT_EQ(Narrow(client.GetUserAgent()), "Dravik WSDL Client/1.0");
    EXPECT_EQ(Narrow(client.GetDefinitionsTNS()), "");
}

// Documents that break a rule of the description: each ends the load with its exact fault, and
// nothing of the document is kept.
class LoadFaults : public ::testing::Test {
protected:
    void ExpectFault(const std::string& document, const std::string& message) {
        WMWSDLParser parser;
        std::string path = m_dir.Write("doc.wsdl", document);
        EXPECT_FALSE(parser.LoadAndParseWSDLFile(Widen(path)));
        EXPECT_EQ(Outcome(parser), "none WSDL Schema Error: " + message);
        EXPECT_EQ(corvane::detail::HandlerArena::Current(), nullptr);  // none left behind
    }

    TempDir m_dir;
};

TEST_F(LoadFaults, BrokenRulesReportTheirExactMessages) {
    for (const TableRow& row : ReadTable("expected/wsdl/load_faults.txt")) {
        SCOPED_TRACE(row.where);
        ExpectFault(Placed(row.section, row.input), row.expected);
    }
}

TEST_F(LoadFaults, DocumentThatImportsItselfEndsTheLoad) {
    WMWSDLParser parser;
    std::string path =
        m_dir.Write("self.wsdl", Definitions("<import namespace='urn:t' location='self.wsdl'/>"));
    parser.SetDocBase(Widen("file://" + m_dir.Path() + "/"));
    EXPECT_FALSE(parser.LoadAndParseWSDLFile(Widen(path)));
    EXPECT_EQ(Narrow(parser.GetLoadErrorMessage()),
              "Unable to process document referenced in 'import' element.");
}

TEST_F(LoadFaults, OtherFailuresKeepTheirReasonAndLeaveNoDescription) {
    // One parser throughout: each load replaces what the one before left. An empty file is an
    // empty text: no root element, which the XML parser rejects.
    WMWSDLParser parser;
    std::string outcomes;
    for (const std::string& path :
         {m_dir.Write("ok.wsdl", Definitions("")), m_dir.Path() + "/missing.wsdl",
          m_dir.Write("bad.wsdl", "<definitions>\n<message name='m'>\n</definitions>"),
          m_dir.Write("empty.wsdl", ""), m_dir.Write("ok2.wsdl", Definitions(""))}) {
        const bool loaded = parser.LoadAndParseWSDLFile(Widen(path));
        outcomes += (loaded ? "loaded " : "failed ") + Outcome(parser) + "\n";
    }
    EXPECT_EQ(outcomes, "loaded kept : \nfailed none File Error: Cannot open '" + m_dir.Path() +
                            "/missing.wsdl'.\n"
                            "failed none XML Parse Error: The document is not well-formed XML "
                            "(line 3).\n"
                            "failed none XML Parse Error: The document is not well-formed XML "
                            "(line 1).\n"
                            "loaded kept : \n");
}

// The queries against published service descriptions (tests/data/wsdl, see SOURCES.md there);
// the answers are in tests/data/expected/wsdl/real_documents.txt.
const std::string kXsd = "{http://www.w3.org/2001/XMLSchema}";

WMString Location(const std::string& file) {
    return Widen("file://" + DataDir() + "/" + file);
}

TEST(RealDocuments, AnswerTheirQueries) {
    std::string document;
    std::unique_ptr<WMSOAPWSDLClient> client;
    for (const TableRow& row : ReadTable("expected/wsdl/real_documents.txt")) {
        if (row.section != document) {
            document = row.section;
            std::istringstream words(document);
            std::string file, service, port;
            words >> file >> service >> port;
            client = std::make_unique<WMSOAPWSDLClient>();
            ASSERT_TRUE(client->ReadServiceDesc(Widen(service), Widen(port), Location(file)))
                << row.where << " " << Narrow(client->GetLoadErrorMessage());
        }
        EXPECT_EQ(Ask(*client, row.input), row.expected) << row.where;
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

TEST(RealDocuments, RefusedDocuments) {
    // The imported document's own service has another namespace than the importer's.
    WMSOAPWSDLClient three;
    EXPECT_FALSE(three.ReadServiceDesc(u"Import2", u"SoapInteropImport2Port",
                                       Location("import3/Import3.wsdl")));
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

// How a description stores what it reads: the name tables, the shared namespace texts and the
// arena the handlers live in.
TEST(HandlerTable, TakeMissingKeepsTheFirstDefinition) {
    HandlerTable<WMSOAPServiceHandler> mine;
    HandlerTable<WMSOAPServiceHandler> theirs;
    auto add = [](HandlerTable<WMSOAPServiceHandler>& table, const char16_t* name) {
        auto handler = std::make_unique<WMSOAPServiceHandler>(name);
        const WMSOAPServiceHandler* raw = handler.get();
        table.Insert(name, handler);
        return raw;
    };
    const WMSOAPServiceHandler* shared = add(mine, u"shared");
    add(theirs, u"shared");
    std::vector<const WMSOAPServiceHandler*> taken;
    for (int i = 0; i < 20; ++i) {
        taken.push_back(add(theirs, Widen("s" + std::to_string(i)).c_str()));
    }
    mine.TakeMissing(theirs);
    EXPECT_EQ(mine.Find(u"shared"), shared);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(mine.Find(Widen("s" + std::to_string(i))), taken[static_cast<std::size_t>(i)]);
    }
    EXPECT_EQ(mine.size(), 21u);
    EXPECT_EQ(theirs.Find(u"shared"), nullptr);
}

TEST(NamespaceText, KeptTextIsSharedUntilCopied) {
    const WMString kept = u"urn:some:rather:long:namespace";
    NamespaceText text = NamespaceText::Kept(kept);
    EXPECT_EQ(&text.Get(), &kept);
    NamespaceText moved = std::move(text);
    EXPECT_EQ(&moved.Get(), &kept);
    // A copy may outlive the description, so it owns its text.
    NamespaceText copy = moved;
    EXPECT_NE(&copy.Get(), &kept);
    EXPECT_EQ(copy, moved);
    NamespaceText assigned;
    assigned = moved;
    EXPECT_NE(&assigned.Get(), &kept);

    EXPECT_TRUE(copy == kept && kept == copy && copy == u"urn:some:rather:long:namespace");
    EXPECT_TRUE(copy != u"urn:other" && WMString(u"urn:other") != copy);
    EXPECT_EQ(u"{" + copy + u"}", u"{urn:some:rather:long:namespace}");
    EXPECT_TRUE(NamespaceText().empty());
}

TEST(DescriptionStore, LoadedDescriptionOutlivesItsLoaderOnAnotherThread) {
    // The imported document's handlers move into the importing description; both live in the
    // arena of the load, which must stay until the last copy of the description goes.
    auto loader = std::make_unique<WMSOAPWSDLClient>();
    const WMString location = Widen("file://" + corvane::test::DataDir() + "/import1/Import1.wsdl");
    ASSERT_TRUE(loader->ReadServiceDesc(u"Import1", u"SoapInteropImport1Port", location));
    EXPECT_EQ(corvane::detail::HandlerArena::Current(), nullptr);
    WMSOAPWSDLClient copy(*loader);
    loader.reset();

    WMString answer;
    std::thread reader([&] {
        WMSOAPWSDLClient client(copy);
        long index = 0;
        EXPECT_TRUE(client.GetFirstInParamName(u"echoString", answer, index));
    });
    reader.join();
    EXPECT_EQ(answer, u"x");
    copy = WMSOAPWSDLClient();
}

// Descriptions fetched over HTTP from a loopback server, imports included, by the loader and
// by the wire client.
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
    EXPECT_EQ(AskAll(client, {"host", "uri", "port", "MethodSOAPAction echoString"}),
              "; 127.0.0.1; /svc?wsdl; " + std::to_string(m_server.Port()) + "; \"http://\"");
    EXPECT_EQ(Narrow(client.GetDocBase()), Base() + "/");

    std::vector<std::string> requests = Heads();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0],
              "GET /svc?wsdl HTTP/1.0\r\nHost: 127.0.0.1:" + std::to_string(m_server.Port()) +
                  "\r\nUser-Agent: Probe/2.0\r\nX-Extra: yes");

    // Over HTTP the service and port are not consulted, so the read succeeds; the binding
    // queries answer false, while the types answer.
    WMSOAPWSDLClient lost;
    EXPECT_TRUE(
        lost.ReadServiceDesc(u"NoSuchService", u"NoSuchPort", Widen(Base() + "/round2_base.wsdl")));
    EXPECT_EQ(AskAll(lost, {"MethodSOAPAction echoString",
                            "ArrayType ArrayOfint|http://soapinterop.org/xsd"}),
              "; false; {http://www.w3.org/2001/XMLSchema}int");
}

TEST_F(OverHttp, StatusOtherThan200FailsWithoutParsing) {
    for (int status : {302, 404, 500}) {
        SCOPED_TRACE(status);
        m_server.Set("/doc", status, ReadFile(DataDir() + "/round2_base.wsdl"));
        WMSOAPWSDLClient client;
        EXPECT_FALSE(
            client.ReadServiceDesc(u"InteropTest", u"InteropTestPort", Widen(Base() + "/doc")));
        EXPECT_EQ(Outcome(client), "none HTTP Error: The server answered " + Base().substr(7) +
                                       "/doc with status " + std::to_string(status) + ".");
    }
    // Nobody listening any more.
    WMWSDLParser parser;
    const int closed = UnusedPort();
    EXPECT_FALSE(parser.GetAndParseWSDLFile(u"127.0.0.1", u"/x", u"ua", u"", closed, 2000));
    EXPECT_EQ(Outcome(parser),
              "none HTTP Error: The request to 127.0.0.1:" + std::to_string(closed) + "/x failed.");
}

TEST_F(OverHttp, ImportsResolveAgainstTheFetchedDocument) {
    WMSOAPWSDLClient client;
    ASSERT_TRUE(client.ReadServiceDesc(u"Import2", u"SoapInteropImport2Port",
                                       Widen(Base() + "/import2/Import2.wsdl")))
        << Narrow(client.GetLoadErrorMessage());
    EXPECT_EQ(AskAll(client, {"InputMsgPartType echoStruct|inputStruct",
                              "StructMemberType SOAPStruct|http://soapinterop.org/xsd|varInt|"}),
              "; {http://soapinterop.org/xsd}SOAPStruct; {http://www.w3.org/2001/XMLSchema}int");
    // Imports use the importer's own settings, not the client's.
    std::vector<std::string> requests = Heads();
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(
        requests[1] + "\n" + requests[2].substr(0, requests[2].find('\r')),
        "GET /import2/imported/import2B.wsdl HTTP/1.0\r\nHost: 127.0.0.1:" +
            std::to_string(m_server.Port()) +
            "\r\nUser-Agent: Dravik WSDL Client/1.0\nGET /import2/imported/import2B.xsd HTTP/1.0");

    // An import the server does not have ends the load.
    m_server.Set("/broken.wsdl", 200,
                 Definitions("<import namespace='urn:x' location='missing.wsdl'/>"));
    WMSOAPWSDLClient broken;
    EXPECT_FALSE(broken.ReadServiceDesc(u"S", u"p", Widen(Base() + "/broken.wsdl")));
    EXPECT_EQ(Outcome(broken),
              "none WSDL Schema Error: Unable to process document referenced in 'import' element.");

    // An http import inside a file document is fetched.
    TempDir dir;
    WMWSDLParser parser;
    const std::size_t before = m_server.Requests().size();
    ASSERT_TRUE(parser.LoadAndParseWSDLFile(
        Widen(dir.Write("main.wsdl", Definitions("<import namespace='urn:x' location='" + Base() +
                                                 "/import1/imported/import1B.wsdl'/>")))))
        << Narrow(parser.GetLoadErrorMessage());
    ASSERT_EQ(m_server.Requests().size(), before + 1);
    EXPECT_EQ(m_server.Requests().back().rfind("GET /import1/imported/import1B.wsdl HTTP/1.0", 0),
              0u);
}

// Descriptions fetched in the standard wire mode from loopback servers, imports included.
std::string Base(const LoopbackServer& server) {
    return "http://127.0.0.1:" + std::to_string(server.Port());
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
    WMWireOptions options = Wire(true);
    options.user = u"ann";
    options.password = u"secret";
    client.SetWireOptions(options);
    client.SetUserAgent(u"Probe/2.0");
    client.SetHTTPHeaders(u"X-Extra: yes\r\n");
    ASSERT_TRUE(client.ReadServiceDesc(u"Import2", u"SoapInteropImport2Port",
                                       Widen(Base(server) + "/import2/Import2.wsdl")))
        << Narrow(client.GetLoadErrorMessage());
    EXPECT_EQ(AskAll(client, {"host", "uri", "port", "InputMsgPartType echoStruct|inputStruct"}),
              "; mssoapinterop.org; /stkV3/wsdl/import2.wsdl; 80; "
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
    client.SetWireOptions(Wire(true));
    EXPECT_FALSE(client.ReadServiceDesc(u"S", u"P", Widen(Base(server) + "/gone")));
    EXPECT_EQ(Outcome(client),
              "none HTTP Error: The server answered " + Base(server) + "/gone with status 404.");

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
        client.SetWireOptions(Wire(true));
        ASSERT_TRUE(client.ReadServiceDesc(u"S", u"P", Widen(Base(server) + "/d.wsdl")))
            << Narrow(client.GetLoadErrorMessage());
        EXPECT_EQ(client.GetSOAPSvcLocation(), u"http://h/caf\u00e9") << c.contentType;
    }
}

}  // namespace
}  // namespace corvane::test
