#include <corvane/xml_parser.h>
#include <gtest/gtest.h>

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

}  // namespace
