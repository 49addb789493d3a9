// The library's own envelope reader against the exported Deserialize and ProcessRPC: every
// captured envelope and a set of hostile and edge inputs, read as a response and as a request
// for every operation of four descriptions, in the default and the standard wire mode, must
// print the same values, header entries, literal texts, faults and thrown faults both ways.
#include <corvane/utf8.h>
#include <corvane/wsdl.h>
#include <corvane/xml_parser.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "support/read_diff.h"
#include "support/support.h"

namespace {

using corvane::test::DataPath;
using corvane::test::ReadAndDump;
using corvane::test::ReadInput;

WMString Wide(std::string const& utf8) {
    WMString out;
    UTF8ToWideString(utf8, out);
    return out;
}

struct Description {
    std::unique_ptr<WMSOAPWSDLClient> wsdl = std::make_unique<WMSOAPWSDLClient>();
    std::vector<WMString> operations;
};

Description Load(std::string const& file, char16_t const* service, char16_t const* port,
                 std::vector<WMString> operations) {
    Description description;
    EXPECT_TRUE(description.wsdl->ReadServiceDesc(service, port, Wide("file://" + DataPath(file))))
        << file;
    description.operations = std::move(operations);
    return description;
}

std::vector<Description>& Descriptions() {
    static std::vector<Description> all = [] {
        std::vector<Description> loaded;
        loaded.push_back(
            Load("wsdl/round2_base.wsdl", u"InteropTest", u"InteropTestPort",
                 {u"echoString", u"echoInteger", u"echoFloat", u"echoStruct", u"echoStringArray",
                  u"echoIntegerArray", u"echoFloatArray", u"echoStructArray", u"echoVoid",
                  u"echoBase64", u"echoDate", u"echoHexBinary", u"echoDecimal", u"echoBoolean"}));
        loaded.push_back(Load("wsdl/round2_groupB.wsdl", u"interopLabB", u"interopTestPortB",
                              {u"echoStructAsSimpleTypes", u"echoSimpleTypesAsStruct",
                               u"echo2DStringArray", u"echoNestedStruct", u"echoNestedArray"}));
        loaded.push_back(Load("deserializer/calc.wsdl", u"Calc", u"CalcPort", {u"add", u"echo"}));
        loaded.push_back(Load("standard/types.wsdl", u"Types", u"TypesPort", {u"echoAll"}));
        return loaded;
    }();
    return all;
}

// Every operation of every description, both sides, both wire modes; returns the number of
// disagreements.
int Compare(std::string const& what, WMString const& text) {
    int differences = 0;
    for (Description& description : Descriptions()) {
        for (WMString const& operation : description.operations) {
            for (int run = 0; run < 4; ++run) {
                ReadInput input;
                input.text = text;
                input.request = (run & 1) != 0;
                input.standard = (run & 2) != 0;
                input.operation = operation;
                input.actorURI = u"urn:me";
                description.wsdl->GetMethodSOAPAction(operation, input.soapAction);
                std::string const exported = ReadAndDump(*description.wsdl, input, false);
                std::string const own = ReadAndDump(*description.wsdl, input, true);
                if (exported != own && ++differences == 1) {
                    ADD_FAILURE() << what
                                  << (input.request ? " as request of " : " as response of ")
                                  << corvane::test::Narrow(operation)
                                  << (input.standard ? " (standard)" : "")
                                  << "\nexported:" << exported << "\nown:" << own;
                }
            }
        }
    }
    return differences;
}

std::vector<std::string> XMLFiles(std::string const& directory) {
    std::vector<std::string> files;
    for (auto const& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.path().extension() == ".xml") {
            files.push_back(entry.path().string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
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

std::string Envelope(std::string const& header, std::string const& body,
                     std::string const& envelopeAttributes =
                         " SOAP-ENV:encodingStyle='http://schemas.xmlsoap.org/soap/encoding/'") {
    return "<SOAP-ENV:Envelope xmlns:SOAP-ENV='http://schemas.xmlsoap.org/soap/envelope/' "
           "xmlns:SOAP-ENC='http://schemas.xmlsoap.org/soap/encoding/' "
           "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
           "xmlns:xsd='http://www.w3.org/2001/XMLSchema'" +
           envelopeAttributes + ">" +
           (header.empty() ? "" : "<SOAP-ENV:Header>" + header + "</SOAP-ENV:Header>") +
           "<SOAP-ENV:Body>" + body + "</SOAP-ENV:Body></SOAP-ENV:Envelope>";
}

std::string Node(std::string const& id, std::string const& inside) {
    return "<n id='" + id + "' SOAP-ENC:root='0'><value>1</value>" + inside + "</n>";
}

std::vector<std::pair<std::string, std::string>> EdgeCases() {
    std::string const echo = "<m:echoResponse xmlns:m='urn:calc'>";
    std::string const add = "<m:addResponse xmlns:m='urn:calc'>";
    std::string const pair = "<note><a xsi:type='xsd:int'>5</a><b>five</b></note>";
    std::string diamond;
    for (int level = 0; level < 30; ++level) {
        std::string const next = "#l" + std::to_string(level + 1);
        diamond += Node("l" + std::to_string(level),
                        "<next href='" + next + "'/><other href='" + next + "'/>");
    }
    diamond += Node("l30", "");
    std::string chain;
    int const deep = WMXMLParser::kMaxNestingDepth + 4;
    for (int level = 0; level < deep; ++level) {
        chain +=
            Node("c" + std::to_string(level), "<next href='#c" + std::to_string(level + 1) + "'/>");
    }
    chain += Node("c" + std::to_string(deep), "");
    auto nested = [](int levels) {
        std::string open;
        std::string close;
        for (int i = 0; i < levels; ++i) {
            open += "<next><value>" + std::to_string(i) + "</value>";
            close += "</next>";
        }
        return "<m:echoResponse xmlns:m='urn:calc'><return>" + open + close +
               "</return></m:echoResponse>";
    };
    std::string const headers =
        "<h:token xmlns:h='urn:hdr' SOAP-ENV:mustUnderstand='1' "
        "SOAP-ENV:actor='http://schemas.xmlsoap.org/soap/actor/next'>42</h:token>"
        "<h:status xmlns:h='urn:hdr' SOAP-ENV:mustUnderstand='true'>1.25</h:status>"
        "<h:info xmlns:h='urn:hdr' href='#i1'/>"
        "<h:Session xmlns:h='urn:calc:types'>s&amp;1</h:Session>"
        "<lit:thing xmlns:lit='urn:lit' SOAP-ENV:encodingStyle=''><x xsi:type='nope:t'>1</x>"
        "</lit:thing>"
        "<h:token xmlns:h='urn:hdr' SOAP-ENC:root='0' SOAP-ENV:actor='urn:a'>7</h:token>"
        "<h:token xmlns:h='urn:hdr' xsi:type='xsd:string'>8</h:token>";
    return {
        {"headers and values", Envelope(headers, add + "<sum>3</sum><carry>1</carry>" + pair +
                                                     "</m:addResponse><i id='i1' "
                                                     "SOAP-ENC:root='0'><a>1</a><b>x</b></i>")},
        {"parameter order",
         Envelope("", add + "<carry>1</carry><sum>3</sum>" + pair + "</m:addResponse>")},
        {"fault with details",
         Envelope("<h:token xmlns:h='urn:hdr'>9</h:token>",
                  "<SOAP-ENV:Fault><faultcode>SOAP-ENV:Server</faultcode><faultcode/>"
                  "<faultstring>too <b>big</b> &lt;</faultstring><faultactor>urn:x</faultactor>"
                  "<detail><overflow><a>1</a><b>2</b></overflow><limit>10</limit>"
                  "<limit xsi:type='xsd:string'>11</limit><foreign xsi:type='xsd:int'>3</foreign>"
                  "<foreign2>text</foreign2><strange xsi:type='t:Odd' xmlns:t='urn:t'>odd"
                  "</strange><ref href='#d1'/></detail><detail><limit>0</limit></detail>"
                  "</SOAP-ENV:Fault><SOAP-ENV:Fault/><d id='d1'>shared</d>")},
        {"fault detail cycle",
         Envelope("",
                  "<SOAP-ENV:Fault><faultcode>c</faultcode><detail><x id='d' href='#d'/>"
                  "</detail></SOAP-ENV:Fault>")},
        {"structs, arrays and references",
         Envelope("", echo +
                          "<return href='#n1'/><pairs SOAP-ENC:arrayType='t:Pair[2]' "
                          "xmlns:t='urn:calc:types'><item href='#p1'/><item><a>2</a><b>b</b>"
                          "</item></pairs><any SOAP-ENC:arrayType='xsd:anyType[4]'>"
                          "<i xsi:type='xsd:int'>1</i><i>text</i><i xsi:type='t:Pair' "
                          "xmlns:t='urn:calc:types'><a>3</a><b>c</b></i><i xsi:nil='1'/>"
                          "<i href='#p1'/></any></m:echoResponse>" +
                          Node("n1", "<next><value>2</value></next>") +
                          "<p id='p1' SOAP-ENC:root='0'><a>9</a><b>n</b></p>")},
        {"array type mismatch",
         Envelope("", echo + "<pairs SOAP-ENC:arrayType='xsd:int[2]'><i>1</i></pairs>"
                             "</m:echoResponse>")},
        {"nil values", Envelope("", add + "<sum xsi:nil='true'/><carry "
                                          "xmlns:x1='http://www.w3.org/1999/XMLSchema-instance' "
                                          "x1:null='1'>4</carry><note xsi:nil='1'/>"
                                          "</m:addResponse>")},
        {"bad numbers", Envelope("", add + "<sum>abc</sum><carry>99999999999</carry>"
                                           "<note><a> -12x</a><b><![CDATA[<&>]]></b></note>"
                                           "</m:addResponse>")},
        {"undeclared type prefix", Envelope("", add + "<sum xsi:type='q:int'>1</sum>"
                                                      "</m:addResponse>")},
        {"unprefixed type without default", Envelope("", add + "<sum xsi:type='int'>1</sum>"
                                                               "</m:addResponse>")},
        {"default namespace ended by a sibling",
         Envelope("",
                  "<m:addResponse xmlns:m='urn:calc' xmlns='urn:d'><sum xmlns='urn:e'>1"
                  "</sum><carry xsi:type='int'>2</carry></m:addResponse>")},
        {"prefix redeclared below",
         Envelope("",
                  "<m:addResponse xmlns:m='urn:calc' xmlns:p='urn:one'><sum xmlns:p='urn:two' "
                  "xsi:type='p:int'>1</sum></m:addResponse>")},
        {"array type prefixes",
         Envelope("", echo + "<pairs SOAP-ENC:arrayType='zz:Pair[1]'/></m:echoResponse>")},
        {"unprefixed array type",
         Envelope("", echo + "<pairs xmlns='urn:calc:types' SOAP-ENC:arrayType='Pair[1]'>"
                             "<i><a>1</a><b>2</b></i></pairs></m:echoResponse>")},
        {"offset without href",
         Envelope("", echo + "<pairs SOAP-ENC:offset='[1]'/></m:echoResponse>")},
        {"offsets with href",
         Envelope("", echo + "<pairs SOAP-ENC:offset='[2,0]' href='#a'/><any "
                             "SOAP-ENC:offset='[1,1]' href='#a'/></m:echoResponse><a id='a'/>")},
        {"reference bomb", Envelope("", echo + "<return href='#l0'/></m:echoResponse>" + diamond)},
        {"reference chain too deep",
         Envelope("", echo + "<return href='#c0'/></m:echoResponse>" + chain)},
        {"self reference", Envelope("", echo + "<return id='r' href='#r'/></m:echoResponse>")},
        {"ring", Envelope("", echo + "<return href='#a'/></m:echoResponse>" +
                                  Node("a", "<next href='#b'/>") + Node("b", "<next href='#a'/>"))},
        {"missing and duplicate ids",
         Envelope("<x id='a'>header</x>", add + "<sum href='#a'/><carry href='#zz'/>"
                                                "</m:addResponse><s id='a'>1</s><s id='a'>2</s>")},
        {"nesting at the limit", Envelope("", nested(WMXMLParser::kMaxNestingDepth - 6))},
        {"nesting beyond the limit", Envelope("", nested(WMXMLParser::kMaxNestingDepth))},
        {"wrong envelope namespace", "<e:Envelope xmlns:e='urn:not-soap'><e:Body/></e:Envelope>"},
        {"not an envelope", "<Body><x/></Body>"},
        {"body with its own prefix and inherited style",
         "<soap:Envelope xmlns:soap='http://schemas.xmlsoap.org/soap/envelope/' "
         "soap:encodingStyle='http://schemas.xmlsoap.org/soap/encoding/'><soap:Header>"
         "<h:token xmlns:h='urn:x'>1</h:token><h:b xmlns:h='urn:x' xmlns:SOAP-ENV='urn:other'/>"
         "</soap:Header><soap:Body><m:addResponse xmlns:m='urn:calc' "
         "xmlns:SOAP-ENV='http://schemas.xmlsoap.org/soap/envelope/'><sum>1</sum>"
         "</m:addResponse><z xmlns:SOAP-ENV='urn:z' z='&amp;'/></soap:Body>"
         "<soap:Body id='2'><m:addResponse xmlns:m='urn:calc'><sum>2</sum></m:addResponse>"
         "</soap:Body></soap:Envelope>"},
        {"body binding SOAP-ENV elsewhere",
         "<soap:Envelope xmlns:soap='http://schemas.xmlsoap.org/soap/envelope/' "
         "xmlns:SOAP-ENV='urn:elsewhere' soap:encodingStyle='urn:style'><soap:Body><m:add "
         "xmlns:m='urn:calc'><x>1</x><y>2</y></m:add></soap:Body></soap:Envelope>"},
        {"requests", Envelope("<h:token xmlns:h='urn:hdr'>5</h:token>",
                              "<m:add xmlns:m='urn:calc'><x>1</x><y href='#y'/></m:add>"
                              "<y id='y'>2</y>")},
        {"request with an unknown parameter",
         Envelope("", "<m:add xmlns:m='urn:calc'><x>1</x><q>2</q></m:add>")},
        {"root zero body children",
         Envelope("",
                  "<a SOAP-ENC:root='0'/><m:add xmlns:m='urn:calc' SOAP-ENC:root='1'><x>1</x>"
                  "</m:add>")},
        {"attribute keys that collide",
         Envelope("",
                  "<m:add xmlns:m='urn:calc' xmlns:p='urn:calcadd'><x p:id='k'>1</x>"
                  "<y xmlns:q='urn:calcy' q:href='#k'/></m:add>")},
        {"typed values",
         Envelope(
             "",
             "<m:echoAllResponse xmlns:m='urn:corvane:types'><long>12345678901</long>"
             "<boolean>true</boolean><double>1e300</double><float> 1.5 </float>"
             "<decimal>0.1000000000000000000001</decimal><date>2000-01-01</date>"
             "<dateTime>2000-01-01T12:00:00+01:00</dateTime><base64Binary>AAEC/w==</base64Binary>"
             "<hexBinary>00ff</hexBinary><int xsi:nil='true'/><byte>300</byte>"
             "</m:echoAllResponse>")},
        {"bad typed value",
         Envelope("",
                  "<m:echoAll xmlns:m='urn:corvane:types'><boolean>maybe</boolean></m:echoAll>")},
        {"line ends and entities",
         "<?xml version='1.0'?>\r\n<SOAP-ENV:Envelope\r\n xmlns:SOAP-ENV='http://schemas.xmlsoap."
         "org/soap/envelope/'>\r<SOAP-ENV:Body>\n<m:addResponse xmlns:m='urn:calc'>\r\n<sum>&#49;"
         "&#x32;</sum><note><a>1</a><b>l1\r\nl2&quot;&apos;</b></note></m:addResponse>\r\n"
         "</SOAP-ENV:Body></SOAP-ENV:Envelope>\r\n<!-- after -->"},
    };
}

TEST(ReadDiff, EdgeAndHostileEnvelopesReadAlikeBothWays) {
    for (auto const& [what, text] : EdgeCases()) {
        EXPECT_EQ(Compare(what, Wide(text)), 0);
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
        WMString const whole = Wide(text);
        for (std::size_t length = 0; length < whole.size(); length += 7) {
            EXPECT_EQ(Compare(what + " cut at " + std::to_string(length), whole.substr(0, length)),
                      0);
        }
    }
}

}  // namespace
