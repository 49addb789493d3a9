// The description's name tables and the indexes a load builds once: enumeration in code-unit
// order whatever the arrival order and size, and a SOAPAction shared by several operations.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "wsdl/description.h"
#include "wsdl/wsdl_test_util.h"

namespace corvane::test {
namespace {

std::vector<std::string> Enumerated(const HandlerTable<WMSOAPServiceHandler>& table) {
    std::vector<std::string> names;
    for (const auto& [name, handler] : table) {
        names.push_back(Narrow(name));
    }
    return names;
}

TEST(LoadTables, InsertsShowInTheNextEnumerationOnBothSidesOfTheScanLimit) {
    // A table of a few names is scanned, a larger one hashed; each insert after an enumeration
    // has to appear in the next one, in order.
    HandlerTable<WMSOAPServiceHandler> table;
    std::vector<std::string> expected;
    for (const char* name : {"m", "b", "z", "a", "mm", "c", "y", "d", "b2", "e", "a1", "b"}) {
        auto handler = std::make_unique<WMSOAPServiceHandler>(Widen(name));
        const bool fresh = !std::binary_search(expected.begin(), expected.end(), name);
        EXPECT_EQ(table.Insert(Widen(name), handler), fresh) << name;
        if (fresh) {
            expected.insert(std::upper_bound(expected.begin(), expected.end(), name), name);
        }
        EXPECT_EQ(Enumerated(table), expected) << name;
        for (const std::string& known : expected) {
            ASSERT_NE(table.Find(Widen(known)), nullptr) << known;
            EXPECT_EQ(Narrow(table.Find(Widen(known))->GetName()), known);
        }
        EXPECT_EQ(table.Find(u"zz"), nullptr);
    }
}

TEST(LoadTables, ASharedSOAPActionNamesTheFirstOperationByName) {
    TempDir dir;
    std::string portType = "<portType name='P'>";
    std::string binding = "<binding name='B' type='tns:P'><soap:binding style='rpc'/>";
    // Document order differs from name order on purpose.
    for (const auto& [op, action] : {std::pair{"zeta", "urn:same"}, std::pair{"alpha", "urn:same"},
                                     std::pair{"mid", "urn:mid"}, std::pair{"beta", "urn:same"}}) {
        portType += std::string("<operation name='") + op + "'/>";
        binding += std::string("<operation name='") + op + "'><soap:operation soapAction='" +
                   action + "'/></operation>";
    }
    const std::string path = dir.Write(
        "t.wsdl", Definitions(portType + "</portType>" + binding +
                              "</binding><service name='S'><port name='p' binding='tns:B'>"
                              "<soap:address location='http://h/'/></port></service>"));
    WMSOAPWSDLClient client;
    ASSERT_TRUE(client.ReadServiceDesc(u"S", u"p", Widen("file://" + path)));
    EXPECT_EQ(Ask(client, "OpNamesBySOAPAction \"urn:same\""), "{urn:t}alpha");
    EXPECT_EQ(Ask(client, "OpNamesBySOAPAction \"urn:mid\""), "{urn:t}mid");
    EXPECT_EQ(Ask(client, "OpNamesBySOAPAction \"urn:none\""), "false");
}

}  // namespace
}  // namespace corvane::test
