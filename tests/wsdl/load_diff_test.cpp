// The loader on the internal reader against the loader on WMXMLParser: every description of the
// test data, the same documents cut short, and the documents of the fault table must give the
// same description and the same load error. The dump holds every field a client's query reads,
// so equal dumps mean equal answers.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

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

}  // namespace
}  // namespace corvane::test
