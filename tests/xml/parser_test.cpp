#include <corvane/xml_parser.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/support.h"
#include "xml/recorder.h"

namespace {

using corvane::test::ReadTable;
using corvane::test::TableRow;
using corvane::test::Unescape;
using Events = std::vector<std::string>;

Events EventsOf(WMString const& document, bool buildTree = true) {
    WMXMLParser parser;
    parser.SetBuildTree(buildTree);
    Recorder recorder;
    parser.ParseXML(document, &recorder);
    return recorder.events;
}

WMString TextOf(WMString const& document) {
    WMXMLParser parser;
    parser.ParseXML(document, nullptr);
    return parser.GetDocRoot()->GetText();
}

TEST(XMLParser, EventOrderPutsTextAfterChildrenAndSkipsDocTypes) {
    WMXMLParser parser;
    Recorder recorder;
    parser.ParseXML(u"<?xml version='1.0'?><!-- c --><a>x<b/>y<?p d?></a><?t?>junk", &recorder);
    EXPECT_EQ(recorder.events,
              (Events{"startdoc", "pi xml|version='1.0'", "ns =", "start {}a a", "start {}b b",
                      "end b", "pi p|d", "text xy", "end a", "endns ", "pi t|", "enddoc"}));
    WMXMLElement* root = parser.GetDocRoot();
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->GetText(), u"xy");
    ASSERT_EQ(root->GetChildElements().size(), 1u);
    EXPECT_EQ(root->GetChildElements()[0]->GetQualifiedName(), u"b");
    EXPECT_EQ(
        EventsOf(u" <!DOCTYPE a [<!ENTITY e 'x'><!ELEMENT a ANY>]> <!DOCTYPE b> <?p?> <a/> <b/>"),
        (Events{"startdoc", "pi p|", "ns =", "start {}a a", "end a", "endns ", "enddoc"}));
}

TEST(XMLParser, NamespaceMappingEvents) {
    EXPECT_EQ(EventsOf(u"<r xmlns='urn:d' xmlns:p='urn:p'><p:c xmlns:p='urn:x' xmlns:q='urn:q' "
                       u"q:a='1'/><c xmlns=''/></r>"),
              (Events{"startdoc", "ns =urn:d", "ns =urn:d", "ns p=urn:p", "start {urn:d}r r",
                      "ns q=urn:q", "start {urn:x}c p:c [urn:qa=1]", "end p:c", "endns q",
                      "ns =", "start {}c c", "end c", "endns ", "end r", "endns ", "endns ",
                      "endns p", "enddoc"}));
}

TEST(XMLParser, ErrorLinesAndTextsOfTheTable) {
    for (TableRow const& row : ReadTable("expected/xml/parse_outcomes.txt")) {
        WMString const document = Unescape(row.input);
        if (row.section == "text") {
            EXPECT_EQ(TextOf(document), Unescape(row.expected)) << row.where;
            continue;
        }
        for (bool buildTree : {true, false}) {
            EXPECT_EQ(std::to_string(ErrorLine(document, buildTree)), row.expected) << row.where;
        }
    }
}

TEST(XMLParser, ResolvedElementKeepsNoDeclarationsAndReferencesReadInValues) {
    WMXMLParser parser;
    parser.ParseXML(u"<p:a xmlns:p='u' b='1' c=\"&#65;&quot;\n\t'x'\"/>", nullptr);
    WMXMLElement* root = parser.GetDocRoot();
    EXPECT_EQ(root->GetNamespaceURI(), u"u");
    EXPECT_EQ(root->GetLocalName(), u"a");
    ASSERT_EQ(root->GetAttributeMap().size(), 2u);
    EXPECT_EQ(root->GetAttributeMap().count(u"uab"), 1u);
    WMString value;
    ASSERT_TRUE(root->GetAttribute(u"ua", u"c", value));
    EXPECT_EQ(value, u"A\"\n\t'x'");
    parser.ParseXML(u"<a b='1'c=\"2\" d = '3'/>", nullptr);
    EXPECT_EQ(parser.GetDocRoot()->GetAttributeMap().size(), 3u);
}

TEST(XMLParser, LineCountGoesOnFromThePreviousDocument) {
    WMXMLParser parser;
    Recorder recorder;
    parser.ParseXML(u"<a>\n</a>\n", nullptr);
    try {
        parser.ParseXML(u"<a>\n<b></a>", &recorder);
        FAIL();
    } catch (int line) {
        EXPECT_EQ(line, 4);
    }
    EXPECT_EQ(recorder.events.back(), "fatal 4");
    EXPECT_EQ(parser.GetDocRoot(), nullptr);
}

