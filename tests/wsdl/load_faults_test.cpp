// Documents that break a rule of the description: each ends the load with its exact fault, and
// nothing of the document is kept.
#include <gtest/gtest.h>

#include "wsdl/wsdl_test_util.h"

namespace corvane::test {
namespace {

class LoadFaults : public ::testing::Test {
protected:
    void ExpectFault(const std::string& document, const std::string& message) {
        WMWSDLParser parser;
        std::string path = m_dir.Write("doc.wsdl", document);
        EXPECT_FALSE(parser.LoadAndParseWSDLFile(Widen(path)));
        EXPECT_EQ(parser.GetWSDLDesc(), nullptr);
        EXPECT_EQ(Narrow(parser.GetLoadErrorCategory()), "WSDL Schema Error");
        EXPECT_EQ(Narrow(parser.GetLoadErrorMessage()), message);
    }

    TempDir m_dir;
};

// Where each section of the table places its row.
std::string Document(const std::string& section, const std::string& row) {
    const std::string input =
        "<portType name='P'><operation name='o'><input message='tns:m'/></operation></portType>"
        "<message name='m'><part name='p' type='xsd:string'/></message>"
        "<binding name='B' type='tns:P'><operation name='o'><input>";
    if (section == "types") {
        return Definitions("<types>" + row + "</types>");
    }
    if (section == "input") {
        return Definitions(input + row + "</input></operation></binding>");
    }
    if (section == "headerfault") {
        return Definitions(input + "<soap:header message='tns:m' part='p' use='literal'>" + row +
                           "</soap:header></input></operation></binding>");
    }
    return section == "document" ? row : Definitions(row);
}

TEST_F(LoadFaults, BrokenRulesReportTheirExactMessages) {
    for (const TableRow& row : ReadTable("expected/wsdl/load_faults.txt")) {
        SCOPED_TRACE(row.where);
        ExpectFault(Document(row.section, row.input), row.expected);
    }
}

TEST_F(LoadFaults, DocumentThatImportsItselfEndsTheLoad) {
    WMWSDLParser parser;
    std::string path =
        m_dir.Write("self.wsdl", Definitions("<import namespace='urn:t' location='self.wsdl'/>"));
    parser.SetDocBase(Widen("file://" + m_dir.Path() + "/"));
    EXPECT_FALSE(parser.LoadAndParseWSDLFile(Widen(path)));
    EXPECT_EQ(Narrow(parser.GetLoadErrorMessage()),
              "Unable to process document referenced in 'import' element.");
}

TEST_F(LoadFaults, OtherFailuresKeepTheirReasonAndLeaveNoDescription) {
    WMWSDLParser parser;
    ASSERT_TRUE(parser.LoadAndParseWSDLFile(Widen(m_dir.Write("ok.wsdl", Definitions("")))));
    EXPECT_NE(parser.GetWSDLDesc(), nullptr);

    EXPECT_FALSE(parser.LoadAndParseWSDLFile(Widen(m_dir.Path() + "/missing.wsdl")));
    EXPECT_EQ(parser.GetWSDLDesc(), nullptr);
    EXPECT_EQ(Narrow(parser.GetLoadErrorCategory()), "File Error");

    EXPECT_FALSE(parser.LoadAndParseWSDLFile(
        Widen(m_dir.Write("bad.wsdl", "<definitions>\n<message name='m'>\n</definitions>"))));
    EXPECT_EQ(parser.GetWSDLDesc(), nullptr);
    EXPECT_EQ(Narrow(parser.GetLoadErrorCategory()), "XML Parse Error");
    EXPECT_NE(Narrow(parser.GetLoadErrorMessage()).find("line 3"), std::string::npos);

    // An empty file is an empty text: no root element, which the XML parser rejects.
    EXPECT_FALSE(parser.LoadAndParseWSDLFile(Widen(m_dir.Write("empty.wsdl", ""))));
    EXPECT_EQ(parser.GetWSDLDesc(), nullptr);

    ASSERT_TRUE(parser.LoadAndParseWSDLFile(Widen(m_dir.Write("ok2.wsdl", Definitions("")))));
    EXPECT_TRUE(parser.GetLoadErrorCategory().empty());
    EXPECT_TRUE(parser.GetLoadErrorMessage().empty());
}

}  // namespace
}  // namespace corvane::test
