// Document/literal calls against PHP's SoapServer in WSDL mode and gSOAP's server generated from
// the same description, on loopback (tests/peers/doclit): values by the schema both ways, typed
// fault detail, values refused before sending, and the default that still refuses a
// document-style operation.
#include <corvane/client.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "support/loopback.h"
#include "support/support.h"
#include "support/values.h"

namespace corvane::test {
namespace {

using DataType = WMSOAPStructMember::SOAPDataMember::DATATYPE;

struct RunningPeer {
    Peer process;
    TempDir files;
    WMString wsdlLocation;
    bool up = false;
};

// gSOAP serves no description: the client reads the peer's file with the address set to the port.
WMString LocalDescription(const TempDir& files, const std::string& port) {
    std::string text = ReadFile(DataPath("../peers/doclit/echo_doclit.wsdl"));
    std::string const address = "http://127.0.0.1/echo";
    text.replace(text.find(address), address.size(), "http://127.0.0.1:" + port + "/echo");
    return u"file://" + Widen(files.Write("echo_doclit.wsdl", text));
}

RunningPeer& PeerOf(const std::string& kind) {
    static std::map<std::string, std::unique_ptr<RunningPeer>> peers;
    auto& slot = peers[kind];
    if (!slot) {
        slot = std::make_unique<RunningPeer>();
        std::string const port = std::to_string(UnusedPort());
#ifdef CORVANE_GSOAP_DOCLIT_PEER
        if (kind == "gsoap-doclit") {
            slot->up = slot->process.Start(kind + " " + port + " '" CORVANE_GSOAP_DOCLIT_PEER "'");
            slot->wsdlLocation = LocalDescription(slot->files, port);
            return *slot;
        }
#endif
        slot->up = slot->process.Start(kind + " " + port);
        slot->wsdlLocation = u"http://127.0.0.1:" + Widen(port) + u"/?wsdl";
    }
    return *slot;
}

WMWireOptions Literal(bool on) {
    WMWireOptions wire;
    wire.standard = true;
    wire.documentLiteral = on;
    return wire;
}

class LiteralCall : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        RunningPeer& peer = PeerOf(GetParam());
        ASSERT_TRUE(peer.up) << "the " << GetParam() << " server did not start";
        client_.SetWireOptions(Literal(true));
        WMString const port = GetParam() == "doclit12" ? u"EchoSoap12Port" : u"EchoPort";
        ASSERT_TRUE(
            client_.Initialize(peer.wsdlLocation, u"EchoService", port, u"", u"test", u"", false));
    }

    // Calls `operation` with one parameter; its return value, or a failure.
    ::testing::AssertionResult Call(const WMString& operation, const WMString& name,
                                    WMSOAPStructMember value, WMSOAPStructMember& returned) {
        WMString names[1] = {name};
        WMSOAPStructMember values[1] = {std::move(value)};
        if (!client_.InvokeSOAPMethod(operation, names, values, 1, returned)) {
            return ::testing::AssertionFailure()
                   << "call failed: " << FaultOf(client_) << "; sent "
                   << Narrow(*client_.GetXMLOut()) << "; received " << Narrow(client_.GetXMLIn());
        }
        if (client_.IsSOAPFault()) {
            return ::testing::AssertionFailure() << "fault: " << FaultOf(client_);
        }
        return ::testing::AssertionSuccess();
    }

    WMSOAPClient client_;
};

WMSOAPStructType Item(const char16_t* id, const char16_t* name, int count, double price) {
    WMSOAPStructType item;
    item.SetMember(u"@id", WMString(id));
    item.SetMember(u"name", WMString(name));
    item.SetMember(u"count", count);
    item.SetMember(u"price", price);
    return item;
}

