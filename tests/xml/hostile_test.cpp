// Hostile input: deep nesting, huge counts and sizes, amplification and truncation. Sizes are
// kept moderate so that the sanitizer build stays fast; the benchmark runs the large ones.
#include <corvane/xml_parser.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "xml/recorder.h"

namespace {

WMString Nested(std::size_t depth) {
    return Repeat(u"<a>", depth) + Repeat(u"</a>", depth);
}

TEST(XMLHostile, NestingStopsAtTheLimitWithTheOrdinaryError) {
    int const limit = WMXMLParser::kMaxNestingDepth;
    EXPECT_EQ(ErrorLine(Nested(limit)), 0);
    EXPECT_EQ(ErrorLine(Nested(limit + 1)), 1);
    EXPECT_EQ(ErrorLine(Repeat(u"<a>\n", limit) + u"<a>"), limit + 1);
    EXPECT_EQ(ErrorLine(Repeat(u"<a>", 1000000), false), 1);
    EXPECT_EQ(ErrorLine(Nested(1000000)), 1);
}

TEST(XMLHostile, LargeCountsAndSizesParse) {
    WMString manyAttributes = u"<a";
    for (int i = 0; i < 100000; ++i) {
        manyAttributes += u" n" + Widen(std::to_string(i)) + u"='v'";
    }
    manyAttributes += u"/>";
    WMXMLParser parser;
    parser.ParseXML(manyAttributes, nullptr);
    EXPECT_EQ(parser.GetDocRoot()->GetAttributeMap().size(), 100000u);

    WMString const text(4u << 20, u'x');
    parser.ParseXML(u"<a>" + text + u"</a>", nullptr);
    EXPECT_EQ(parser.GetDocRoot()->GetText().size(), text.size());

    parser.ParseXML(u"<a v='" + text + u"'/>", nullptr);
    WMString value;
    EXPECT_TRUE(parser.GetDocRoot()->GetAttribute(u"a", u"v", value));
    EXPECT_EQ(value.size(), text.size());

    WMString const longName(1u << 20, u'n');
    parser.ParseXML(u"<" + longName + u" " + longName + u"='1'></" + longName + u">", nullptr);
    EXPECT_EQ(parser.GetDocRoot()->GetLocalName().size(), longName.size());

    WMXMLParser events;
    events.SetBuildTree(false);
    Recorder recorder;
    events.ParseXML(u"<r>" + Repeat(u"<s a='1'/>", 300000) + u"</r>", &recorder);
    EXPECT_EQ(std::count(recorder.events.begin(), recorder.events.end(), "end s"), 300000);
}

TEST(XMLHostile, CopiesOfNamespaceTextAreBounded) {
    // Each attribute key would repeat the long element name or namespace URI.
    WMString const longName(1u << 18, u'n');
    WMString byName = u"<" + longName;
    for (int i = 0; i < 20000; ++i) {
        byName += u" a" + Widen(std::to_string(i)) + u"=''";
    }
    EXPECT_EQ(ErrorLine(byName + u"/>"), 1);

    WMString const uri(1u << 18, u'u');
    EXPECT_NE(ErrorLine(u"<r xmlns:p='" + uri + u"'>" + Repeat(u"<p:a p:x=''/>", 100000) + u"</r>"),
              0);
    // Every child declares a prefix, so each would copy the root's many declarations.
    WMString root = u"<r";
    for (int i = 0; i < 2000; ++i) {
        root += u" xmlns:p" + Widen(std::to_string(i)) + u"='u'";
    }
    root += u">";
    EXPECT_NE(ErrorLine(root + Repeat(u"<a xmlns:q='v'/>", 50000) + u"</r>"), 0);
    // Ordinary documents are far from the bound.
    EXPECT_EQ(ErrorLine(root + Repeat(u"<a xmlns:q='v'/>", 10) + u"</r>"), 0);
}

TEST(XMLHostile, EveryTruncationFailsCleanly) {
    WMString const document =
        u"<?xml version='1.0'?>\r\n<!DOCTYPE d [<!ENTITY e 'x'>]><!-- c -->\n"
        u"<s:E xmlns:s='urn:s' a=\"1&amp;2\" b='&#x41;'><s:B>t&lt;<![CDATA[x]]>"
        u"<?p d?><c/>\r</s:B></s:E>";
    ASSERT_EQ(ErrorLine(document), 0);
    std::size_t const rootEnd = document.rfind(u'>') + 1;
    for (std::size_t length = 0; length < rootEnd; ++length) {
        for (bool buildTree : {true, false}) {
            EXPECT_NE(ErrorLine(document.substr(0, length), buildTree), 0) << length;
        }
    }
    // A zero code unit reads as the end of the input.
    for (std::size_t at = 0; at < rootEnd; ++at) {
        WMString cut = document;
        cut[at] = 0;
        EXPECT_NE(ErrorLine(cut), 0) << at;
    }
}

}  // namespace
