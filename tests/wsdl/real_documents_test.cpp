// The queries against published service descriptions (tests/data/wsdl, see SOURCES.md there);
// the answers are in tests/data/expected/wsdl/real_documents.txt.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "wsdl/wsdl_test_util.h"

namespace corvane::test {
namespace {

const std::string kXsd = "{http://www.w3.org/2001/XMLSchema}";

WMString Location(const std::string& file) {
    return Widen("file://" + DataDir() + "/" + file);
}

TEST(RealDocuments, AnswerTheirQueries) {
    std::string document;
    std::unique_ptr<WMSOAPWSDLClient> client;
    for (const TableRow& row : ReadTable("expected/wsdl/real_documents.txt")) {
        if (row.section != document) {
            document = row.section;
            std::istringstream words(document);
            std::string file, service, port;
            words >> file >> service >> port;
            client = std::make_unique<WMSOAPWSDLClient>();
            ASSERT_TRUE(client->ReadServiceDesc(Widen(service), Widen(port), Location(file)))
                << row.where << " " << Narrow(client->GetLoadErrorMessage());
        }
        EXPECT_EQ(Ask(*client, row.input), row.expected) << row.where;
    }
}

TEST(RealDocuments, AnonymousTypesOfElementPartsAndLargeTypes) {
    WMSOAPWSDLClient round4;
    ASSERT_TRUE(
        round4.ReadServiceDesc(u"Round4XSDTest", u"Round4XSDTestSoap", Location("round4XSD.wsdl")));
    // Element parts with anonymous types answer their GUID-named type, which has members.
    WMString name;
    WMString ns;
    EXPECT_TRUE(round4.GetInputMsgPartType(u"echoString", u"parameters", name, ns));
    EXPECT_EQ(name.size(), 36u);
    EXPECT_EQ(Ask(round4, "StructMemberType " + Narrow(name) + "|" + Narrow(ns) + "|inputString|"),
              kXsd + "string");

    WMSOAPWSDLClient ndfd;
    ASSERT_TRUE(ndfd.ReadServiceDesc(u"ndfdXML", u"ndfdXMLPort", Location("ndfdXML.wsdl")));
    EXPECT_TRUE(ndfd.GetInputMsgPartType(u"NDFDgen", u"weatherParameters", name, ns));
    const std::string members = Ask(ndfd, "StructMembers " + Narrow(name) + "|" + Narrow(ns));
    EXPECT_EQ(std::count(members.begin(), members.end(), ' '), 56);
}

TEST(RealDocuments, ServiceOfAnImportedDocumentIsNotTheImporters) {
    // The imported document's own service has another namespace than the importer's.
    WMSOAPWSDLClient three;
    EXPECT_FALSE(three.ReadServiceDesc(u"Import2", u"SoapInteropImport2Port",
                                       Location("import3/Import3.wsdl")));
}

TEST(RealDocuments, RefusedDocuments) {
    WMWSDLParser parser;
    EXPECT_FALSE(parser.LoadAndParseWSDLFile(Widen(DataDir() + "/header.wsdl")));
    EXPECT_EQ(Narrow(parser.GetLoadErrorMessage()),
              "Required attribute 'targetNamespace' missing on element: 'schema'.");
    EXPECT_FALSE(parser.LoadAndParseWSDLFile(
        Widen(DataDir() + "/Error-InputInOperationWithMissingMessageAttribute.wsdl")));
    EXPECT_EQ(Narrow(parser.GetLoadErrorMessage()),
              "Required attribute 'message' missing on element: 'input'");
    EXPECT_EQ(parser.GetWSDLDesc(), nullptr);
}

}  // namespace
}  // namespace corvane::test
