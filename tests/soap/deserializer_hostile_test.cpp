// Hostile input: reference cycles, shared references that would expand exponentially, and
// reference chains deeper than the parser's depth limit end in faults. (Nesting in the text
// itself is the parser's: tests/xml/parser_test.cpp.)
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
    std::string value;  // of the parameter `name`
    std::string independent;
    bool badReference;  // else too deep or too large to convert
};

std::vector<Hostile> Cases(std::string const& name) {
    std::string chain;  // independent elements nested by reference beyond the depth limit
    int const deep = WMXMLParser::kMaxNestingDepth + 20;
    for (int level = 0; level < deep; ++level) {
        chain +=
            Node("c" + std::to_string(level), "<next href='#c" + std::to_string(level + 1) + "'/>");
    }
    chain += Node("c" + std::to_string(deep), "");
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
        {"deep", "<" + name + " href='#c0'/>", chain, false},
    };
}

TEST(HostileReferences, CyclesExpansionAndDepthEndInFaults) {
    for (Hostile const& c : Cases("return")) {
        SCOPED_TRACE(std::string("response ") + c.what);
        WMSOAPMessage message;
        auto const thrown =
            DecodeResponse(message, Calc(), u"echo", EchoResponse(c.value, c.independent));
        ASSERT_TRUE(thrown);
        EXPECT_EQ(thrown->code, "SOAP-ENV:Server");
        EXPECT_EQ(thrown->text, c.badReference
                                    ? "Method parameter: 'return' has invalid reference."
                                    : "Failed to convert parameter: 'return' in Response Body.");
    }
    // The same values as the request's "node" parameter.
    for (Hostile const& c : Cases("node")) {
        SCOPED_TRACE(std::string("request ") + c.what);
        WMSOAPMessage message;
        auto const thrown =
            DecodeRequest(message, Calc(), u"\"\"", EchoRequest(c.value, c.independent));
        ASSERT_TRUE(thrown);
        EXPECT_EQ(thrown->code, "SOAP-ENV:Server");
        EXPECT_EQ(thrown->text, c.badReference
                                    ? "Parameter: 'node' has invalid reference."
                                    : "Failed to convert parameter: 'node' in Request Body.");
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
