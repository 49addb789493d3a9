// Whole calls against real SOAP servers on loopback: PHP's SoapServer and SOAP::Lite, both
// serving the SOAPBuilders round 2 base operations (tests/peers).
#include <corvane/client.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/loopback.h"
#include "support/support.h"
#include "support/values.h"

namespace corvane::test {
namespace {

using DataType = WMSOAPStructMember::SOAPDataMember::DATATYPE;
WMString const kInteropNS = u"http://soapinterop.org/";

// One server per kind for the whole program, started on first use.
struct RunningPeer {
    Peer process;
    TempDir dir;
    WMString wsdlLocation;
    bool up = false;
};

std::map<std::string, std::unique_ptr<RunningPeer>>& Peers() {
    static std::map<std::string, std::unique_ptr<RunningPeer>> peers;
    return peers;
}

RunningPeer& PeerOf(std::string const& kind) {
    auto& slot = Peers()[kind];
    if (!slot) {
        slot = std::make_unique<RunningPeer>();
        std::string const port = std::to_string(UnusedPort());
        slot->up = slot->process.Start(kind + " " + port);
        if (kind == "php") {
            // Fetched from the server itself, which names its own address in it.
            slot->wsdlLocation = u"http://127.0.0.1:" + Widen(port) + u"/round2_base.wsdl";
        } else {
            // SOAP::Lite serves no WSDL: a copy whose address is the server's.
            std::string wsdl = ReadFile(std::string(CORVANE_TEST_DATA) + "/wsdl/round2_base.wsdl");
            std::string const relative = "location=\"round2_base.inc\"";
            wsdl.replace(wsdl.find(relative), relative.size(),
                         "location=\"http://127.0.0.1:" + port + "/\"");
            slot->dir.Write("round2_base.wsdl", wsdl);
            slot->wsdlLocation = u"file://" + Widen(slot->dir.File("round2_base.wsdl"));
        }
    }
    return *slot;
}

class PeerCall : public ::testing::TestWithParam<std::string> {
protected:
    static void TearDownTestSuite() { Peers().clear(); }

    void SetUp() override {
        RunningPeer& peer = PeerOf(GetParam());
        ASSERT_TRUE(peer.up) << "the " << GetParam() << " server did not start";
        ASSERT_TRUE(client_.Initialize(peer.wsdlLocation, u"InteropTest", u"InteropTestPort", u"",
                                       u"CorvaneTest/1.0", u"", false));
    }

    // Calls an echo operation with one argument; the returned value, or a failure.
    ::testing::AssertionResult Echo(WMString const& operation, WMSOAPStructMember argument,
                                    WMSOAPStructMember& returned) {
        WMString names[1] = {argument.GetName()};
        WMSOAPStructMember values[1] = {argument};
        if (!client_.InvokeSOAPMethod(operation, names, values, 1, returned)) {
            return ::testing::AssertionFailure()
                   << "call failed; sent " << Narrow(*client_.GetXMLOut()) << "; received "
                   << Narrow(client_.GetXMLIn());
        }
        if (client_.IsSOAPFault()) {
            return ::testing::AssertionFailure() << "fault: " << FaultOf(client_);
        }
        return ::testing::AssertionSuccess();
    }

