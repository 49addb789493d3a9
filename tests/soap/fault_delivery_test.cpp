// How a fault leaves each operation that reads an envelope: always as a pointer to a heap
// WMSOAPFault that the caller deletes, never as a value, a line number or another exception.
#include <corvane/deserializer.h>
#include <gtest/gtest.h>

#include <exception>
#include <memory>
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

WMSOAPWSDLClient& Calc() {
    return Wsdl("../deserializer/calc.wsdl", u"Calc", u"CalcPort");
}

enum class Side { kResponse, kRequest };

struct Case {
    Side side;
    WMSOAPWSDLClient& (*wsdl)();
    char const* operation;
    char const* soapAction;  // request side only
    WMString text;
    char const* code;
    char const* string;
    bool flag;
    // Raised by WMSOAPMessage::ProcessRPC itself, not by a deserializer.
    bool messageOnly;
};

WMString Method(char const* name, std::string const& params, std::string const& header = "") {
    std::string const element = std::string("m:") + name;
    return Envelope("<" + element + " xmlns:m='urn:calc'>" + params + "</" + element + ">", header);
}

// One case of each place that raises a fault while an envelope is read, on both sides.
std::vector<Case> const& Cases() {
    static std::vector<Case> const cases = {
        // The parser's line number, turned into a fault.
        {Side::kResponse, Round2Base, "echoString", "", u"<a>\n<b></a>", "SOAP-ENV:Server",
         "XML Parser: Parse Error on Line 2.", false, false},
        {Side::kRequest, Calc, "add", "\"urn:calc#add\"", u"<broken", "SOAP-ENV:Server",
         "XML Parser: Parse Error on Line 1.", false, false},
        // The parse handlers.
        {Side::kResponse, Round2Base, "echoString", "",
         u"<e:Envelope xmlns:e='http://www.w3.org/2003/05/soap-envelope'/>",
         "SOAP-ENV:VersionMismatch", "SOAP Version Mismatch", false, false},
        {Side::kResponse, Round2Base, "echoString", "",
         Envelope("<ns1:echoStringResponse><r xsi:type='q:string'>a</r>"
                  "</ns1:echoStringResponse>"),
         "SOAP-ENV:Client",
         "Encountered undeclared namespace prefix for attribute 'type' on element.", true, false},
        {Side::kRequest, Calc, "add", "\"urn:calc#add\"", Method("add", "<x xsi:type='int'>1</x>"),
         "SOAP-ENV:Client", "Encountered unresolvable namespace for attribute 'type' on element.",
         true, false},
        {Side::kResponse, Round2Base, "echoStringArray", "",
         Envelope("<ns1:echoStringArrayResponse><r SOAP-ENC:arrayType='q:string[1]'/>"
                  "</ns1:echoStringArrayResponse>"),
         "SOAP-ENV:Client",
         "Encountered undeclared namespace prefix for attribute 'arrayType' on element..", true,
         false},
        {Side::kRequest, Calc, "add", "\"urn:calc#add\"",
         Method("add", "<x SOAP-ENC:offset='[1]'>1</x>"), "SOAP-ENV:Client",
         "Invalid value for attribute 'offset' or 'arrayType' on element.", true, false},
        // The response deserializer.
        {Side::kResponse, Calc, "add", "",
         Method("addResponse", "", "<h:info xmlns:h='urn:hdr'><a>1</a><c>2</c></h:info>"),
         "SOAP-ENV:Server", "Failed to convert element: 'info' in Response header.", false, false},
        {Side::kResponse, Calc, "add", "",
         Envelope("<SOAP-ENV:Fault><faultcode>c</faultcode><detail><overflow href='#gone'/>"
                  "</detail></SOAP-ENV:Fault>"),
         "SOAP-ENV:Client", "Fault detail: 'overflow' has invalid reference.", false, false},
        {Side::kResponse, Round2Base, "echoString", "",
         Envelope("<ns1:echoStringResponse><outputString href='#none'/>"
                  "</ns1:echoStringResponse>"),
         "SOAP-ENV:Server", "Method parameter: 'outputString' has invalid reference.", false,
         false},
        {Side::kResponse, Round2Base, "echoStruct", "",
         Envelope("<ns1:echoStructResponse><outputStruct><bogus>1</bogus></outputStruct>"
                  "</ns1:echoStructResponse>"),
         "SOAP-ENV:Server", "Failed to convert parameter: 'outputStruct' in Response Body.", false,
         false},
        {Side::kResponse, Round2Base, "echoString", "",
         Envelope("<ns1:echoStringResponse><outputString xsi:type='xsd:string'>a</outputString>"
                  "<stray>b</stray></ns1:echoStringResponse>"),
         "SOAP-ENV:Server", "Method parameter: 'stray' not properly defined in WSDL file.", false,
         false},
        {Side::kResponse, Round2Base, "echoStringArray", "",
         Envelope("<ns1:echoStringArrayResponse><outputStringArray SOAP-ENC:arrayType='xsd:int[1]'>"
                  "<item>1</item></outputStringArray></ns1:echoStringArrayResponse>"),
         "SOAP-ENV:Server", "Failed to convert parameter: 'outputStringArray' in Response Body.",
         false, false},
        {Side::kResponse, Calc, "add", "",
         Method("addResponse", "", "<h:status xmlns:h='urn:hdr' xsi:type='xsd:int'>2</h:status>"),
         "SOAP-ENV:Server",
         "Header entry: 'status' explicit typing conflicts with definition in WSDL file.", false,
         false},
        {Side::kResponse, Calc, "add", "",
         Method("addResponse", "", "<h:status xmlns:h='urn:hdr' href='#nowhere'/>"),
         "SOAP-ENV:Server", "Header entry: 'status' has invalid reference.", false, false},
        // A reference to itself is no value either.
        {Side::kResponse, Calc, "add", "",
         Method("addResponse", "", "<h:status xmlns:h='urn:hdr' href='#self' id='self'/>"),
         "SOAP-ENV:Server", "Header entry: 'status' has invalid reference.", false, false},
        {Side::kResponse, Calc, "add", "",
         Envelope("<SOAP-ENV:Fault><faultcode>c</faultcode><detail><limit xsi:type='xsd:string'>1"
                  "</limit></detail></SOAP-ENV:Fault>"),
         "SOAP-ENV:Client",
         "Fault detail: 'limit' explicit typing conflicts with definition in WSDL file.", false,
         false},
        // The request deserializer.
        {Side::kRequest, Calc, "add", "\"urn:calc#add\"", Method("add", "<x href='#none'/>"),
         "SOAP-ENV:Server", "Parameter: 'x' has invalid reference.", false, false},
        {Side::kRequest, Calc, "echo", "\"\"",
         Method("echo", "<pairs SOAP-ENC:arrayType='xsd:int[1]'><i>1</i></pairs>"),
         "SOAP-ENV:Server", "Failed to convert parameter: 'pairs' in Request Body.", false, false},
        {Side::kRequest, Calc, "add", "\"urn:calc#add\"",
         Method("add", "<x>1</x>", "<h:token xmlns:h='urn:hdr' xsi:type='xsd:string'>1</h:token>"),
         "SOAP-ENV:Client",
         "Header entry: 'token' explicit typing conflicts with definition in WSDL file.", false,
         false},
        {Side::kRequest, Calc, "add", "\"urn:calc#add\"", Envelope(""), "SOAP-ENV:Client",
         "Unable to process RPC representation in SOAP message.", false, false},
        {Side::kRequest, Calc, "add", "\"urn:calc#add\"",
         Method("add", "<x>1</x>", "<h:token xmlns:h='urn:hdr' href='#x'/>"), "SOAP-ENV:Client",
         "Header entry: 'token' has invalid reference.", false, false},
        {Side::kRequest, Calc, "add", "\"urn:calc#add\"", Method("add", "<z>1</z>"),
         "SOAP-ENV:Server", "Method parameter: 'z' not properly defined in WSDL file.", false,
         false},
        // The message's own checks of a request.
        {Side::kRequest, Calc, "add", "urn:calc#add", Method("add", "<x>1</x>"), "SOAP-ENV:Client",
         "Unrecognized 'SOAPAction' HTTP header received.", false, true},
        {Side::kRequest, Calc, "subtract", "\"\"", Method("subtract", "<x>1</x>"),
         "SOAP-ENV:Client", "Unrecognized method call received.", false, true},
    };
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
        if (c.side == Side::kRequest) {
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
        if (c.side == Side::kRequest) {
            WMSOAPReqDeserializer reader;
            ExpectFault(Catch([&] {
                            reader.Deserialize(message, c.wsdl());
                            reader.ProcessRPCRequest(message, c.wsdl());
                        }),
                        c);
        } else {
            WMSOAPRespDeserializer reader;
            ExpectFault(Catch([&] {
                            reader.Deserialize(message, c.wsdl());
                            reader.ProcessRPCResponse(message, c.wsdl());
                        }),
                        c);
        }
    }
}

}  // namespace
