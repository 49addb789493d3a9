#include <corvane/xml.h>
#include <gtest/gtest.h>

#include <memory>

#include "xml/reader_diff.h"

namespace {

constexpr auto Attributes = &readerdiff::ParserSide::Attributes;

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
    EXPECT_EQ(content, u"a&amp;b&lt;c&gt;d\"e'f");
    EXPECT_EQ(value, u"a&amp;b&lt;c>d&quot;e&apos;f");
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
    ASSERT_TRUE(leadingColon->ResolveNSPrefixes(parent.get()));
    EXPECT_EQ(leadingColon->GetNamespaceURI(), u"urn:d");
    EXPECT_EQ(leadingColon->GetLocalName(), u":a");

    auto child = Element(u"p:a");
    ASSERT_TRUE(child->ResolveNSPrefixes(parent.get()));
    EXPECT_EQ(child->GetNamespaceURI(), u"urn:p");
    EXPECT_EQ(child->GetLocalName(), u"a");
    EXPECT_EQ(child->GetQualifiedName(), u"p:a");
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
    WMString value;
    EXPECT_TRUE(e->GetAttribute(u"urn:qe", u"xmlnsx", value));
    EXPECT_EQ(value, u"1");
    EXPECT_TRUE(e->GetAttribute(u"urn:q", u"a", value));
    EXPECT_EQ(value, u"2");
    EXPECT_FALSE(e->GetAttribute(u"", u"q:a", value));
    EXPECT_EQ(value, u"2");

    EXPECT_EQ(e->GetDefaultNS(), u"urn:d");
    EXPECT_EQ(e->GetNSPrefixMap().at(u""), u"urn:d");
}

TEST(XMLResolve, EmptyPrefixDeclarationLeavesTheDefaultAndSameExpandedNamesFail) {
    auto e = Element(u"e");
    e->SetAttribute(u"xmlns:", u"urn:x");
    ASSERT_TRUE(e->ResolveNSPrefixes(nullptr));
    EXPECT_EQ(e->GetNSPrefixMap().at(u""), u"urn:x");
    EXPECT_EQ(e->GetDefaultNS(), u"");
    EXPECT_EQ(e->GetNamespaceURI(), u"");
    EXPECT_TRUE(e->GetAttributeMap().empty());

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
    WMString value;
    EXPECT_TRUE(e->GetAttribute(u"", u"n", value));
    EXPECT_EQ(value, u"first");

    EXPECT_TRUE(e->SetAttribute(u"x:a", u"urn:x", u"1"));
    EXPECT_EQ(e->GetNSPrefixMap().at(u"x"), u"urn:x");
    EXPECT_FALSE(e->SetAttribute(u"x:b", u"urn:other", u"2"));
    EXPECT_FALSE(e->SetAttribute(u"x:a", u"urn:x", u"3"));
    EXPECT_FALSE(e->SetAttribute(u":a", u"urn:x", u"4"));
    EXPECT_TRUE(e->GetAttribute(u"urn:x", u"a", value));
    EXPECT_EQ(value, u"1");
    EXPECT_EQ(e->Serialize(nullptr), u"<e n=\"first\" x:a=\"1\" xmlns:x=\"urn:x\" />");
}

TEST(XMLNames, JoinedComparisons) {
    auto x = Element(u"br");
    auto y = Element(u"r");
    x->SetAttribute(u"xmlns", u"a");
    y->SetAttribute(u"xmlns", u"ab");
    ASSERT_TRUE(x->ResolveNSPrefixes(nullptr));
    ASSERT_TRUE(y->ResolveNSPrefixes(nullptr));
    EXPECT_TRUE(x->NameEquals(*y));  // "a" + "br" == "ab" + "r"

    WMXMLAttribute first(u"a", u"1");
    WMXMLAttribute second(u"a", u"2");
    first.SetElementName(u"e");
    second.SetElementNS(u"e");
    EXPECT_TRUE(first.Matches(second));
    second.SetElementName(u"x");
    EXPECT_FALSE(first.Matches(second));
}

TEST(XMLTree, ChildAndNestedLookup) {
    auto root = Element(u"r");
    auto* b = new WMXMLElement(u"b");
    auto* deep = new WMXMLElement(u"c");
    b->AddChildElement(deep);
    auto* c = new WMXMLElement(u"c");
    root->AddChildElement(b);
    root->AddChildElement(c);
    for (WMXMLElement* e : {root.get(), b, deep, c}) {
        ASSERT_TRUE(e->ResolveNSPrefixes(nullptr));
    }
    EXPECT_EQ(root->GetChildElement(u"", u"c"), c);
    EXPECT_EQ(root->GetNestedElement(u"", u"c"), deep);
    EXPECT_EQ(root->GetNestedElement(u"", u"r"), nullptr);
    EXPECT_EQ(deep->GetChildElement(u"", u"c"), nullptr);
}

TEST(XMLTree, CopiesAreDeepAndIndependent) {
    auto root = Element(u"r");
    root->SetNSPrefix(u"p", u"urn:p");
    root->SetAttribute(u"a", u"1");
    root->SetText(u"text");
    root->AddChildElement(new WMXMLElement(u"c"));

    WMXMLElement copy(*root);
    EXPECT_EQ(copy.Serialize(nullptr), root->Serialize(nullptr));
    EXPECT_NE(copy.GetChildElements()[0], root->GetChildElements()[0]);
    EXPECT_NE(copy.GetAttributeMap().at(u"a"), root->GetAttributeMap().at(u"a"));

    copy.GetNSPrefixMap()[u"p"] = u"urn:changed";
    copy.GetDefaultNS() = u"urn:d";
    EXPECT_EQ(root->GetNSPrefixMap().at(u"p"), u"urn:p");
    EXPECT_EQ(root->GetDefaultNS(), u"");

    WMXMLElement assigned(u"x");
    assigned = copy;
    EXPECT_EQ(assigned.Serialize(nullptr), copy.Serialize(nullptr));

    // A copied attribute keeps its qualified name, element name and namespace and value only.
    auto resolved = Element(u"e");
    resolved->SetAttribute(u"xmlns:p", u"urn:p");
    resolved->SetAttribute(u"p:a", u"1");
    resolved->SetAttribute(u"b", u"2");
    ASSERT_TRUE(resolved->ResolveNSPrefixes(nullptr));
    WMXMLElement copied(*resolved);
    EXPECT_EQ(Attributes(copied.GetAttributeMap()), " [eb|b||||e|2|] [urn:pa|p:a|||||1|]");
    WMString value;
    EXPECT_TRUE(copied.GetAttribute(u"urn:p", u"a", value));
    EXPECT_EQ(copied.GetNamespaceURI(), resolved->GetNamespaceURI());
    EXPECT_EQ(copied.GetLocalName(), u"e");

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

}  // namespace
