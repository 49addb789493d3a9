// The descriptions the SOAP fuzz targets read with, and the input layout they share: the first
// byte chooses the side (bit 0: request), the description (bit 1: the deserializer tests' own,
// with headers, faults and recursive types; else the round 2 interop one) and the wire mode
// (bit 2: standard), the second byte the operation; the rest is the envelope as UTF-8.
#ifndef CORVANE_TESTS_FUZZ_FUZZ_DESCRIPTIONS_H
#define CORVANE_TESTS_FUZZ_FUZZ_DESCRIPTIONS_H

#include <corvane/utf8.h>
#include <corvane/wsdl.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace fuzz {

inline WMSOAPWSDLClient* Load(char const* file, char16_t const* service, char16_t const* port) {
    auto* wsdl = new WMSOAPWSDLClient();
    WMString location;
    UTF8ToWideString(std::string("file://") + CORVANE_TEST_DATA + "/" + file, location);
    if (!wsdl->ReadServiceDesc(service, port, location)) {
        std::abort();
    }
    return wsdl;
}

struct Input {
    WMSOAPWSDLClient* wsdl;
    bool request;
    bool standard;
    WMString operation;
    WMString text;
};

// Null description when the input is too short to choose one.
inline Input Decode(std::uint8_t const* data, std::size_t size) {
    // Loaded once and kept for the whole run, as a server keeps its description.
    static WMSOAPWSDLClient* const round2 =
        Load("wsdl/round2_base.wsdl", u"InteropTest", u"InteropTestPort");
    static WMSOAPWSDLClient* const calc = Load("deserializer/calc.wsdl", u"Calc", u"CalcPort");
    static char16_t const* const round2Operations[] = {
        u"echoString",      u"echoInteger",      u"echoFloat",      u"echoStruct",
        u"echoStringArray", u"echoIntegerArray", u"echoFloatArray", u"echoStructArray",
        u"echoVoid",        u"echoBase64",       u"echoDate",       u"echoHexBinary",
        u"echoDecimal",     u"echoBoolean"};
    static char16_t const* const calcOperations[] = {u"add", u"echo"};
    Input input{nullptr, false, false, WMString(), WMString()};
    if (size < 2) {
        return input;
    }
    bool const useCalc = (data[0] & 2) != 0;
    input.wsdl = useCalc ? calc : round2;
    input.request = (data[0] & 1) != 0;
    input.standard = (data[0] & 4) != 0;
    input.operation = useCalc ? calcOperations[data[1] % 2] : round2Operations[data[1] % 14];
    UTF8ToWideString(std::string(reinterpret_cast<char const*>(data + 2), size - 2), input.text);
    return input;
}

}  // namespace fuzz

#endif
