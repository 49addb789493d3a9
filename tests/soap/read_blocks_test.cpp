// Answers whose items fill several of the envelope reader's blocks, read one after another on
// the blocks the thread kept, as the exported operations read them.
#include <corvane/utf8.h>
#include <corvane/wsdl.h>
#include <gtest/gtest.h>

#include <string>

#include "support/read_diff.h"
#include "support/support.h"

namespace {

std::string StructArray(int items) {
    std::string text =
        "<E:Envelope xmlns:E='http://schemas.xmlsoap.org/soap/envelope/' "
        "xmlns:C='http://schemas.xmlsoap.org/soap/encoding/' "
        "xmlns:t='http://soapinterop.org/xsd' "
        "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
        "E:encodingStyle='http://schemas.xmlsoap.org/soap/encoding/'><E:Body>"
        "<m:echoStructArrayResponse xmlns:m='http://soapinterop.org/'><r "
        "C:arrayType='t:SOAPStruct[]'>";
    for (int i = 0; i < items; ++i) {
        std::string const n = std::to_string(i);
        text += "<i xsi:type='t:SOAPStruct'><varString>s" + n + "</varString><varInt>" + n +
                "</varInt><varFloat>" + n + ".5</varFloat></i>";
    }
    return text + "</r></m:echoStructArrayResponse></E:Body></E:Envelope>";
}

TEST(ReadBlocks, LargeAndSmallAnswersReadAlike) {
    WMSOAPWSDLClient wsdl;
    WMString location;
    UTF8ToWideString("file://" + corvane::test::DataPath("wsdl/round2_base.wsdl"), location);
    ASSERT_TRUE(wsdl.ReadServiceDesc(u"InteropTest", u"InteropTestPort", location));
    // Four items an array element and 744 a block: some 186 elements fill one.
    for (int items : {2000, 1, 185, 186, 187, 2000}) {
        corvane::test::ReadInput input;
        UTF8ToWideString(StructArray(items), input.text);
        input.operation = u"echoStructArray";
        std::string const own = corvane::test::ReadAndDump(wsdl, input, true);
        EXPECT_EQ(corvane::test::ReadAndDump(wsdl, input, false), own) << items << " items";
        EXPECT_NE(own.find("\"s" + std::to_string(items - 1) + "\""), std::string::npos);
    }
}

}  // namespace
