// An answer long enough to leave the writer in many pieces has the bytes of the whole text
// converted at once, in both modes (the standard one hoists declarations after the first
// piece), and a lone surrogate in a piece or in the rest still fails the standard mode.
#include <corvane/server.h>
#include <gtest/gtest.h>

#include "soap/deserializer_test_util.h"
#include "soap/server_text.h"

namespace {

WMSOAPStructMember Structs(int count, int lone) {
    std::vector<WMSOAPStructType> items(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        WMSOAPStructType item;
        item.SetMember(u"varString", u"s" + deser_test::Wide(std::to_string(i)) +
                                         (i == lone ? u"\xD800"
                                          : i % 9   ? u""
                                                    : u"\u00E9\U0001F600"));
        item.SetMember(u"varInt", i);
        items[i].SetMember(u"item", item);
    }
    return WMSOAPStructMember(u"outputStructArray", items);
}

TEST(ServerAnswerBytes, PiecesJoinToTheWholeConversion) {
    std::string const request =
        deser_test::RequestBytes("<m:echoStructArray><inputStructArray/></m:echoStructArray>");
    for (int const lone : {-1, 5, 2999}) {
        for (bool const standard : {false, true}) {
            WMSOAPMessage whole;
            whole.SetStandardWireMode(standard);
            whole.SetRequestPhase(false);
            whole.SetMethodName(u"echoStructArray");
            whole.SetMethodNS(u"http://soapinterop.org/");
            whole.SetRetValName(u"outputStructArray");
            WMSOAPStructMember value = Structs(3000, lone);
            whole.SetReturnValue(value);
            ASSERT_TRUE(whole.Serialize(deser_test::Round2Base()));
            std::string expected;
            corvane::AppendUTF8(*whole.GetBufferPtr(), expected);

            WMSOAPServerCall call(deser_test::Round2Base());
            WMWireOptions wire;
            wire.standard = standard;
            call.SetWireOptions(wire);
            ASSERT_TRUE(call.ReadRequest(request, "\"http://\""));
            ASSERT_TRUE(call.SetReturnValue(std::move(value)));
            std::string body;
            bool const refused = standard && lone >= 0;
            EXPECT_EQ(call.WriteResponse(body), refused ? 500 : 200);
            EXPECT_TRUE(refused ? body.find("unpaired surrogate") != std::string::npos
                                : body == expected)
                << "standard " << standard << ", lone " << lone;
        }
    }
}

}  // namespace
