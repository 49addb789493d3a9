// How a fault leaves each operation that reads an envelope: always as a pointer to a heap
// WMSOAPFault that the caller deletes, never as a value, a line number or another exception.
#include <corvane/deserializer.h>
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

}  // namespace