TEST(XMLParser, LineEndsReadAsLineFeeds) {
    WMString const document =
        u"<?p d\r\ne\r?><a b='v\r\nw\r\r\n'>x\r\ny\rz<![CDATA[1\r\n2\r]]>\r</a>";
    for (bool buildTree : {true, false}) {
        EXPECT_EQ(EventsOf(document, buildTree),
                  (Events{"startdoc", "pi p|d\ne\n", "ns =", "start {}a a [ab=v\nw\n\n]",
                          "text x\ny\nz1\n2\n\n", "end a", "endns ", "enddoc"}));
    }
}

TEST(XMLParser, EventModeKeepsOnlyTheRoot) {
    WMXMLParser parser;
    parser.SetBuildTree(false);
    Recorder recorder;
    parser.ParseXML(u"<a k='v'>t<b><c/></b>u</a>", &recorder);
    WMXMLElement* root = parser.GetDocRoot();
    ASSERT_NE(root, nullptr);
    EXPECT_TRUE(root->GetChildElements().empty());
    EXPECT_EQ(root->GetText(), u"tu");
    EXPECT_EQ(root->GetAttributeMap().size(), 1u);
    EXPECT_EQ(recorder.events[4], "start {}c c");
}

TEST(XMLParser, RootOwnershipAndDocumentForm) {
    WMXMLParser parser;
    WMString out = u"untouched";
    EXPECT_EQ(parser.SerializeXML(out), 0);
    EXPECT_EQ(out, u"untouched");

    parser.ParseXML(u"<r xmlns:p='urn:p'><p:c a='&lt;'>t</p:c></r>", nullptr);
    int const length = parser.SerializeXML(out);
    EXPECT_EQ(length, static_cast<int>(out.size()));
    EXPECT_EQ(out,
              u"<?xml version=\"1.0\" encoding=\"UTF-8\"?><r xmlns:p=\"urn:p\"><p:c a=\"&lt;\">"
              u"t</p:c></r>");

    WMXMLParser copy(parser);
    EXPECT_EQ(copy.GetDocRoot(), nullptr);

    WMXMLElement* root = parser.DetachDocRoot();
    EXPECT_EQ(parser.GetDocRoot(), nullptr);
    parser.SetDocRoot(root);
    EXPECT_EQ(parser.GetDocRoot(), root);
    parser.SetDocRoot(new WMXMLElement(u"x"));
    EXPECT_EQ(parser.SerializeXML(out), 43);
    EXPECT_EQ(out, u"<?xml version=\"1.0\" encoding=\"UTF-8\"?><x />");
}

TEST(XMLParser, ReparsingTheSerializedTreeGivesTheSameTree) {
    WMString const document =
        u"<s:E xmlns:s='urn:s' xmlns:x='urn:x'>\n <s:B x:t='a&amp;b&quot;' u=\"'\">"
        u"1 &lt; 2 &gt; 0<m x:t='&apos;'/>tail<![CDATA[&]]></s:B></s:E>";
    WMXMLParser first;
    first.ParseXML(document, nullptr);
    WMString text;
    first.SerializeXML(text);
    WMXMLParser second;
    second.ParseXML(text, nullptr);
    WMString again;
    second.SerializeXML(again);
    EXPECT_EQ(again, text);
    WMString value;
    WMXMLElement* body = second.GetDocRoot()->GetChildElement(u"urn:s", u"B");
    ASSERT_NE(body, nullptr);
    EXPECT_TRUE(body->GetAttribute(u"urn:x", u"t", value));
    EXPECT_EQ(value, u"a&b\"");
    EXPECT_EQ(body->GetText(), u"1 < 2 > 0tail&");
}

TEST(XMLParser, EventModeReportsWhatTreeModeReports) {
    WMString const documents[] = {
        u"<r xmlns:p='urn:p'><a x='1' y='2' p:z='3'>t</a><b x='9'/><p:c xmlns='urn:d' q='&amp;'>"
        u"<d/><e xmlns:p='urn:other' p:z='4'/></p:c><a y='2' x='1' p:z='3'>t</a></r>",
        u"<r><a k='1'><b k='2'><c k='3'/></b></a><a/><a k='4' l='5'/></r>",
    };
    for (WMString const& document : documents) {
        EXPECT_EQ(EventsOf(document, false), EventsOf(document));
    }
}

// Hostile input: deep nesting, huge counts and sizes, amplification and truncation. Sizes are
// kept moderate so that the sanitizer build stays fast; the benchmark runs the large ones.
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
