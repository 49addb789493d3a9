// WMSOAPClient step by step against a loopback server that answers with canned envelopes.
#include <corvane/client.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "client/name_list.h"
#include "support/peer_calls.h"
#include "support/values.h"

namespace corvane::test {
namespace {

using ::testing::ContainsRegex;

std::string Ok(std::string const& name) {
    return HttpAnswer("HTTP/1.1 200 OK", "text/xml; charset=utf-8", CannedEnvelope(name));
}

std::string Fault() {
    return HttpAnswer("HTTP/1.1 500 Internal Server Error", "text/xml", CannedEnvelope("fault"));
}

// The body of a call of CheckSSL, which takes no parameters.
std::string const kCheckSSLBody =
    "<SOAP-ENV:Body><m:CheckSSL "
    "SOAP-ENV:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\" "
    "xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\" xmlns:m=\"urn:calls\" "
    "/></SOAP-ENV:Body>";

// A client of tests/data/client/calls.wsdl whose endpoint is the stub. The first connection
// is the probe of Initialize: each test says what it answers.
class ClientTest : public ::testing::Test {
protected:
    // The location of a copy of calls.wsdl whose endpoint is the given port.
    WMString Description(int port) {
        return DescriptionCopy(dir_, "client/calls.wsdl", "PORT", std::to_string(port));
    }

    void StartAndInitialize(std::string const& probeAnswer = Ok("CheckSSL 0")) {
        server_.SetAnswer(1, probeAnswer);
        ASSERT_TRUE(client_.Initialize(Description(server_.Port()), u"Calls", u"CallsPort", u"",
                                       u"CorvaneTest/1.0", u"", false));
    }

    // One swap call with three arguments: b, a name the operation does not take, and a.
    bool Swap(WMSOAPStructMember& returned) {
        values_[0] = WMSOAPStructMember(u"b", 7);
        values_[1] = WMSOAPStructMember(u"bogus", WMString(u"never sent"));
        values_[2] = WMSOAPStructMember(u"a", WMString(u"in-a"));
        return client_.InvokeSOAPMethod(u"swap", names_, values_, 3, returned);
    }

