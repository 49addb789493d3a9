// The answer a client keeps for GetXMLIn, lent to the message while a large one is read: each
// call shows its own, whatever the size and the end of the call before.
#include <corvane/client.h>
#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "support/peer_calls.h"
#include "support/value_text.h"
#include "support/values.h"

namespace corvane::test {
namespace {

std::string Body(std::string const& answer) {
    std::size_t const end = answer.find("\r\n\r\n");
    return end == std::string::npos ? std::string() : answer.substr(end + 4);
}

TEST(CallTexts, EachCallShowsItsOwnAnswer) {
    std::string const large(6000, 'x');
    std::string envelope = CannedEnvelope("swap returned out-a");
    envelope.replace(envelope.find(">returned<") + 1, 8, large);
    std::string const ok = "HTTP/1.1 200 OK";
    // Large answers (lent to the message), small ones (copied), a large one that does not read,
    // a fault, an answer refused before it is read (the only one GetXMLIn does not show).
    struct Step {
        std::string answer;
        std::string shown;  // what the call returns, or how it ends
        bool kept;
    };
    Step const steps[] = {
        {HttpAnswer(ok, "text/xml", envelope), large, true},
        {HttpAnswer(ok, "text/xml", CannedEnvelope("swap r a")), "r", true},
        {HttpAnswer(ok, "text/xml", envelope), large, true},
        {HttpAnswer(ok, "text/xml", envelope.substr(0, envelope.size() - 9)), "failed", true},
        {HttpAnswer("HTTP/1.1 500 Server Error", "text/xml", CannedEnvelope("fault")), "fault",
         true},
        {HttpAnswer("HTTP/1.1 404 Not Found", "text/xml", envelope), "failed", false},
        {HttpAnswer(ok, "text/xml", envelope), large, true},
    };
    TempDir dir;
    LoopbackServer server;
    server.SetAnswer(1, HttpAnswer(ok, "text/xml", CannedEnvelope("CheckSSL 0")));
    for (std::size_t i = 0; i < std::size(steps); ++i) {
        server.SetAnswer(static_cast<int>(i) + 2, steps[i].answer);
    }
    WMSOAPClient client;
    ASSERT_TRUE(client.Initialize(
        DescriptionCopy(dir, "client/calls.wsdl", "PORT", std::to_string(server.Port())), u"Calls",
        u"CallsPort", u"", u"t", u"", false));
    for (Step const& step : steps) {
        SCOPED_TRACE(step.answer.substr(0, 30));
        WMString names[1] = {u"a"};
        WMSOAPStructMember values[1] = {WMSOAPStructMember(u"a", WMString(u"in"))};
        WMSOAPStructMember returned;
        bool const completed = client.InvokeSOAPMethod(u"swap", names, values, 1, returned);
        EXPECT_EQ(!completed             ? "failed"
                  : client.IsSOAPFault() ? "fault"
                                         : Narrow(returned.StringValue()),
                  step.shown);
        EXPECT_EQ(client.GetXMLIn(), step.kept ? Widen(Body(step.answer)) : u"");
    }
}

// The same through the document/literal reader, against PHP's server of the echo service.
TEST(CallTexts, LiteralCallsShowTheirOwnAnswer) {
    RunningPeer& peer = PeerOf("doclit");
    ASSERT_TRUE(peer.up);
    WMWireOptions wire;
    wire.standard = true;
    wire.documentLiteral = true;
    WMSOAPClient client;
    client.SetWireOptions(wire);
    ASSERT_TRUE(client.Initialize(u"http://127.0.0.1:" + Widen(peer.port) + u"/?wsdl",
                                  u"EchoService", u"EchoPort", u"", u"t", u"", false));
    std::string const large(5000, 'y');
    for (std::string const& text : {large, std::string("small"), large}) {
        EXPECT_EQ(CallOf(client, "echoString {text=\"" + text + "\"}"),
                  "{return=\"" + text + "\"}");
        WMString const answer = client.GetXMLIn();
        EXPECT_NE(answer.find(u">" + Widen(text) + u"<"), WMString::npos);
        EXPECT_EQ(answer.size() > large.size(), text == large);
    }
}

}  // namespace
}  // namespace corvane::test
