// A response read without its literal body (as the client reads) gives everything else a caller
// can observe exactly as a full read does: values, header entries, faults and thrown faults, for
// every captured answer read as each operation of the round 2 description.
#include <corvane/wsdl.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "soap/deserializer_test_util.h"
#include "support/read_diff.h"
#include "support/support.h"

namespace {

using corvane::detail::BodyText;

// Two reads into one message, as a client reads one answer after another; the body's line is
// left out of each print, and `bodies` counts the reads that left a literal body.
std::string Read(WMSOAPWSDLClient& wsdl, WMString const& text, WMString const& operation,
                 BodyText body, int& bodies) {
    WMSOAPMessage message;
    std::string out;
    for (int read = 0; read < 2; ++read) {
        message.SetBuffer(text);
        message.ClearMethodParams();
        message.ClearHeaderElems();
        message.SetRequestPhase(false);
        message.SetMethodName(operation);
        try {
            corvane::detail::ReadResponse(message, wsdl, body);
            out += "read\n";
        } catch (WMSOAPFault* raised) {
            std::unique_ptr<WMSOAPFault> fault(raised);
            out += "thrown ";
            corvane::test::DumpText(out, fault->GetFaultCode());
            corvane::test::DumpText(out, fault->GetFaultString());
            out += fault->GetNeedDetail() ? " detail\n" : " -\n";
        }
        std::string dump = corvane::test::DumpMessage(message);
        dump.erase(dump.rfind("\nbody "));
        out += dump;
        WMString xml;
        bodies += message.GetBodyElemLit(xml) ? 1 : 0;
    }
    return out;
}

TEST(ReadBodyText, LeavingTheBodyOutChangesNothingElse) {
    WMSOAPWSDLClient& wsdl = deser_test::Round2Base();
    std::vector<std::string> files;
    for (char const* folder : {"php", "soaplite", "handmade"}) {
        auto const found = deser_test::XMLFiles(corvane::test::DataPath("peers/") + folder);
        files.insert(files.end(), found.begin(), found.end());
    }
    ASSERT_GT(files.size(), 30u);
    int kept = 0;
    int leftOut = 0;
    for (std::string const& file : files) {
        WMString const text = deser_test::Wide(corvane::test::ReadFile(file));
        for (char16_t const* operation : {u"echoString", u"echoStruct", u"echoStructArray",
                                          u"echoIntegerArray", u"echoVoid", u"echoBase64"}) {
            EXPECT_EQ(Read(wsdl, text, operation, BodyText::kLeftOut, leftOut),
                      Read(wsdl, text, operation, BodyText::kKept, kept))
                << file;
        }
    }
    EXPECT_GT(kept, 0);
    EXPECT_EQ(leftOut, 0);
}

}  // namespace
