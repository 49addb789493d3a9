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
#include "support/value_text.h"

namespace corvane::test {
namespace {

class WireTlsClient : public PeersTest {
protected:
    // Reads the description at `wsdl` and calls swap on the address it gives: what CallOf gives,
    // or "not loaded: " and why.
    std::string Swap(const std::string& wsdl) {
        WMSOAPClient client;
        client.SetWireOptions(options);
        if (!client.Initialize(Widen(wsdl), u"Calls", u"CallsPort", u"", u"tester", u"", false)) {
            return "not loaded: " + Utf8(client.GetWSDLClient().GetLoadErrorMessage());
        }
        return CallOf(client, "swap {a=\"T\\u014dky\\u014d\",b=1}");
    }

    // The description from the plain server, naming the service on TLS server `server`.
    static std::string Via(const std::string& server) {
        return peers->Url("http", "/calls.wsdl?" + server, "localhost");
    }
};

const std::string kReturned = "T\xC5\x8Dky\xC5\x8D";
const std::string kSwapped = "{return=\"" + kReturned + "\"}";

TEST_F(WireTlsClient, FetchesAndCallsOverVerifiedTls) {
    // Description and service on the same TLS server, by name and by address.
    for (const char* host : {"localhost", "127.0.0.1"}) {
        EXPECT_EQ(Swap(peers->Url("tls", "/calls.wsdl", host)), kSwapped) << host;
    }
}

TEST_F(WireTlsClient, RefusesEachBadCertificateWithItsReason) {
    for (const TableRow& row : ReadTable("expected/net/bad_certificates.txt")) {
        // Refused by the call, the description having come over plain HTTP, and by the fetch of
        // the description.
        const std::string call = Swap(Via(row.input));
        EXPECT_EQ(call.rfind("failed: ", 0), 0u) << call;
        EXPECT_NE(call.find(row.expected), std::string::npos) << row.input << ": " << call;
        const std::string load = Swap(peers->Url(row.input, "/calls.wsdl", "localhost"));
        EXPECT_EQ(load.rfind("not loaded: ", 0), 0u) << load;
        EXPECT_NE(load.find(row.expected), std::string::npos) << row.input << ": " << load;
    }
}

TEST_F(WireTlsClient, ClientCertificateAndUnverifiedServers) {
    options.clientCertificateFile = peers->File("client.pem");
    options.clientKeyFile = peers->File("client.key");
    EXPECT_EQ(Swap(peers->Url("clientauth", "/calls.wsdl", "localhost")), kSwapped);

    // Only the explicit setting accepts what verification refuses.
    options = WMWireOptions();
    options.standard = true;
    options.verifyServerCertificate = false;
    for (const char* server : {"self", "expired", "wronghost", "unknown"}) {
        EXPECT_EQ(Swap(peers->Url(server, "/calls.wsdl", "localhost")), kSwapped) << server;
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
