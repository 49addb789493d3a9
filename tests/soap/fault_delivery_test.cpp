// How a fault leaves each operation that reads an envelope: always as a pointer to a heap
// WMSOAPFault that the caller deletes, never as a value, a line number or another exception.
// Then the message's own state, lists and copies.
#include <corvane/deserializer.h>
#include <corvane/message.h>
#include <corvane/xml.h>
#include <gtest/gtest.h>

#include <exception>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "soap/deserializer_test_util.h"

using namespace deser_test;

namespace {

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
    EXPECT_EQ(*message.GetBufferPtr(), u"<kept/>");
    EXPECT_EQ(flags(), "100111011");
    EXPECT_EQ(message.GetServiceName(), u"svc");
    EXPECT_EQ(message.GetPortName(), u"port");
    EXPECT_EQ(message.GetSOAPAction(), u"\"act\"");

    // The length is not consulted: the text runs to its terminating zero.
    WMChar text[] = u"<a>longer</a>";
    message.Initialize(text, 3, u"", u"", u"urn:me", u"", u"http://next/", false);
    EXPECT_EQ(*message.GetBufferPtr(), u"<a>longer</a>");
    EXPECT_EQ(message.GetBufferLength(), 13u);
    EXPECT_EQ(flags(), "100100111");
    message.SetActorURI(u"");
    EXPECT_TRUE(message.IsDefaultActor());
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
    EXPECT_EQ(message.GetNumFaultHeaderElems(), 0);
    EXPECT_EQ(message.GetNumFaultHeaderElemsLit(), 0);

    WMSOAPMessage fresh;
    WMString xml = u"kept";
    EXPECT_FALSE(fresh.GetBodyElemLit(xml));
    EXPECT_EQ(xml, u"kept");
}

TEST(MessageEntries, LookUpMatchesNamespaceAndNameExactly) {
    WMSOAPMessage message;
    WMSOAPStructMember first = WMSOAPStructMember(u"v", u"first");
    WMSOAPStructMember second = WMSOAPStructMember(u"v", u"second");
    message.AddHeaderElem(u"urn:a", u"auth", false, first, u"");
    message.AddHeaderElem(u"urn:a", u"auth", true, second, u"");
    WMSOAPStructMember out;
    EXPECT_FALSE(message.GetHeaderElem(u"urn:b", u"auth", out));
    EXPECT_FALSE(message.GetHeaderElem(u"urn:a", u"Auth", out));
    ASSERT_TRUE(message.GetHeaderElem(u"urn:a", u"auth", out));
    EXPECT_EQ(out.StringValue(), u"first");

    message.AddHeaderElemLit(u"urn:a", u"raw", u"<a:raw xmlns:a='urn:a'/>", true, u"x", u"");
    WMString xml;
    EXPECT_FALSE(message.GetHeaderElemLit(u"", u"raw", xml));
    ASSERT_TRUE(message.GetHeaderElemLit(u"urn:a", u"raw", xml));
    EXPECT_EQ(xml, u"<a:raw xmlns:a='urn:a'/>");

    message.AddFaultDetailElem(u"urn:d", u"info", first);
    EXPECT_FALSE(message.GetFaultDetailElem(u"urn:x", u"info", out));
    EXPECT_TRUE(message.GetFaultDetailElem(u"urn:d", u"info", out));

    message.ClearHeaderElems();  // encoded and literal alike
    EXPECT_EQ(message.GetNumHeaderElems(), 0);
    EXPECT_EQ(message.GetNumHeaderElemsLit(), 0);
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
    EXPECT_EQ(original.GetNumHeaderElems(), 1);
    WMString xml;
    original.GetBodyElemLit(xml);
    EXPECT_EQ(xml, u"<b/>");
    EXPECT_EQ(copy.GetMethodName(), u"Add");

    WMXMLElement* root = copy.DetachRootElement();
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->GetQualifiedName(), u"root");
    EXPECT_EQ(copy.DetachRootElement(), nullptr);
    delete root;

    copy = original;
    EXPECT_EQ(copy.GetNumHeaderElems(), 1);
    copy.GetBodyElemLit(xml);
    EXPECT_EQ(xml, u"<b/>");
}

}  // namespace