    TempDir dir_;
    LoopbackServer server_;
    WMSOAPClient client_;
    WMString names_[3] = {u"b", u"bogus", u"a"};
    WMSOAPStructMember values_[3];
};

TEST_F(ClientTest, InitializeProbesCheckSSLAndSwitchesToTLSOnlyOnOne) {
    EXPECT_FALSE(client_.IsInitialized());
    StartAndInitialize(Ok("CheckSSL 1"));
    EXPECT_TRUE(client_.IsInitialized());
    EXPECT_EQ(client_.GetWSDLClient().GetSSLEnabled(), 1);
    EXPECT_EQ(client_.GetWSDLClient().GetSOAPSvcPortNbr(), 443);

    // The probe is an rpc call without parameters, with the operation's SOAPAction.
    for (std::string const& part : {std::string("POST /svc HTTP/1.0\r\n"), kCheckSSLBody,
                                    std::string("User-Agent: CorvaneTest/1.0\r\n"),
                                    std::string("SOAPAction: \"urn:calls#CheckSSL\"\r\n")}) {
        EXPECT_TRUE(Contains(server_.Request(1), part)) << part;
    }
}

TEST_F(ClientTest, ProbeOutcomesOtherThanOneKeepTheDescribedEndpointAndNoDescriptionFails) {
    for (std::string const& answer : {Ok("CheckSSL 0"), Ok("CheckSSL 2"), Fault(),
                                      HttpAnswer("HTTP/1.0 404 Not Found", "text/html", "")}) {
        LoopbackServer server;
        server.SetAnswer(answer);
        WMSOAPClient client;
        ASSERT_TRUE(client.Initialize(Description(server.Port()), u"Calls", u"CallsPort", u"", u"t",
                                      u"", false));
        EXPECT_TRUE(client.IsInitialized());
        EXPECT_EQ(client.GetWSDLClient().GetSSLEnabled(), 0);
        EXPECT_EQ(client.GetWSDLClient().GetSOAPSvcPortNbr(), server.Port());
    }
    // No description: no client.
    WMSOAPClient client;
    EXPECT_FALSE(client.Initialize(u"file:///nonexistent/calls.wsdl", u"Calls", u"CallsPort", u"",
                                   u"t", u"", false));
    EXPECT_FALSE(client.IsInitialized());
    EXPECT_FALSE(client.Initialize(u"calls.wsdl", u"Calls", u"CallsPort", u"", u"t", u"", false));
}

TEST_F(ClientTest, SendsInputPartsInCallOrderAndCopiesResultsBackByName) {
    server_.SetAnswer(2, Ok("swap returned out-a"));
    StartAndInitialize();

    // The same name twice: both entries are sent and both receive the returned value.
    WMString names[4] = {u"b", u"bogus", u"a", u"a"};
    WMSOAPStructMember values[4] = {WMSOAPStructMember(u"b", 7),
                                    WMSOAPStructMember(u"bogus", WMString(u"never sent")),
                                    WMSOAPStructMember(u"a", WMString(u"first")),
                                    WMSOAPStructMember(u"a", WMString(u"second"))};
    WMSOAPStructMember returned;
    ASSERT_TRUE(client_.InvokeSOAPMethod(u"swap", names, values, 4, returned));
    EXPECT_FALSE(client_.IsSOAPFault());

    std::string const request = server_.Request(2);
    EXPECT_TRUE(Contains(request, "SOAPAction: \"urn:calls#swap\"\r\n"));
    EXPECT_THAT(request, ContainsRegex(">7</b>.*>first</a>.*>second</a>"));
    EXPECT_FALSE(Contains(request, "never sent"));
    EXPECT_EQ(Narrow(*client_.GetXMLOut()),
              request.substr(request.find("\r\n\r\n") + 4, client_.GetXMLOutLength()));

    std::string shown = Show(returned);
    for (WMSOAPStructMember const& value : values) {
        shown += " " + Show(value);
    }
    EXPECT_EQ(shown, "\"returned\" 7 \"never sent\" \"out-a\" \"out-a\"");
    std::string const answer = Ok("swap returned out-a");
    EXPECT_EQ(client_.GetXMLIn(), Widen(answer.substr(answer.find("\r\n\r\n") + 4)));
    EXPECT_EQ(client_.GetXMLInLength(), client_.GetXMLIn().size());
}

TEST_F(ClientTest, OperationsThatCannotBeCalledFailBeforeAnythingIsSent) {
    server_.SetAnswer(2, Ok("CheckSSL 5"));
    StartAndInitialize();
    WMString names[1] = {u"x"};
    WMSOAPStructMember values[1] = {WMSOAPStructMember(u"x", WMString(u"v"))};
    WMSOAPStructMember returned(u"kept", 1);
    EXPECT_FALSE(client_.InvokeSOAPMethod(u"docOp", names, values, 1, returned));
    EXPECT_FALSE(client_.InvokeSOAPMethod(u"noSuchOperation", names, values, 1, returned));
    EXPECT_FALSE(server_.HasRequest(2));
    EXPECT_EQ(returned.GetName() + u"=" + Widen(Show(returned)), u"kept=1");

    // A call without parameters sends an empty method element.
    ASSERT_TRUE(client_.InvokeSOAPMethod(u"CheckSSL", nullptr, nullptr, 0, returned));
    EXPECT_EQ(Show(returned), "5");
    EXPECT_TRUE(Contains(server_.Request(2), kCheckSSLBody));
}

TEST_F(ClientTest, ServerFaultIsHeldByTheMessageAndIsNotAFailure) {
    server_.SetAnswer(2, Fault());
    server_.SetAnswer(3, Ok("swap r a"));
    StartAndInitialize();

    WMSOAPStructMember returned(u"kept", 1);
    ASSERT_TRUE(Swap(returned));
    EXPECT_EQ(FaultOf(client_), "SOAP-ENV:Client|No such thing|urn:the-actor");
    // Not a 200 answer: nothing is copied back.
    EXPECT_EQ(returned.GetName(), u"kept");
    EXPECT_EQ(values_[2].StringValue(), u"in-a");
    WMSOAPStructMember detail;
    EXPECT_FALSE(client_.GetFaultDetailEntry(u"urn:x", u"none", detail));

    // The next call, without NewMessage, starts clean.
    ASSERT_TRUE(Swap(returned));
    EXPECT_EQ(FaultOf(client_), "none");
    EXPECT_EQ(returned.StringValue(), u"r");
}

TEST_F(ClientTest, UnreadableAnswersFailWithAFaultAndRefusedOnesWithout) {
    std::string const body = CannedEnvelope("swap nothing");
    server_.SetAnswer(
        2, HttpAnswer("HTTP/1.1 200 OK", "text/xml; charset=utf-8", "<SOAP-ENV:Envelope <broken"));
    server_.SetAnswer(
        3, HttpAnswer("HTTP/1.0 500 Internal Server Error", "text/xml", "Internal Server Error"));
    server_.SetAnswer(4, HttpAnswer("HTTP/1.0 302 Found", "text/xml", body));
    server_.SetAnswer(5, HttpAnswer("HTTP/1.0 404 Not Found", "text/xml", body));
    server_.SetAnswer(6, HttpAnswer("HTTP/1.0 200 OK", "text/html", body));
    StartAndInitialize();

    for (int call = 0; call < 5; ++call) {
        SCOPED_TRACE(call);
        WMSOAPStructMember returned(u"kept", 1);
        EXPECT_FALSE(Swap(returned));
        EXPECT_EQ(returned.GetName(), u"kept");
        EXPECT_EQ(values_[2].StringValue(), u"in-a");
        EXPECT_EQ(FaultOf(client_),
                  call < 2 ? "SOAP-ENV:Server|XML Parser: Parse Error on Line 1.|" : "none");
    }
    // The stale request parameters of failed calls are not sent again.
    server_.Stop();
    WMSOAPStructMember returned;
    EXPECT_FALSE(Swap(returned));
}

TEST_F(ClientTest, AnswerCutShortIsUnreadable) {
    // Every answer, the probe's included, is cut 40 bytes before its end.
    std::string const answer = Ok("swap returned out-a");
    server_.SetCloseAfter(answer.size() - 40);
    server_.SetAnswer(2, answer);
    StartAndInitialize();
    WMSOAPStructMember returned;
    EXPECT_FALSE(Swap(returned));
    EXPECT_EQ(FaultOf(client_).rfind("SOAP-ENV:Server|XML Parser: Parse Error on Line ", 0), 0U);
}

TEST_F(ClientTest, HeaderEntriesTravelWithTheirCallOnlyUntilCleared) {
    server_.SetAnswer(2, Ok("swap r1 a1 session from-server"));
    server_.SetAnswer(3, Ok("swap r2 a2"));
    server_.SetAnswer(4, Ok("swap r3 a3"));
    StartAndInitialize();

    WMSOAPStructMember session(u"session", WMString(u"first-session"));
    // Namespace, actor, name: the facade's own order.
    ASSERT_TRUE(client_.SetRequestHeaderEntry(u"urn:calls:session", u"urn:some-actor", u"session",
                                              session, true));
    WMSOAPStructMember returned;
    ASSERT_TRUE(Swap(returned));
    for (char const* part :
         {"h:session", "xmlns:h=\"urn:calls:session\"", "first-session",
          "SOAP-ENV:actor=\"urn:some-actor\"", "SOAP-ENV:mustUnderstand=\"1\""}) {
        EXPECT_TRUE(Contains(server_.Request(2), part)) << part;
    }

    WMSOAPStructMember answered;
    ASSERT_TRUE(client_.GetResponseHeaderEntry(u"urn:calls:session", u"session", answered));
    EXPECT_EQ(answered.StringValue(), u"from-server");
    EXPECT_FALSE(client_.GetResponseHeaderEntry(u"urn:other", u"session", answered));

    // Set after the exchange: sent with the next call, which leaves out the answer's entry.
    WMSOAPStructMember next(u"session", WMString(u"second-session"));
    ASSERT_TRUE(client_.SetRequestHeaderEntry(u"urn:calls:session", u"", u"session", next, false));
    ASSERT_TRUE(Swap(returned));
    EXPECT_TRUE(Contains(server_.Request(3), "second-session"));
    for (char const* part :
         {"first-session", "from-server", "SOAP-ENV:mustUnderstand", "SOAP-ENV:actor"}) {
        EXPECT_FALSE(Contains(server_.Request(3), part)) << part;
    }
    EXPECT_FALSE(client_.GetResponseHeaderEntry(u"urn:calls:session", u"session", answered));

    // ClearHeaders and NewMessage each drop what was set before them.
    client_.SetRequestHeaderEntry(u"urn:calls:session", u"", u"session", session, false);
    client_.ClearHeaders();
    client_.SetRequestHeaderEntry(u"urn:calls:session", u"", u"session", session, false);
    EXPECT_TRUE(client_.NewMessage());
    ASSERT_TRUE(Swap(returned));
    EXPECT_FALSE(Contains(server_.Request(4), "SOAP-ENV:Header"));
}

TEST_F(ClientTest, CopiesCallOnTheirOwn) {
    server_.SetAnswer(2, Ok("swap original a"));
    server_.SetAnswer(3, Ok("swap copy a"));
    StartAndInitialize();
    WMSOAPClient copy(client_);
    EXPECT_TRUE(copy.IsInitialized());
    WMSOAPStructMember returned;
    ASSERT_TRUE(Swap(returned));
    EXPECT_EQ(returned.StringValue(), u"original");
    WMString names[1] = {u"a"};
    WMSOAPStructMember values[1] = {WMSOAPStructMember(u"a", WMString(u"x"))};
    ASSERT_TRUE(copy.InvokeSOAPMethod(u"swap", names, values, 1, returned));
    EXPECT_EQ(returned.StringValue(), u"copy");
    EXPECT_EQ(client_.GetXMLIn().find(u"copy"), WMString::npos);
}

TEST_F(ClientTest, TimeOutGovernsTheCalls) {
    server_.SetDelayMs(5000);
    client_.SetHTTPTimeout(200);
    // The probe times out, which Initialize shrugs off; so does the call, which fails.
    ASSERT_TRUE(client_.Initialize(Description(server_.Port()), u"Calls", u"CallsPort", u"", u"t",
                                   u"", false));
    WMSOAPStructMember returned;
    EXPECT_FALSE(Swap(returned));
    EXPECT_FALSE(client_.IsSOAPFault());
}

TEST(NameList, KeepsEmptyPiecesBeforeCommasOnly) {
    using corvane::detail::SplitNameList;
    using List = std::vector<WMString>;
    EXPECT_EQ(SplitNameList(u""), List{});
    EXPECT_EQ(SplitNameList(u"one"), List{u"one"});
    EXPECT_EQ(SplitNameList(u"a,,b"), (List{u"a", u"", u"b"}));
    EXPECT_EQ(SplitNameList(u"a,b,"), (List{u"a", u"b"}));
    EXPECT_EQ(SplitNameList(u","), List{u""});
    EXPECT_EQ(SplitNameList(u",x"), (List{u"", u"x"}));
}

}  // namespace
}  // namespace corvane::test
