// How the parser frame routes a document to the handlers: skipped elements, the flat prefix
// map, duplicate names, namespaces of lookups and imports from files.
#include <algorithm>

#include <gtest/gtest.h>

#include "wsdl/description.h"
#include "wsdl/wsdl_test_util.h"

namespace corvane::test {
namespace {

// Each test reads its documents from tests/data/expected/wsdl/frame.
class Frame : public ::testing::Test {
protected:
    static std::string Path(const std::string& name) {
        return DataPath("expected/wsdl/frame/" + name);
    }
    const WMSOAPDefinitionsHandler& Load(const std::string& name) {
        m_parser.SetDocBase(Widen("file://" + Path("")));
        EXPECT_TRUE(m_parser.LoadAndParseWSDLFile(Widen(Path(name))))
            << Narrow(m_parser.GetLoadErrorMessage());
        static const WMSOAPWSDLDesc kEmpty;
        return m_parser.GetWSDLDesc() ? m_parser.GetWSDLDesc()->GetDefinitions()
                                      : kEmpty.GetDefinitions();
    }

    WMWSDLParser m_parser;
};

TEST_F(Frame, UnknownElementsAreSkippedWithTheirSubtrees) {
    const auto& defs = Load("skipped.wsdl");
    EXPECT_EQ(defs.GetMessages().size(), 1u);
    const WMMessageHandler* kept = defs.FindMessage({u"urn:t", u"kept"});
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(kept->GetParts().size(), 1u);
    EXPECT_EQ(defs.GetPortTypes().size(), 1u);
    const WMPortTypeHandler* portType = defs.FindPortType({u"urn:t", u"P"});
    ASSERT_NE(portType, nullptr);
    const WMOperationHandler* op = FindIn(portType->GetOperations(), u"o");
    ASSERT_NE(op, nullptr);
    ASSERT_NE(op->GetInput(), nullptr);
    EXPECT_EQ(Narrow(op->GetInput()->GetMessage().local), "kept");
    EXPECT_EQ(op->GetOutput(), nullptr);
}

TEST_F(Frame, PrefixMapIsFlat) {
    // An inner default namespace replaces the outer one while it is in scope.
    // Unprefixed values otherwise take the document's default namespace.
    const auto& defs = Load("flat_scope.wsdl");
    const WMMessageHandler* m1 = defs.FindMessage({u"urn:t", u"m1"});
    ASSERT_NE(m1, nullptr);
    EXPECT_EQ(Narrow(FindIn(m1->GetParts(), u"p")->GetType().ns), "urn:inner");
    const WMMessagePartHandler* plain =
        FindIn(defs.FindMessage({u"urn:t", u"m0"})->GetParts(), u"p");
    EXPECT_EQ(Narrow(plain->GetType().ns), "http://schemas.xmlsoap.org/wsdl/");
    EXPECT_EQ(Narrow(plain->GetType().local), "plain");

    // The XML parser does not report a prefix bound again to another URI, so the outer
    // binding stays in force.
    EXPECT_EQ(Narrow(FindIn(defs.FindMessage({u"urn:t", u"m"})->GetParts(), u"p")->GetType().ns),
              "urn:t");

    // When the inner element ends the mapping is gone altogether, so a later use fails.
    WMWSDLParser parser;
    EXPECT_FALSE(parser.LoadAndParseWSDLFile(Widen(Path("flat_gone.wsdl"))));
    EXPECT_EQ(Narrow(parser.GetLoadErrorMessage()),
              "Unresolvable namespace for attribute 'type' on element: 'message'");
}

TEST_F(Frame, FirstDefinitionOfANameIsKept) {
    const auto& defs = Load("first_kept.wsdl");
    const WMMessageHandler* m = defs.FindMessage({u"urn:t", u"m"});
    ASSERT_NE(m, nullptr);
    ASSERT_EQ(m->GetParts().size(), 2u);
    EXPECT_EQ(Narrow(FindIn(m->GetParts(), u"dup")->GetType().local), "int");
    EXPECT_EQ(Narrow(m->GetFirstPart()->GetName()), "first");
    const WMOperationHandler* op =
        FindIn(defs.FindPortType({u"urn:t", u"P"})->GetOperations(), u"o");
    EXPECT_EQ(Narrow(op->GetInput()->GetMessage().local), "one");
    const WMSchemaHandler* schema = defs.GetTypes().FindSchema(u"urn:s");
    ASSERT_NE(schema, nullptr);
    const WMSchemaComplexTypeHandler* c = schema->FindComplexType(u"C", u"urn:s");
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(Narrow(c->GetSequence()->GetElements().front()->GetName()), "a");
    EXPECT_EQ(schema->FindComplexType(u"D", u"urn:s"), nullptr);
}

TEST_F(Frame, DocumentWithoutTargetNamespace) {
    WMSOAPWSDLClient client;
    ASSERT_TRUE(client.ReadServiceDesc(u"S", u"p", Widen("file://" + Path("no_tns.wsdl"))));
    EXPECT_EQ(Narrow(client.GetDefinitionsTNS()), "");
    // Only names whose prefix maps to the empty namespace find the messages.
    EXPECT_TRUE(client.IsInputMsgPart(u"o", u"p"));
    EXPECT_FALSE(client.IsInputMsgPart(u"q", u"p"));
}

TEST_F(Frame, SchemaDetails) {
    const auto& defs = Load("schemas.wsdl");
    const WMSchemaHandler* old = defs.GetTypes().FindSchema(u"urn:old");
    ASSERT_NE(old, nullptr);
    EXPECT_TRUE(old->IsElementFormQualified());
    // Neither type nor ref: anyType of the 2001 namespace, even in a 1999 schema.
    const WMSchemaElemHandler* e = old->FindElement(u"e", u"urn:old");
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(Narrow(e->GetType().ns), "http://www.w3.org/2001/XMLSchema");
    EXPECT_EQ(Narrow(e->GetType().local), "anyType");
    EXPECT_FALSE(defs.GetTypes().FindSchema(u"urn:caps")->IsElementFormQualified());

    // A complex and a simple type nested in one element each get a name; the simple one,
    // handled last, becomes the element's type.
    const WMSchemaHandler* both = defs.GetTypes().FindSchema(u"urn:both");
    EXPECT_EQ(both->GetComplexTypes().size(), 1u);
    EXPECT_EQ(both->GetSimpleTypes().size(), 1u);
    const WMSchemaElemHandler* two = both->FindElement(u"two", u"urn:both");
    EXPECT_EQ(two->GetType().local, both->GetSimpleTypes().begin()->first);
    EXPECT_NE(two->GetType().local, both->GetComplexTypes().begin()->first);
}

TEST_F(Frame, ImportsResolveAgainstTheDocumentDirectoryAndMerge) {
    const auto& defs = Load("imports.wsdl");
    // The importing document's message stays; the imported one is not found by its namespace.
    const WMMessageHandler* shared = defs.FindMessage({u"urn:t", u"shared"});
    ASSERT_NE(shared, nullptr);
    EXPECT_NE(FindIn(shared->GetParts(), u"fromMain"), nullptr);
    EXPECT_EQ(defs.FindMessage({u"urn:imp", u"shared"}), nullptr);
    EXPECT_NE(defs.FindMessage({u"urn:imp", u"own"}), nullptr);
    EXPECT_NE(defs.FindPortType({u"urn:imp", u"P"}), nullptr);
    // The bare schema two levels down joined the types.
    const WMSchemaHandler* schema = defs.GetTypes().FindSchema(u"urn:s");
    ASSERT_NE(schema, nullptr);
    EXPECT_NE(schema->FindComplexType(u"S", u"urn:s"), nullptr);
}

TEST_F(Frame, FileLocationWithBackslashesIsReadWithSlashes) {
    const std::string path = Path("win/svc.wsdl");
    std::string windowsStyle = path;
    std::replace(windowsStyle.begin(), windowsStyle.end(), '/', '\\');
    // The data directory itself has backslashes on Windows: every one becomes a slash.
    std::string base = Path("win/");
    std::replace(base.begin(), base.end(), '\\', '/');

    // The importer, which reads a description without choosing a port, resolves the same way.
    WMSOAPWSDLClient client;
    WMSOAPWSDLImporter importer;
    ASSERT_TRUE(client.ReadServiceDesc(u"S", u"p", Widen("file://" + windowsStyle)))
        << Narrow(client.GetLoadErrorMessage());
    ASSERT_TRUE(importer.ReadServiceDesc(Widen("file://" + windowsStyle), WMString()))
        << Narrow(importer.GetLoadErrorMessage());
    for (WMSOAPWSDLClient* reader : std::initializer_list<WMSOAPWSDLClient*>{&client, &importer}) {
        EXPECT_EQ(Narrow(reader->GetDocBase()), "file://" + base);
        EXPECT_NE(reader->GetWSDLDesc()->GetDefinitions().FindMessage({u"urn:imp", u"fromImport"}),
                  nullptr);
    }
}

}  // namespace
}  // namespace corvane::test
