// The loader on the internal reader against the loader on WMXMLParser: every description of the
// test data, the same documents cut short, and the documents of the fault table must give the
// same description, the same answers to the client's queries and the same load error.
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "wsdl/load_diff.h"
#include "wsdl/wsdl_test_util.h"

namespace corvane::test {
namespace {

namespace fs = std::filesystem;

// The client's answers for every service and port, binding operation, message part and named
// type of the description (as the reference reader sees it).
std::string QueryResult(const WMWSDLParser& tree, const std::string& path, bool reference) {
    const WMSOAPWSDLDesc* desc = tree.GetWSDLDesc();
    if (!desc) {
        return {};
    }
    std::string out;
    const WMSOAPDefinitionsHandler& defs = desc->GetDefinitions();
    for (const auto& [serviceName, service] : defs.GetServices()) {
        for (const auto& [portName, port] : service->GetPorts()) {
            WMSOAPWSDLClient client;
            bool loaded;
            if (reference) {
                loaddiff::ReferenceReader parserReads;
                loaded = client.ReadServiceDesc(serviceName, portName, Widen("file://" + path));
            } else {
                loaded = client.ReadServiceDesc(serviceName, portName, Widen("file://" + path));
            }
            out += Narrow(serviceName + u"/" + portName) + (loaded ? " loaded\n" : " failed\n");
            std::vector<std::string> queries = {
                "host", "uri", "port", "TNS", "SOAPBindingStyle", "SOAPBindingTransport"};
            for (const auto& [bindingName, binding] : defs.GetBindings()) {
                for (const auto& [opName, op] : binding->GetOperations()) {
                    const std::string o = Narrow(opName);
                    for (const char* q :
                         {"MethodSOAPAction", "MethodNamespaceURI", "SOAPInputBodyUse",
                          "SOAPOutputBodyUse", "SOAPInputBodyEncStyle", "SOAPOutputBodyEncStyle",
                          "OpBindingStyle", "InParams", "OutParams"}) {
                        queries.push_back(std::string(q) + " " + o);
                    }
                    if (op->GetOperationExt()) {
                        queries.push_back("OpNamesBySOAPAction " +
                                          Narrow(op->GetOperationExt()->GetSOAPAction()));
                    }
                }
            }
            // Every part of every message an operation uses, asked of that operation.
            for (const auto& [portTypeName, portType] : defs.GetPortTypes()) {
                for (const auto& [opName, op] : portType->GetOperations()) {
                    std::vector<const WMOperationMessageHandler*> messages = {op->GetInput(),
                                                                              op->GetOutput()};
                    for (const auto& [faultName, fault] : op->GetFaults()) {
                        messages.push_back(fault.get());
                    }
                    for (const WMOperationMessageHandler* m : messages) {
                        const WMMessageHandler* message =
                            m ? defs.FindMessage(m->GetMessage()) : nullptr;
                        if (!message) {
                            continue;
                        }
                        for (const auto& [partName, part] : message->GetParts()) {
                            const std::string args = Narrow(opName) + "|" + Narrow(partName);
                            for (const char* q :
                                 {"InputMsgPartType", "OutputMsgPartType", "OperationReturnType",
                                  "OperationParamIndex", "IsOperationParam", "IsInputMsgPart"}) {
                                queries.push_back(std::string(q) + " " + args);
                            }
                            queries.push_back("FaultDetailPartType " + Narrow(opName) + "|" +
                                              Narrow(m->GetName()) + "|" + Narrow(partName));
                            for (const char* q :
                                 {"InputHeaderPartType", "OutputHeaderPartType",
                                  "InHeaderFaultPartType", "OutHeaderFaultPartType"}) {
                                queries.push_back(std::string(q) + " " + args + "|" +
                                                  Narrow(defs.GetDefinitionsTNS()));
                            }
                        }
                    }
                }
            }
            for (const auto& [tns, schema] : defs.GetTypes().GetSchemas()) {
                for (const auto& [typeName, type] : schema->GetComplexTypes()) {
                    const std::string args = Narrow(typeName) + "|" + Narrow(tns);
                    for (const char* q : {"StructMembers", "ArrayType", "ArrayDims",
                                          "ComplexBaseType", "HeaderElemType"}) {
                        queries.push_back(std::string(q) + " " + args);
                    }
                }
            }
            for (const std::string& query : queries) {
                out += query + " => " + Ask(client, query) + "\n";
            }
        }
    }
    return out;
}

// Anonymous types are named by a fresh GUID in each load (8-4-4-4-12 upper-case hex digits).
std::string MaskGuids(std::string text) {
    const std::string shape = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    const auto fits = [&](std::size_t at) {
        for (std::size_t i = 0; i < shape.size(); ++i) {
            const char c = text[at + i];
            if (shape[i] == '-' ? c != '-' : !std::isxdigit(static_cast<unsigned char>(c))) {
                return false;
            }
        }
        return true;
    };
    for (std::size_t at = 0; at + shape.size() <= text.size(); ++at) {
        if (fits(at)) {
            text.replace(at, shape.size(), "(anonymous)");
        }
    }
    return text;
}

// Shows the first line that differs rather than two whole dumps.
void ExpectSameText(const std::string& expected, const std::string& actual) {
    if (expected == actual) {
        return;
    }
    std::istringstream e(expected);
    std::istringstream a(actual);
    std::string el;
    std::string al;
    int line = 1;
    while (std::getline(e, el) && std::getline(a, al) && el == al) {
        ++line;
    }
    ADD_FAILURE() << "line " << line << "\nparser: " << el << "\nreader: " << al;
}

void ExpectSameLoad(const std::string& path, const WMString& docBase) {
    SCOPED_TRACE(path);
    ExpectSameText(loaddiff::LoadResult(path, docBase, true),
                   loaddiff::LoadResult(path, docBase, false));
    WMWSDLParser tree;
    {
        loaddiff::ReferenceReader parserReads;
        tree.SetDocBase(docBase);
        tree.LoadAndParseWSDLFile(Widen(path));
    }
    ExpectSameText(MaskGuids(QueryResult(tree, path, true)),
                   MaskGuids(QueryResult(tree, path, false)));
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
