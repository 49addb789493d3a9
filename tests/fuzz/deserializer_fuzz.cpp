// Fuzz target of the SOAP deserializers. The first byte chooses the side (bit 0: request or
// response) and the description (bit 1: the round 2 interop one or the deserializer tests' own,
// with headers, faults and recursive types); the second byte chooses the operation. The rest is
// the envelope as UTF-8. Whatever it holds, reading it ends in values or a WMSOAPFault.
#include <corvane/message.h>
#include <corvane/utf8.h>
#include <corvane/wsdl.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

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
    // Loaded once and kept for the whole run, as a server keeps its description.
    static WMSOAPWSDLClient* const round2 =
        Load("wsdl/round2_base.wsdl", u"InteropTest", u"InteropTestPort");
    static WMSOAPWSDLClient* const calc = Load("deserializer/calc.wsdl", u"Calc", u"CalcPort");
    if (size < 2) {
        return 0;
    }
    bool const request = (data[0] & 1) != 0;
    bool const useCalc = (data[0] & 2) != 0;
    WMSOAPWSDLClient& wsdl = useCalc ? *calc : *round2;
    WMString const operation =
        useCalc ? kCalcOperations[data[1] % 2] : kRound2Operations[data[1] % 14];
    WMString text;
    UTF8ToWideString(std::string(reinterpret_cast<char const*>(data + 2), size - 2), text);

    WMSOAPMessage message;
    message.SetBuffer(text);
    message.SetRequestPhase(request);
    if (!request) {
        message.SetMethodName(operation);
    }
    WMString soapAction;
    wsdl.GetMethodSOAPAction(operation, soapAction);
    if (request) {
        message.Initialize(nullptr, 0, WMString(), WMString(), WMString(), soapAction, WMString(),
                           false);
    }
    try {
        message.Deserialize(wsdl);
        message.ProcessRPC(wsdl);
    } catch (WMSOAPFault* fault) {
        delete fault;
    }
    return 0;
}
