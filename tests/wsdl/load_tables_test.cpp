// The description's name tables and the indexes a load builds once: enumeration in code-unit
// order whatever the arrival order and size, and a SOAPAction shared by several operations.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "wsdl/description.h"
#include "wsdl/wsdl_test_util.h"

namespace corvane::test {
namespace {

TEST(LoadTables, EveryInsertShowsInCodeUnitOrderAndIsFound) {
    // A table of a few names is scanned, a larger one hashed: each insert on both sides of the
    // limit shows in the next enumeration, in order. Long shared prefixes, names differing only
    // in their last unit or length, and units above 0x7F (a surrogate sorts below U+FFFF,
    // unlike in UTF-8 or code-point order).
    std::vector<WMString> names;
    for (const char16_t* name :
         {u"m", u"b", u"z", u"", u"a", u"ab", u"abcd", u"abcde", u"abcc\u00e9", u"\xd800x",
          u"\xffff", u"operation1Reques", u"operation1Requesu"}) {
        names.emplace_back(name);
    }
    std::vector<WMString> many;
    for (int i = 0; i < 600; ++i) {
        many.push_back(Widen("operation" + std::to_string(i) + "Request"));
    }
    std::shuffle(many.begin(), many.end(), std::mt19937(7));
    names.insert(names.end(), many.begin(), many.end());

    HandlerTable<WMSOAPServiceHandler> table;
    std::vector<WMString> expected;
    for (std::size_t i = 0; i < names.size(); ++i) {
        auto handler = std::make_unique<WMSOAPServiceHandler>(names[i]);
        ASSERT_TRUE(table.Insert(names[i], handler));
        EXPECT_FALSE(handler);
        expected.insert(std::upper_bound(expected.begin(), expected.end(), names[i]), names[i]);
        if (i > 20 && i + 1 < names.size()) {
            continue;
        }
        std::vector<WMString> enumerated;
        for (const auto& [name, held] : table) {
            enumerated.push_back(name);
            EXPECT_EQ(table.Find(name), held.get());
            EXPECT_EQ(held->GetName(), name);
        }
        EXPECT_EQ(enumerated, expected) << i;
        EXPECT_EQ(table.Find(u"operation1Requ"), nullptr);
        EXPECT_EQ(table.Find(u"operation600Request"), nullptr);
    }
    // A taken name is refused and the handler stays with the caller.
    auto again = std::make_unique<WMSOAPServiceHandler>(u"again");
    EXPECT_FALSE(table.Insert(u"b", again));
    EXPECT_TRUE(again);
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
