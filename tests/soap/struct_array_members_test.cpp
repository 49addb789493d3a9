// The items of a struct array are read by their member names, whatever order each item writes
// them in: an item takes the answers the item before it found only where the names agree.
#include "deserializer_test_util.h"
#include "soap/envelope_reader.h"

namespace {

using namespace deser_test;

// Untyped members, so that each member's type comes from the description by its name.
std::string Item(std::string const& first, std::string const& second, std::string const& third) {
    return "<item xsi:type=\"ns2:SOAPStruct\">" + first + second + third + "</item>";
}

TEST(StructArrayMembers, EachItemReadByNameOnBothRoads) {
    std::string const s = "<varString>3</varString>";
    std::string const i = "<varInt>2</varInt>";
    std::string const f = "<varFloat>1.5</varFloat>";
    WMString const text =
        Envelope("<ns1:echoStructArrayResponse><r SOAP-ENC:arrayType=\"ns2:SOAPStruct[4]\">" +
                 Item(s, i, f) + Item(f, s, i) + Item(i, f, s) + Item(s, i, f) +
                 "</r></ns1:echoStructArrayResponse>");
    std::string const sif = "{item={varString=\"3\",varInt=2,varFloat=1.5}}";
    std::string const expected = "[" + sif + ",{item={varFloat=1.5,varString=\"3\",varInt=2}}," +
                                 "{item={varInt=2,varFloat=1.5,varString=\"3\"}}," + sif + "]";
    // Twice each: the second read of a thread starts from the lists the first one kept.
    for (int pass = 0; pass < 2; ++pass) {
        WMSOAPMessage exported;
        ASSERT_FALSE(DecodeResponse(exported, Round2Base(), u"echoStructArray", text));
        EXPECT_EQ(Show(exported.GetReturnValue()), expected);
        WMSOAPMessage own;
        own.SetBuffer(text);
        own.SetMethodName(u"echoStructArray");
        own.SetRequestPhase(false);
        corvane::detail::ReadResponse(own, Round2Base());
        EXPECT_EQ(Show(own.GetReturnValue()), expected);
    }
}

}  // namespace
