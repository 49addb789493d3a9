// WMSOAPClient and the corvane tool in the standard wire mode against TLS servers on ports other
// than 443, with certificates of a CA made at start-up (the transport suite's wire_peer.py).
#include <corvane/client.h>
#include <corvane/dynssl.h>
#include <corvane/utf8.h>
#include <gtest/gtest.h>

#include <string>

#include "net/wire/wire_peers.h"
#include "net/wire_http.h"
#include "support/support.h"
#include "support/values.h"

namespace corvane::test {
namespace {

struct Outcome {
    bool initialized = false;
    bool called = false;
    std::string text;  // the returned value, or why the load or the call failed
};

class WireTlsClient : public PeersTest {
protected:
    // Reads the description at `wsdl` and calls swap on the address it gives.
    Outcome Swap(const std::string& wsdl) {
        Outcome outcome;
        WMSOAPClient client;
        client.SetWireOptions(options);
        outcome.initialized =
            client.Initialize(Widen(wsdl), u"Calls", u"CallsPort", u"", u"tester", u"", false);
        if (!outcome.initialized) {
            outcome.text = Utf8(client.GetWSDLClient().GetLoadErrorMessage());
            return outcome;
        }
        WMString names[2] = {u"a", u"b"};
        WMSOAPStructMember values[2] = {WMSOAPStructMember(u"a", WMString(u"T\u014dky\u014d")),
                                        WMSOAPStructMember(u"b", 1)};
        WMSOAPStructMember returned;
        outcome.called = client.InvokeSOAPMethod(u"swap", names, values, 2, returned);
        WMString fault;
        client.GetSOAPFaultString(fault);
        outcome.text = Utf8(outcome.called ? returned.StringValue() : fault);
        return outcome;
    }

    // The description from the plain server, naming the service on TLS server `server`.
    static std::string Via(const std::string& server) {
        return peers->Url("http", "/calls.wsdl?" + server, "localhost");
    }
};

const std::string kReturned = "T\xC5\x8Dky\xC5\x8D";

TEST_F(WireTlsClient, FetchesAndCallsOverVerifiedTls) {
    // Description and service on the same TLS server, by name and by address.
    for (const char* host : {"localhost", "127.0.0.1"}) {
        const Outcome outcome = Swap(peers->Url("tls", "/calls.wsdl", host));
        EXPECT_TRUE(outcome.called) << host << ": " << outcome.text;
        EXPECT_EQ(outcome.text, kReturned) << host;
    }
}

TEST_F(WireTlsClient, RefusesEachBadCertificateWithItsReason) {
    for (const TableRow& row : ReadTable("expected/net/bad_certificates.txt")) {
        const std::string& server = row.input;
        const std::string& reason = row.expected;
        // Refused by the call, the description having come over plain HTTP ...
        Outcome outcome = Swap(Via(server));
        ASSERT_TRUE(outcome.initialized) << server << ": " << outcome.text;
        EXPECT_FALSE(outcome.called) << server;
        EXPECT_NE(outcome.text.find(reason), std::string::npos) << server << ": " << outcome.text;
        // ... and by the fetch of the description.
        outcome = Swap(peers->Url(server, "/calls.wsdl", "localhost"));
        EXPECT_FALSE(outcome.initialized) << server;
        EXPECT_NE(outcome.text.find(reason), std::string::npos) << server << ": " << outcome.text;
    }
}

TEST_F(WireTlsClient, ClientCertificateAndUnverifiedServers) {
    options.clientCertificateFile = peers->File("client.pem");
    options.clientKeyFile = peers->File("client.key");
    EXPECT_EQ(Swap(peers->Url("clientauth", "/calls.wsdl", "localhost")).text, kReturned);

    // Only the explicit setting accepts what verification refuses.
    options = WMWireOptions();
    options.standard = true;
    options.verifyServerCertificate = false;
    for (const char* server : {"self", "expired", "wronghost", "unknown"}) {
        EXPECT_EQ(Swap(peers->Url(server, "/calls.wsdl", "localhost")).text, kReturned) << server;
    }
}

#ifdef CORVANE_TOOL
// corvane call with the standard mode's options; its exit status and what it printed.
int RunTool(const std::string& arguments, std::string& output) {
    const std::string command = std::string("{ '") + CORVANE_TOOL + "' call --standard " +
                                "--tls-library-dir '" + Narrow(CORVANE_TLS_LIBRARY_DIR) + "' " +
                                arguments +
                                " swap 'a=\"T\xC5\x8Dky\xC5\x8D\"' b=1 2>&1; s=$?; echo; echo "
                                "\"status $s\"; }";
    RunShell(command, &output);
    const std::size_t status = output.rfind("status ");
    return status == std::string::npos ? -1 : std::stoi(output.substr(status + 7));
}

TEST_F(WireTlsClient, ThroughTheTool) {
    const std::string ca = "--ca-file '" + Narrow(peers->File("ca.pem")) + "' ";
    std::string output;
    EXPECT_EQ(RunTool(ca + peers->Url("tls", "/calls.wsdl", "localhost"), output), 0) << output;
    EXPECT_NE(output.find("\"return\": \"" + kReturned + "\""), std::string::npos) << output;

    EXPECT_EQ(RunTool(ca + Via("expired"), output), 1) << output;
    EXPECT_NE(output.find("no usable answer from https://localhost:"), std::string::npos) << output;
    EXPECT_NE(output.find("the certificate has expired"), std::string::npos) << output;

    EXPECT_EQ(RunTool("--insecure " + peers->Url("self", "/calls.wsdl", "localhost"), output), 0)
        << output;
    // Through the proxy's CONNECT tunnel, with credentials the server does not ask for.
    EXPECT_EQ(RunTool(ca + "--user 'ann:s\xC3\xA9" + "cret' --proxy " +
                          peers->Url("proxy", "", "127.0.0.1") + " " +
                          peers->Url("tls", "/calls.wsdl", "localhost"),
                      output),
              0)
        << output;
    corvane::detail::WireHttpClient http(WMWireOptions(), 20000);
    corvane::detail::WireAnswer log;
    ASSERT_TRUE(http.Exchange("GET", peers->Url("proxy", "/log"), "", "", log));
    EXPECT_NE(log.body.find("CONNECT localhost:" + peers->Url("tls", "").substr(23)),
              std::string::npos)
        << log.body;
}
#endif

}  // namespace
}  // namespace corvane::test
