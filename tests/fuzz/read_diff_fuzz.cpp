// Differential fuzz target of the envelope readers: the exported Deserialize and ProcessRPC
// against the library's own reader (src/soap/envelope_reader.h). The input is laid out as for
// deserializer_fuzz: the first byte chooses the side (bit 0: request) and the description
// (bit 1: tests/data/deserializer/calc.wsdl, else round 2), the second the operation, the rest is
// the envelope as UTF-8. Any difference in what a caller could observe aborts.
#include <corvane/message.h>
#include <corvane/utf8.h>
#include <corvane/wsdl.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/read_diff.h"

namespace {

WMSOAPWSDLClient* Load(char const* file, char16_t const* service, char16_t const* port) {
    auto* wsdl = new WMSOAPWSDLClient();
    WMString location;
    UTF8ToWideString(std::string("file://") + CORVANE_TEST_DATA + "/" + file, location);
    if (!wsdl->ReadServiceDesc(service, port, location)) {
        std::abort();
    }
    return wsdl;
}

char16_t const* const kRound2Operations[] = {
    u"echoString",       u"echoInteger",    u"echoFloat",       u"echoStruct", u"echoStringArray",
    u"echoIntegerArray", u"echoFloatArray", u"echoStructArray", u"echoVoid",   u"echoBase64",
    u"echoDate",         u"echoHexBinary",  u"echoDecimal",     u"echoBoolean"};
char16_t const* const kCalcOperations[] = {u"add", u"echo"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static WMSOAPWSDLClient* const round2 =
        Load("wsdl/round2_base.wsdl", u"InteropTest", u"InteropTestPort");
    static WMSOAPWSDLClient* const calc = Load("deserializer/calc.wsdl", u"Calc", u"CalcPort");
    if (size < 2) {
        return 0;
    }
    bool const useCalc = (data[0] & 2) != 0;
    WMSOAPWSDLClient& wsdl = useCalc ? *calc : *round2;
    corvane::test::ReadInput input;
    input.request = (data[0] & 1) != 0;
    input.operation = useCalc ? kCalcOperations[data[1] % 2] : kRound2Operations[data[1] % 14];
    input.actorURI = u"urn:me";
    wsdl.GetMethodSOAPAction(input.operation, input.soapAction);
    UTF8ToWideString(std::string(reinterpret_cast<char const*>(data + 2), size - 2), input.text);
    std::string const exported = corvane::test::ReadAndDump(wsdl, input, false);
    std::string const own = corvane::test::ReadAndDump(wsdl, input, true);
    if (exported != own) {
        std::fprintf(stderr, "exported:%s\nown:%s\n", exported.c_str(), own.c_str());
        std::abort();
    }
    return 0;
}
