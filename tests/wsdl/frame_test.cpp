// How the parser frame routes a document to the handlers: skipped elements, the flat prefix
// map, duplicate names, namespaces of lookups and imports from files.
#include <algorithm>

#include <gtest/gtest.h>

#include "wsdl/description.h"
#include "wsdl/load_diff.h"
#include "wsdl/wsdl_test_util.h"

namespace corvane::test {
namespace {

// Each test reads its documents from tests/data/expected/wsdl/frame.
class Frame : public ::testing::Test {
protected:
    static std::string Path(const std::string& name) {
        return DataPath("expected/wsdl/frame/" + name);
    }
};

// Each document next to its dump (tests/wsdl/load_diff.h), which shows what it is about:
// skipped: unknown elements are skipped with their subtrees;
// flat_scope, flat_gone: the prefix map is flat. An inner default namespace replaces the outer
//   one while in scope; a prefix bound again to another URI is not reported by the XML parser,
//   so the outer binding stays; when the inner element ends, the mapping is gone altogether;
// first_kept: the first definition of a name is kept;
// schemas: 1999 schemas, anyType for neither type nor ref, and of a complex and a simple type
//   nested in one element, the simple one (handled last) becomes the element's type;
// imports: imports resolve against the document's directory; the importer's message stays and
//   a bare schema two levels down joins the types.
TEST_F(Frame, DocumentsLoadAsTheirDumps) {
    for (const char* name :
         {"skipped", "flat_scope", "flat_gone", "first_kept", "schemas", "imports"}) {
        EXPECT_EQ(loaddiff::LoadResult(Path(name) + ".wsdl", Widen("file://" + Path("")), false),
                  ReadFile(Path(name) + ".dump"))
            << name;
    }
}

TEST_F(Frame, DocumentWithoutTargetNamespace) {
    WMSOAPWSDLClient client;
    ASSERT_TRUE(client.ReadServiceDesc(u"S", u"p", Widen("file://" + Path("no_tns.wsdl"))));
    EXPECT_EQ(Narrow(client.GetDefinitionsTNS()), "");
    // Only names whose prefix maps to the empty namespace find the messages.
    EXPECT_TRUE(client.IsInputMsgPart(u"o", u"p"));
    EXPECT_FALSE(client.IsInputMsgPart(u"q", u"p"));
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
