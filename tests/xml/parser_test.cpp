// The parser's events, errors and trees, hostile input, the element model itself, and the
// internal reader against the parser.
#include <corvane/utf8.h>
#include <corvane/xml.h>
#include <corvane/xml_parser.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "support/support.h"
#include "xml/reader_diff.h"
#include "xml/recorder.h"

namespace {

using corvane::test::ReadTable;
using corvane::test::TableRow;
using corvane::test::Unescape;
using Events = std::vector<std::string>;

// The parser's events as the differential test writes them, and the start of the document.
struct Recorder : readerdiff::ParserSide {
    void StartDoc() override { events.push_back("startdoc"); }
};

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

constexpr auto Attributes = &readerdiff::ParserSide::Attributes;

// An element as "namespace|local|qualified|text|", then its attributes as Attributes writes them.
std::string Node(WMXMLElement const& e) {
    return readerdiff::Join(
               {e.GetNamespaceURI(), e.GetLocalName(), e.GetQualifiedName(), e.GetText()}) +
           Attributes(e.GetAttributeMap());
}

TEST(XMLParser, EventOrderPutsTextAfterChildrenAndSkipsDocTypes) {
    WMXMLParser parser;
    Recorder recorder;
    parser.ParseXML(u"<?xml version='1.0'?><!-- c --><a>x<b/>y<?p d?></a><?t?>junk", &recorder);
    EXPECT_EQ(recorder.events,
              (Events{"startdoc", "pi xml|version='1.0'|", "ns ||", "start |a|a|", "start |b|b|",
                      "end b|", "pi p|d|", "text xy|", "end a|", "endns |", "pi t||", "enddoc"}));
    ASSERT_NE(parser.GetDocRoot(), nullptr);
    EXPECT_EQ(parser.GetDocRoot()->Serialize(nullptr), u"<a>xy<b /></a>");
    EXPECT_EQ(
        EventsOf(u" <!DOCTYPE a [<!ENTITY e 'x'><!ELEMENT a ANY>]> <!DOCTYPE b> <?p?> <a/> <b/>"),
        (Events{"startdoc", "pi p||", "ns ||", "start |a|a|", "end a|", "endns |", "enddoc"}));
}

TEST(XMLParser, NamespaceMappingEvents) {
    EXPECT_EQ(EventsOf(u"<r xmlns='urn:d' xmlns:p='urn:p'><p:c xmlns:p='urn:x' xmlns:q='urn:q' "
                       u"q:a='1'/><c xmlns=''/></r>"),
              (Events{"startdoc", "ns |urn:d|", "ns |urn:d|", "ns p|urn:p|", "start urn:d|r|r|",
                      "ns q|urn:q|", "start urn:x|c|p:c| [urn:qa|q:a|urn:q|a|||1|]", "end p:c|",
                      "endns q|", "ns ||", "start |c|c|", "end c|", "endns |", "end r|", "endns |",
                      "endns |", "endns p|", "enddoc"}));
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
    EXPECT_EQ(Node(*parser.GetDocRoot()),
              "u|a|p:a|| [uab|b||b|u|a|1|] [uac|c||c|u|a|A\"\\000a\\0009'x'|]");
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
        EXPECT_EQ(
            EventsOf(document, buildTree),
            (Events{"startdoc", "pi p|d\\000ae\\000a|", "ns ||",
                    "start |a|a| [ab|b||b||a|v\\000aw\\000a\\000a|]",
                    "text x\\000ay\\000az1\\000a2\\000a\\000a|", "end a|", "endns |", "enddoc"}));
    }
}

