// The loader on the internal reader against the loader on WMXMLParser: every description of the
// test data, the same documents cut short, and the documents of the fault table must give the
// same description and the same load error. The dump holds every field a client's query reads,
// so equal dumps mean equal answers. Then how the frame routes documents to the handlers, and
// the schema model of the document/literal extension.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/support.h"
#include "wsdl/description.h"
#include "wsdl/load_diff.h"
#include "wsdl/wsdl_test_util.h"
#include "wsdl/xsd_binding.h"

namespace corvane::test {
namespace {

namespace xsd = corvane::detail::xsd;

namespace fs = std::filesystem;

void ExpectSameLoad(const std::string& path, const WMString& docBase) {
    SCOPED_TRACE(path);
    EXPECT_EQ("", FirstDifference(loaddiff::LoadResult(path, docBase, true),
                                  loaddiff::LoadResult(path, docBase, false)));
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
        const std::string bytes = ReadFile(path);
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
    std::vector<std::string> documents;
    for (const TableRow& row : ReadTable("expected/wsdl/load_faults.txt")) {
        for (const char* section : {"document", "definitions", "types", "input", "headerfault"}) {
            documents.push_back(Placed(section, row.input));
        }
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
std::string FramePath(const std::string& name) {
    return DataPath("expected/wsdl/frame/" + name);
}

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
TEST(Frame, DocumentsLoadAsTheirDumps) {
    for (const char* name :
         {"skipped", "flat_scope", "flat_gone", "first_kept", "schemas", "imports"}) {
        EXPECT_EQ(loaddiff::LoadResult(FramePath(name) + ".wsdl", Widen("file://" + FramePath("")),
                                       false),
                  ReadFile(FramePath(name) + ".dump"))
            << name;
    }
}

TEST(Frame, DocumentWithoutTargetNamespace) {
    WMSOAPWSDLClient client;
    ASSERT_TRUE(client.ReadServiceDesc(u"S", u"p", Widen("file://" + FramePath("no_tns.wsdl"))));
    // Only names whose prefix maps to the empty namespace find the messages.
    EXPECT_EQ(
        Ask(client, "TNS") + Ask(client, "IsInputMsgPart o|p") + Ask(client, "IsInputMsgPart q|p"),
        "truefalse");
}

TEST(Frame, FileLocationWithBackslashesIsReadWithSlashes) {
    const std::string path = FramePath("win/svc.wsdl");
    std::string windowsStyle = path;
    std::replace(windowsStyle.begin(), windowsStyle.end(), '/', '\\');
    // The data directory itself has backslashes on Windows: every one becomes a slash.
    std::string base = FramePath("win/");
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

// The schema model of the document/literal extension: constructs as printed structure, the
// binding view of real and hand-written descriptions, and hostile schemas.
const std::string kXS = "{http://www.w3.org/2001/XMLSchema}";

// A description whose one schema (target namespace "urn:t", prefixes `xs`, `tns`, `enc` and
// `wsdl`) holds `body`.
std::string Wsdl(const std::string& body, const std::string& schemaAttributes = "") {
    return "<definitions xmlns='http://schemas.xmlsoap.org/wsdl/'"
           " xmlns:wsdl='http://schemas.xmlsoap.org/wsdl/'"
           " xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns:tns='urn:t'"
           " xmlns:enc='http://schemas.xmlsoap.org/soap/encoding/' targetNamespace='urn:t'>"
           "<types><xs:schema targetNamespace='urn:t'" +
           schemaAttributes + ">" + body + "</xs:schema></types></definitions>";
}

std::shared_ptr<const xsd::Model> Load(const std::string& text, std::string& error) {
    WMString wideError;
    auto model = xsd::LoadModelFromText(Widen(text), u"mem.wsdl", xsd::LoadOptions(), wideError);
    error = Narrow(wideError);
    return model;
}

std::shared_ptr<const xsd::Model> LoadFile(const std::string& relative, std::string& error,
                                           const xsd::FetchFn& fetch = nullptr) {
    xsd::LoadOptions options;
    options.fetch = fetch;
    WMString wideError;
    auto model = xsd::LoadModel(Widen(DataPath(relative)), options, wideError);
    error = Narrow(wideError);
    return model;
}

// `printed` with "{urn:t}", the schema and the encoding namespaces shown as prefixes.
std::string Shorten(std::string printed) {
    for (const auto& [from, to] : {std::pair<std::string, std::string>{"{urn:t}", "t:"},
                                   {kXS, "xs:"},
                                   {"{http://schemas.xmlsoap.org/soap/encoding/}", "enc:"}}) {
        for (std::size_t at = printed.find(from); at != std::string::npos;
             at = printed.find(from, at)) {
            printed.replace(at, from.size(), to);
        }
    }
    return printed;
}

// The printed structure of the global element `root`.
std::string Structure(const std::string& schema, const std::string& schemaAttributes = "") {
    std::string error;
    auto model = Load(Wsdl(schema, schemaAttributes), error);
    if (!model) {
        return "error: " + error;
    }
    const xsd::Element* root = model->FindElement(xsd::Name{u"urn:t", u"root"});
    return root ? Shorten(xsd::PrintElement(*root, 0)) : "no root";
}

// The rows of one section of tests/data/expected/wsdl/xsd_cases.txt.
std::vector<TableRow> Rows(const std::string& section) {
    std::vector<TableRow> rows;
    for (TableRow& row : ReadTable("expected/wsdl/xsd_cases.txt")) {
        if (row.section == section) {
            rows.push_back(std::move(row));
        }
    }
    return rows;
}

std::string Text(const std::string& cell) {
    return Narrow(Unescape(cell));
}

// The expected print of row `name` in the section "print" of xsd_cases.txt.
std::string ExpectedPrint(const std::string& name) {
    for (const TableRow& row : Rows("print")) {
        if (row.input == name) {
            return Text(row.expected);
        }
    }
    return "(no row " + name + ")";
}

TEST(XsdModel, ConstructsPrintAsTheirStructure) {
    for (const TableRow& row : ReadTable("expected/wsdl/xsd_structures.txt")) {
        EXPECT_EQ(Structure(Text(row.input)), Text(row.expected))
            << row.section << " " << row.where;
    }
    // Qualified by default; form overrides it both ways, for elements and attributes.
    EXPECT_EQ(Structure(Text(Rows("form")[0].input), " elementFormDefault='qualified'"),
              Text(Rows("form")[0].expected));
}

TEST(XsdModel, HostileAndBrokenSchemasFailNamingTheCause) {
    // Each refusal names the QName or limit and the file it was met in.
    std::string deep = "<xs:element name='e'/>";
    for (int i = 0; i < 40; ++i) {
        deep = "<xs:element name='" + std::string(i < 39 ? "e" : "root") +
               "'><xs:complexType><xs:sequence>" + deep +
               "</xs:sequence></xs:complexType></xs:element>";
    }
    // Each group holds the next twice: 2^20 particles once expanded.
    std::string doubling;
    for (int i = 0; i < 20; ++i) {
        doubling += "<xs:group name='g" + std::to_string(i) + "'><xs:sequence>" +
                    "<xs:group ref='tns:g" + std::to_string(i + 1) + "'/><xs:group ref='tns:g" +
                    std::to_string(i + 1) + "'/></xs:sequence></xs:group>";
    }
    doubling +=
        "<xs:group name='g20'><xs:sequence><xs:element name='x' type='xs:int'/>"
        "</xs:sequence></xs:group><xs:element name='root'><xs:complexType>"
        "<xs:group ref='tns:g0'/></xs:complexType></xs:element>";
    std::vector<std::pair<std::string, std::string>> cases = {
        {deep, "nested more than 64 deep"}, {doubling, "more than 200000 particles"}};
    for (const TableRow& row : Rows("schema")) {
        cases.emplace_back(Text(row.input), Text(row.expected));
    }
    for (const auto& [schema, message] : cases) {
        SCOPED_TRACE(schema.substr(0, 120));
        std::string error;
        EXPECT_FALSE(Load(Wsdl(schema), error));
        EXPECT_NE(error.find(message), std::string::npos) << error;
    }
}

TEST(XsdModel, ImportsIncludesAndCyclesAcrossFiles) {
    std::string error;
    auto model = LoadFile("xsd/imports.wsdl", error);
    ASSERT_TRUE(model) << error;
    const xsd::Element* order = model->FindElement(xsd::Name{u"urn:orders", u"order"});
    ASSERT_TRUE(order);
    // common.xsd and address.xsd import each other (one spelled "../parts/"): each is read
    // once, and the included schema without a namespace takes "urn:orders", for its own names
    // and for its unprefixed references.
    EXPECT_EQ(Shorten(xsd::PrintElement(*order, 0)), ExpectedPrint("order"));

    // A declared single-byte encoding is honoured even where its bytes would be UTF-8 too;
    // UTF-8 may start with a byte order mark.
    const std::pair<const char*, WMString> encodings[] = {
        {"xsd/latin1.xsd", u"\u00c3\u00a9t\u00c3\u00a9"}, {"xsd/utf8_bom.xsd", u"\u00e9t\u00e9"}};
    for (const auto& [file, value] : encodings) {
        auto schema = LoadFile(file, error);
        ASSERT_TRUE(schema) << file << ": " << error;
        const xsd::Type* season = schema->FindType(xsd::Name{u"urn:enc", u"season"});
        ASSERT_TRUE(season);
        EXPECT_EQ(season->enumeration, std::vector<WMString>{value}) << file;
    }

    EXPECT_FALSE(LoadFile("xsd/missing.wsdl", error));
    EXPECT_NE(error.find("cannot open"), std::string::npos) << error;

    // Over HTTP the same locations resolve against the URL: each document is asked for once,
    // by its normalised URL, though it is named with "./" and "../" spellings.
    std::vector<std::string> asked;
    xsd::LoadOptions served;
    served.fetch = [&](const WMString& location, WMString& text, WMString& reason) {
        asked.push_back(Narrow(location));
        const std::string prefix = "http://h/x/";
        if (asked.back().compare(0, prefix.size(), prefix) != 0) {
            reason = u"not here";
            return false;
        }
        text = Widen(ReadFile(DataPath("xsd/" + asked.back().substr(prefix.size()))));
        return true;
    };
    WMString servedError;
    EXPECT_TRUE(xsd::LoadModel(u"http://h/x/imports.wsdl", served, servedError))
        << Narrow(servedError);
    EXPECT_EQ(asked, (std::vector<std::string>{
                         "http://h/x/imports.wsdl", "http://h/x/parts/common.xsd",
                         "http://h/x/parts/address.xsd", "http://h/x/parts/chameleon.xsd"}));

    xsd::LoadOptions options;
    options.limits.maxImportDepth = 1;
    WMString wideError;
    EXPECT_FALSE(xsd::LoadModel(Widen(DataPath("xsd/imports.wsdl")), options, wideError));
    EXPECT_NE(Narrow(wideError).find("imports nested more than 1 deep"), std::string::npos);
}

// Everything the view of one operation says, on one line.
std::string Summary(const xsd::OperationView& op) {
    auto parts = [](const xsd::MessageView& message) {
        std::string out;
        for (const xsd::PartView& part : message.body) {
            out += " " + Narrow(part.name) + "=" +
                   (part.element ? xsd::Clark(part.element->name)
                                 : "type " + xsd::Clark(part.typeName));
        }
        for (const xsd::PartView& part : message.headers) {
            out += " header " + Narrow(part.name);
        }
        return out;
    };
    return Narrow(op.name) + " " + Narrow(op.style) + "/" + Narrow(op.input.use) + " " +
           std::to_string(op.soapVersion) + (op.wrapped ? " wrapped" : "") +
           " action=" + Narrow(op.soapAction) + " in:" + parts(op.input) +
           (op.output.present ? " out:" + parts(op.output) : std::string(" one-way")) +
           (op.faults.empty() ? "" : " faults:" + std::to_string(op.faults.size()));
}

std::vector<std::string> Operations(const xsd::Model& model, const std::string& binding) {
    std::vector<std::string> out;
    for (const xsd::WsdlBinding& candidate : model.Bindings()) {
        if (Narrow(candidate.name.local) != binding) {
            continue;
        }
        xsd::BindingView view;
        WMString error;
        EXPECT_TRUE(xsd::ViewBinding(model, candidate, view, error)) << Narrow(error);
        for (const xsd::OperationView& op : view.operations) {
            out.push_back(Summary(op));
        }
    }
    return out;
}

// Bare document/literal (parts not named like the operations), wrapped, rpc/literal, a large
// .NET description with headers and choices, JAX-WS with its schema fetched, SOAP 1.1 and 1.2.
TEST(XsdBindingView, PublishedDescriptions) {
    std::vector<std::string> fetched;
    auto fetch = [&](const WMString& location, WMString& text, WMString& reason) {
        fetched.push_back(Narrow(location));
        if (location != u"http://localhost:8080/hello?xsd=1") {
            reason = u"not found";
            return false;
        }
        text = Widen(ReadFile(DataPath("xsd/jaxws_hello_xsd1.xsd")));
        return true;
    };
    for (const TableRow& row : Rows("view")) {
        std::istringstream words(row.input);
        std::string file, binding;
        std::size_t count = 0;
        words >> file >> binding >> count;
        std::string error;
        auto model = LoadFile(file, error, fetch);
        ASSERT_TRUE(model) << row.where << ": " << error;
        const std::vector<std::string> ops = Operations(*model, binding);
        ASSERT_FALSE(ops.empty()) << row.where;
        EXPECT_TRUE(count == 0 || ops.size() == count) << row.where << ": " << ops.size();
        EXPECT_TRUE(row.expected.empty() || ops[0] == row.expected) << row.where << ": " << ops[0];
        // Every round 4 operation is wrapped except those with a choice or any inside.
        for (const std::string& op : ops) {
            EXPECT_TRUE(op.find(" wrapped ") != std::string::npos ||
                        op.find("Choice") != std::string::npos ||
                        op.find("Any") != std::string::npos || file != "wsdl/round4XSD.wsdl")
                << op;
        }
    }
    EXPECT_EQ(fetched, std::vector<std::string>{"http://localhost:8080/hello?xsd=1"});

    // JAX-WS leaves elementFormDefault unqualified: the wrapper's children have no namespace.
    std::string error;
    auto java = LoadFile("xsd/jaxws_hello.wsdl", error, fetch);
    ASSERT_TRUE(java) << error;
    EXPECT_EQ(Shorten(xsd::PrintElement(
                  *java->FindElement({u"http://hello.example.org/", u"sayHello"}), 0)),
              ExpectedPrint("sayHello"));

    // An unknown type in a real description is refused with its name, not skipped.
    EXPECT_FALSE(LoadFile("wsdl/MArrayTest.wsdl", error));
    EXPECT_NE(error.find("unknown type {http://xml.apache.org/xml-soap}Map"), std::string::npos);
}

TEST(XsdBindingView, WrappedNeedsAPlainSequenceNamedLikeTheOperation) {
    // One operation per shape of the input wrapper; the output is always a plain wrapper.
    const std::string skeleton = ReadFile(DataPath("xsd/wrapped.wsdl.in"));
    for (const TableRow& row : Rows("wrapped")) {
        const std::string wrapper = Text(row.input);
        const bool wrapped = row.expected == "true";
        SCOPED_TRACE(row.where);
        const std::string name = wrapper.find("'other'") != std::string::npos ? "other" : "op";
        // The description around the wrapper, its input part naming the element `name`.
        std::string text = skeleton;
        text.replace(text.find("@WRAPPER@"), 9, wrapper);
        text.replace(text.find("@NAME@"), 6, name);
        std::string error;
        auto model = Load(text, error);
        ASSERT_TRUE(model) << error;
        const std::vector<std::string> ops = Operations(*model, "b");
        ASSERT_EQ(ops.size(), 1u);
        // No style anywhere means document; SOAP 1.2 from the binding's namespace.
        EXPECT_EQ(ops[0].find("op document/literal 12") == 0, true) << ops[0];
        EXPECT_EQ(ops[0].find("wrapped") != std::string::npos, wrapped) << ops[0];
    }
}

TEST(XsdBindingView, UnknownWsdlReferencesNameTheQName) {
    for (const TableRow& row : Rows("binding")) {
        const std::string body = Text(row.input);
        const std::string message = Text(row.expected);
        SCOPED_TRACE(row.where);
        std::string error;
        auto model = Load(
            "<definitions xmlns='http://schemas.xmlsoap.org/wsdl/'"
            " xmlns:soap='http://schemas.xmlsoap.org/wsdl/soap/' xmlns:tns='urn:t'"
            " targetNamespace='urn:t'>" +
                body + "</definitions>",
            error);
        ASSERT_TRUE(model) << error;
        ASSERT_EQ(model->Bindings().size(), 1u);
        xsd::BindingView view;
        WMString wideError;
        EXPECT_FALSE(xsd::ViewBinding(*model, model->Bindings()[0], view, wideError));
        EXPECT_EQ(Narrow(wideError).find(message) != std::string::npos, true) << Narrow(wideError);
    }
}

}  // namespace
}  // namespace corvane::test
