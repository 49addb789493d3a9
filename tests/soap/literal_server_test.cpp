#include <corvane/server.h>
#include <corvane/wsdl.h>

#include <gtest/gtest.h>

#include "soap/deserializer_test_util.h"

using corvane::test::Show;

namespace {

constexpr char k11[] = "http://schemas.xmlsoap.org/soap/envelope/";
constexpr char k12[] = "http://www.w3.org/2003/05/soap-envelope";

std::string Envelope(std::string const& body, char const* ns = k11,
                     std::string const& header = "") {
    return std::string("<?xml version=\"1.0\"?><e:Envelope xmlns:e=\"") + ns +
           "\" xmlns:c=\"urn:cases\">" +
           (header.empty() ? "" : "<e:Header>" + header + "</e:Header>") + "<e:Body>" + body +
           "</e:Body></e:Envelope>";
}

std::string const kItem = "<c:item><c:name>n</c:name><c:count>3</c:count></c:item>";

bool Contains(std::string const& text, std::string const& part) {
    return text.find(part) != std::string::npos;
}

// The whole answer against its row of literal_answers.txt.
void ExpectAnswer(std::string const& body, std::string const& name) {
    EXPECT_EQ(body,
              deser_test::Narrow(deser_test::Golden("expected/soap/literal_answers.txt", name)))
        << name;
}

class LiteralServer : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        WMString const file = u"" CORVANE_TEST_DATA "/literal/server.wsdl";
        ASSERT_TRUE(cases.Load(file)) << deser_test::Narrow(cases.GetLoadError());
        ASSERT_TRUE(calc.Load(file, u"Cases", u"CalcPort"));
    }

    // A call in the document/literal mode on `service`.
    WMSOAPServerCall Call(WMSOAPLiteralService const& service = cases,
                          std::size_t maxOccurs = 100000) {
        WMSOAPServerCall call(deser_test::Round2Base());
        WMWireOptions wire;
        wire.standard = true;
        wire.documentLiteral = true;
        wire.maxOccurs = maxOccurs;
        call.SetWireOptions(wire);
        call.SetLiteralService(service);
        return call;
    }

    static WMSOAPLiteralService cases;
    static WMSOAPLiteralService calc;
};

WMSOAPLiteralService LiteralServer::cases;
WMSOAPLiteralService LiteralServer::calc;

TEST_F(LiteralServer, SharedRequestElementIsDispatchedByTheAction) {
    struct Case {
        char const* ns;
        char const* soapAction;
        char const* contentType;
        char16_t const* operation;
    };
    for (Case const& c :
         {Case{k11, "\"urn:add\"", "text/xml", u"add"},
          Case{k11, "urn:remove", "text/xml", u"remove"},
          // 1.2: the content type's action, whatever a SOAPAction header says.
          Case{k12, "urn:add", "application/soap+xml; action=\"urn:remove\"", u"remove"}}) {
        WMSOAPServerCall call = Call();
        ASSERT_TRUE(call.ReadRequest(Envelope(kItem, c.ns), c.soapAction, c.contentType));
        EXPECT_EQ(call.GetMethodName(), c.operation);
        WMSOAPStructMember item;
        ASSERT_TRUE(call.GetParam(u"item", item));
        EXPECT_EQ(Show(item), "{name=\"n\",count=3}");
        ASSERT_TRUE(call.SetReturnValue(WMSOAPStructMember(u"total", 4)));
        std::string body;
        EXPECT_EQ(call.WriteResponse(body), 200);
        ExpectAnswer(body, c.ns == k12 ? "total 1.2" : "total");
        EXPECT_STREQ(call.GetContentType(), c.ns == k12 ? "application/soap+xml; charset=utf-8"
                                                        : "text/xml; charset=utf-8");
    }
}

TEST_F(LiteralServer, WrappedAnswerHasReturnAndOutParamInSchemaOrder) {
    WMSOAPServerCall call = Call();
    ASSERT_TRUE(call.ReadRequest(Envelope("<c:split><c:text>abc</c:text></c:split>", k12,
                                          "<c:session e:mustUnderstand=\"true\">s1</c:session>"),
                                 "", "application/soap+xml"));
    WMSOAPStructMember value;
    ASSERT_TRUE(call.GetParam(u"text", value));
    EXPECT_EQ(value.StringValue(), u"abc");
    EXPECT_FALSE(call.GetParam(u"at", value));  // optional, absent
    ASSERT_TRUE(call.GetParam(u"session", value));
    EXPECT_EQ(value.StringValue(), u"s1");

    EXPECT_FALSE(call.SetOutParam(u"head", WMSOAPStructMember(u"x", WMString(u"a"))));
    ASSERT_TRUE(call.SetOutParam(u"tail", WMSOAPStructMember(u"x", WMString(u"bc"))));
    ASSERT_TRUE(call.SetReturnValue(WMSOAPStructMember(u"x", WMString(u"a"))));
    std::string body;
    EXPECT_EQ(call.WriteResponse(body), 200);
    ExpectAnswer(body, "split");
}

