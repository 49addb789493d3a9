// The library's own envelope reader against the exported Deserialize and ProcessRPC: every
// captured envelope and a set of hostile and edge inputs, read as a response and as a request
// for every operation of four descriptions, in the default and the standard wire mode, must
// print the same values, header entries, literal texts, faults and thrown faults both ways.
#include <corvane/wsdl.h>
#include <corvane/xml_parser.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "soap/deserializer_test_util.h"
#include "support/read_diff.h"
#include "support/support.h"

namespace {

using namespace deser_test;
using corvane::test::ReadAndDump;
using corvane::test::ReadInput;

struct Description {
    WMSOAPWSDLClient& wsdl;
    std::vector<WMString> operations;
};

std::vector<Description> const& Descriptions() {
    static std::vector<Description> const all{
        {Round2Base(),
         {u"echoString", u"echoInteger", u"echoFloat", u"echoStruct", u"echoStringArray",
          u"echoIntegerArray", u"echoFloatArray", u"echoStructArray", u"echoVoid", u"echoBase64",
          u"echoDate", u"echoHexBinary", u"echoDecimal", u"echoBoolean"}},
        {Round2GroupB(),
         {u"echoStructAsSimpleTypes", u"echoSimpleTypesAsStruct", u"echo2DStringArray",
          u"echoNestedStruct", u"echoNestedArray"}},
        {Calc(), {u"add", u"echo"}},
        {Types(), {u"echoAll"}},
    };
    return all;
}

// Every operation of every description, both sides, both wire modes; returns the number of
// disagreements.
int Compare(std::string const& what, WMString const& text) {
    int differences = 0;
    for (Description const& description : Descriptions()) {
        for (WMString const& operation : description.operations) {
            for (int run = 0; run < 4; ++run) {
                ReadInput input;
                input.text = text;
                input.request = (run & 1) != 0;
                input.standard = (run & 2) != 0;
                input.operation = operation;
                input.actorURI = u"urn:me";
                description.wsdl.GetMethodSOAPAction(operation, input.soapAction);
                std::string const difference =
                    corvane::test::FirstDifference(ReadAndDump(description.wsdl, input, false),
                                                   ReadAndDump(description.wsdl, input, true));
                if (!difference.empty() && ++differences == 1) {
                    ADD_FAILURE() << what
                                  << (input.request ? " as request of " : " as response of ")
                                  << corvane::test::Narrow(operation)
                                  << (input.standard ? " (standard)" : "") << "\n"
                                  << difference;
                }
            }
        }
    }
    return differences;
}

TEST(ReadDiff, CapturedEnvelopesReadAlikeBothWays) {
    std::vector<std::string> files;
    for (char const* folder :
         {"php", "php-groupb", "php-ssl", "soaplite", "soaplite-groupb", "handmade"}) {
        auto const found = XMLFiles(DataPath(std::string("peers/") + folder));
        files.insert(files.end(), found.begin(), found.end());
    }
    for (char const* set : {"base", "groupB", "ssl"}) {
        auto const found = XMLFiles(corvane::test::TestsDir() + "/peers/requests/" + set);
        files.insert(files.end(), found.begin(), found.end());
    }
    ASSERT_GT(files.size(), 70u);
    for (std::string const& file : files) {
        EXPECT_EQ(Compare(file, Wide(corvane::test::ReadFile(file))), 0);
    }
    // The envelopes the serializer tests expect, which are requests, responses and faults.
    int envelopes = 0;
    for (char const* table : {"envelopes.txt", "faults.txt", "standard.txt"}) {
        for (auto const& row : corvane::test::ReadTable(std::string("expected/soap/") + table)) {
            if (row.expected.find("Envelope") != std::string::npos) {
                ++envelopes;
                EXPECT_EQ(Compare(row.where, Wide(row.expected)), 0);
            }
        }
    }
    EXPECT_GE(envelopes, 8);
}

// The fixed envelopes live in a table; those whose size follows the nesting limit are built.
std::vector<std::pair<std::string, WMString>> EdgeCases() {
    std::vector<std::pair<std::string, WMString>> cases;
    for (auto const& row : corvane::test::ReadTable("expected/soap/read_edges.txt")) {
        cases.emplace_back(row.input, corvane::test::Unescape(row.expected));
    }
    auto nested = [](int levels) {
        std::string open;
        std::string close;
        for (int i = 0; i < levels; ++i) {
            open += "<next><value>" + std::to_string(i) + "</value>";
            close += "</next>";
        }
        return "<return>" + open + close + "</return></m:echoResponse>";
    };
    for (auto const& [what, inside] : std::vector<std::pair<std::string, std::string>>{
             {"reference bomb", "<return href='#l0'/></m:echoResponse>" + Diamond(30)},
             {"reference chain too deep",
              "<return href='#c0'/></m:echoResponse>" + Chain(WMXMLParser::kMaxNestingDepth + 4)},
             {"nesting at the limit", nested(WMXMLParser::kMaxNestingDepth - 6)},
             {"nesting beyond the limit", nested(WMXMLParser::kMaxNestingDepth)}}) {
        cases.emplace_back(what, Envelope("<m:echoResponse xmlns:m='urn:calc'>" + inside));
    }
    return cases;
}

TEST(ReadDiff, EdgeAndHostileEnvelopesReadAlikeBothWays) {
    auto const cases = EdgeCases();
    ASSERT_GT(cases.size(), 30u);
    for (auto const& [what, text] : cases) {
        EXPECT_EQ(Compare(what, text), 0);
    }
}

// Every prefix of an envelope that exercises headers, faults and references: parse errors
// part-way, after some attribute faults, at each line.
TEST(ReadDiff, TruncatedEnvelopesFailAlike) {
    for (auto const& [what, text] : EdgeCases()) {
        if (what != "headers and values" && what != "fault with details" &&
            what != "line ends and entities") {
            continue;
        }
        for (std::size_t length = 0; length < text.size(); length += 7) {
            EXPECT_EQ(Compare(what + " cut at " + std::to_string(length), text.substr(0, length)),
                      0);
        }
    }
}

// Answers whose items fill several of the envelope reader's blocks, read one after another on
// the blocks the thread kept.
std::string StructArray(int items) {
    std::string text =
        "<E:Envelope xmlns:E='http://schemas.xmlsoap.org/soap/envelope/' "
        "xmlns:C='http://schemas.xmlsoap.org/soap/encoding/' "
        "xmlns:t='http://soapinterop.org/xsd' "
        "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
        "E:encodingStyle='http://schemas.xmlsoap.org/soap/encoding/'><E:Body>"
        "<m:echoStructArrayResponse xmlns:m='http://soapinterop.org/'><r "
        "C:arrayType='t:SOAPStruct[]'>";
    for (int i = 0; i < items; ++i) {
        std::string const n = std::to_string(i);
        text += "<i xsi:type='t:SOAPStruct'><varString>s" + n + "</varString><varInt>" + n +
                "</varInt><varFloat>" + n + ".5</varFloat></i>";
    }
    return text + "</r></m:echoStructArrayResponse></E:Body></E:Envelope>";
}

TEST(ReadBlocks, LargeAndSmallAnswersReadAlike) {
    WMSOAPWSDLClient& wsdl = Round2Base();
    // Four items an array element and 744 a block: some 186 elements fill one.
    for (int items : {2000, 1, 185, 186, 187, 2000}) {
        ReadInput input;
        input.text = Wide(StructArray(items));
        input.operation = u"echoStructArray";
        std::string const own = ReadAndDump(wsdl, input, true);
        EXPECT_EQ(ReadAndDump(wsdl, input, false), own) << items << " items";
        EXPECT_NE(own.find("\"s" + std::to_string(items - 1) + "\""), std::string::npos);
    }
}

}  // namespace