    WMSOAPClient client_;
};

template <class T>
std::vector<WMSOAPStructType> ArrayOf(std::vector<T> const& values) {
    std::vector<WMSOAPStructType> items;
    for (T const& value : values) {
        WMSOAPStructType item;
        item.SetMember(u"item", value);
        items.push_back(item);
    }
    return items;
}

TEST_P(PeerCall, EchoesComeBackAsSent) {
    const struct {
        const char16_t* operation;
        WMSOAPStructMember argument;
        const char* expected;
    } cases[] = {
        {u"echoString", {u"inputString", WMString(u"Hello <&> world")}, "\"Hello <&> world\""},
        {u"echoInteger", {u"inputInteger", -123456}, "-123456"},
        {u"echoStringArray",
         {u"inputStringArray", ArrayOf(std::vector<WMString>{u"one", u"two", u"three"})},
         "[{item=\"one\"},{item=\"two\"},{item=\"three\"}]"},
        {u"echoIntegerArray",
         {u"inputIntegerArray", ArrayOf(std::vector<int>{1, -2, 2147483647})},
         "[{item=1},{item=-2},{item=2147483647}]"},
        // "%f" keeps six decimals: 1e-9 travels as 0.000000.
        {u"echoFloatArray",
         {u"inputFloatArray", ArrayOf(std::vector<double>{0.5, -1.25, 1e-9})},
         "[{item=0.5},{item=-1.25},{item=0}]"},
        {u"echoStructArray",
         {u"inputStructArray",
          ArrayOf(std::vector<WMSOAPStructType>{
              SOAPStruct(u"s0", 0, 0.5), SOAPStruct(u"s1", 10, 1.5), SOAPStruct(u"s2", 20, 2.5)})},
         "[{item={varString=\"s0\",varInt=0,varFloat=0.5}},"
         "{item={varString=\"s1\",varInt=10,varFloat=1.5}},"
         "{item={varString=\"s2\",varInt=20,varFloat=2.5}}]"},
        {u"echoStruct",
         {u"inputStruct", SOAPStruct(u"struct text", 17, 0.25)},
         "{varString=\"struct text\",varInt=17,varFloat=0.25}"},
    };
    for (const auto& c : cases) {
        WMSOAPStructMember returned;
        ASSERT_TRUE(Echo(c.operation, c.argument, returned));
        EXPECT_EQ(Show(returned), c.expected);
    }
    // Every built-in value travels typed as a string of the schema namespace.
    EXPECT_NE(client_.GetXMLOut()->find(u"ns:string"), WMString::npos);

    // Written with six decimals, read back in single precision.
    WMSOAPStructMember returned;
    ASSERT_TRUE(Echo(u"echoFloat", WMSOAPStructMember(u"inputFloat", 3.14159265), returned));
    EXPECT_NE(client_.GetXMLOut()->find(u">3.141593<"), WMString::npos);
    EXPECT_EQ(returned.GetDataType(), DataType::SOAP_DOUBLE);
    EXPECT_EQ(returned.DoubleValue(), static_cast<double>(3.141593f));

    returned = WMSOAPStructMember(u"before", WMString(u"value"));
    ASSERT_TRUE(client_.InvokeSOAPMethod(u"echoVoid", nullptr, nullptr, 0, returned));
    EXPECT_FALSE(client_.IsSOAPFault());
    EXPECT_EQ(returned.GetDataType(), DataType::SOAP_NONE);
}

TEST_P(PeerCall, FaultsWithDetailAndForTextBeyondAscii) {
    WMString names[1] = {u"inputString"};
    WMSOAPStructMember values[1] = {WMSOAPStructMember(u"inputString", WMString(u"raise-fault"))};
    WMSOAPStructMember returned(u"before", 1);
    ASSERT_TRUE(client_.InvokeSOAPMethod(u"echoString", names, values, 1, returned));
    EXPECT_EQ(FaultOf(client_),
              (GetParam() == "php" ? "SOAP-ENV:Server" : "soap:Server") +
                  std::string("|Fault raised on request|http://127.0.0.1/peer-actor"));
    EXPECT_EQ(returned.GetName(), u"before");
    EXPECT_EQ(values[0].StringValue(), u"raise-fault");

    // The round 2 description declares no fault message; the entry is read by its xsi:type.
    WMSOAPStructMember detail;
    ASSERT_TRUE(client_.GetFaultDetailEntry(kInteropNS, u"faultDetail", detail));
    EXPECT_EQ(Show(detail), "{varString=\"raise-fault\",varInt=42,varFloat=0.5}");
    EXPECT_FALSE(client_.GetFaultDetailEntry(u"", u"faultDetail", detail));

    // The client goes on with the next call.
    ASSERT_TRUE(
        Echo(u"echoString", WMSOAPStructMember(u"inputString", WMString(u"after")), returned));
    EXPECT_EQ(returned.StringValue(), u"after");

    // Text goes out as ISO-8859-1 bytes under a UTF-8 declaration: both peers refuse a request
    // that holds a character beyond ASCII as malformed XML.
    values[0] = WMSOAPStructMember(u"inputString", WMString(u"caf\u00e9"));
    ASSERT_TRUE(client_.InvokeSOAPMethod(u"echoString", names, values, 1, returned));
    std::string const fault = FaultOf(client_);
    if (GetParam() == "php") {
        EXPECT_EQ(fault, "SOAP-ENV:Client|Bad Request|");
    } else {
        EXPECT_EQ(fault.rfind("soap:Client|", 0), 0u) << fault;
        EXPECT_NE(fault.find("not well-formed"), std::string::npos) << fault;
    }
}

INSTANTIATE_TEST_SUITE_P(Peers, PeerCall, ::testing::Values("php", "soaplite"),
                         [](auto const& info) { return info.param; });

}  // namespace
}  // namespace corvane::test
