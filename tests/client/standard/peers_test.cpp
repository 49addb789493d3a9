// The standard wire mode against real SOAP servers on loopback: PHP's SoapServer under php -S
// (no front), SOAP::Lite's daemon and gSOAP's standalone server (tests/peers). One table of
// operations and values of both round 2 suites runs against each peer, and every value must come
// back exactly as it was sent, up to the precision of its WSDL type.
#include <corvane/client.h>
#include <corvane/wire.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/peer_calls.h"
#include "support/value_text.h"

namespace corvane::test {
namespace {

class StandardPeer : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        // PHP serves one WSDL per process: group B has its own server there.
        std::string const kind = GetParam() == "php" ? "php-direct" : GetParam();
#ifdef CORVANE_GSOAP_PEER
        RunningPeer& base = PeerOf(kind, kind == "gsoap" ? " '" CORVANE_GSOAP_PEER "'" : "");
#else
        RunningPeer& base = PeerOf(kind);
#endif
        RunningPeer& groupB = GetParam() == "php" ? PeerOf("php-groupb-direct") : base;
        ASSERT_TRUE(base.up && groupB.up) << "the " << GetParam() << " server did not start";
        WMWireOptions options;
        options.standard = true;
        base_.SetWireOptions(options);
        groupB_.SetWireOptions(options);
        ASSERT_TRUE(base_.Initialize(Description(base, "round2_base"), u"InteropTest",
                                     u"InteropTestPort", u"", u"CorvaneTest/1.0", u"", false));
        ASSERT_TRUE(groupB_.Initialize(Description(groupB, "round2_groupB"), u"interopLabB",
                                       u"interopTestPortB", u"", u"CorvaneTest/1.0", u"", false));
    }

    // The suite's WSDL with its relative address made the peer's.
    static WMString Description(RunningPeer const& peer, std::string const& name) {
        return DescriptionCopy(peer.dir, "wsdl/" + name + ".wsdl", "location=\"" + name + ".inc\"",
                               "location=\"http://127.0.0.1:" + peer.port + "/" + name + ".inc\"");
    }

    WMSOAPClient base_;
    WMSOAPClient groupB_;
};

TEST_P(StandardPeer, EveryValueComesBackExactly) {
    // The rows of both suites, with the answers this peer gives instead where it has its own.
    std::vector<TableRow> rows;
    for (TableRow const& row : ReadTable("expected/client/standard_peers.txt")) {
        auto const same = std::find_if(rows.begin(), rows.end(),
                                       [&](TableRow const& r) { return r.input == row.input; });
        if (row.section == "base" || row.section == "groupB") {
            rows.push_back(row);
        } else if (row.section == GetParam()) {
            ASSERT_NE(same, rows.end()) << row.where;
            same->expected = row.expected;
        }
    }
    for (TableRow const& row : rows) {
        WMSOAPClient& client = row.section == "groupB" ? groupB_ : base_;
        client.NewMessage();
        EXPECT_EQ(CallOf(client, row.input), Exactly(row.expected))
            << row.where << "\nsent " << Utf8(*client.GetXMLOut()) << "\nreceived "
            << Utf8(client.GetXMLIn());
    }
}

std::vector<std::string> PeerKinds() {
    std::vector<std::string> kinds = {"php", "soaplite"};
#ifdef CORVANE_GSOAP_PEER
    kinds.push_back("gsoap");
#endif
    return kinds;
}

INSTANTIATE_TEST_SUITE_P(Peers, StandardPeer, ::testing::ValuesIn(PeerKinds()),
                         [](auto const& info) { return info.param; });

}  // namespace
}  // namespace corvane::test
