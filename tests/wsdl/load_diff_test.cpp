// The loader on the internal reader against the loader on WMXMLParser: every description of the
// test data, the same documents cut short, and the documents of the fault table must give the
// same description and the same load error. The dump holds every field a client's query reads,
// so equal dumps mean equal answers. Then how the frame routes documents to the handlers.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "wsdl/description.h"
#include "wsdl/load_diff.h"
#include "wsdl/wsdl_test_util.h"

namespace corvane::test {
namespace {

namespace fs = std::filesystem;

void ExpectSameLoad(const std::string& path, const WMString& docBase) {
    SCOPED_TRACE(path);
    EXPECT_EQ("", FirstDifference(loaddiff::LoadResult(path, docBase, true),
                                  loaddiff::LoadResult(path, docBase, false)));
}

std::string ReadBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

TEST(LoadDiff, CorpusLoadsAlikeWholeAndCutShort) {
    TempDir dir;
    int documents = 0;
    for (const auto& entry : fs::recursive_directory_iterator(DataDir())) {
        const std::string ext = entry.path().extension().string();
        if (!entry.is_regular_file() || (ext != ".wsdl" && ext != ".xsd")) {
            continue;
        }
        ++documents;
        const std::string path = entry.path().string();
        const WMString docBase = Widen("file://" + entry.path().parent_path().string() + "/");
        ExpectSameLoad(path, docBase);
        // Cut short at a few places: the same XML error line after the same handler calls.
        const std::string bytes = ReadBytes(entry.path());
        for (std::size_t cut : {bytes.size() / 7, bytes.size() / 3, bytes.size() * 5 / 6}) {
            ExpectSameLoad(dir.Write("cut.wsdl", bytes.substr(0, cut)), docBase);
        }
    }
    EXPECT_GT(documents, 20);
}

// Each row of the fault table in every place the table uses, and documents that trip the XML
// limits or the odd namespace rules of the flat prefix map.
TEST(LoadDiff, BrokenAndOddDocumentsFailOrLoadAlike) {
    TempDir dir;
    const std::string input =
        "<portType name='P'><operation name='o'><input message='tns:m'/></operation></portType>"
        "<message name='m'><part name='p' type='xsd:string'/></message>"
        "<binding name='B' type='tns:P'><operation name='o'><input>";
    const std::string header = "<soap:header message='tns:m' part='p' use='literal'>";
    std::vector<std::string> documents;
    for (const TableRow& row : ReadTable("expected/wsdl/load_faults.txt")) {
        documents.push_back(row.input);
        documents.push_back(Definitions(row.input));
        documents.push_back(Definitions("<types>" + row.input + "</types>"));
        documents.push_back(Definitions(input + row.input + "</input></operation></binding>"));
        documents.push_back(Definitions(input + header + row.input +
                                        "</soap:header></input></operation></binding>"));
    }
    std::string deep;
    for (int i = 0; i < 300; ++i) {
        deep = "<x>" + deep + "</x>";
    }
    documents.push_back(Definitions(deep));
    documents.push_back(
        Definitions("<message name='m' xmlns:tns='urn:other'>"
                    "<part name='p' type='tns:t'/></message>"
                    "<message name='n' xmlns='urn:d'><part name='p' type='t'/>"
                    "</message><message name='k'><part name='p' type='t'/>"
                    "</message>"));
    documents.push_back(
        Definitions("<message name='m' a:name='x' xmlns:a='urn:a'>"
                    "<part name='p' a:type='q:x' type='xsd:int'/></message>"));
    documents.push_back(
        "<definitions xmlns='http://schemas.xmlsoap.org/wsdl/' name='a' name='b'/>");
    // A prefixed attribute whose URI and local name join to an unprefixed attribute's key.
    const std::string clash = " xmlns:c='http://schemas.xmlsoap.org/wsdl/message' c:name='c'";
    documents.push_back(Definitions("<message" + clash + "/><message name='n'" + clash + "/>"));
    documents.push_back(Definitions("<message" + clash + " name='m'><part name='p'/></message>"));
    for (const std::string& document : documents) {
        ExpectSameLoad(dir.Write("doc.wsdl", document), WMString());
    }
}

// How the parser frame routes a document to the handlers: skipped elements, the flat prefix
// map, duplicate names, namespaces of lookups and imports from files.
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