TEST_F(LiteralServer, RpcLiteralPartsAreTheWrappersUnqualifiedChildren) {
    WMSOAPServerCall call = Call(calc);
    ASSERT_TRUE(call.ReadRequest(Envelope("<s:sum xmlns:s=\"urn:calc\"><a>2</a><b>40</b></s:sum>"),
                                 "", "text/xml"));
    WMSOAPStructMember a;
    WMSOAPStructMember b;
    ASSERT_TRUE(call.GetParam(u"a", a));
    ASSERT_TRUE(call.GetParam(u"b", b));
    call.SetReturnValue(WMSOAPStructMember(u"sum", a.LongValue() + b.LongValue()));
    std::string body;
    EXPECT_EQ(call.WriteResponse(body), 200);
    ExpectAnswer(body, "sum");
}

TEST_F(LiteralServer, RequestsOutsideTheSchemaGetAFaultNamingTheCause) {
    std::vector<corvane::test::TableRow> rows =
        corvane::test::ReadTable("expected/soap/literal_refusals.txt");
    rows.push_back(
        {"",
         "=" + Envelope("<c:split><c:text/></c:split>", k11, "<c:other e:mustUnderstand=\"1\"/>"),
         "MustUnderstand|'{urn:cases}other' was not understood", "header"});
    for (corvane::test::TableRow const& row : rows) {
        // A row's input is a Body's content, or after '=' the whole request.
        std::string const input = corvane::test::Narrow(corvane::test::Unescape(row.input));
        std::string const request = input[0] == '=' ? input.substr(1) : Envelope(input);
        std::size_t const bar = row.expected.find('|');
        WMSOAPServerCall call = Call();
        EXPECT_FALSE(call.ReadRequest(request, "urn:nope", "text/xml")) << row.where;
        std::string body;
        EXPECT_EQ(call.WriteResponse(body), 500);
        EXPECT_TRUE(Contains(body, "<faultcode>SOAP-ENV:" + row.expected.substr(0, bar) + "<"))
            << row.where << body;
        EXPECT_TRUE(Contains(body, row.expected.substr(bar + 1))) << row.where << body;
    }
}

TEST_F(LiteralServer, AnswersAndFaultsTheSchemaRefusesOrTypes) {
    // A return value that is not of its type: a Receiver fault naming the element.
    WMSOAPServerCall call = Call();
    ASSERT_TRUE(call.ReadRequest(Envelope(kItem, k12), "", "application/soap+xml;action=urn:add"));
    call.SetReturnValue(WMSOAPStructMember(u"total", WMString(u"many")));
    std::string body;
    EXPECT_EQ(call.WriteResponse(body), 500);
    ExpectAnswer(body, "return refused");

    // A typed fault detail: written by the fault's element; one the schema refuses is left out.
    for (bool fits : {true, false}) {
        call = Call();
        ASSERT_TRUE(call.ReadRequest(Envelope("<c:split><c:text/></c:split>", k12), "", ""));
        call.SetFault(u"SOAP-ENV:Client", u"no split");
        WMSOAPStructType detail;
        detail.SetMember(fits ? WMSOAPStructMember(u"position", 7)
                              : WMSOAPStructMember(u"position", WMString(u"x")));
        EXPECT_FALSE(call.SetFaultDetail(u"otherFault", WMSOAPStructMember(u"d", detail)));
        ASSERT_TRUE(call.SetFaultDetail(u"splitFault", WMSOAPStructMember(u"d", detail)));
        EXPECT_EQ(call.WriteResponse(body), 500);
        ExpectAnswer(body, fits ? "detail" : "detail refused");
    }
}

TEST_F(LiteralServer, RepeatedElementsBeyondTheLimitAreRefused) {
    WMSOAPLiteralService echo;
    ASSERT_TRUE(echo.Load(u"" CORVANE_TEST_DATA "/../peers/doclit/echo_doclit.wsdl"));
    for (int count : {2, 3}) {
        std::string values;
        for (int i = 0; i < count; ++i) {
            values += "<t:value>v</t:value>";
        }
        WMSOAPServerCall call = Call(echo, 2);
        bool const read = call.ReadRequest(
            Envelope("<t:echoStrings xmlns:t=\"urn:corvane:echo\">" + values + "</t:echoStrings>"),
            "", "text/xml");
        EXPECT_EQ(read, count == 2);
        std::string body;
        call.WriteResponse(body);
        EXPECT_EQ(Contains(body, "'value'"), count == 3) << body;
    }
}

TEST_F(LiteralServer, WithoutTheSettingTheDefaultPathAnswersByteForByte) {
    // A service given, but only the standard mode on: the call is today's.
    std::string const request = Envelope(kItem);
    std::string answers[2];
    for (int i = 0; i < 2; ++i) {
        WMSOAPServerCall call(deser_test::Round2Base());
        WMWireOptions wire;
        wire.standard = true;
        call.SetWireOptions(wire);
        if (i == 1) {
            call.SetLiteralService(cases);
        }
        EXPECT_FALSE(call.ReadRequest(request, "\"urn:add\"", "text/xml"));
        call.WriteResponse(answers[i]);
        EXPECT_STREQ(call.GetContentType(), "text/xml; charset=utf-8");
    }
    EXPECT_EQ(answers[0], answers[1]);
    EXPECT_TRUE(Contains(answers[0], "Unrecognized method call received.")) << answers[0];
}

}  // namespace
