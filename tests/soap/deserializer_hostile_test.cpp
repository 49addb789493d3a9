// Hostile input: reference cycles, shared references that would expand exponentially, and
// reference chains deeper than the parser's depth limit end in faults. (Nesting in the text
// itself is the parser's: tests/xml/hostile_test.cpp.)
#include <corvane/xml_parser.h>
#include <gtest/gtest.h>

#include <string>

#include "soap/deserializer_test_util.h"

using namespace deser_test;

namespace {

// An echo response whose return value (a Node) is `ret`, followed by independent elements.
WMString EchoResponse(std::string const& ret, std::string const& independent) {
    return Envelope("<m:echoResponse xmlns:m='urn:calc'>" + ret + "</m:echoResponse>" +
                    independent);
}

WMString EchoRequest(std::string const& node, std::string const& independent) {
    return Envelope("<m:echo xmlns:m='urn:calc'>" + node + "</m:echo>" + independent);
}

std::string Node(std::string const& id, std::string const& inside) {
    return "<n id='" + id + "' SOAP-ENC:root='0'><value>1</value>" + inside + "</n>";
}

// `levels` levels of nodes l0.., each holding two references to the next.
std::string Diamond(int levels) {
    std::string shared;
    for (int level = 0; level < levels; ++level) {
        std::string const next = "#l" + std::to_string(level + 1);
        shared += Node("l" + std::to_string(level),
                       "<next href='" + next + "'/><other href='" + next + "'/>");
    }
    return shared + Node("l" + std::to_string(levels), "");
}

struct Hostile {
    char const* what;
    std::string ret;
    std::string independent;
    char const* text;
};

std::vector<Hostile> Cases() {
    std::string chain;  // independent elements nested by reference beyond the depth limit
    int const deep = WMXMLParser::kMaxNestingDepth + 20;
    for (int level = 0; level < deep; ++level) {
        chain +=
            Node("c" + std::to_string(level), "<next href='#c" + std::to_string(level + 1) + "'/>");
    }
    chain += Node("c" + std::to_string(deep), "");
    return {
        {"self", "<return id='r' href='#r'/>", "",
         "Method parameter: 'return' has invalid reference."},
        {"ancestor",
         "<return id='r'><value>1</value><next><value>2</value><next href='#r'/>"
         "</next></return>",
         "", "Method parameter: 'return' has invalid reference."},
        {"ring", "<return href='#a'/>",
         Node("a", "<next href='#b'/>") + Node("b", "<next href='#c'/>") +
             Node("c", "<next href='#a'/>"),
         "Method parameter: 'return' has invalid reference."},
        {"shared", "<return href='#l0'/>", Diamond(30),
         "Failed to convert parameter: 'return' in Response Body."},
        {"deep", "<return href='#c0'/>", chain,
         "Failed to convert parameter: 'return' in Response Body."},
    };
}

TEST(HostileResponses, CyclesExpansionAndDepthEndInFaults) {
    for (Hostile const& c : Cases()) {
        SCOPED_TRACE(c.what);
        WMSOAPMessage message;
        auto const thrown =
            DecodeResponse(message, Calc(), u"echo", EchoResponse(c.ret, c.independent));
        ASSERT_TRUE(thrown);
        EXPECT_EQ(thrown->code, "SOAP-ENV:Server");
        EXPECT_EQ(thrown->text, c.text);
    }
}

TEST(HostileRequests, CyclesExpansionAndDepthEndInFaults) {
    for (Hostile c : Cases()) {
        SCOPED_TRACE(c.what);
        // The same values as the request's "node" parameter.
        std::string node = c.ret;
        node.replace(1, 6, "node");
        if (node.size() > 9 && node.compare(node.size() - 9, 9, "</return>") == 0) {
            node.replace(node.size() - 9, 9, "</node>");
        }
        WMSOAPMessage message;
        auto const thrown =
            DecodeRequest(message, Calc(), u"\"\"", EchoRequest(node, c.independent));
        ASSERT_TRUE(thrown);
        EXPECT_EQ(thrown->code, "SOAP-ENV:Server");
        std::string expected = c.text;
        if (expected.rfind("Method parameter", 0) == 0) {
            expected = "Parameter: 'node' has invalid reference.";
        } else {
            expected = "Failed to convert parameter: 'node' in Request Body.";
        }
        EXPECT_EQ(thrown->text, expected);
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

}  // namespace
