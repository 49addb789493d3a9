// Envelopes read through WMSOAPMessage::Deserialize and ProcessRPC: responses as the client
// reads them, then requests as a server does, hostile envelopes, and how faults leave.
#include <corvane/deserializer.h>
#include <corvane/message.h>
#include <corvane/xml.h>
#include <corvane/xml_parser.h>
#include <gtest/gtest.h>

#include <exception>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "soap/deserializer_test_util.h"

using namespace deser_test;

namespace {

TEST(ResponseCaptures, PeerAnswersDecodeToTheValuesSent) {
    for (corvane::test::TableRow const& row :
         corvane::test::ReadTable("expected/soap/captures.txt")) {
        SCOPED_TRACE(row.where);
        std::size_t const space = row.input.find(' ');
        std::size_t const bar = row.expected.find(" | ");
        WMSOAPWSDLClient& wsdl =
            row.section == "round2_groupB" ? Round2GroupB()
            : row.section == "round2_base_ssl"
                ? Wsdl("../../peers/php/round2_base_ssl.wsdl", u"InteropTest", u"InteropTestPort")
                : Round2Base();
        // A peer's answer decodes without a fault to the return value and out-parameters.
        WMSOAPMessage message;
        auto const thrown = DecodeResponse(message, wsdl, Wide(row.input.substr(space + 1)),
                                           ReadText("peers/" + row.input.substr(0, space)));
        ASSERT_FALSE(thrown) << thrown->code << " " << thrown->text;
        EXPECT_FALSE(message.IsSOAPFault());
        EXPECT_EQ(Show(message.GetReturnValue()), row.expected.substr(0, bar));
        EXPECT_EQ(ShowParams(message),
                  bar == std::string::npos ? "" : row.expected.substr(bar + 3));
    }
}

// Answers whose references are checked for shape: a value of the right kind, every reference
// followed. (Two more, with their full values, are in the captures table.)
TEST(ResponseCaptures, MultiReferenceAnswers) {
    for (auto const& row : corvane::test::ReadTable("expected/soap/multiref.txt")) {
        SCOPED_TRACE(row.where);
        WMSOAPMessage message;
        auto const thrown = DecodeResponse(message, Round2Base(), Wide(row.expected),
                                           ReadText("peers/" + row.input));
        ASSERT_FALSE(thrown) << thrown->code << " " << thrown->text;
        std::string const shown = Show(message.GetReturnValue());
        EXPECT_EQ(shown.find("nil"), std::string::npos) << shown;
        EXPECT_NE(shown.find("varString=\""), std::string::npos) << shown;
    }
}

TEST(ResponseFaults, PeerFaultsAreRecordedWithTheirDetail) {
    // The detail entry is described by the operation's fault message; the Latin-1 request's
    // answer is a fault without detail.
    for (char const* file :
         {"peers/php/fault.xml", "peers/soaplite/fault.xml", "peers/php/echoStringLatin1.xml"}) {
        WMSOAPMessage message;
        ASSERT_FALSE(DecodeResponse(message, Round2Base(), u"echoString", ReadText(file)));
        ExpectDump(message, file);
    }
}

TEST(ResponseFaults, DocumentThatIsNoEnvelopeIsAnEmptyAnswer) {
    WMSOAPMessage empty;
    EXPECT_FALSE(DecodeResponse(empty, Round2Base(), u"echoString", u"<html><p>x</p></html>"));
    EXPECT_EQ(empty.GetNumMethodParams(), 0);
    WMString body;
    EXPECT_FALSE(empty.GetBodyElemLit(body));
}

TEST(ResponseBody, LiteralBodyCarriesItsEffectiveEncoding) {
    WMSOAPMessage message;
    ASSERT_FALSE(DecodeResponse(message, Round2Base(), u"echoInteger",
                                Envelope("<ns1:echoIntegerResponse><r xsi:type='xsd:int'>5</r>"
                                         "</ns1:echoIntegerResponse>")));
    ExpectDump(message, "LiteralBodyCarriesItsEffectiveEncoding");
}

TEST(ResponseHeaders, LiteralEncodedAndActorHandling) {
    WMSOAPMessage message;
    message.SetActorURI(u"urn:me");
    std::string const header =
        // Not SOAP-encoded: kept as text, with its mustUnderstand flag and no fault.
        "<h:lit xmlns:h='urn:x' SOAP-ENV:encodingStyle='' SOAP-ENV:mustUnderstand='1'>"
        "<in>t</in></h:lit>"
        // Described by the output header part "status" (xsd:float).
        "<h:status xmlns:h='urn:hdr' "
        "SOAP-ENV:actor='http://schemas.xmlsoap.org/soap/actor/next' "
        "SOAP-ENV:mustUnderstand='true'>2.5</h:status>"
        // Encoded but undescribed: literal as well.
        "<h:other xmlns:h='urn:x'>3</h:other>"
        // A struct described by the part "info".
        "<h:info xmlns:h='urn:hdr' SOAP-ENV:mustUnderstand='1'><a>4</a><b>four</b></h:info>";
    ASSERT_FALSE(DecodeResponse(message, Calc(), u"add",
                                Envelope("<m:addResponse xmlns:m='urn:calc'/>", header)));
    // "true" does not set mustUnderstand; the actor ".../next" becomes the message's own; the
    // effective encoding is written onto the kept literal element.
    ExpectDump(message, "LiteralEncodedAndActorHandling");
}

// The faults of header entries are in the fault table below.
TEST(ResponseHeaders, ReferenceIntoTheBodyResolves) {
    // A base64 type meets any other base64 type.
    WMSOAPMessage message;
    ASSERT_FALSE(DecodeResponse(message, Calc(), u"add",
                                Envelope("<m:addResponse xmlns:m='urn:calc'/><v id='v1'>7.5</v>",
                                         "<h:status xmlns:h='urn:hdr' href='#v1'/>")));
    ExpectDump(message, "ReferenceIntoTheBodyResolves");
}

TEST(ResponseFaults, FaultHeadersAndDescribedDetails) {
    WMSOAPMessage message;
    std::string const body =
        "<SOAP-ENV:Fault><faultcode>SOAP-ENV:Server</faultcode><faultstring>big</faultstring>"
        "<detail><overflow><a>9</a><b>nine</b></overflow><note xsi:type='xsd:int'>3</note>"
        "</detail></SOAP-ENV:Fault>";
    // In a fault answer the header part is looked up among the header faults.
    ASSERT_FALSE(DecodeResponse(message, Calc(), u"add",
                                Envelope(body, "<h:token xmlns:h='urn:hdr'>12</h:token>")));
    // "note" is undescribed and read by its own type.
    ExpectDump(message, "FaultHeadersAndDescribedDetails");
}

TEST(ResponseParameters, ReturnValueAndOutParametersByParameterOrder) {
    // "sum" is not in parameterOrder: the return value. "carry" and "note" are listed.
    WMSOAPMessage message;
    ASSERT_FALSE(
        DecodeResponse(message, Calc(), u"add",
                       Envelope("<m:addResponse xmlns:m='urn:calc'><sum>5</sum><carry>1</carry>"
                                "<note><a>1</a><b>x</b></note></m:addResponse>")));
    EXPECT_EQ(Show(message.GetReturnValue()), "5");
    EXPECT_EQ(ShowParams(message), "carry>=1 note>={a=1,b=\"x\"}");
    // A first child that is a listed parameter is no return value.
    WMSOAPMessage listed;
    ASSERT_FALSE(DecodeResponse(listed, Calc(), u"add",
                                Envelope("<m:addResponse xmlns:m='urn:calc'><carry>1</carry>"
                                         "<sum>5</sum></m:addResponse>")));
    EXPECT_EQ(Show(listed.GetReturnValue()), "nil");
    EXPECT_EQ(ShowParams(listed), "carry>=1 sum>=5");
}

TEST(ResponseReuse, EachResponseStartsFromAFreshTree) {
    WMSOAPMessage message;
    ASSERT_FALSE(DecodeResponse(message, Round2Base(), u"echoInteger",
                                ReadText("peers/php/echoInteger.xml")));
    ASSERT_TRUE(DecodeResponse(message, Round2Base(), u"echoInteger", u"<a>"));
    ASSERT_FALSE(DecodeResponse(message, Round2Base(), u"echoString",
                                ReadText("peers/soaplite/echoString.xml")));
    EXPECT_EQ(Show(message.GetReturnValue()), "\"Hello <world> & \"peers\"\"");
    EXPECT_EQ(message.GetNumMethodParams(), 0);
}

WMString CalcRequest(std::string const& method, std::string const& params,
                     std::string const& header = std::string()) {
    return Envelope("<m:" + method + " xmlns:m='urn:calc'>" + params + "</m:" + method + ">",
                    header);
}

TEST(RequestCaptures, ClientRequestsDecodeOnTheServerSide) {
    for (auto const& row : corvane::test::ReadTable("expected/soap/requests.txt")) {
        SCOPED_TRACE(row.where);
        WMSOAPMessage message;
        auto const thrown = DecodeRequest(message, Round2Base(), u"\"http://\"",
                                          ReadText("../peers/requests/" + row.input));
        ASSERT_FALSE(thrown) << thrown->code << " " << thrown->text;
        EXPECT_EQ(Narrow(message.GetMethodNS()), "http://soapinterop.org/");
        EXPECT_EQ(ShowParams(message), row.expected);
    }
}

TEST(RequestParameters, OutOnlyPlaceholdersTakeTheirParameterOrderPlaces) {
    WMSOAPMessage message;
    ASSERT_FALSE(DecodeRequest(message, Calc(), u"\"urn:calc#add\"",
                               CalcRequest("add", "<x>1</x><y>2</y>")));
    EXPECT_EQ(Narrow(message.GetMethodNS() + u" " + message.GetMethodName()), "urn:calc add");
    // "sum" is the return value, filled by the server; "carry" and "note" are placeholders.
    EXPECT_EQ(ShowParams(message), "x<=1 carry>=0 y<=2 note>={}");

    // The request tree is not reset between requests: a second request on the same message,
    // after a broken one, reads its own parameters (its method element is an independent
    // element, and the first request's parameters are read again).
    ASSERT_TRUE(DecodeRequest(message, Calc(), u"\"urn:calc#add\"", u"<broken"));
    message.ClearMethodParams();
    ASSERT_FALSE(DecodeRequest(message, Calc(), u"\"urn:calc#add\"",
                               CalcRequest("add", "<x>5</x><y>6</y>")));
    EXPECT_EQ(ShowParams(message), "x<=5 carry>=0 y<=6 note>={}");

    // The client's request with several out parts listed in parameterOrder.
    WMSOAPMessage groupB;
    ASSERT_FALSE(DecodeRequest(groupB, Round2GroupB(), u"\"http://soapinterop.org/\"",
                               ReadText("../peers/requests/groupB/echoStructAsSimpleTypes.xml")));
    EXPECT_EQ(ShowParams(groupB),
              "inputStruct<={varString=\"split me\",varInt=12,varFloat=3.25} "
              "outputString>=\"\" outputInteger>=0 outputFloat>=0");
}

TEST(RequestHeaders, EncodedAndLiteralEntries) {
    WMSOAPMessage message;
    ASSERT_FALSE(DecodeRequest(
        message, Calc(), u"\"urn:calc#add\"",
        CalcRequest("add", "<x>1</x><y>2</y>",
                    "<h:token xmlns:h='urn:hdr' SOAP-ENV:mustUnderstand='1'>77</h:token>"
                    "<h:free xmlns:h='urn:hdr' SOAP-ENC:root='0'>x</h:free>")));
    ExpectDump(message, "EncodedAndLiteralEntries");
}

// Hostile input: reference cycles, shared references that would expand exponentially, and
// reference chains deeper than the parser's depth limit end in faults. (Nesting in the text
// itself is the parser's: tests/xml/parser_test.cpp.)
// An echo response whose return value (a Node) is `ret`, followed by independent elements.
WMString EchoResponse(std::string const& ret, std::string const& independent) {
    return Envelope("<m:echoResponse xmlns:m='urn:calc'>" + ret + "</m:echoResponse>" +
                    independent);
}

WMString EchoRequest(std::string const& node, std::string const& independent) {
    return Envelope("<m:echo xmlns:m='urn:calc'>" + node + "</m:echo>" + independent);
}

struct Hostile {
    char const* what;
    std::string value;  // of the parameter `name`
    std::string independent;
    bool badReference;  // else too deep or too large to convert
};

std::vector<Hostile> Cases(std::string const& name) {
    return {
        {"self", "<" + name + " id='r' href='#r'/>", "", true},
        {"ancestor",
         "<" + name + " id='r'><value>1</value><next><value>2</value><next href='#r'/></next></" +
             name + ">",
         "", true},
        {"ring", "<" + name + " href='#a'/>",
         Node("a", "<next href='#b'/>") + Node("b", "<next href='#c'/>") +
             Node("c", "<next href='#a'/>"),
         true},
        {"shared", "<" + name + " href='#l0'/>", Diamond(30), false},
        // Independent elements nested by reference beyond the depth limit.
        {"deep", "<" + name + " href='#c0'/>", Chain(WMXMLParser::kMaxNestingDepth + 20), false},
    };
}

TEST(HostileReferences, CyclesExpansionAndDepthEndInFaults) {
    // The same values as the response's "return" and as the request's "node" parameter.
    for (bool const response : {true, false}) {
        std::string const name = response ? "return" : "node";
        for (Hostile const& c : Cases(name)) {
            SCOPED_TRACE(name + " " + c.what);
            WMSOAPMessage message;
            auto const thrown =
                response
                    ? DecodeResponse(message, Calc(), u"echo", EchoResponse(c.value, c.independent))
                    : DecodeRequest(message, Calc(), u"\"\"", EchoRequest(c.value, c.independent));
            ASSERT_TRUE(thrown);
            EXPECT_EQ(thrown->code, "SOAP-ENV:Server");
            EXPECT_EQ(thrown->text,
                      c.badReference
                          ? (response ? "Method parameter: 'return' has invalid reference."
                                      : "Parameter: 'node' has invalid reference.")
                          : "Failed to convert parameter: '" + name + "' in " +
                                (response ? "Response" : "Request") + " Body.");
        }
    }
}

TEST(HostileResponses, SharedReferencesWithinTheBudgetAreExpanded) {
    // A diamond of modest size is legitimate and reads completely.
    WMSOAPMessage message;
    ASSERT_FALSE(
        DecodeResponse(message, Calc(), u"echo", EchoResponse("<return href='#l0'/>", Diamond(6))));
    std::string const shown = Show(message.GetReturnValue());
    std::size_t leaves = 0;
    for (std::size_t at = shown.find("value=1"); at != std::string::npos;
         at = shown.find("value=1", at + 1)) {
        ++leaves;
    }
    EXPECT_EQ(leaves, 127u);  // 2^7 - 1 nodes
}

// How a fault leaves each operation that reads an envelope: always as a pointer to a heap
// WMSOAPFault that the caller deletes, never as a value, a line number or another exception.
// Then the message's own state, lists and copies.
// What came out of an operation: nothing, or the form and content of what was thrown.
struct Outcome {
    std::string form = "nothing";
    std::string code;
    std::string text;
    bool flag = false;
};

template <class Operation>
Outcome Catch(Operation operation) {
    Outcome outcome;
    try {
        operation();
    } catch (WMSOAPFault* raised) {
        std::unique_ptr<WMSOAPFault> fault(raised);
        outcome.form = "WMSOAPFault*";
        outcome.code = Narrow(fault->GetFaultCode());
        outcome.text = Narrow(fault->GetFaultString());
        outcome.flag = fault->GetNeedDetail();
    } catch (WMSOAPFault const& fault) {
        outcome.form = "WMSOAPFault by value";
        outcome.text = Narrow(fault.GetFaultString());
    } catch (int line) {
        outcome.form = "int " + std::to_string(line);
    } catch (std::exception const& error) {
        outcome.form = std::string("std::exception: ") + error.what();
    } catch (...) {
        outcome.form = "something else";
    }
    return outcome;
}

struct Case {
    bool request;
    WMSOAPWSDLClient& (*wsdl)();
    std::string operation;
    std::string soapAction;  // request side only
    WMString text;
    std::string code;
    std::string string;
    bool flag;
    // Raised by WMSOAPMessage::ProcessRPC itself, not by a deserializer.
    bool messageOnly;
};

// The fields of `text` between '|', without the spaces around them.
std::vector<std::string> Fields(std::string const& text) {
    std::vector<std::string> fields;
    std::istringstream in(text);
    for (std::string field; std::getline(in, field, '|');) {
        std::size_t const first = field.find_first_not_of(' ');
        fields.push_back(first == std::string::npos
                             ? ""
                             : field.substr(first, field.find_last_not_of(' ') + 1 - first));
    }
    fields.resize(3);
    return fields;
}

// One case of each place that raises a fault while an envelope is read, on both sides.
std::vector<Case> const& Cases() {
    static std::vector<Case> const cases = [] {
        std::vector<Case> read;
        for (auto const& row : corvane::test::ReadTable("expected/soap/faults.txt")) {
            std::vector<std::string> const in = Fields(row.input);
            std::vector<std::string> const out = Fields(row.expected);
            std::istringstream words(in[0]);
            std::string side, wsdl, operation, action, wrap;
            words >> side >> wsdl >> operation >> action >> wrap;
            WMString text;
            if (wrap == "raw") {
                std::string body = in[1];
                for (std::size_t at; (at = body.find("\\n")) != std::string::npos;) {
                    body.replace(at, 2, "\n");
                }
                text = Wide(body);
            } else if (wrap == "env") {
                text = Envelope(in[1], in[2]);
            } else {
                std::string const element = "m:" + wrap.substr(wrap.find(':') + 1);
                text = Envelope(
                    "<" + element + " xmlns:m='urn:calc'>" + in[1] + "</" + element + ">", in[2]);
            }
            read.push_back({side == "request", wsdl == "calc" ? Calc : Round2Base, operation,
                            action == "-" ? "" : action, text, out[0], out[1], out[2] == "detail",
                            out[2] == "message"});
        }
        EXPECT_EQ(read.size(), 25u);
        return read;
    }();
    return cases;
}

void ExpectFault(Outcome const& outcome, Case const& c) {
    EXPECT_EQ(outcome.form, "WMSOAPFault*");
    EXPECT_EQ(outcome.code, c.code);
    EXPECT_EQ(outcome.text, c.string);
    EXPECT_EQ(outcome.flag, c.flag);
}

TEST(FaultDelivery, MessageDeserializeAndProcessRPCThrowAHeapFault) {
    for (Case const& c : Cases()) {
        SCOPED_TRACE(Narrow(c.text));
        WMSOAPMessage message;
        WMString buffer = c.text;
        if (c.request) {
            message.Initialize(buffer.data(), 0, WMString(), WMString(), WMString(),
                               Wide(c.soapAction), WMString(), false);
        } else {
            message.SetBuffer(buffer);
            message.SetRequestPhase(false);
        }
        // Without a method element a request keeps the name it had.
        message.SetMethodName(Wide(c.operation));
        ExpectFault(Catch([&] {
                        message.Deserialize(c.wsdl());
                        message.ProcessRPC(c.wsdl());
                    }),
                    c);
    }
}

TEST(FaultDelivery, ExportedDeserializersThrowTheSameHeapFault) {
    for (Case const& c : Cases()) {
        if (c.messageOnly) {
            continue;
        }
        SCOPED_TRACE(Narrow(c.text));
        WMSOAPMessage message;
        message.SetBuffer(c.text);
        message.SetMethodName(Wide(c.operation));
        ExpectFault(Catch([&] {
                        if (c.request) {
                            WMSOAPReqDeserializer reader;
                            reader.Deserialize(message, c.wsdl());
                            reader.ProcessRPCRequest(message, c.wsdl());
                        } else {
                            WMSOAPRespDeserializer reader;
                            reader.Deserialize(message, c.wsdl());
                            reader.ProcessRPCResponse(message, c.wsdl());
                        }
                    }),
                    c);
    }
}

TEST(MessageSetup, NewMessageStateAndInitialize) {
    // Local fault, no fault, not literal, response, implicit typing, default actor, ultimate
    // receiver, RPC, checks mustUnderstand.
    WMSOAPMessage message;
    auto const flags = [&message] {
        std::string out;
        for (bool flag :
             {message.IsLocalFault(), message.IsSOAPFault(), message.IsLiteralFault(),
              message.IsRequestPhase(), message.UseExplicitTyping(), message.IsDefaultActor(),
              message.IsIntermediary(), message.IsRPCStyle(), message.CheckMustUnderstand()}) {
            out += flag ? '1' : '0';
        }
        return out;
    };
    EXPECT_EQ(flags(), "100001011");

    message.SetBuffer(u"<kept/>");
    EXPECT_TRUE(message.Initialize(nullptr, 0, u"svc", u"port", u"", u"\"act\"", u"", true));
    EXPECT_EQ(flags(), "100111011");
    EXPECT_EQ(*message.GetBufferPtr() + message.GetServiceName() + u"|" + message.GetPortName() +
                  message.GetSOAPAction(),
              u"<kept/>svc|port\"act\"");

    // The length is not consulted: the text runs to its terminating zero.
    WMChar text[] = u"<a>longer</a>";
    message.Initialize(text, 3, u"", u"", u"urn:me", u"", u"http://next/", false);
    EXPECT_EQ(flags() + deser_test::Narrow(*message.GetBufferPtr()) +
                  std::to_string(message.GetBufferLength()),
              "100100111<a>longer</a>13");
    message.SetActorURI(u"");
    EXPECT_EQ(flags(), "100101111");
}

TEST(MessageFault, FlagsMoveAsFaultsAreSetAndCleared) {
    // A received literal fault shares its one slot with the literal body; a fault set after it
    // leaves the local flag as it was; clearing the fault keeps the literal body.
    WMSOAPMessage message;
    message.SetLocalFaultFlag(false);
    message.SetSOAPFaultLit(u"<SOAP-ENV:Body/>", u"enc");
    deser_test::ExpectDump(message, "FaultLiteral");
    message.SetSOAPFault(u"SOAP-ENV:Client", u"bad", u"urn:actor", true);
    WMSOAPStructMember value = WMSOAPStructMember(u"v", u"x");
    message.AddFaultDetailElem(u"urn:d", u"why", value);
    message.AddFaultHeaderElem(u"urn:h", u"h", value, true, u"");
    message.AddFaultHeaderElemLit(u"urn:h", u"l", u"<l/>", false, u"", u"");
    deser_test::ExpectDump(message, "FaultSet");
    message.ClearSOAPFault();
    deser_test::ExpectDump(message, "FaultCleared");
    EXPECT_EQ(message.GetNumFaultHeaderElems() + message.GetNumFaultHeaderElemsLit(), 0);

    WMString xml = u"kept";
    EXPECT_FALSE(WMSOAPMessage().GetBodyElemLit(xml) || xml != u"kept");
}

TEST(MessageEntries, LookUpMatchesNamespaceAndNameExactly) {
    WMSOAPMessage message;
    WMSOAPStructMember first = WMSOAPStructMember(u"v", u"first");
    WMSOAPStructMember second = WMSOAPStructMember(u"v", u"second");
    message.AddHeaderElem(u"urn:a", u"auth", false, first, u"");
    message.AddHeaderElem(u"urn:a", u"auth", true, second, u"");
    message.AddHeaderElemLit(u"urn:a", u"raw", u"<a:raw xmlns:a='urn:a'/>", true, u"x", u"");
    message.AddFaultDetailElem(u"urn:d", u"info", first);
    WMSOAPStructMember out;
    WMString xml;
    EXPECT_FALSE(message.GetHeaderElem(u"urn:b", u"auth", out) ||
                 message.GetHeaderElem(u"urn:a", u"Auth", out) ||
                 message.GetHeaderElemLit(u"", u"raw", xml) ||
                 message.GetFaultDetailElem(u"urn:x", u"info", out));
    ASSERT_TRUE(message.GetHeaderElem(u"urn:a", u"auth", out) &&
                message.GetHeaderElemLit(u"urn:a", u"raw", xml));
    EXPECT_EQ(out.StringValue() + u" " + xml, u"first <a:raw xmlns:a='urn:a'/>");
    EXPECT_TRUE(message.GetFaultDetailElem(u"urn:d", u"info", out));

    message.ClearHeaderElems();  // encoded and literal alike
    EXPECT_EQ(message.GetNumHeaderElems() + message.GetNumHeaderElemsLit(), 0);
}

TEST(MessageEntries, IterationKeepsOrderAndStopsAtTheEnd) {
    WMSOAPMessage message;
    message.AddMethodParam(u"", u"x", WMSOAPStructMember(u"x", 1), true, false);
    message.AddMethodParam(u"", u"x", WMSOAPStructMember(u"x", 2), false, true);
    EXPECT_EQ(deser_test::ShowParams(message), "x<=1 x>=2");

    // The walk starts at 0 whatever the position held; at the end it leaves everything alone.
    WMString ns, name, xml, actor, style;
    WMSOAPStructMember value;
    bool in = false, out = false, mustUnderstand = false;
    long position = 7;
    ASSERT_TRUE(message.GetFirstMethodParam(ns, name, value, in, out, position));
    EXPECT_EQ(position, 0);
    ASSERT_TRUE(message.GetNextMethodParam(ns, name, value, in, out, position));
    EXPECT_FALSE(message.GetNextMethodParam(ns, name, value, in, out, position));
    EXPECT_EQ(position, 1);
    EXPECT_EQ(value.LongValue(), 2);
    EXPECT_FALSE(
        message.GetFirstHeaderElemLit(ns, name, xml, mustUnderstand, actor, style, position));
    EXPECT_EQ(position, 1);

    message.AddFaultHeaderElemLit(u"urn:h", u"a", u"<a/>", true, u"urn:act", u"urn:enc");
    ASSERT_TRUE(
        message.GetFirstFaultHeaderElemLit(ns, name, xml, mustUnderstand, actor, style, position));
    EXPECT_EQ(deser_test::Narrow(ns + u"|" + name + u"|" + xml + u"|" + actor + u"|" + style),
              "urn:h|a|<a/>|urn:act|urn:enc");
    EXPECT_TRUE(mustUnderstand);
    EXPECT_FALSE(
        message.GetNextFaultHeaderElemLit(ns, name, xml, mustUnderstand, actor, style, position));

    message.ClearMethodParams();
    EXPECT_FALSE(message.GetFirstMethodParam(ns, name, value, in, out, position));
}

TEST(MessageCopy, CopiesAreDeepAndIndependent) {
    WMSOAPMessage original;
    WMSOAPStructMember value = WMSOAPStructMember(u"v", u"one");
    original.AddHeaderElem(u"urn:a", u"h", true, value, u"actor");
    original.SetBodyElemLit(u"<b/>", u"");
    original.SetMethodName(u"Add");
    original.SetRootElement(new WMXMLElement(u"root"));

    WMSOAPMessage copy(original);
    copy.ClearHeaderElems();
    copy.SetBodyElemLit(u"<c/>", u"");
    // Header count, literal body and method name.
    auto const show = [](WMSOAPMessage& message) {
        WMString xml;
        message.GetBodyElemLit(xml);
        return std::to_string(message.GetNumHeaderElems()) +
               deser_test::Narrow(xml + message.GetMethodName());
    };
    EXPECT_EQ(show(original) + " " + show(copy), "1<b/>Add 0<c/>Add");

    std::unique_ptr<WMXMLElement> root(copy.DetachRootElement());
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->GetQualifiedName(), u"root");
    EXPECT_EQ(copy.DetachRootElement(), nullptr);

    copy = original;
    EXPECT_EQ(show(copy), "1<b/>Add");
}

}  // namespace
