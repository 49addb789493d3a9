// Answers handed on as UTF-8 while they are written: the same bytes as the whole envelope
// converted at once, across many pieces, with declarations hoisted after the first piece and
// with texts UTF-8 cannot carry.
#include <corvane/message.h>
#include <corvane/server.h>
#include <corvane/values.h>
#include <corvane/wire.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "soap/deserializer_test_util.h"
#include "soap/envelope_writer.h"
#include "soap/server_text.h"

namespace {

using corvane::detail::AnswerBytes;
using corvane::detail::EnvelopeWriter;

std::string Joined(AnswerBytes const& bytes) {
    std::string out;
    corvane::AppendUTF8(std::u16string_view(bytes.rest).substr(0, bytes.at), out);
    for (std::string const& piece : bytes.pieces) {
        out += piece;
    }
    corvane::AppendUTF8(std::u16string_view(bytes.rest).substr(bytes.at), out);
    return out;
}

// Enough elements for several pieces, then one that binds a prefix not seen before: in the
// hoisting mode its declaration lands in the outermost start tag, ahead of the pieces.
void WriteLong(EnvelopeWriter& out) {
    out.Open(u"e", u"root");
    out.DeclarePrefix(u"e", u"urn:e");
    for (int i = 0; i < static_cast<int>(EnvelopeWriter::kSpillUnits) / 4; ++i) {
        out.Open({}, u"v");
        out.SetAttribute(u"t", u"k", u"urn:t", u"one");
        out.Text(i % 7 == 0 ? u"caf\u00E9 \U0001F600" : u"plain text");
        out.Close();
    }
    out.Open(u"e", u"late");
    out.SetAttribute(u"n", u"k", u"urn:new", u"two");
    out.Close();
    out.Close();
}

TEST(ServerAnswerBytes, PiecesJoinToTheWholeText) {
    for (bool const hoist : {false, true}) {
        WMString whole;
        {
            EnvelopeWriter out(whole);
            out.HoistDeclarations(hoist);
            WriteLong(out);
        }
        std::string expected;
        corvane::AppendUTF8(whole, expected);
        AnswerBytes bytes;
        bytes.strict = hoist;
        {
            EnvelopeWriter out(bytes.rest);
            out.HoistDeclarations(hoist);
            out.SpillTo(&bytes);
            WriteLong(out);
        }
        EXPECT_GE(bytes.pieces.size(), 2u);
        EXPECT_LT(bytes.rest.size(), EnvelopeWriter::kSpillUnits);
        EXPECT_EQ(Joined(bytes), expected) << "hoisting " << hoist;
    }
}

// Each array element is a struct holding its item.
WMSOAPStructMember Structs(int count, int lone) {
    std::vector<WMSOAPStructType> items(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        WMString text = u"s" + deser_test::Wide(std::to_string(i));
        text += i == lone ? u"\xD800" : i % 9 == 0 ? u"\u00E9\U0001F600" : u"";
        WMSOAPStructType item;
        item.SetMember(u"varString", text);
        item.SetMember(u"varInt", i);
        item.SetMember(u"varFloat", 0.5);
        items[i].SetMember(u"item", item);
    }
    return WMSOAPStructMember(u"outputStructArray", items);
}

// The answer as the message writes it and the whole text is then converted.
std::string Reference(WMSOAPStructMember value, bool standard) {
    WMSOAPMessage message;
    message.Initialize(nullptr, 0, u"", u"", u"", u"", u"", false);
    message.SetStandardWireMode(standard);
    message.SetRequestPhase(false);
    message.SetMethodName(u"echoStructArray");
    message.SetMethodNS(u"http://soapinterop.org/");
    message.SetRetValName(u"outputStructArray");
    message.SetReturnValue(value);
    std::string bytes;
    if (message.Serialize(deser_test::Round2Base())) {
        corvane::AppendUTF8(*message.GetBufferPtr(), bytes);
    }
    return bytes;
}

TEST(ServerAnswerBytes, LargeAnswersMatchTheWholeConversion) {
    std::string const request =
        deser_test::RequestBytes("<m:echoStructArray><inputStructArray/></m:echoStructArray>");
    int const count = 3000;
    // No lone surrogate, one in an early piece, one in the text left at the end.
    for (int const lone : {-1, 5, count - 1}) {
        for (bool const standard : {false, true}) {
            WMSOAPServerCall call(deser_test::Round2Base());
            WMWireOptions wire;
            wire.standard = standard;
            call.SetWireOptions(wire);
            ASSERT_TRUE(call.ReadRequest(request, "\"http://\""));
            ASSERT_TRUE(call.SetReturnValue(Structs(count, lone)));
            std::string body;
            int const status = call.WriteResponse(body);
            if (standard && lone >= 0) {
                EXPECT_EQ(status, 500) << lone;
                EXPECT_NE(body.find("unpaired surrogate"), std::string::npos) << lone;
                continue;
            }
            EXPECT_EQ(status, 200);
            std::string const expected = Reference(Structs(count, lone), standard);
            ASSERT_GT(expected.size(), 4 * EnvelopeWriter::kSpillUnits);
            EXPECT_TRUE(body == expected) << "standard " << standard << ", lone " << lone;
        }
    }
}

}  // namespace
