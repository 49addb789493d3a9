// Helpers shared by the deserializer tests: files, WSDL loading and decoding through the
// message.
#ifndef CORVANE_TESTS_SOAP_DESERIALIZER_TEST_UTIL_H
#define CORVANE_TESTS_SOAP_DESERIALIZER_TEST_UTIL_H

#include <corvane/message.h>
#include <corvane/utf8.h>
#include <corvane/values.h>
#include <corvane/wsdl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/read_diff.h"
#include "support/support.h"
#include "support/values.h"

namespace deser_test {

using corvane::test::Show;

using corvane::test::DataPath;

inline WMString Wide(std::string const& utf8) {
    WMString out;
    UTF8ToWideString(utf8, out);
    return out;
}

inline std::string Narrow(WMString const& text) {
    return corvane::test::Utf8(text);
}

// A table cell as a value: L:long, D:double, F:the float nearest, S:text, T:an empty struct,
// B:every byte value once.
inline WMSOAPStructMember ValueOf(std::string const& cell) {
    std::string const rest = cell.substr(2);
    switch (cell[0]) {
        case 'L':
            return {u"", static_cast<std::int32_t>(std::stol(rest))};
        case 'D':
            return {u"", std::strtod(rest.c_str(), nullptr)};
        case 'F':
            return {u"", static_cast<double>(std::strtof(rest.c_str(), nullptr))};
        case 'T':
            return WMSOAPStructMember(u"", WMSOAPStructType());
        case 'B':
            return {u"", corvane::test::AllBytes()};
        default:
            return {u"", corvane::test::Unescape(rest)};
    }
}

inline WMString ReadText(std::string const& relative) {
    std::string const bytes = corvane::test::ReadFile(DataPath(relative));
    EXPECT_FALSE(bytes.empty()) << relative;
    return Wide(bytes);
}

// The .xml files of a folder, in name order.
inline std::vector<std::string> XMLFiles(std::string const& directory) {
    std::vector<std::string> files;
    for (auto const& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.path().extension() == ".xml") {
            files.push_back(entry.path().string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

// Row `name` of a table of expected texts under tests/data (see corvane::test::ReadTable).
inline WMString Golden(std::string const& table, std::string const& name) {
    for (auto const& row : corvane::test::ReadTable(table)) {
        if (row.input == name) {
            return Wide(row.expected);
        }
    }
    ADD_FAILURE() << "no row " << name << " in " << table;
    return WMString();
}

// A WSDL client on one of the test descriptions, loaded once per process.
inline WMSOAPWSDLClient& Wsdl(std::string const& file, WMString const& service,
                              WMString const& port) {
    static std::map<std::string, std::unique_ptr<WMSOAPWSDLClient>> loaded;
    auto& slot = loaded[file];
    if (!slot) {
        slot = std::make_unique<WMSOAPWSDLClient>();
        bool const ok =
            slot->ReadServiceDesc(service, port, Wide("file://" + DataPath("wsdl/" + file)));
        EXPECT_TRUE(ok) << file;
    }
    return *slot;
}

inline WMSOAPWSDLClient& Round2Base() {
    return Wsdl("round2_base.wsdl", u"InteropTest", u"InteropTestPort");
}

inline WMSOAPWSDLClient& Round2GroupB() {
    return Wsdl("round2_groupB.wsdl", u"interopLabB", u"interopTestPortB");
}

inline WMSOAPWSDLClient& Calc() {
    return Wsdl("../deserializer/calc.wsdl", u"Calc", u"CalcPort");
}

inline WMSOAPWSDLClient& Edges() {
    return Wsdl("../serializer/edges.wsdl", u"EdgesService", u"EdgesPort");
}

inline WMSOAPWSDLClient& Types() {
    return Wsdl("../standard/types.wsdl", u"Types", u"TypesPort");
}

// The fault a call threw, if any.
struct Thrown {
    std::string code;
    std::string text;
};

// Reads the message's envelope as the side it was prepared for; the fault thrown, if any.
inline std::optional<Thrown> Decode(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl) {
    try {
        message.Deserialize(wsdl);
        message.ProcessRPC(wsdl);
    } catch (WMSOAPFault* raised) {
        std::unique_ptr<WMSOAPFault> fault(raised);
        return Thrown{Narrow(fault->GetFaultCode()), Narrow(fault->GetFaultString())};
    }
    return std::nullopt;
}

// Reads a response for `operation` through the message, as the client does.
inline std::optional<Thrown> DecodeResponse(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl,
                                            WMString const& operation, WMString const& text) {
    message.SetBuffer(text);
    message.SetMethodName(operation);
    message.SetRequestPhase(false);
    return Decode(message, wsdl);
}

// Reads a request through the message, as a server does.
inline std::optional<Thrown> DecodeRequest(WMSOAPMessage& message, WMSOAPWSDLClient& wsdl,
                                           WMString const& soapAction, WMString const& text) {
    WMString buffer = text;
    message.Initialize(buffer.data(), static_cast<unsigned long>(buffer.size()), WMString(),
                       WMString(), WMString(), soapAction, WMString(), false);
    return Decode(message, wsdl);
}

// "name=value" for each method parameter, in order.
inline std::string ShowParams(WMSOAPMessage& message) {
    std::string out;
    WMString ns, name;
    WMSOAPStructMember value;
    bool isInput = false, isOutput = false;
    long position = 0;
    for (bool more = message.GetFirstMethodParam(ns, name, value, isInput, isOutput, position);
         more; more = message.GetNextMethodParam(ns, name, value, isInput, isOutput, position)) {
        out += (out.empty() ? "" : " ") + Narrow(name) + (isInput ? "<" : "") +
               (isOutput ? ">" : "") + "=" + Show(value);
    }
    return out;
}

// A response envelope around `body` (the content of SOAP-ENV:Body), with the usual prefixes.
inline WMString Envelope(std::string const& body, std::string const& header = std::string()) {
    std::string text =
        "<?xml version=\"1.0\"?>"
        "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\" "
        "xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\" "
        "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
        "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
        "xmlns:ns1=\"http://soapinterop.org/\" xmlns:ns2=\"http://soapinterop.org/xsd\" "
        "SOAP-ENV:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">";
    if (!header.empty()) {
        text += "<SOAP-ENV:Header>" + header + "</SOAP-ENV:Header>";
    }
    text += "<SOAP-ENV:Body>" + body + "</SOAP-ENV:Body></SOAP-ENV:Envelope>";
    return Wide(text);
}

// An independent element `id` of calc.wsdl's Node type: a value, then `inside`.
inline std::string Node(std::string const& id, std::string const& inside) {
    return "<n id='" + id + "' SOAP-ENC:root='0'><value>1</value>" + inside + "</n>";
}

// `levels` levels of nodes l0.., each holding two references to the next: 2^levels paths.
inline std::string Diamond(int levels) {
    std::string shared;
    for (int level = 0; level < levels; ++level) {
        std::string const next = "#l" + std::to_string(level + 1);
        shared += Node("l" + std::to_string(level),
                       "<next href='" + next + "'/><other href='" + next + "'/>");
    }
    return shared + Node("l" + std::to_string(levels), "");
}

// Nodes c0.. c`levels`, each referring to the next.
inline std::string Chain(int levels) {
    std::string chain;
    for (int level = 0; level < levels; ++level) {
        chain +=
            Node("c" + std::to_string(level), "<next href='#c" + std::to_string(level + 1) + "'/>");
    }
    return chain + Node("c" + std::to_string(levels), "");
}

// A request as a server reads it, in UTF-8 bytes: `body` in SOAP-ENV:Body, with prefix m for
// the round 2 suites' namespace.
inline std::string RequestBytes(std::string const& body) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
           "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\" "
           "xmlns:m=\"http://soapinterop.org/\" "
           "e:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"><e:Body>" +
           body + "</e:Body></e:Envelope>";
}

// The message as tests/support/read_diff.h prints it, against its row of message_dumps.txt.
inline void ExpectDump(WMSOAPMessage& message, std::string const& name) {
    std::string const dump = corvane::test::DumpMessage(message);
    for (auto const& row : corvane::test::ReadTable("expected/soap/message_dumps.txt")) {
        if (row.input == name) {
            EXPECT_EQ(dump, Narrow(corvane::test::Unescape(row.expected))) << row.where;
            return;
        }
    }
    ADD_FAILURE() << "no dump " << name;
}

}  // namespace deser_test

#endif
