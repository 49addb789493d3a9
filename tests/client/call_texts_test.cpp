// The texts a client keeps of each call, GetXMLIn and GetXMLOut, while its answers and requests
// grow, shrink, fail and carry characters the code page cannot: each call shows its own.
#include <corvane/client.h>
#include <gtest/gtest.h>

#include <string>

#include "support/peer_calls.h"
#include "support/values.h"

namespace corvane::test {
namespace {

std::string Body(std::string const& answer) {
    std::size_t const end = answer.find("\r\n\r\n");
    return end == std::string::npos ? std::string() : answer.substr(end + 4);
}

TEST(CallTexts, EachCallShowsItsOwnAnswerAndRequest) {
    std::string const large(6000, 'x');
    std::string envelope = CannedEnvelope("swap returned out-a");
    envelope.replace(envelope.find(">returned<") + 1, 8, large);
    struct Step {
        WMString argument;
        std::string answer;
        std::string shown;  // what the call gives back, or how it ends
    };
    Step const steps[] = {
        {WMString(9000, u'a'), HttpAnswer("HTTP/1.1 200 OK", "text/xml", envelope), large},
        {u"short", HttpAnswer("HTTP/1.1 200 OK", "text/xml", CannedEnvelope("swap r a")), "r"},
        {WMString(12000, u'b'), HttpAnswer("HTTP/1.1 200 OK", "text/xml", envelope), large},
        {u"\u4e2d",
         HttpAnswer("HTTP/1.1 500 Internal Server Error", "text/xml", CannedEnvelope("fault")),
         "fault"},
        {u"refused", HttpAnswer("HTTP/1.1 404 Not Found", "text/xml", envelope), "failed"},
        {u"again", HttpAnswer("HTTP/1.1 200 OK", "text/xml", CannedEnvelope("swap r2 a2")), "r2"},
    };
    TempDir dir;
    LoopbackServer server;
    server.SetAnswer(1, HttpAnswer("HTTP/1.1 200 OK", "text/xml", CannedEnvelope("CheckSSL 0")));
    for (int i = 0; i < 6; ++i) {
        server.SetAnswer(i + 2, steps[i].answer);
    }
    WMSOAPClient client;
    ASSERT_TRUE(client.Initialize(
        DescriptionCopy(dir, "client/calls.wsdl", "PORT", std::to_string(server.Port())), u"Calls",
        u"CallsPort", u"", u"t", u"", false));
    for (int i = 0; i < 6; ++i) {
        Step const& step = steps[i];
        SCOPED_TRACE(step.shown);
        WMString names[1] = {u"a"};
        WMSOAPStructMember values[1] = {WMSOAPStructMember(u"a", step.argument)};
        WMSOAPStructMember returned;
        bool const completed = client.InvokeSOAPMethod(u"swap", names, values, 1, returned);
        EXPECT_EQ(!completed             ? "failed"
                  : client.IsSOAPFault() ? "fault"
                                         : Narrow(returned.StringValue()),
                  step.shown);
        EXPECT_EQ(client.GetXMLIn(), completed ? Widen(Body(step.answer)) : u"");
        // The request as written: the code page carried "?" for what it lacks.
        WMString const sent = *client.GetXMLOut();
        EXPECT_NE(sent.find(step.argument), WMString::npos);
        WMString carried = sent;
        for (WMChar& unit : carried) {
            unit = unit > 0xFF ? u'?' : unit;
        }
        EXPECT_EQ(Widen(Body(server.Request(i + 2))), carried + WMChar(0));
    }
}

}  // namespace
}  // namespace corvane::test
