// A whole call over TLS: the PHP server behind a TLS terminator on 127.0.0.1:443 answers the
// CheckSSL probe with 1, so the client moves to port 443 and calls through the OpenSSL that it
// loads from beside this program.
#include <corvane/client.h>
#include <corvane/dynssl.h>
#include <gtest/gtest.h>

#include <string>

#include "support/loopback.h"
#include "support/support.h"

namespace corvane::test {
namespace {

TEST(TLSCall, ProbeSwitchesToPort443AndCallsTravelOverTLS) {
    int const port = UnusedPort();
    Peer php;
    ASSERT_TRUE(php.Start("php-ssl " + std::to_string(port)));
    Peer tls;
    if (!tls.Start("tls 443 " + std::to_string(port))) {
        GTEST_SKIP() << "cannot listen on 127.0.0.1:443 (binding it needs root): the TLS call "
                        "is not tested";
    }

    WMSOAPClient client;
    WMString const location =
        u"http://127.0.0.1:" + Widen(std::to_string(port)) + u"/round2_base_ssl.wsdl";
    ASSERT_TRUE(client.Initialize(location, u"InteropTest", u"InteropTestPort", u"",
                                  u"CorvaneTest/1.0", u"", false));
    EXPECT_EQ(client.GetWSDLClient().GetSSLEnabled(), 1);
    EXPECT_EQ(client.GetWSDLClient().GetSOAPSvcPortNbr(), 443);

    WMString names[1] = {u"inputString"};
    WMSOAPStructMember values[1] = {WMSOAPStructMember(u"inputString", WMString(u"over TLS"))};
    WMSOAPStructMember returned;
    ASSERT_TRUE(client.InvokeSOAPMethod(u"echoString", names, values, 1, returned));
    EXPECT_FALSE(client.IsSOAPFault());
    EXPECT_EQ(returned.StringValue(), u"over TLS");
    EXPECT_EQ(DynSSL::m_bLoadSuccess, 1);
    EXPECT_NE(client.GetXMLIn().find(u"over TLS"), WMString::npos);
}

}  // namespace
}  // namespace corvane::test
