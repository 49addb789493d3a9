// The query layer on a hand-made description that holds one of every construct it reads
// (tests/data/expected/wsdl/handmade.wsdl).
#include <gtest/gtest.h>

#include <map>

#include "wsdl/wsdl_test_util.h"

namespace corvane::test {
namespace {

class Queries : public ::testing::Test {
protected:
    void SetUp() override {
        m_path = DataPath("expected/wsdl/handmade.wsdl");
        ASSERT_TRUE(Read(m_client, "p")) << Narrow(m_client.GetLoadErrorMessage());
    }

    bool Read(WMSOAPWSDLClient& client, const std::string& port) {
        return client.ReadServiceDesc(u"S", Widen(port), Widen("file://" + m_path));
    }

    TempDir m_dir;
    std::string m_path;
    ProbeClient m_client;
    WMString m_name;
    WMString m_ns;
};

TEST_F(Queries, MissingServicePortOrAddressFailButKeepTheDescription) {
    WMSOAPWSDLClient client;
    EXPECT_FALSE(client.ReadServiceDesc(u"Nope", u"p", Widen("file://" + m_path)));
    EXPECT_NE(client.GetWSDLDesc(), nullptr);
    EXPECT_FALSE(Read(client, "nope"));
    EXPECT_NE(client.GetWSDLDesc(), nullptr);
    EXPECT_FALSE(Read(client, "noaddr"));
    // Neither http:// nor file://: nothing is read.
    EXPECT_FALSE(client.ReadServiceDesc(u"S", u"p", Widen(m_path)));

    // A port whose binding is missing reads, but the binding queries answer false.
    ProbeClient lost;
    ASSERT_TRUE(Read(lost, "lost"));
    EXPECT_EQ(lost.GetSOAPBinding(), nullptr);
    WMString action = u"unchanged";
    EXPECT_FALSE(lost.GetMethodSOAPAction(u"op", action));
    EXPECT_EQ(Narrow(action), "unchanged");
}

TEST_F(Queries, AnswerFromTheHandMadeDescriptionPortByPort) {
    std::map<std::string, WMSOAPWSDLClient> clients;
    for (const TableRow& row : ReadTable("expected/wsdl/handmade_queries.txt")) {
        WMSOAPWSDLClient& client = clients[row.section];
        if (client.GetWSDLDesc() == nullptr) {
            ASSERT_TRUE(Read(client, row.section)) << row.where;
        }
        EXPECT_EQ(Ask(client, row.input), row.expected) << row.where;
    }
    long index = -1;
    // The walk's index counts up and stays at the last part.
    EXPECT_TRUE(m_client.GetFirstInParamName(u"op", m_name, index));
    EXPECT_TRUE(m_client.GetNextInParamName(u"op", m_name, index));
    EXPECT_FALSE(m_client.GetNextInParamName(u"op", m_name, index));
    EXPECT_EQ(index, 1);
}

TEST_F(Queries, AnElementPartOfAnonymousTypeIsNamedByAGuid) {
    EXPECT_TRUE(m_client.GetOutputMsgPartType(u"op", u"result", m_name, m_ns));
    EXPECT_EQ(Narrow(m_ns), "urn:s");
    const std::string guid = Narrow(m_name);
    EXPECT_TRUE(IsGuidText(m_name, false)) << guid;
    // The anonymous type is found like any named type.
    EXPECT_EQ(Ask(m_client, "StructMembers " + guid + "|urn:s"),
              "a{urn:s}:{http://www.w3.org/2001/XMLSchema}string "
              "b{urn:s}:{http://www.w3.org/2001/XMLSchema}anyType");
    EXPECT_EQ(Ask(m_client, "OperationReturnType op|return"), "{urn:s}" + guid);
}

TEST_F(Queries, CopiesShareTheDescriptionSafely) {
    auto copy = std::make_unique<WMSOAPWSDLClient>(m_client);
    EXPECT_EQ(copy->GetWSDLDesc(), m_client.GetWSDLDesc());
    WMSOAPWSDLClient assigned;
    assigned = *copy;
    copy.reset();
    EXPECT_TRUE(assigned.GetMethodSOAPAction(u"op", m_name));
    EXPECT_EQ(Narrow(m_name), "\"urn:act\"");
    EXPECT_EQ(Narrow(assigned.GetSOAPSvcHost()), "example.org");

    // Assigning only the loader part brings another description; no cached answer survives.
    ProbeClient sliced = m_client;
    ASSERT_EQ(sliced.GetSOAPBinding(), m_client.GetSOAPBinding());
    WMWSDLParser other;
    ASSERT_TRUE(other.LoadAndParseWSDLFile(Widen(m_path)));
    static_cast<WMWSDLParser&>(sliced) = other;
    ASSERT_NE(sliced.GetSOAPBinding(), nullptr);
    EXPECT_NE(sliced.GetSOAPBinding(), m_client.GetSOAPBinding());

    // A new load in one object leaves the other's description alone.
    const auto* before = m_client.GetWSDLDesc();
    EXPECT_FALSE(assigned.LoadAndParseWSDLFile(Widen(m_dir.Path() + "/missing.wsdl")));
    EXPECT_EQ(m_client.GetWSDLDesc(), before);
    EXPECT_TRUE(m_client.GetMethodSOAPAction(u"op", m_name));
}

TEST(QueriesWithoutDescription, AnswerFalseAndLeaveOutputs) {
    WMSOAPWSDLClient client;
    WMString out = u"kept";
    WMString ns = u"kept";
    long index = 5;
    unsigned int dims = 9;
    EXPECT_FALSE(client.GetMethodSOAPAction(u"op", out) || client.GetSOAPBindingStyle(out) ||
                 client.GetInputMsgPartType(u"op", u"a", out, ns) ||
                 client.GetFirstInParamName(u"op", out, index) ||
                 client.GetOperationParamIndex(u"op", u"a", &index) ||
                 client.GetArrayType(u"t", u"n", out, ns) ||
                 client.GetArrayDims(u"t", u"n", dims) ||
                 client.GetHeaderElemType(u"e", u"n", out, ns));
    EXPECT_EQ(Narrow(out + u"|" + ns) + "|" + std::to_string(index) + "|" + std::to_string(dims),
              "kept|kept|5|9");
    EXPECT_EQ(Narrow(client.GetUserAgent()), "Dravik WSDL Client/1.0");
    EXPECT_EQ(Narrow(client.GetDefinitionsTNS()), "");
}

}  // namespace
}  // namespace corvane::test