TEST_P(LiteralCall, EchoesEveryShapeExactly) {
    WMSOAPStructMember returned;
    ASSERT_TRUE(
        Call(u"echoString", u"text", WMSOAPStructMember(u"", WMString(u"a<b>&\u00e9")), returned));
    EXPECT_EQ(returned.StringValue(), u"a<b>&\u00e9");

    ASSERT_TRUE(Call(u"echoInt", u"value", WMSOAPStructMember(u"", -2147483647 - 1), returned));
    EXPECT_EQ(returned.GetDataType(), DataType::SOAP_LONG);
    EXPECT_EQ(returned.LongValue(), -2147483647 - 1);

    WMSOAPStructType const item = Item(u"i1", u"pen", 3, 0.1);
    ASSERT_TRUE(Call(u"echoItem", u"item", WMSOAPStructMember(u"", item), returned));
    EXPECT_EQ(ShowStruct(returned.StructValue()), ShowStruct(item));

    WMSOAPStructType list;
    list.SetMember(u"item", std::vector<WMSOAPStructType>{item, Item(u"i2", u"ink", 0, 1e300)});
    ASSERT_TRUE(Call(u"echoItems", u"items", WMSOAPStructMember(u"", list), returned));
    EXPECT_EQ(ShowStruct(returned.StructValue()), ShowStruct(list));

    std::vector<WMSOAPStructType> strings(2);
    strings[0].SetMember(u"value", WMString(u"x"));
    strings[1].SetMember(u"value", WMString(u""));
    ASSERT_TRUE(Call(u"echoStrings", u"value", WMSOAPStructMember(u"", strings), returned));
    ASSERT_EQ(returned.GetDataType(), DataType::SOAP_ARRAY);
    ASSERT_EQ(returned.ArrayValue().size(), 2u);
    WMSOAPStructMember second;
    ASSERT_TRUE(returned.ArrayValue()[1].GetMember(u"return", second));
    EXPECT_EQ(second.StringValue(), u"");

    ASSERT_TRUE(Call(u"echoNillable", u"value", WMSOAPStructMember(), returned));
    EXPECT_EQ(returned.GetDataType(), DataType::SOAP_NONE);
}

TEST_P(LiteralCall, ReadsTypedFaultDetailAndRefusesValuesBeforeSending) {
    WMSOAPStructMember returned;
    WMString names[1] = {u"text"};
    WMSOAPStructMember values[1] = {WMSOAPStructMember(u"", WMString(u"raise-fault"))};
    ASSERT_TRUE(client_.InvokeSOAPMethod(u"echoString", names, values, 1, returned));
    ASSERT_TRUE(client_.IsSOAPFault());
    WMString text;
    client_.GetSOAPFaultCode(text);
    EXPECT_EQ(text, u"SOAP-ENV:Server");
    client_.GetSOAPFaultString(text);
    EXPECT_EQ(text, u"Fault raised on request");
    WMSOAPStructMember detail;
    ASSERT_TRUE(client_.GetFaultDetailEntry(u"urn:corvane:echo", u"echoFault", detail));
    WMSOAPStructMember code;
    ASSERT_TRUE(detail.StructValue().GetMember(u"code", code));
    EXPECT_EQ(code.GetDataType(), DataType::SOAP_LONG);
    EXPECT_EQ(code.LongValue(), 42);

    unsigned long const sent = client_.GetXMLOutLength();
    names[0] = u"value";
    values[0] = WMSOAPStructMember(u"", WMString(u"12a"));
    EXPECT_FALSE(client_.InvokeSOAPMethod(u"echoInt", names, values, 1, returned));
    client_.GetSOAPFaultString(text);
    EXPECT_EQ(Narrow(text), "Element 'value': the value is not a valid int.");
    EXPECT_EQ(client_.GetXMLOutLength(), sent);  // nothing went out

    // And the client goes on afterwards.
    ASSERT_TRUE(Call(u"echoInt", u"value", WMSOAPStructMember(u"", 7), returned));
    EXPECT_EQ(returned.LongValue(), 7);
}

INSTANTIATE_TEST_SUITE_P(Php, LiteralCall, ::testing::Values("doclit", "doclit12"));
#ifdef CORVANE_GSOAP_DOCLIT_PEER
INSTANTIATE_TEST_SUITE_P(Gsoap, LiteralCall, ::testing::Values("gsoap-doclit"));
#endif

TEST(LiteralCallDefault, RefusesDocumentStyleWithoutTheSetting) {
    RunningPeer& peer = PeerOf("doclit");
    ASSERT_TRUE(peer.up);
    WMSOAPClient client;
    client.SetWireOptions(Literal(false));
    ASSERT_TRUE(client.Initialize(peer.wsdlLocation, u"EchoService", u"EchoPort", u"", u"test", u"",
                                  false));
    WMString names[1] = {u"text"};
    WMSOAPStructMember values[1] = {WMSOAPStructMember(u"", WMString(u"x"))};
    WMSOAPStructMember returned;
    EXPECT_FALSE(client.InvokeSOAPMethod(u"echoString", names, values, 1, returned));
    EXPECT_EQ(client.GetXMLOutLength(), 0u);
}

}  // namespace
}  // namespace corvane::test
