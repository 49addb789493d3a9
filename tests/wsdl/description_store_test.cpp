// How a description stores what it reads: the name tables, the shared namespace texts and the
// arena the handlers live in.
#include <gtest/gtest.h>

#include <corvane/wsdl.h>

#include <algorithm>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "support/support.h"
#include "wsdl/description.h"
#include "wsdl_test_util.h"

namespace {

using corvane::HandlerTable;
using corvane::NamespaceText;
using corvane::test::Widen;

TEST(HandlerTable, EnumeratesInCodeUnitOrderAndFindsEveryName) {
    // Long shared prefixes, names differing only in their last unit or length, and units above
    // 0x7F (a surrogate sorts below U+FFFF, unlike in UTF-8 or code-point order).
    std::vector<WMString> names;
    for (int i = 0; i < 600; ++i) {
        names.push_back(Widen("operation" + std::to_string(i) + "Request"));
    }
    for (const char16_t* odd : {u"", u"a", u"ab", u"abcd", u"abcde", u"abcc\u00e9", u"\xd800x",
                                u"\xffff", u"operation1Reques", u"operation1Requesu"}) {
        names.emplace_back(odd);
    }
    std::shuffle(names.begin(), names.end(), std::mt19937(7));

    HandlerTable<WMSOAPServiceHandler> table;
    for (const WMString& name : names) {
        auto handler = std::make_unique<WMSOAPServiceHandler>(name);
        ASSERT_TRUE(table.Insert(name, handler));
        EXPECT_FALSE(handler);
    }
    // A taken name is refused and the handler stays with the caller.
    auto again = std::make_unique<WMSOAPServiceHandler>(u"again");
    EXPECT_FALSE(table.Insert(names.front(), again));
    EXPECT_TRUE(again);

    std::vector<WMString> sorted = names;
    std::sort(sorted.begin(), sorted.end());
    std::vector<WMString> enumerated;
    for (const auto& [name, handler] : table) {
        enumerated.push_back(name);
        EXPECT_EQ(table.Find(name), handler.get());
        EXPECT_EQ(handler->GetName(), name);
    }
    EXPECT_EQ(enumerated, sorted);
    EXPECT_EQ(table.Find(u"operation1Requ"), nullptr);
    EXPECT_EQ(table.Find(u"operation600Request"), nullptr);
}

TEST(HandlerTable, TakeMissingKeepsTheFirstDefinition) {
    HandlerTable<WMSOAPServiceHandler> mine;
    HandlerTable<WMSOAPServiceHandler> theirs;
    auto add = [](HandlerTable<WMSOAPServiceHandler>& table, const char16_t* name) {
        auto handler = std::make_unique<WMSOAPServiceHandler>(name);
        const WMSOAPServiceHandler* raw = handler.get();
        table.Insert(name, handler);
        return raw;
    };
    const WMSOAPServiceHandler* shared = add(mine, u"shared");
    add(theirs, u"shared");
    std::vector<const WMSOAPServiceHandler*> taken;
    for (int i = 0; i < 20; ++i) {
        taken.push_back(add(theirs, Widen("s" + std::to_string(i)).c_str()));
    }
    mine.TakeMissing(theirs);
    EXPECT_EQ(mine.Find(u"shared"), shared);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(mine.Find(Widen("s" + std::to_string(i))), taken[static_cast<std::size_t>(i)]);
    }
    EXPECT_EQ(mine.size(), 21u);
    EXPECT_EQ(theirs.Find(u"shared"), nullptr);
}

TEST(NamespaceText, KeptTextIsSharedUntilCopied) {
    const WMString kept = u"urn:some:rather:long:namespace";
    NamespaceText text = NamespaceText::Kept(kept);
    EXPECT_EQ(&text.Get(), &kept);
    NamespaceText moved = std::move(text);
    EXPECT_EQ(&moved.Get(), &kept);
    // A copy may outlive the description, so it owns its text.
    NamespaceText copy = moved;
    EXPECT_NE(&copy.Get(), &kept);
    EXPECT_EQ(copy, moved);
    NamespaceText assigned;
    assigned = moved;
    EXPECT_NE(&assigned.Get(), &kept);

    EXPECT_TRUE(copy == kept && kept == copy && copy == u"urn:some:rather:long:namespace");
    EXPECT_TRUE(copy != u"urn:other" && WMString(u"urn:other") != copy);
    EXPECT_EQ(u"{" + copy + u"}", u"{urn:some:rather:long:namespace}");
    EXPECT_TRUE(NamespaceText().empty());
}

TEST(DescriptionStore, LoadedDescriptionOutlivesItsLoaderOnAnotherThread) {
    // The imported document's handlers move into the importing description; both live in the
    // arena of the load, which must stay until the last copy of the description goes.
    auto loader = std::make_unique<WMSOAPWSDLClient>();
    const WMString location = Widen("file://" + corvane::test::DataDir() + "/import1/Import1.wsdl");
    ASSERT_TRUE(loader->ReadServiceDesc(u"Import1", u"SoapInteropImport1Port", location));
    EXPECT_EQ(corvane::detail::HandlerArena::Current(), nullptr);
    WMSOAPWSDLClient copy(*loader);
    loader.reset();

    WMString answer;
    std::thread reader([&] {
        WMSOAPWSDLClient client(copy);
        long index = 0;
        EXPECT_TRUE(client.GetFirstInParamName(u"echoString", answer, index));
    });
    reader.join();
    EXPECT_EQ(answer, u"x");
    copy = WMSOAPWSDLClient();
}

TEST(DescriptionStore, FailedLoadLeavesNoArenaBehind) {
    WMSOAPWSDLClient client;
    corvane::test::TempDir dir;
    const WMString path = Widen(
        dir.Write("bad.wsdl", corvane::test::Definitions("<message name='m'><part/></message>")));
    EXPECT_FALSE(client.ReadServiceDesc(u"S", u"P", u"file://" + path));
    EXPECT_EQ(client.GetWSDLDesc(), nullptr);
    EXPECT_EQ(corvane::detail::HandlerArena::Current(), nullptr);
}

}  // namespace