TEST(XMLParser, EventModeKeepsOnlyTheRoot) {
    WMXMLParser parser;
    parser.SetBuildTree(false);
    Recorder recorder;
    parser.ParseXML(u"<a k='v'>t<b><c/></b>u</a>", &recorder);
    ASSERT_NE(parser.GetDocRoot(), nullptr);
    EXPECT_TRUE(parser.GetDocRoot()->GetChildElements().empty());
    EXPECT_EQ(Node(*parser.GetDocRoot()), "|a|a|tu| [ak|k||k||a|v|]");
    EXPECT_EQ(recorder.events[4], "start |c|c|");
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
    WMXMLElement* body = second.GetDocRoot()->GetChildElement(u"urn:s", u"B");
    ASSERT_NE(body, nullptr);
    EXPECT_EQ(Node(*body),
              "urn:s|B|s:B|1 < 2 > 0tail&| [urn:sBu|u||u|urn:s|B|'|] "
              "[urn:xt|x:t|urn:x|t|||a&b\"|]");
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
    parser.ParseXML(u"<a v='" + text + u"'>" + text + u"</a>", nullptr);
    WMString value;
    EXPECT_TRUE(parser.GetDocRoot()->GetAttribute(u"a", u"v", value));
    EXPECT_EQ(value.size() + parser.GetDocRoot()->GetText().size(), 2 * text.size());

    WMString const longName(1u << 20, u'n');
    parser.ParseXML(u"<" + longName + u" " + longName + u"='1'></" + longName + u">", nullptr);
    EXPECT_EQ(parser.GetDocRoot()->GetLocalName().size(), longName.size());

    WMXMLParser events;
    events.SetBuildTree(false);
    Recorder recorder;
    events.ParseXML(u"<r>" + Repeat(u"<s a='1'/>", 300000) + u"</r>", &recorder);
    EXPECT_EQ(std::count(recorder.events.begin(), recorder.events.end(), "end s|"), 300000);
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

std::unique_ptr<WMXMLElement> Element(WMString const& name) {
    return std::make_unique<WMXMLElement>(name);
}

TEST(XMLSerialize, EmptyFormAndAttributesInKeyOrderWithAsymmetricEscaping) {
    auto a = Element(u"a");
    EXPECT_EQ(a->Serialize(nullptr), u"<a />");
    a->SetText(u" ");
    EXPECT_EQ(a->Serialize(nullptr), u"<a> </a>");

    auto e = Element(u"e");
    ASSERT_TRUE(e->SetAttribute(u"b", u"x>y"));
    ASSERT_TRUE(e->SetAttribute(u"a", u"'q'"));
    EXPECT_EQ(e->Serialize(nullptr), u"<e a=\"&apos;q&apos;\" b=\"x>y\" />");

    WMString content = u"a&b<c>d\"e'f";
    WMString value = content;
    WMXMLElement::EscElementContent(content);
    WMXMLElement::EscAttributeValue(value);
    EXPECT_EQ(content + u" " + value, u"a&amp;b&lt;c&gt;d\"e'f a&amp;b&lt;c>d&quot;e&apos;f");
}

TEST(XMLSerialize, TextPrecedesChildrenAndDeclarationsFollowAttributes) {
    auto root = Element(u"p:r");
    root->SetNSPrefix(u"p", u"urn:p");
    root->SetNSPrefix(u"", u"urn:d");
    root->SetAttribute(u"z", u"1");
    root->SetText(u"t&");
    auto* same = new WMXMLElement(u"p:c");
    same->SetNSPrefix(u"p", u"urn:p");
    auto* other = new WMXMLElement(u"p:c");
    other->SetNSPrefix(u"p", u"urn:other");
    root->AddChildElement(same);
    root->AddChildElement(other);
    root->AddChildElement(nullptr);
    EXPECT_EQ(root->GetChildElements().size(), 2u);
    EXPECT_EQ(root->Serialize(nullptr),
              u"<p:r z=\"1\" xmlns=\"urn:d\" xmlns:p=\"urn:p\">t&amp;<p:c />"
              u"<p:c xmlns:p=\"urn:other\" /></p:r>");

    WMString out = u"prefix:";
    root->GetChildElements()[1]->Serialize(nullptr, out);
    EXPECT_EQ(out, u"prefix:<p:c xmlns:p=\"urn:other\" />");
}

TEST(XMLResolve, ElementNamesAgainstPrefixesInScope) {
    auto parent = Element(u"r");
    parent->SetNSPrefix(u"p", u"urn:p");

    EXPECT_FALSE(Element(u"q:a")->ResolveNSPrefixes(parent.get()));
    EXPECT_FALSE(Element(u"p:a:b")->ResolveNSPrefixes(parent.get()));

    auto leadingColon = Element(u":a");
    leadingColon->SetAttribute(u"xmlns", u"urn:d");
    auto child = Element(u"p:a");
    ASSERT_TRUE(leadingColon->ResolveNSPrefixes(parent.get()));
    ASSERT_TRUE(child->ResolveNSPrefixes(parent.get()));
    EXPECT_EQ(Node(*leadingColon) + " " + Node(*child), "urn:d|:a|:a|| urn:p|a|p:a||");
    // Inherited mappings are written by nobody below the element that declares them.
    EXPECT_EQ(child->Serialize(parent.get()), u"<p:a />");
}

TEST(XMLResolve, DeclarationsLeaveTheAttributesAndKeysBecomeExpanded) {
    auto e = Element(u"q:e");
    e->SetAttribute(u"xmlns", u"urn:d");
    e->SetAttribute(u"xmlns:q", u"urn:q");
    e->SetAttribute(u"xmlnsx", u"1");
    e->SetAttribute(u"q:a", u"2");
    ASSERT_TRUE(e->ResolveNSPrefixes(nullptr));

    // Key, qualified name, namespace, local name, element namespace and name, value.
    EXPECT_EQ(Attributes(e->GetAttributeMap()),
              " [urn:qa|q:a|urn:q|a|||2|] [urn:qexmlnsx|xmlnsx||xmlnsx|urn:q|e|1|]");
    WMString one;
    WMString two;
    EXPECT_TRUE(e->GetAttribute(u"urn:qe", u"xmlnsx", one) && e->GetAttribute(u"urn:q", u"a", two));
    EXPECT_FALSE(e->GetAttribute(u"", u"q:a", two));
    EXPECT_EQ(one + two + e->GetDefaultNS() + e->GetNSPrefixMap().at(u""), u"12urn:durn:d");
}

TEST(XMLResolve, EmptyPrefixDeclarationLeavesTheDefaultAndSameExpandedNamesFail) {
    auto e = Element(u"e");
    e->SetAttribute(u"xmlns:", u"urn:x");
    ASSERT_TRUE(e->ResolveNSPrefixes(nullptr));
    EXPECT_EQ(e->GetNSPrefixMap().at(u"") + u"|" + e->GetDefaultNS(), u"urn:x|");
    EXPECT_EQ(Node(*e), "|e|e||");

    auto clash = Element(u"e");
    clash->SetAttribute(u"xmlns:p", u"urn:x");
    clash->SetAttribute(u"xmlns:q", u"urn:x");
    clash->SetAttribute(u"p:x", u"1");
    clash->SetAttribute(u"q:x", u"2");
    EXPECT_FALSE(clash->ResolveNSPrefixes(nullptr));

    auto unprefixed = Element(u"e");
    EXPECT_TRUE(unprefixed->SetAttribute(u":x", u"1"));
    EXPECT_FALSE(unprefixed->ResolveNSPrefixes(nullptr));
}

TEST(XMLAttributes, TwoArgumentKeysAndThreeArgumentResolution) {
    auto e = Element(u"e");
    EXPECT_TRUE(e->SetAttribute(u"n", u"first"));
    EXPECT_FALSE(e->SetAttribute(u"n", u"second"));
    EXPECT_TRUE(e->SetAttribute(u"x:a", u"urn:x", u"1"));
    EXPECT_EQ(e->GetNSPrefixMap().at(u"x"), u"urn:x");
    EXPECT_FALSE(e->SetAttribute(u"x:b", u"urn:other", u"2") ||
                 e->SetAttribute(u"x:a", u"urn:x", u"3") || e->SetAttribute(u":a", u"urn:x", u"4"));
    WMString first;
    WMString one;
    EXPECT_TRUE(e->GetAttribute(u"", u"n", first) && e->GetAttribute(u"urn:x", u"a", one));
    EXPECT_EQ(first + one, u"first1");
    EXPECT_EQ(e->Serialize(nullptr), u"<e n=\"first\" x:a=\"1\" xmlns:x=\"urn:x\" />");
}

TEST(XMLNames, JoinedComparisons) {
    WMXMLParser parser;
    parser.ParseXML(u"<r><br xmlns='a'/><r xmlns='ab'/></r>", nullptr);
    auto const& names = parser.GetDocRoot()->GetChildElements();
    EXPECT_TRUE(names[0]->NameEquals(*names[1]));  // "a" + "br" == "ab" + "r"

    WMXMLAttribute first(u"a", u"1");
    WMXMLAttribute second(u"a", u"2");
    first.SetElementName(u"e");
    second.SetElementNS(u"e");
    EXPECT_TRUE(first.Matches(second));
    second.SetElementName(u"x");
    EXPECT_FALSE(first.Matches(second));
}

TEST(XMLTree, ChildAndNestedLookup) {
    WMXMLParser parser;
    parser.ParseXML(u"<r><b><c/></b><c/></r>", nullptr);
    WMXMLElement* root = parser.GetDocRoot();
    WMXMLElement* deep = root->GetChildElements()[0]->GetChildElements()[0];
    EXPECT_EQ(root->GetChildElement(u"", u"c"), root->GetChildElements()[1]);
    EXPECT_EQ(root->GetNestedElement(u"", u"c"), deep);
    EXPECT_EQ(root->GetNestedElement(u"", u"r"), nullptr);
    EXPECT_EQ(deep->GetChildElement(u"", u"c"), nullptr);
}

TEST(XMLTree, CopiesAreDeepAndIndependent) {
    WMXMLParser parser;
    parser.ParseXML(u"<e xmlns:p='urn:p' p:a='1' b='2'>text<c/></e>", nullptr);
    WMXMLElement& root = *parser.GetDocRoot();
    WMXMLElement copy(root);
    EXPECT_EQ(copy.Serialize(nullptr), root.Serialize(nullptr));
    EXPECT_NE(copy.GetChildElements()[0], root.GetChildElements()[0]);
    EXPECT_NE(copy.GetAttributeMap().at(u"eb"), root.GetAttributeMap().at(u"eb"));
    // A copied attribute keeps its qualified name, element name and namespace and value only.
    WMString value;
    EXPECT_TRUE(copy.GetAttribute(u"urn:p", u"a", value));
    EXPECT_EQ(Node(copy), "|e|e|text| [eb|b||||e|2|] [urn:pa|p:a|||||1|]");

    copy.GetNSPrefixMap()[u"p"] = u"urn:changed";
    copy.GetDefaultNS() = u"urn:d";
    EXPECT_EQ(root.GetNSPrefixMap().at(u"p") + u"|" + root.GetDefaultNS(), u"urn:p|");
    WMXMLElement assigned(u"x");
    assigned = copy;
    EXPECT_EQ(assigned.Serialize(nullptr), copy.Serialize(nullptr));

    WMXMLAttributeMap map;
    map.AddAttribute(u"k", u"v");
    WMXMLAttributeMap mapCopy(map);
    EXPECT_NE(mapCopy.at(u"k"), map.at(u"k"));
    EXPECT_EQ(mapCopy.at(u"k")->GetValue(), u"v");
}

TEST(XMLTree, MutableScopeOfAParentIsNotSharedWithChildrenResolvedLater) {
    auto parent = Element(u"r");
    parent->SetNSPrefix(u"p", u"urn:p");
    WMXMLNSPrefixMap& held = parent->GetNSPrefixMap();
    auto child = Element(u"p:c");
    ASSERT_TRUE(child->ResolveNSPrefixes(parent.get()));
    held[u"p"] = u"urn:later";
    EXPECT_EQ(child->GetNSPrefixMap().at(u"p"), u"urn:p");
    EXPECT_EQ(child->Serialize(parent.get()), u"<p:c xmlns:p=\"urn:p\" />");
}

TEST(XMLTree, VeryDeepTreeIsDestroyedWithoutRecursion) {
    auto root = Element(u"r");
    WMXMLElement* last = root.get();
    for (int i = 0; i < 300000; ++i) {
        auto* child = new WMXMLElement(u"c");
        last->AddChildElement(child);
        last = child;
    }
    root.reset();
}

// The internal reader against WMXMLParser: every document of the test data, every WSDL, the
// fuzz seeds and a table of hostile and odd inputs must give the same events, error lines,
// trees and written texts in both modes.
void ExpectSame(WMString const& text, std::string const& what) {
    for (bool buildTree : {true, false}) {
        EXPECT_EQ("", corvane::test::FirstDifference(readerdiff::ParserResult(text, buildTree),
                                                     readerdiff::ReaderResult(text, buildTree)))
            << what << (buildTree ? " (tree)" : " (events)");
    }
}

// The files as the library reads them (bytes as code units, the ANSI code page of the
// platform layer), as UTF-8, and the fuzz seeds as the fuzzers read them.
TEST(XMLReaderDiff, CorpusReadsAlike) {
    namespace fs = std::filesystem;
    fs::path const data(corvane::test::DataPath(""));
    fs::path const seeds = fs::path(corvane::test::TestsDir()) / "fuzz" / "corpus" / "xml";
    int files = 0;
    for (fs::path const& dir : {data, seeds}) {
        for (auto const& entry : fs::recursive_directory_iterator(dir)) {
            std::string const ext = entry.path().extension().string();
            if (!entry.is_regular_file() ||
                (ext != ".xml" && ext != ".wsdl" && ext != ".xsd" && ext != ".bin")) {
                continue;
            }
            std::string const name = entry.path().string();
            std::string const bytes = corvane::test::ReadFile(name);
            WMString utf8;
            UTF8ToWideString(bytes, utf8);
            ExpectSame(corvane::test::Widen(bytes), name);
            ExpectSame(utf8, name + " as UTF-8");
            if (dir == seeds) {
                ExpectSame(readerdiff::FuzzText(reinterpret_cast<std::uint8_t const*>(bytes.data()),
                                                bytes.size()),
                           name + " as a fuzz input");
            }
            ++files;
        }
    }
    EXPECT_GT(files, 60);
}

TEST(XMLReaderDiff, OddAndHostileInputsReadAlike) {
    std::vector<WMString> cases = {WMString(u""),
                                   WMString(u"   "),
                                   Repeat(u"<a>", 256) + Repeat(u"</a>", 256),
                                   Repeat(u"<a>", 257) + Repeat(u"</a>", 257),
                                   Repeat(u"<a>\n", 300),
                                   Repeat(u"<a xmlns:p='u'>\r\n", 260)};
    // One input a line, its escapes decoded.
    for (TableRow const& row : ReadTable("expected/xml/reader_odd_inputs.txt")) {
        cases.push_back(Unescape(row.input));
    }
    ASSERT_GT(cases.size(), 66u);
    for (WMString const& text : cases) {
        std::string shown;
        readerdiff::Put(shown, text.substr(0, 80));
        ExpectSame(text, shown);
    }
}

// The copy budget runs out on the same line: each element stands on a line of its own, so a
// charge counted differently anywhere before shows as another line.
TEST(XMLReaderDiff, CopyBudgetRunsOutOnTheSameLine) {
    WMString const uri(1u << 14, u'u');
    WMString const longName = u"p:" + WMString(300, u'n');
    struct Pattern {
        WMString start;
        WMString line;
        std::size_t count;
        WMString end;
    } const patterns[] = {
        {u"<r xmlns:p='" + uri + u"'>\n", u"<p:a p:x='' x='' a=''/>\n", 2000, u"</r>"},
        {u"<r xmlns='" + uri + u"'>\n", u"<a a=''/>\n", 4000, u"</r>"},
        {u"<r xmlns:p='" + uri + u"'>\n", u"<b xmlns:q='x'><p:a q:a='' a=''/></b>\n", 2000,
         u"</r>"},
        {u"<r xmlns:p='" + uri + u"'>\n", u"<" + longName + u"/>\n", 2000, u"</r>"},
        {u"<r xmlns='" + uri + u"' xmlns:p='" + uri + u"'>\n", u"<a p:b='' xmlns:c=''>\n", 255,
         Repeat(u"</a>\n", 255) + u"</r>"},
    };
    int index = 0;
    for (Pattern const& pattern : patterns) {
        WMString const text = pattern.start + Repeat(pattern.line, pattern.count) + pattern.end;
        EXPECT_NE(readerdiff::ParserResult(text, false).find("thrown"), std::string::npos);
        ExpectSame(text, "budget pattern " + std::to_string(index++));
    }
    // The nested declarations fail at different depths, on start and on end tags, as the
    // namespace grows.
    for (std::size_t size = 4000; size < 20000; size += 1500) {
        WMString const grown(size, u'g');
        ExpectSame(u"<r xmlns='" + grown + u"'>\n" + Repeat(u"<a xmlns:q=''>\n", 250) +
                       Repeat(u"</a>\n", 250) + u"</r>",
                   "nested budget " + std::to_string(size));
    }
    WMString manyAttributes = u"<a";
    for (std::size_t i = 0; i < 3000; ++i) {
        manyAttributes +=
            u" n" + Widen(std::to_string(i % 1000) + "x" + std::to_string(i / 1000)) + u"='v'";
    }
    ExpectSame(manyAttributes + u"/>", "many attributes");
    ExpectSame(manyAttributes + u" n999x2='w'/>", "many attributes, one repeated");
}

// Written texts longer than the reader's write buffer, with every escaped character before, at
// and across its boundary.
WMString Document(std::size_t pad) {
    WMString const filler(pad, u'x');
    WMString const specials = u"&amp;&lt;&gt;&quot;&apos;";
    return u"<r a='" + filler + specials + u"' b=\"" + specials + filler + u"\">" + filler +
           specials + u"\"'<c/>" +
           Repeat(u"<e f='&quot;" + filler.substr(0, pad % 97) + u"'>&lt;" + filler + u"</e>", 30) +
           u"</r>";
}

TEST(XMLReaderWriting, TextsAcrossTheWriteBufferWriteAlike) {
    for (std::size_t pad : {0u, 1u, 2040u, 2046u, 2047u, 2048u, 2049u, 4100u}) {
        ExpectSame(Document(pad), "pad " + std::to_string(pad));
    }
}

// Documents read one after another on the blocks the thread kept from the one before.
TEST(XMLReaderWriting, ReadsOnKeptBlocksReadAlike) {
    WMString const large = Repeat(u"<n a='1'>text &amp; more</n>", 5000);
    for (WMString const& body : {large, WMString(u"<m b='2'/>"), large + u"<m/>"}) {
        ExpectSame(u"<r xmlns:p='urn:p'>" + body + u"</r>", "kept blocks");
    }
}

}  // namespace
